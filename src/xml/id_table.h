// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "streams/ref_string.h"

/// The ids of a document, without regard to case, and where their elements stand: sixteen bytes each, since a
/// hostile document has one in every few bytes. An id is known by 64 bits that are seeded anew in each
/// process, so that nobody can prepare two that are taken for one.
class IdTable {
public:
    struct Place {
        static constexpr std::int32_t kUnknown = -1;
        static constexpr std::int32_t kNone = -2;

        std::uint64_t key = 0;  ///< 0 for a free place
        std::int32_t at = 0;
        std::int32_t end = kUnknown;  ///< of the element's text
    };

    IdTable() = default;
    ~IdTable();
    IdTable(const IdTable&) = delete;
    IdTable& operator=(const IdTable&) = delete;

    /// The place of an id; null if it has none.
    Place* find(const CRefString& id);
    /// The same, with a new one, `added`, at `at` if it had none. Null when memory ends.
    Place* find_or_add(const CRefString& id, int at, bool& added);

private:
    static std::uint64_t key_of(const CRefString& id);
    std::int64_t first_place(std::uint64_t key) const;
    Place& place_of(std::uint64_t key);
    bool grow();

    Place* places = nullptr;
    std::int64_t capacity = 0;
    std::int64_t count = 0;
};
