// SPDX-License-Identifier: MIT
#include "xml/utf8_input.h"

#include <vqsys/text.h>

#include <cstring>

#include "streams/stream.h"

bool Utf8Input::find(const char* name, Source& found) {
    struct {
        const char* name;
        Source source;
    } constexpr kNames[] = {
        {"UTF-8", Source::utf8},
        {"UTF-16LE", Source::utf16_little_endian},
        {"UTF-16BE", Source::utf16_big_endian},
        {"ISO-8859-1", Source::latin1},
        {"LATIN1", Source::latin1},
        {"US-ASCII", Source::utf8},
    };
    for (const auto& known : kNames) {
        if (vqOSstricmp(name, known.name) != 0) continue;
        found = known.source;
        return true;
    }
    return false;
}

void Utf8Input::put_back(const char* bytes, int count) {
    std::memcpy(raw, bytes, static_cast<std::size_t>(count));
    held = count;
}

int Utf8Input::read(char* destination) {
    if (fault_ != TextFault::none) return -1;
    return source == Source::utf8 ? read_utf8(destination) : read_converted(destination);
}

int Utf8Input::read_utf8(char* destination) {
    int count = held;
    std::memcpy(destination, raw, static_cast<std::size_t>(held));
    held = 0;
    for (;;) {
        const TextCheck check = check_utf8(destination, static_cast<std::size_t>(count));
        const int valid = static_cast<int>(check.valid);
        ascii_ = check.ascii;
        if (check.fault == TextFault::malformed || check.fault == TextFault::forbidden) {
            fault_ = check.fault;
            return valid > 0 ? valid : -1;
        }
        if (valid > 0) {
            held = count - valid;
            std::memcpy(raw, destination + valid, static_cast<std::size_t>(held));
            return valid;
        }
        const int more = stream->read(destination + count, kBlockSize - count);
        if (more <= 0) {
            if (count > 0) fault_ = TextFault::malformed;
            return more;
        }
        count += more;
    }
}

int Utf8Input::read_converted(char* destination) {
    for (;;) {
        if (const int count = convert(destination); count > 0) return count;
        if (fault_ != TextFault::none) return -1;
        const int more = stream->read(raw + held, kBlockSize - held);
        if (more <= 0) {
            if (held > 0) fault_ = TextFault::malformed;
            return more;
        }
        held += more;
    }
}

/// Converts what is held, as far as it is whole characters and `destination` has room; gives the bytes made.
int Utf8Input::convert(char* destination) {
    int made = 0;
    int used = 0;
    ascii_ = true;
    unsigned code = 0;
    while (made <= kBlockSize - 4) {
        const int taken = character_at(used, code);
        if (taken == 0) break;
        if (!is_xml_character(code)) {
            fault_ = TextFault::forbidden;
            break;
        }
        ascii_ = ascii_ && code < 0x80;
        made += static_cast<int>(put_utf8(code, destination + made));
        used += taken;
    }
    held -= used;
    std::memmove(raw, raw + used, static_cast<std::size_t>(held));
    return made;
}

/// The character at `at` of what is held: its bytes, or 0 if it is not all there or malformed.
int Utf8Input::character_at(int at, unsigned& code) {
    const auto byte = [this](int i) { return static_cast<unsigned>(static_cast<unsigned char>(raw[i])); };
    if (source == Source::latin1) {
        if (at == held) return 0;
        code = byte(at);
        return 1;
    }
    const auto unit = [this, byte](int i) {
        return source == Source::utf16_big_endian ? byte(i) << 8 | byte(i + 1) : byte(i + 1) << 8 | byte(i);
    };
    if (held - at < 2) return 0;
    code = unit(at);
    if (code < 0xD800 || code > 0xDFFF) return 2;
    const bool high = code < 0xDC00;
    if (high && held - at < 4) return 0;
    const unsigned low = high ? unit(at + 2) : 0;
    if (low < 0xDC00 || low > 0xDFFF) {
        fault_ = TextFault::malformed;
        return 0;
    }
    code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    return 4;
}
