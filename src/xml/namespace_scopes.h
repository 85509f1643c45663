// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

#include "streams/ref_string.h"
#include "xml/growing_array.h"

/// The namespace declarations that are visible, by the depth of the element that made them.
///
/// What an element declared stays until a later element of the same depth declares something: only then the
/// depth's declarations are replaced. A prefix is looked up from a depth down to 1; at each depth the first
/// declaration that matches counts. Prefixes ignore case.
class NamespaceScopes {
public:
    /// Forgets what `depth` declared: its element is about to declare something, and does so before any
    /// other.
    void begin(int depth);

    /// Adds a declaration behind those that `depth` has; false when memory ends.
    bool declare(int depth, const CRefString& prefix, const CRefString& uri);

    /// The URI bound to `prefix` as seen from `depth`; empty if there is none. An empty prefix asks for the
    /// default namespace; one that was declared empty is passed over.
    const CRefString& find(const CRefString& prefix, int depth);

    /// The most that were there at a time.
    int declarations() const { return record_count; }

    /// Changes with each declaration.
    unsigned version() const { return version_; }

    void clear();

private:
    struct Declaration {
        CRefString prefix;
        CRefString uri;
        int next = -1;
    };

    /// Up to this many declarations a walk beats an index.
    static constexpr int kWalkLimit = 32;

    /// By prefix in lower case, the first declaration that counts at each depth. Kept only for documents with
    /// many declarations, where walks would make reading quadratic.
    using Index = std::map<std::string, std::map<int, CRefString>, std::less<>>;

    int slot_of(int depth) const;
    int* first_at(int depth);
    int* add_depth(int depth);
    void build_index();
    const CRefString* find_at(int first, const CRefString& prefix) const;
    void index_depth(int depth, int first);
    void unindex_depth(int depth, int first);
    int take_record();

    const CRefString& look_up(const CRefString& prefix, int depth) const;

    /// What was found last. Where nothing is declared deeper, all depths see the same.
    struct Found {
        CRefString prefix;
        CRefString uri;
        int depth = -1;
    };
    static constexpr int kFound = 4;

    Found found[kFound];
    unsigned version_ = 0;
    int found_count = 0;
    int next_found = 0;

    GrowingArray<Declaration> records;
    int record_count = 0;
    int free_record = -1;
    int last_record = -1;
    GrowingArray<int> firsts;  ///< by position in `depths`
    GrowingArray<int> depths;  ///< depths with declarations, ascending
    int depth_count = 0;
    bool indexed = false;
    Index index;
    std::map<int, int> indexed_firsts;  ///< by depth, in place of the two arrays
};
