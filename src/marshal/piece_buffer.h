// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstring>

#include "streams/stream.h"

/// Gathers the many small pieces that XML text is written in and hands them to a body writer in blocks.
///
/// Gathering may be switched off: a chunked body makes one chunk of each write, and there every piece goes
/// out as it comes, one byte of character data at a time. Owns nothing. One thread at a time.
class PieceBuffer {
public:
    /// Starts on `writer`, which must outlive the text; `gather` false passes each piece on at once.
    void open(COutputStream* writer, bool gather) {
        writer_ = writer;
        gather_ = gather;
        used_ = 0;
    }

    bool gathers() const { return gather_; }

    void put(char c) {
        if (!gather_) {
            writer_->put(c);
            return;
        }
        if (used_ == kSize) flush();
        bytes_[used_++] = c;
    }

    void write(const char* data, std::size_t length) {
        if (length == 0) return;  // the text of a null string has no address
        if (gather_ && length <= kSize && used_ <= kSize - length) {
            std::memcpy(bytes_ + used_, data, length);
            used_ += length;
        } else {
            write_large(data, length);
        }
    }

    /// Room for `length` bytes, at most `kLongestPiece`, to be filled and then told to `commit`.
    char* reserve(std::size_t length) {
        if (length > kSize - used_) flush();
        return bytes_ + used_;
    }

    /// Takes `length` bytes of what `reserve` gave as written.
    void commit(std::size_t length) {
        used_ += length;
        if (!gather_) flush();
    }

    /// Hands what is held to the writer; does not flush the writer.
    void flush() {
        if (used_ != 0) writer_->write(bytes_, static_cast<int>(used_));
        used_ = 0;
    }

    /// Forgets what is held.
    void drop() { used_ = 0; }

    static constexpr std::size_t kLongestPiece = 512;

private:
    void write_large(const char* data, std::size_t length);

    static constexpr std::size_t kSize = 2048;

    COutputStream* writer_ = nullptr;
    std::size_t used_ = 0;
    bool gather_ = false;
    char bytes_[kSize];
};
