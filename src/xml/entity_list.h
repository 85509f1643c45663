// SPDX-License-Identifier: MIT
#pragma once

#include "streams/ref_string.h"

/// The replacements for named references: the five of XML 1.0 section 4.6, then what the reader defined.
class EntityList {
public:
    EntityList() = default;
    ~EntityList() { clear(); }
    EntityList(const EntityList&) = delete;
    EntityList& operator=(const EntityList&) = delete;

    /// Behind all others; false when memory ends.
    [[nodiscard]] bool add(const CRefString& key, const CRefString& value);

    /// The value of the first that has this key, ignoring case, and is not empty; else null. `length` is set.
    const char* find(const CRefString& key, int& length) const;

    void clear() noexcept;

private:
    struct Entity;
    Entity* first = nullptr;
    Entity* last = nullptr;
};
