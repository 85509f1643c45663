// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>

#include "streams/ref_string.h"

/// The characters of the token being read. A long text leaves as it stands, without a copy.
class XmlTextBuffer {
public:
    XmlTextBuffer() = default;
    ~XmlTextBuffer() { clear(); }
    XmlTextBuffer(const XmlTextBuffer&) = delete;
    XmlTextBuffer& operator=(const XmlTextBuffer&) = delete;

    const char* data() const { return bytes; }
    int length() const { return length_; }

    /// Shortens to `length` bytes.
    void cut(int length) { length_ = length; }

    [[nodiscard]] bool push(char c) {
        if (length_ >= room && !grow(1)) return false;
        bytes[length_++] = c;
        return true;
    }
    [[nodiscard]] bool append(const char* from, int count) {
        if (count > room - length_ && !grow(count)) return false;
        std::memcpy(bytes + length_, from, static_cast<std::size_t>(count));
        length_ += count;
        return true;
    }

    /// Makes all of it a text and is empty afterwards; false, with nothing changed, when memory ends.
    [[nodiscard]] bool take(CRefString& out);

    /// The first block, so that a lack of memory shows early.
    [[nodiscard]] bool start() { return room > 0 || grow(1); }

    void clear() noexcept;

private:
    static constexpr int kFirst = 200;
    static constexpr int kCopied = 1024;  ///< texts up to here are copied, the buffer is kept

    bool grow(int count);

    CRefString::Body* body = nullptr;
    char* bytes = nullptr;
    int length_ = 0;
    int room = 0;  ///< bytes that fit besides the terminator
};
