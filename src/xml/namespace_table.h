// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "streams/ref_string.h"
#include "xml/growing_table.h"
#include "xml/number_map.h"
#include "xml/text_index.h"

/// Which prefix stands for which URI at which depth.
///
/// The declarations of a tag replace those of an earlier tag at the same depth; nothing else removes them, so
/// that they stay visible to later elements there and deeper. A few are searched one by one; when there are
/// many, an index keeps every search short however deep the document and however many the prefixes.
class NamespaceTable {
public:
    NamespaceTable() = default;
    NamespaceTable(const NamespaceTable&) = delete;
    NamespaceTable& operator=(const NamespaceTable&) = delete;

    /// Forgets what stands at `depth`.
    void forget(int depth);

    /// Adds to what stands at `depth`; false when memory ends. The first of two equal prefixes wins; an empty
    /// URI for the empty prefix is as good as none.
    [[nodiscard]] bool declare(int depth, const CRefString& prefix, const CRefString& uri);

    /// The URI of `prefix` at the greatest depth up to `depth`; null if there is none.
    const CRefString* find(const CRefString& prefix, int depth) const;

    void clear() noexcept;

private:
    struct Entry {
        CRefString prefix, uri;
        int depth = 0;
        int prefix_id = 0;  ///< with the index only
        int next = -1;      ///< of the same depth, or of the unused ones; with the index only
    };
    static constexpr int kFew = 12;  ///< searched one by one up to here
    static constexpr int kLevels = 5;

    bool build_index();
    bool enter(int entry);
    void take_out(int entry);
    int predecessor(int prefix_id, int depth) const;

    GrowingTable<Entry, kFew> entries;
    int count = 0;  ///< entries used; sorted by depth while there is no index
    bool indexed = false;
    int unused = -1;
    TextIndex prefixes;
    NumberMap index;
};
