// SPDX-License-Identifier: MIT
#include "trust.h"

#include <chrono>
#include <mutex>
#include <new>
#include <string>

#include "certificate.h"
#include "folders.h"

namespace {

std::mutex mutex;
TrustHandle kept;
std::string kept_state;
std::vector<std::string> kept_folders;
std::chrono::steady_clock::time_point next_look;

std::vector<std::string> root_files() {
    std::vector<std::string> files;
    for (const std::string& folder : kept_folders) {
        for (std::string& file : pem_files(folder)) files.push_back(std::move(file));
    }
    return files;
}

TrustHandle read_authorities(const std::vector<std::string>& files) {
    TrustHandle store(X509_STORE_new());
    // The system's are looked up one by one in their folder, when a chain needs them.
    if (!store || X509_STORE_set_default_paths(store.get()) != 1) throw std::bad_alloc();
    for (const std::string& file : files) {
        int damaged = 0;
        const CertificatesHandle all = certificates_from_pem(file_text(file), damaged);
        if (damaged != 0)
            say_once(file + ": " + std::to_string(damaged) +
                     " certificates in it are damaged; the others count");
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
    const auto now = std::chrono::steady_clock::now();
    std::vector<std::string> folders = certificate_folders("/root");
    if (!kept || folders != kept_folders || now >= next_look) {
        kept_folders = std::move(folders);
        const std::vector<std::string> files = root_files();
        std::string state = state_of(files);
        if (!kept || state != kept_state) {
            kept = read_authorities(files);
            kept_state = std::move(state);
        }
        next_look = now + std::chrono::seconds(1);
    }
    X509_STORE_up_ref(kept.get());
    return TrustHandle(kept.get());
}
