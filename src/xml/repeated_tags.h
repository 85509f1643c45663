// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>
#include <memory>
#include <string_view>

#include "xml/growing_array.h"
#include "xml/name_table.h"
#include "xml/same_bytes.h"

/// An attribute of the current start tag.
struct XmlAttribute {
    CRefString name;
    CRefString value;
    CRefString namespace_;
    CRefString prefix;
    XmlName written;  ///< the name as it stands in the tag

    void set(const XmlName& its_name, const CRefString& its_value) {
        written = its_name;
        name = its_name.raw;
        value = its_value;
        namespace_ = CRefString();
        prefix = CRefString();
    }
};

/// What the names of a tag come to depends on these, and on nothing else.
struct TagPlace {
    int depth;
    unsigned scopes_version;   ///< of the namespaces declared so far; of these, only what is used counts
    const CRefString& lender;  ///< prefix of the nearest element above that has one
};

/// A start tag that was read, byte for byte, and what came of it.
struct RepeatedTag {
    CRefString bytes;
    int depth = 0;
    unsigned scopes_version = 0;
    CRefString lender;
    XmlName written;
    CRefString name, prefix, namespace_;
    GrowingArray<XmlAttribute> attributes;
    int attribute_count = 0;

    bool stands_at(const TagPlace& place) const {
        return depth == place.depth && lender.shares(place.lender);
    }
};

/// The start tags that a document repeats, as arrays and records do: from the third time on a tag needs no
/// reading. What one document fills is bounded; a tag drives out another that shares its place.
class RepeatedTags {
public:
    // What is found may have been read when other namespaces were declared.

    /// The tag that stood behind the last one before, if it is what the bytes ahead begin with, at such a
    /// place; null if it is not. An array's or record's tags come in the same order again and again.
    RepeatedTag* expect(std::string_view ahead, const TagPlace& place) {
        if (!tags) return nullptr;
        RepeatedTag& tag = tags->at[follower[last]];
        const std::string_view bytes = tag.bytes.view();
        if (bytes.empty() || ahead.size() < bytes.size() || !tag.stands_at(place) ||
            !same_bytes(ahead.data(), bytes.data(), bytes.size()))
            return nullptr;
        last = follower[last];
        return &tag;
    }

    /// The tag of these bytes as it was read at such a place; null if it was not. Counts as a sight of it.
    RepeatedTag* find(std::string_view bytes, const TagPlace& place);

    /// After `find` found nothing: where to note the tag that it was asked for, all but its bytes and place
    /// to be filled in; null if this was its first sight or memory ends.
    RepeatedTag* remember(std::string_view bytes, const TagPlace& place, int attribute_count);

    void clear() { tags.reset(); }

private:
    void follow(std::uint32_t at);

    static constexpr int kPlaces = 32;
    static constexpr std::size_t kLongest = 128;

    struct Tags {
        PEL_HEAP_OBJECT
        RepeatedTag at[kPlaces];
    };
    std::unique_ptr<Tags> tags;
    std::uint32_t seen[kPlaces] = {};
    std::uint32_t last_hash = 0;
    bool seen_before = false;
    std::uint8_t last = 0;  ///< where the tag stands that was found last
    std::uint8_t follower[kPlaces] = {};
};
