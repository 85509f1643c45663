// SPDX-License-Identifier: MIT
// Certificate stores: the folder of what this side may show to a peer.
#include <secprov/certificates.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "certificate.h"
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

/// A test of a certificate's subject, as the kind of search wants it.
class Wanted {
public:
    Wanted(DWORD kind, const void* parameter) {
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

    bool fits(const Certificate& certificate) const {
        const X509_NAME* const subject = X509_get_subject_name(certificate.x509());
        if (by_text) return contains_ignoring_case(name_text(subject), part);
        return name && X509_NAME_cmp(subject, name.get()) == 0;
    }

private:
    NameHandle name;
    std::string part;
    bool by_text = false;
};

HCERTSTORE open_store(const std::string& base) {
    try {
        return new Store(base + "/my");
    } catch (const std::bad_alloc&) {
        fail_with(static_cast<DWORD>(SEC_E_INSUFFICIENT_MEMORY));
        return nullptr;
    }
}

const CERT_CONTEXT* find_from(const Store& store, std::size_t start, const Wanted& wanted) {
    const std::vector<std::string> files = pem_files(store.folder);
    for (std::size_t i = start; i < files.size(); ++i) {
        std::unique_ptr<Certificate> certificate = certificate_from_pem(file_text(files[i]));
        if (!certificate || !wanted.fits(*certificate)) continue;
        certificate->position = i + 1;
        return certificate.release()->context();
    }
    fail_with(kNotFound);
    return nullptr;
}

}  // namespace

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
        return find_from(*static_cast<Store*>(store), last ? last->position : 0, Wanted(kind, parameter));
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
