// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/certificates.h>

#include <memory>
#include <string>

#include "certificate.h"

/// A search by subject in a folder of what this side may show to a peer. It can be made again later, when the
/// files have changed.
class CertificateSearch {
public:
    /// `kind` is a CERT_FIND_ number; with another, nothing is found. Throws std::bad_alloc.
    CertificateSearch(std::string folder, DWORD kind, const void* parameter);

    /// The certificate behind so many that fit: those in date first, each group in the order of the files'
    /// names. Null if there are no more. Throws std::bad_alloc.
    std::unique_ptr<Certificate> find(std::size_t position) const;

    /// A text that changes with the folder's files. Throws std::bad_alloc.
    std::string state() const;
    const std::string& folder() const { return folder_; }

private:
    bool fits(const Certificate& certificate) const;

    std::string folder_;
    NameHandle name;
    std::string part;
    bool by_text = false;
};
