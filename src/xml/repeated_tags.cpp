// SPDX-License-Identifier: MIT
#include "xml/repeated_tags.h"

#include "xml/text_place.h"

RepeatedTag* RepeatedTags::find(std::string_view bytes, const TagPlace& place) {
    seen_before = false;
    if (bytes.size() > kLongest) return nullptr;
    last_hash = text_place(bytes);
    std::uint32_t& sight = seen[last_hash % kPlaces];
    seen_before = sight == last_hash;
    sight = last_hash;
    if (!seen_before || !tags) return nullptr;
    RepeatedTag& tag = tags->at[last_hash % kPlaces];
    if (tag.bytes.view() != bytes || !tag.stands_at(place)) return nullptr;
    follow(last_hash % kPlaces);
    return &tag;
}

void RepeatedTags::follow(std::uint32_t at) {
    follower[last] = static_cast<std::uint8_t>(at);
    last = follower[last];
}

RepeatedTag* RepeatedTags::remember(std::string_view bytes, const TagPlace& place, int attribute_count) {
    if (!seen_before) return nullptr;
    if (!tags) tags.reset(new Tags);
    if (!tags) return nullptr;
    RepeatedTag& tag = tags->at[last_hash % kPlaces];
    tag.bytes = CRefString();
    if (!tag.attributes.reserve(attribute_count, attribute_count)) return nullptr;
    if (!CRefString::create(tag.bytes, bytes.data(), bytes.size())) return nullptr;
    tag.depth = place.depth;
    tag.scopes_version = place.scopes_version;
    tag.lender = place.lender;
    follow(last_hash % kPlaces);
    return &tag;
}
