// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "session.h"

namespace soap_test {

inline std::string text_of(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// Puts the file in its place at once, for its owner alone.
inline void write_file(const std::string& path, const std::string& text) {
    std::ofstream(path + ".new") << text;
    std::filesystem::permissions(path + ".new", std::filesystem::perms{0600});
    std::filesystem::rename(path + ".new", path);
}

inline void run(const std::string& command) {
    ASSERT_EQ(std::system((command + " >/dev/null 2>&1").c_str()), 0) << command;
}

/// A folder of certificates that the provider looks into while the object lives.
class TestFolder {
public:
    explicit TestFolder(const std::string& host) {
        Provider::instance();  // which sets the folder for all others
        char pattern[] = "/tmp/certificates-XXXXXX";
        folder = ::mkdtemp(pattern);
        make(host);
        authority = text_of(file("/root/authority.pem"));
        if (const char* const known = std::getenv("CALDANE_CERTS")) before = known;
        ::setenv("CALDANE_CERTS", folder.c_str(), 1);
    }
    ~TestFolder() {
        ::setenv("CALDANE_CERTS", before.c_str(), 1);
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::string file(const std::string& name) const { return folder + name; }
    /// The server's and the client's certificate anew.
    void make(const std::string& host) { run(CALDANE_CERT " " + folder + " " + host); }

    /// A certificate NAME.crt with NAME.key by the issuer whose certificate and key are named; its subject is
    /// CN=NAME, or CN=issued where it has a term.
    void issue(const std::string& name, const std::string& extensions, const std::string& issuer,
               const std::string& issuer_key, int days = 0) {
        const std::string base = folder + "/" + name;
        std::ofstream(base + ".ext") << extensions << "\n";
        run("openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=" +
            (days == 0 ? name : "issued") + " -keyout " + base + ".key -out " + base + ".csr");
        run("openssl x509 -req -days " + std::to_string(days == 0 ? 2 : days) + " -in " + base + ".csr -CA " +
            folder + "/" + issuer + " -CAkey " + folder + "/" + issuer_key + " -CAcreateserial -extfile " +
            base + ".ext -out " + base + ".crt");
    }

    std::string authority;

private:
    std::string folder;
    std::string before;
};

}  // namespace soap_test
