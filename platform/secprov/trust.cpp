// SPDX-License-Identifier: MIT
#include "trust.h"

#include <sys/stat.h>

#include <mutex>
#include <new>
#include <string>

#include "certificate.h"
#include "folders.h"

namespace {

std::mutex mutex;
TrustHandle kept;
std::string kept_state;

std::vector<std::string> root_files() {
    std::vector<std::string> files;
    for (const std::string& folder : certificate_folders("/root")) {
        for (std::string& file : pem_files(folder)) files.push_back(std::move(file));
    }
    return files;
}

/// A text that changes with the names, sizes and times of the files.
std::string state_of(const std::vector<std::string>& files) {
    std::string state = "-";
    for (const std::string& file : files) {
        struct stat found {};
        if (stat(file.c_str(), &found) != 0) continue;
        state += file + '\n' + std::to_string(found.st_size) + ' ' + std::to_string(found.st_ino) + ' ' +
                 std::to_string(found.st_mtim.tv_sec) + '.' + std::to_string(found.st_mtim.tv_nsec) + '\n';
    }
    return state;
}

TrustHandle read_authorities(const std::vector<std::string>& files) {
    TrustHandle store(X509_STORE_new());
    // The system's are looked up one by one in their folder, when a chain needs them.
    if (!store || X509_STORE_set_default_paths(store.get()) != 1) throw std::bad_alloc();
    for (const std::string& file : files) {
        const CertificatesHandle all = certificates_from_pem(file_text(file));
        for (int i = 0; i < sk_X509_num(all.get()); ++i) {
            if (X509_STORE_add_cert(store.get(), sk_X509_value(all.get(), i)) != 1) throw std::bad_alloc();
        }
    }
    ERR_clear_error();
    return store;
}

}  // namespace

TrustHandle trusted_authorities() {
    const std::lock_guard lock(mutex);
    const std::vector<std::string> files = root_files();
    std::string state = state_of(files);
    if (!kept || state != kept_state) {
        kept = read_authorities(files);
        kept_state = std::move(state);
    }
    X509_STORE_up_ref(kept.get());
    return TrustHandle(kept.get());
}
