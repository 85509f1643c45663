// SPDX-License-Identifier: MIT
#pragma once

#include <secprov/sspi.h>

#include <array>
#include <cstddef>
#include <vector>

#include "openssl_handles.h"

/// Both directions of one TLS session in memory. OpenSSL reads the one record that it was given, straight
/// from the caller's buffer, and writes into a growing buffer or straight into the caller's.
class MemoryBio {
public:
    MemoryBio() = default;
    MemoryBio(const MemoryBio&) = delete;
    MemoryBio& operator=(const MemoryBio&) = delete;

    /// A BIO over this object, which must outlive it; null when memory ends.
    BioHandle make_bio();

    void give(const unsigned char* bytes, std::size_t length) {
        input = bytes;
        input_length = length;
    }

    std::vector<char>& output() { return output_; }

    /// Lets what is written until `end_direct` go into these buffers, one after the other.
    void begin_direct(SecBuffer* header, SecBuffer* data, SecBuffer* trailer);
    /// Sets the buffers' sizes to what they took; false if there was not enough room.
    [[nodiscard]] bool end_direct();

private:
    static BIO_METHOD* method();
    static int write(BIO* bio, const char* data, int length);
    static int read(BIO* bio, char* data, int length);
    static long control(BIO* bio, int command, long number, void* pointer);
    bool write_direct(const char* data, std::size_t length);

    const unsigned char* input = nullptr;
    std::size_t input_length = 0;
    std::vector<char> output_;
    std::array<SecBuffer*, 3> direct{};
    std::array<std::size_t, 3> taken{};
    bool is_direct = false;
    bool overflow = false;
};
