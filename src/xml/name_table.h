// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "streams/ref_string.h"

/// Names and values met lately, so that one that comes again is found by its bytes and costs no memory.
/// Holds a fixed number; a newcomer pushes an old one out.
class NameTable {
public:
    struct Entry {
        CRefString text;
        CRefString prefix, local;  ///< around the first colon; both empty if there is none or `split` is clear
        int colon = -1;            ///< where it stands
        bool split = false;
        std::uint8_t slot = 0;
    };

    NameTable() = default;
    NameTable(const NameTable&) = delete;
    NameTable& operator=(const NameTable&) = delete;

    /// The entry of these bytes, split at the colon; good until the next call. Null when memory ends.
    const Entry* name(const char* bytes, int length);

    /// The text of these bytes into `out`; false when memory ends.
    [[nodiscard]] bool value(const char* bytes, int length, CRefString& out);

    void clear() noexcept;

private:
    static constexpr int kEntries = 64;
    static constexpr int kSlots = 256;
    static constexpr int kLongest = 128;

    Entry* find(const char* bytes, int length, std::uint32_t hash);
    Entry* add(const CRefString& text, std::uint32_t hash);
    bool make(const char* bytes, int length, std::uint32_t hash, CRefString& out);
    bool split(Entry& entry, const char* bytes, int length);

    std::uint8_t slots[kSlots] = {};  ///< index into `entries` plus 1, 0 for none
    int count = 0;
    int victim = 0;
    Entry entries[kEntries];
    Entry single;  ///< for what is not kept: too long, or with a zero byte in it
};
