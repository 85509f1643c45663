// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

/// Where certificates are kept: `my/` holds what this side shows, a certificate with its chain and key in
/// each file, `root/` whom it trusts beside the system's authorities. CALDANE_CERTS names the one folder to
/// use; else there is one for the user and one for the machine.
std::string user_certificates();
std::string machine_certificates();

/// Both of them, or the one named, each with `part` ("/root") behind it.
std::vector<std::string> certificate_folders(const char* part);

/// The PEM files of a folder by name; none where there is no such folder.
std::vector<std::string> pem_files(const std::string& folder);
