// SPDX-License-Identifier: MIT
#include "folders.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace {

std::string chosen() {
    const char* const folder = secure_getenv("CALDANE_CERTS");
    return folder != nullptr ? folder : "";
}

std::string home() {
    const char* const told = secure_getenv("HOME");
    if (told != nullptr && *told == '/') return told;
    char buffer[4096];
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) != 0 || found == nullptr) return "";
    return found->pw_dir;
}

}  // namespace

std::string user_certificates() {
    return chosen().empty() ? home() + "/.config/caldane/certs" : chosen();
}

std::string machine_certificates() {
    return chosen().empty() ? "/etc/caldane/certs" : chosen();
}

std::vector<std::string> certificate_folders(const char* part) {
    std::vector<std::string> all{user_certificates() + part};
    if (chosen().empty()) all.push_back(machine_certificates() + part);
    return all;
}

std::vector<std::string> pem_files(const std::string& folder) {
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end;
         at.increment(error)) {
        if (at->path().extension() == ".pem") files.push_back(at->path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}
