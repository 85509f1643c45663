// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>
#include <pelthread/mutex.h>

#include <cstddef>

struct CStringMapEntry;

/// Walks the keys of a map in their order. Takes no lock: who walks holds the map's mutex all the while.
class CStringMapIterator {
public:
    PEL_HEAP_OBJECT

    explicit CStringMapIterator(const CStringMapEntry* first) : next(first) {}

    /// The key it stands on, and steps on; null at the end.
    const char* Next();
    /// The same with the value; false at the end. A value may be null where memory ended.
    bool Next(const char** key, const char** value);

private:
    const CStringMapEntry* next;
};

/// Text pairs in the order of their first insertion; keys are unique without regard to case. Every operation
/// takes the map's mutex, so that any thread may call it.
class CStringMap {
public:
    CStringMap() = default;
    ~CStringMap() { Clear(); }
    CStringMap(const CStringMap&) = delete;
    CStringMap& operator=(const CStringMap&) = delete;

    /// Stores copies of both texts, or gives the key's entry, which keeps its place and its spelling, a new
    /// value. 1; 0 when memory ends: a new pair is not stored then, an old entry is left without a value.
    int Set(const char* key, const char* value);

    /// The value of `key`; null if there is none. Stays the map's, until the key is set again.
    const char* Get(const char* key) const;

    /// For a caller that iterates.
    PEL_Mutex& GetMutex() const { return mutex; }

    void Clear();

    /// An iterator on the first entry, the caller's; null when memory ends.
    CStringMapIterator* Iterate() const;
    /// The same by value.
    CStringMapIterator Walk() const { return CStringMapIterator(head); }

private:
    CStringMapEntry* find(const char* key, std::size_t length) const;

    CStringMapEntry* head = nullptr;
    mutable PEL_Mutex mutex;
    CStringMapEntry* last = nullptr;
};
