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
    const int slot = slot_of(depth);
    if (slot == depth_count || depths[slot] != depth) return;
    if (indexed) unindex_depth(depth, firsts[slot]);
    for (int record = firsts[slot]; record >= 0;) {
        const int next = records[record].next;
        records[record] = Declaration{{}, {}, free_record};
        free_record = record;
        record = next;
    }
    firsts[slot] = -1;
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
    const int record = take_record();
    if (record < 0 || !depths.reserve(depth_count + 1, 8) || !firsts.reserve(depth_count + 1, 8))
        return false;
    const int slot = slot_of(depth);
    if (slot == depth_count || depths[slot] != depth) {
        for (int i = depth_count; i > slot; --i) {
            depths[i] = depths[i - 1];
            firsts[i] = firsts[i - 1];
        }
        depths[slot] = depth;
        firsts[slot] = -1;
        ++depth_count;
    }
    records[record] = Declaration{prefix, uri, -1};
    // A tag's declarations come one after the other: the last one made is the end of the chain.
    if (firsts[slot] < 0) {
        firsts[slot] = record;
    } else {
        records[last_record].next = record;
    }
    last_record = record;
    if (!indexed && record_count <= kWalkLimit) return true;
    try {
        if (!indexed) {
            indexed = true;
            for (int i = 0; i < depth_count; ++i) index_depth(depths[i], firsts[i]);
        } else {
            index_depth(depth, record);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
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
    const int deepest = depth_count == 0 ? 0 : depths[depth_count - 1];
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
    record_count = depth_count = 0;
    free_record = -1;
    indexed = false;
}
