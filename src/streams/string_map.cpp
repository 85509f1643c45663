// SPDX-License-Identifier: MIT
#include "streams/string_map.h"

#include <vqsys/text.h>

#include <cstring>
#include <new>

/// One pair. Key and first value lie behind the entry in the same block.
struct CStringMapEntry {
    char* key;
    char* value;  // null where memory ended for a new one
    CStringMapEntry* next;
    std::size_t key_length;

    char* first_value() const { return key + key_length + 1; }
    void drop_value() {
        if (value != first_value()) PEL_array_delete(value);
        value = nullptr;
    }
};

namespace {

CStringMapEntry* new_entry(const char* key, std::size_t key_length, const char* value) {
    const std::size_t value_size = std::strlen(value) + 1;
    void* block = PEL_new(sizeof(CStringMapEntry) + key_length + 1 + value_size);
    if (block == nullptr) return nullptr;
    char* chars = static_cast<char*>(block) + sizeof(CStringMapEntry);
    auto* entry = ::new (block) CStringMapEntry{chars, nullptr, nullptr, key_length};
    std::memcpy(chars, key, key_length + 1);
    entry->value = entry->first_value();
    std::memcpy(entry->value, value, value_size);
    return entry;
}

}  // namespace

const char* CStringMapIterator::Next() {
    const char* key = nullptr;
    const char* value = nullptr;
    return Next(&key, &value) ? key : nullptr;
}

bool CStringMapIterator::Next(const char** key, const char** value) {
    if (next == nullptr) return false;
    *key = next->key;
    *value = next->value;
    next = next->next;
    return true;
}

int CStringMap::Set(const char* key, const char* value) {
    if (key == nullptr || value == nullptr) return 0;
    const std::size_t key_length = std::strlen(key);
    const PEL_Lock lock(mutex);
    if (CStringMapEntry* entry = find(key, key_length)) {
        // Copied first: `value` may be the old value of this very entry.
        const std::size_t size = std::strlen(value) + 1;
        char* copy = static_cast<char*>(PEL_array_new(size));
        if (copy != nullptr) std::memcpy(copy, value, size);
        entry->drop_value();
        entry->value = copy;
        return copy != nullptr ? 1 : 0;
    }
    CStringMapEntry* entry = new_entry(key, key_length, value);
    if (entry == nullptr) return 0;
    (last != nullptr ? last->next : head) = entry;
    last = entry;
    return 1;
}

const char* CStringMap::Get(const char* key) const {
    if (key == nullptr) return nullptr;
    const PEL_Lock lock(mutex);
    const CStringMapEntry* entry = find(key, std::strlen(key));
    return entry != nullptr ? entry->value : nullptr;
}

void CStringMap::Clear() {
    const PEL_Lock lock(mutex);
    while (head != nullptr) {
        CStringMapEntry* entry = head;
        head = entry->next;
        entry->drop_value();
        PEL_delete(entry);
    }
    last = nullptr;
}

CStringMapIterator* CStringMap::Iterate() const {
    const PEL_Lock lock(mutex);
    return new CStringMapIterator(head);
}

CStringMapEntry* CStringMap::find(const char* key, std::size_t length) const {
    for (CStringMapEntry* entry = head; entry != nullptr; entry = entry->next) {
        if (entry->key_length == length && vqOSstricmp(entry->key, key) == 0) return entry;
    }
    return nullptr;
}
