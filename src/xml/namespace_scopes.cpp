// SPDX-License-Identifier: MIT
#include "xml/namespace_scopes.h"

#include <algorithm>
#include <new>

#include "xml/lower_case.h"

int NamespaceScopes::slot_of(int depth) const {
    if (depth_count == 0) return 0;
    const int* const begin = &depths[0];
    return static_cast<int>(std::lower_bound(begin, begin + depth_count, depth) - begin);
}

void NamespaceScopes::begin(int depth) {
    ++version_;
    found_count = next_found = 0;
    int* const first = first_at(depth);
    if (first == nullptr) return;
    if (indexed) unindex_depth(depth, *first);
    for (int record = *first; record >= 0;) {
        const int next = records[record].next;
        records[record] = Declaration{{}, {}, free_record};
        free_record = record;
        record = next;
    }
    *first = -1;
}

/// The first declaration of the depth; null if it never had one.
int* NamespaceScopes::first_at(int depth) {
    if (indexed) {
        const auto found_depth = indexed_firsts.find(depth);
        return found_depth == indexed_firsts.end() ? nullptr : &found_depth->second;
    }
    const int slot = slot_of(depth);
    return slot < depth_count && depths[slot] == depth ? &firsts[slot] : nullptr;
}

/// The same, made if need be; null when memory ends.
int* NamespaceScopes::add_depth(int depth) {
    if (indexed) return &indexed_firsts.try_emplace(depth, -1).first->second;
    if (int* const known = first_at(depth)) return known;
    if (!depths.reserve(depth_count + 1, 8) || !firsts.reserve(depth_count + 1, 8)) return nullptr;
    const int slot = slot_of(depth);
    for (int i = depth_count; i > slot; --i) {
        depths[i] = depths[i - 1];
        firsts[i] = firsts[i - 1];
    }
    depths[slot] = depth;
    firsts[slot] = -1;
    ++depth_count;
    return &firsts[slot];
}

int NamespaceScopes::take_record() {
    if (free_record >= 0) {
        const int record = free_record;
        free_record = records[record].next;
        return record;
    }
    return records.reserve(record_count + 1, 8) ? record_count++ : -1;
}

bool NamespaceScopes::declare(int depth, const CRefString& prefix, const CRefString& uri) {
    ++version_;
    found_count = next_found = 0;
    try {
        const int record = take_record();
        int* const first = record >= 0 ? add_depth(depth) : nullptr;
        if (first == nullptr) return false;
        records[record] = Declaration{prefix, uri, -1};
        // A tag's declarations come one after the other: the last one made is the end of the chain.
        if (*first < 0) {
            *first = record;
        } else {
            records[last_record].next = record;
        }
        last_record = record;
        if (indexed) {
            index_depth(depth, record);
        } else if (record_count > kWalkLimit) {
            build_index();
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void NamespaceScopes::build_index() {
    indexed = true;
    for (int i = 0; i < depth_count; ++i) {
        indexed_firsts.emplace(depths[i], firsts[i]);
        index_depth(depths[i], firsts[i]);
    }
}

void NamespaceScopes::index_depth(int depth, int first) {
    for (int record = first; record >= 0; record = records[record].next) {
        const Declaration& declaration = records[record];
        if (declaration.uri.length() != 0)
            index[lower_case(declaration.prefix)].try_emplace(depth, declaration.uri);
    }
}

void NamespaceScopes::unindex_depth(int depth, int first) {
    for (int record = first; record >= 0; record = records[record].next) {
        const auto entry = index.find(lower_case(records[record].prefix));
        if (entry != index.end()) entry->second.erase(depth);
    }
}

const CRefString* NamespaceScopes::find_at(int first, const CRefString& prefix) const {
    for (int record = first; record >= 0; record = records[record].next) {
        const Declaration& declaration = records[record];
        const bool matches = prefix.length() == 0
                                 ? declaration.prefix.length() == 0 && declaration.uri.length() != 0
                                 : declaration.prefix.length() != 0 && declaration.prefix == prefix;
        if (matches) return &declaration.uri;
    }
    return nullptr;
}

const CRefString& NamespaceScopes::find(const CRefString& prefix, int depth) {
    const int deepest = indexed            ? indexed_firsts.rbegin()->first
                        : depth_count == 0 ? 0
                                           : depths[depth_count - 1];
    depth = std::min(depth, deepest);
    for (int i = 0; i < found_count; ++i) {
        if (found[i].prefix.shares(prefix) && found[i].depth == depth) return found[i].uri;
    }
    Found& place = found[next_found];
    next_found = (next_found + 1) % kFound;
    found_count = std::max(found_count, next_found == 0 ? kFound : next_found);
    place.prefix = prefix;
    place.depth = depth;
    place.uri = look_up(prefix, depth);
    return place.uri;
}

const CRefString& NamespaceScopes::look_up(const CRefString& prefix, int depth) const {
    static const CRefString kNone;
    if (indexed) {
        const auto entry = index.find(lower_case(prefix));
        if (entry == index.end()) return kNone;
        const auto behind = entry->second.upper_bound(depth);
        return behind == entry->second.begin() ? kNone : std::prev(behind)->second;
    }
    for (int slot = slot_of(depth + 1) - 1; slot >= 0; --slot) {
        if (const CRefString* uri = find_at(firsts[slot], prefix)) return *uri;
    }
    return kNone;
}

void NamespaceScopes::clear() {
    for (Found& place : found) place = Found();
    found_count = next_found = 0;
    records.clear();
    firsts.clear();
    depths.clear();
    index.clear();
    indexed_firsts.clear();
    record_count = depth_count = 0;
    free_record = -1;
    indexed = false;
}
