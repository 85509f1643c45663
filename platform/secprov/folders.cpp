// SPDX-License-Identifier: MIT
#include "folders.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>

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

/// Then anybody could say who is trusted, or who this side is.
bool anybody_writes(const std::string& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0 || (found.st_mode & S_IWOTH) == 0) return false;
    say_once(path +
             ": everybody can write to it, so it is not used; chmod o-w it, and look at what it holds");
    return true;
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
    if (anybody_writes(folder)) return files;
    std::error_code error;
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end;
         at.increment(error)) {
        if (at->path().extension() == ".pem" && !anybody_writes(at->path().string()))
            files.push_back(at->path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string state_of(const std::vector<std::string>& files) {
    std::string state = "-";
    for (const std::string& file : files) {
        struct stat found {};
        if (stat(file.c_str(), &found) != 0) continue;
        state += file + '\n';
        for (const auto number : {static_cast<long>(found.st_size), static_cast<long>(found.st_ino),
                                  static_cast<long>(found.st_mode), static_cast<long>(found.st_mtim.tv_sec),
                                  static_cast<long>(found.st_mtim.tv_nsec)})
            state += std::to_string(number) + ' ';
    }
    return state;
}

void complain_of_readable_key(const std::string& file) {
    struct stat found {};
    if (stat(file.c_str(), &found) == 0 && (found.st_mode & S_IROTH) != 0)
        say_once(file + ": everybody can read the private key in it; chmod 600 it, and think of a new key");
}

void say_once(const std::string& line) {
    constexpr std::size_t kMostLines = 200;
    static std::mutex mutex;
    static std::set<std::string> said;
    const std::lock_guard lock(mutex);
    if (said.size() >= kMostLines || !said.insert(line).second) return;
    std::fprintf(stderr, "certificates: %s\n", line.c_str());
}
