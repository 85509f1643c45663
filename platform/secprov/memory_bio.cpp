// SPDX-License-Identifier: MIT
#include "memory_bio.h"

#include <algorithm>
#include <cstring>
#include <new>

BIO_METHOD* MemoryBio::method() {
    static BIO_METHOD* const made = [] {
        BIO_METHOD* const fresh = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "secprov memory");
        if (fresh == nullptr) return fresh;
        BIO_meth_set_write(fresh, &MemoryBio::write);
        BIO_meth_set_read(fresh, &MemoryBio::read);
        BIO_meth_set_ctrl(fresh, &MemoryBio::control);
        return fresh;
    }();
    return made;
}

BioHandle MemoryBio::make_bio() {
    BIO_METHOD* const kind = method();
    BioHandle bio(kind != nullptr ? BIO_new(kind) : nullptr);
    if (bio) {
        BIO_set_data(bio.get(), this);
        BIO_set_init(bio.get(), 1);
    }
    return bio;
}

int MemoryBio::read(BIO* bio, char* data, int length) {
    auto* const self = static_cast<MemoryBio*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    if (self->input_length == 0) {
        BIO_set_retry_read(bio);
        return -1;
    }
    const std::size_t count = std::min(self->input_length, static_cast<std::size_t>(length));
    std::memcpy(data, self->input, count);
    self->input += count;
    self->input_length -= count;
    return static_cast<int>(count);
}

int MemoryBio::write(BIO* bio, const char* data, int length) {
    auto* const self = static_cast<MemoryBio*>(BIO_get_data(bio));
    const auto size = static_cast<std::size_t>(length);
    BIO_clear_retry_flags(bio);
    if (self->is_direct) return self->write_direct(data, size) ? length : -1;
    try {
        self->output_.insert(self->output_.end(), data, data + size);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    return length;
}

long MemoryBio::control(BIO*, int command, long, void*) {
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

bool MemoryBio::write_direct(const char* data, std::size_t length) {
    for (std::size_t i = 0; i < direct.size() && length > 0; ++i) {
        const std::size_t count = std::min(direct[i]->cbBuffer - taken[i], length);
        std::memcpy(static_cast<char*>(direct[i]->pvBuffer) + taken[i], data, count);
        taken[i] += count;
        data += count;
        length -= count;
    }
    overflow = overflow || length > 0;
    return !overflow;
}

void MemoryBio::begin_direct(SecBuffer* header, SecBuffer* data, SecBuffer* trailer) {
    direct = {header, data, trailer};
    taken = {};
    is_direct = true;
    overflow = false;
}

bool MemoryBio::end_direct() {
    is_direct = false;
    for (std::size_t i = 0; i < direct.size(); ++i) direct[i]->cbBuffer = static_cast<ULONG>(taken[i]);
    return !overflow;
}
