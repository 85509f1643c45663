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

/// The PEM files of a folder by name; none where there is no such folder. What anybody may write, folder or
/// file, is left out, and told.
std::vector<std::string> pem_files(const std::string& folder);

/// A text that changes with the names, sizes, times and modes of the files.
std::string state_of(const std::vector<std::string>& files);

/// Tells that a file with a private key can be read by everybody, where it is so.
void complain_of_readable_key(const std::string& file);

/// Writes the line to standard error, unless that was done before. Any thread.
void say_once(const std::string& line);
