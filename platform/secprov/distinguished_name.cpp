// SPDX-License-Identifier: MIT
#include "distinguished_name.h"

#include <secprov/certificates.h>

#include <cstring>
#include <string>

#include "status.h"

namespace {

constexpr DWORD kInvalidName = 0x80092023;
constexpr DWORD kMoreData = 234;

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

/// Names of attributes as people write them where OpenSSL calls them otherwise.
std::string attribute_name(std::string_view key) {
    if (key == "S") return "ST";
    if (key == "E" || key == "Email") return "emailAddress";
    if (key.substr(0, 4) == "OID.") return std::string(key.substr(4));
    return std::string(key);
}

/// Takes one value off the head of `text`, up to its separator, which is taken as well and given in `mark`.
bool take_value(std::string_view& text, std::string& value, char& mark) {
    value.clear();
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (!text.empty() && text.front() == '"') {
        for (text.remove_prefix(1);; text.remove_prefix(1)) {
            if (text.empty()) return false;
            if (text.front() == '"') {
                if (text.size() < 2 || text[1] != '"') break;
                text.remove_prefix(1);
            }
            value += text.front();
        }
        text.remove_prefix(1);
        const std::size_t end = text.find_first_of(",;+");
        if (!trimmed(text.substr(0, end)).empty()) return false;
        text.remove_prefix(std::min(end, text.size()));
    } else {
        const std::size_t end = std::min(text.find_first_of(",;+"), text.size());
        value = trimmed(text.substr(0, end));
        text.remove_prefix(end);
    }
    mark = text.empty() ? '\0' : text.front();
    if (!text.empty()) text.remove_prefix(1);
    return !value.empty();
}

}  // namespace

NameHandle name_from_text(std::string_view text) {
    NameHandle name(X509_NAME_new());
    if (!name) throw std::bad_alloc();
    char mark = ',';
    std::string value;
    while (mark != '\0') {
        const bool joins = mark == '+';
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos) return nullptr;
        const std::string key = attribute_name(trimmed(text.substr(0, equals)));
        text.remove_prefix(equals + 1);
        if (key.empty() || !take_value(text, value, mark)) return nullptr;
        const int added = X509_NAME_add_entry_by_txt(name.get(), key.c_str(), MBSTRING_UTF8,
                                                     reinterpret_cast<const unsigned char*>(value.data()),
                                                     static_cast<int>(value.size()), -1, joins ? -1 : 0);
        ERR_clear_error();
        if (added != 1) return nullptr;
    }
    return name;
}

extern "C" BOOL CertStrToNameA(DWORD, const char* text, DWORD, void*, unsigned char* encoded, DWORD* size,
                               const char** error) {
    if (error != nullptr) *error = nullptr;
    if (text == nullptr || size == nullptr) return fail_with(kInvalidName);
    try {
        const NameHandle name = name_from_text(text);
        if (!name) {
            if (error != nullptr) *error = text;
            return fail_with(kInvalidName);
        }
        unsigned char* der = nullptr;
        const int length = i2d_X509_NAME(name.get(), &der);
        if (length <= 0) throw std::bad_alloc();
        const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(
            der, [](unsigned char* memory) { OPENSSL_free(memory); });
        const DWORD room = *size;
        *size = static_cast<DWORD>(length);
        if (encoded == nullptr) return TRUE;
        if (room < *size) return fail_with(kMoreData);
        std::memcpy(encoded, der, *size);
        return TRUE;
    } catch (const std::bad_alloc&) {
        return fail_with(static_cast<DWORD>(SEC_E_INSUFFICIENT_MEMORY));
    }
}
