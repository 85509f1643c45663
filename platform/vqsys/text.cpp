// SPDX-License-Identifier: MIT
#include <vqsys/text.h>

#include <pelthread/memory.h>

namespace {

inline unsigned char lower(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte + ('a' - 'A')) : byte;
}

}  // namespace

int vqOSstricmp(const char* a, const char* b) {
    for (;; ++a, ++b) {
        if (*a != *b && lower(*a) != lower(*b)) return lower(*a) - lower(*b);
        if (*a == '\0') return 0;
    }
}

void* vqOSMalloc(std::size_t size) {
    return PEL_new(size);
}

void vqOSFree(void* pointer) {
    PEL_delete(pointer);
}
