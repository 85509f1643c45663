// SPDX-License-Identifier: MIT
// Certificate stores: the folder of what this side may show to a peer.
#include "store.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "folders.h"
#include "live_objects.h"
#include "status.h"

namespace {

constexpr DWORD kNotFound = 0x80092004;
constexpr DWORD kNoSuchStore = 2;

struct Store : private LiveObjects {
    explicit Store(std::string path) : folder(std::move(path)) {}
    std::string folder;
};

bool contains_ignoring_case(const std::string& text, const std::string& part) {
    const auto same = [](char a, char b) {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
        return lower(a) == lower(b);
    };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

HCERTSTORE open_store(const std::string& base) {
    try {
        return new Store(base + "/my");
    } catch (const std::bad_alloc&) {
        fail_with(static_cast<DWORD>(SEC_E_INSUFFICIENT_MEMORY));
        return nullptr;
    }
}

bool in_date(const Certificate& certificate) {
    return X509_cmp_current_time(X509_get0_notBefore(certificate.x509())) < 0 &&
           X509_cmp_current_time(X509_get0_notAfter(certificate.x509())) > 0;
}

}  // namespace

CertificateSearch::CertificateSearch(std::string folder, DWORD kind, const void* parameter)
    : folder_(std::move(folder)) {
    if (kind == CERT_FIND_SUBJECT_NAME) {
        const auto* const blob = static_cast<const CRYPT_BLOB*>(parameter);
        const unsigned char* der = blob->pbData;
        name.reset(d2i_X509_NAME(nullptr, &der, static_cast<long>(blob->cbData)));
        ERR_clear_error();
    } else if (kind == CERT_FIND_SUBJECT_STR_A) {
        part = static_cast<const char*>(parameter);
        by_text = true;
    }
}

bool CertificateSearch::fits(const Certificate& certificate) const {
    const X509_NAME* const subject = X509_get_subject_name(certificate.x509());
    if (by_text) return contains_ignoring_case(name_text(subject), part);
    return name && X509_NAME_cmp(subject, name.get()) == 0;
}

std::unique_ptr<Certificate> CertificateSearch::find(std::size_t position) const {
    std::vector<std::unique_ptr<Certificate>> good, out_of_date;
    for (const std::string& file : pem_files(folder_)) {
        std::unique_ptr<Certificate> certificate = certificate_from_pem(file_text(file), file);
        if (!certificate || !fits(*certificate)) continue;
        if (certificate->key() != nullptr) complain_of_readable_key(file);
        (in_date(*certificate) ? good : out_of_date).push_back(std::move(certificate));
    }
    for (auto& certificate : out_of_date) good.push_back(std::move(certificate));
    return position < good.size() ? std::move(good[position]) : nullptr;
}

std::string CertificateSearch::state() const {
    return state_of(pem_files(folder_));
}

extern "C" {

HCERTSTORE CertOpenSystemStoreA(void*, const char* name) {
    if (name == nullptr || strcasecmp(name, "MY") != 0) return fail_with(kNoSuchStore), nullptr;
    return open_store(user_certificates());
}

HCERTSTORE CertOpenStore(const char* kind, DWORD, void*, DWORD flags, const void* parameter) {
    const auto* const name = static_cast<const WCHAR*>(parameter);
    const bool known = reinterpret_cast<std::uintptr_t>(kind) == CERT_STORE_PROV_SYSTEM_W &&
                       name != nullptr && (name[0] | 0x20) == u'm' && (name[1] | 0x20) == u'y' &&
                       name[2] == 0;
    if (!known) return fail_with(kNoSuchStore), nullptr;
    const bool machine = (flags & CERT_SYSTEM_STORE_LOCAL_MACHINE) != 0;
    return open_store(machine ? machine_certificates() : user_certificates());
}

BOOL CertCloseStore(HCERTSTORE store, DWORD) {
    delete static_cast<Store*>(store);
    return TRUE;
}

const CERT_CONTEXT* CertFindCertificateInStore(HCERTSTORE store, DWORD, DWORD, DWORD kind,
                                               const void* parameter, const CERT_CONTEXT* previous) {
    const std::unique_ptr<const Certificate> last(Certificate::of(previous));
    if (store == nullptr || parameter == nullptr) return fail_with(kNotFound), nullptr;
    try {
        const auto search =
            std::make_shared<const CertificateSearch>(static_cast<Store*>(store)->folder, kind, parameter);
        const std::size_t position = last ? last->position : 0;
        std::string files = search->state();
        std::unique_ptr<Certificate> found = search->find(position);
        if (!found) return fail_with(kNotFound), nullptr;
        found->position = position + 1;
        found->search = search;
        found->files = std::move(files);
        return found.release()->context();
    } catch (const std::exception&) {
        fail_with(static_cast<DWORD>(SEC_E_INSUFFICIENT_MEMORY));
        return nullptr;
    }
}

BOOL CertFreeCertificateContext(const CERT_CONTEXT* certificate) {
    delete Certificate::of(certificate);
    return TRUE;
}

}  // extern "C"
