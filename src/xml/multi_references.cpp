// SPDX-License-Identifier: MIT
#include "xml/multi_references.h"

#include <algorithm>
#include <utility>

#include "xml/byte_reader.h"
#include "xml/character_classes.h"

namespace {

constexpr std::string_view kIdMarker = "id=\"";
constexpr std::string_view kEndTag = "</";
constexpr auto kNowhere = std::string_view::npos;

std::size_t index(int position) {
    return static_cast<std::size_t>(position);
}

/// Where in `text` the marker stands, each place a multiple of it apart at least.
std::vector<int> places_of(std::string_view marker, std::string_view text) {
    std::size_t count = 0;
    for (std::size_t at = text.find(marker); at != kNowhere; at = text.find(marker, at + 1)) ++count;
    std::vector<int> places;
    places.reserve(count);
    for (std::size_t at = text.find(marker); at != kNowhere; at = text.find(marker, at + 1))
        places.push_back(static_cast<int>(at));
    return places;
}

}  // namespace

bool MultiReferences::load(const Input& rest, CXmlByteReader& reader) {
    if (storage.status() != 0) return false;
    const int held = rest.count - rest.position;
    if (held > 0 && storage.write(rest.text + rest.position, held) != held) return false;
    char block[CXmlByteReader::kBlockSize];
    for (;;) {
        const int count = reader.readBlock(block, sizeof block);
        if (count <= 0) break;
        if (storage.write(block, count) != count) return false;
    }
    document_ = storage.text();
    size = storage.length();
    return document_ != nullptr;
}

bool MultiReferences::note(const CRefString& id, const CRefString& name, const char* at) {
    if (at < document_ || at > document_ + size) return true;
    const int position = static_cast<int>(at - document_);
    bool added = false;
    IdTable::Place* const known = ids.find_or_add(id, position, added);
    if (known == nullptr) return false;
    if (first_noted < 0) {
        first_noted = position;
        first_name = name.c_str();
    }
    if (!added && known->at != position && !has_end(*known)) *known = {known->key, position};
    return true;
}

bool MultiReferences::find(const CRefString& id, Pieces& found) {
    IdTable::Place* const place = ids.find(id);
    if (place == nullptr || !has_end(*place)) return false;
    std::string_view name;
    found = {place->at, place->at, place->at, place->end};
    if (place->at < 0 && !read_tag(~place->at, name, found)) return false;
    found.end = place->end;
    return true;
}

/// The end is looked for once: when somebody refers to the element, or another bears the same id.
bool MultiReferences::has_end(IdTable::Place& place) {
    if (place.end == IdTable::Place::kUnknown) place.end = find_end(name_before(place.at), place.at);
    return place.end >= 0;
}

/// The name of the tag within which `at` stands.
std::string_view MultiReferences::name_before(int at) {
    if (at == first_noted) return first_name;
    // A tag may bear many ids: what was looked through for its begin is not looked through again.
    const int from = tag_looked_from >= 0 && tag_looked_from <= at ? tag_looked_from : 0;
    const std::size_t begin = text().substr(index(from), index(at - from)).rfind('<');
    if (begin != kNowhere) {
        tag_begin = from + static_cast<int>(begin);
    } else if (from == 0) {
        tag_begin = -1;
    }
    tag_looked_from = at;
    if (tag_begin < 0) return {};
    const std::string_view tag = text().substr(index(tag_begin) + 1, index(at - tag_begin) - 1);
    return tag.substr(0, tag.find_first_of(" \t\r\n"));
}

/// Where the text of an element ends whose start tag goes on at `from`: at the `/` that closes it, or at its
/// end tag; `kNone` if it has neither.
int MultiReferences::find_end(std::string_view name, int from) {
    const int own = find_slash(from);
    return own >= 0 || name.empty() ? std::max(own, IdTable::Place::kNone) : find_closing(name, from);
}

/// The `/` at the end of the tag that goes on at `from`; `kNone` if it is not that of an empty element.
int MultiReferences::find_slash(int from) {
    if (from >= slash_from && from <= slash_until) return slash;
    std::size_t stop = text().find_first_of("<>", index(from));
    slash_from = from;
    slash_until = static_cast<int>(std::min(stop, index(size)));
    slash = IdTable::Place::kNone;
    if (stop == kNowhere || document_[stop] == '<') return slash;
    while (stop > index(from) && is_white(document_[stop - 1])) --stop;
    if (stop > index(from) && document_[stop - 1] == '/') slash = static_cast<int>(stop) - 1;
    return slash;
}

/// The end tag of this name at `from` or later. Usually it is near; where looking for such tags has cost the
/// document several times over, all of them are noted, so that the cost stays in proportion.
int MultiReferences::find_closing(std::string_view name, int from) {
    constexpr long long kMostSearched = 4;
    // What stands for a name ahead may hold a `>`, which no noted name does. Looking for it costs no more
    // than what the reference brings in, or the document ends there.
    const bool is_name = name.find('>') == kNowhere;
    if (!is_name || (!closings_indexed && searched <= kMostSearched * size)) {
        const std::size_t at = text().find(std::string(kEndTag).append(name) + ">", index(from));
        searched += static_cast<long long>(std::min(at, index(size))) - from;
        return at == kNowhere ? IdTable::Place::kNone : static_cast<int>(at);
    }
    if (!closings_indexed) index_closings();
    const auto next = std::lower_bound(closings.begin(), closings.end(), std::pair(name, from),
                                       [this](int at, const std::pair<std::string_view, int>& wanted) {
                                           return std::pair(closing_at(at), at) < wanted;
                                       });
    return next == closings.end() || closing_at(*next) != name ? IdTable::Place::kNone : *next;
}

/// The name of the end tag at `at`; empty if it is none.
std::string_view MultiReferences::closing_at(int at) const {
    const std::string_view behind = text().substr(index(at) + kEndTag.size());
    const std::size_t stop = behind.find_first_of("<>");
    return stop == kNowhere || behind[stop] == '<' ? std::string_view() : behind.substr(0, stop);
}

void MultiReferences::index_closings() {
    closings_indexed = true;
    closings = places_of(kEndTag, text());
    std::sort(closings.begin(), closings.end(),
              [this](int a, int b) { return std::pair(closing_at(a), a) < std::pair(closing_at(b), b); });
}

void MultiReferences::index_ids() {
    indexed = true;
    ahead = places_of(kIdMarker, text());
    // Behind the last quote of the document there is no id.
    while (!ahead.empty() && text().find('"', index(ahead.back()) + kIdMarker.size()) == kNowhere)
        ahead.pop_back();
    std::sort(ahead.begin(), ahead.end(),
              [this](int a, int b) { return std::pair(id_at(a), a) < std::pair(id_at(b), b); });
}

/// The value of the id attribute at `at`.
std::string_view MultiReferences::id_at(int at) const {
    const std::string_view value = text().substr(index(at) + kIdMarker.size());
    return value.substr(0, value.find('"'));
}

/// Where the document stands that was interrupted by the references now being read.
int MultiReferences::document_position(const Input& current) const {
    const Input& outermost = frames.empty() ? current : frames.front().input;
    return static_cast<int>(outermost.text - document_) + outermost.position;
}

/// An element with this id that stands at `from` or later; what stands before was noted when it was read.
bool MultiReferences::find_ahead(const CRefString& id, int from, Pieces& found) {
    if (!indexed) index_ids();
    const auto place = std::lower_bound(ahead.begin(), ahead.end(), std::pair(id.view(), from),
                                        [this](int at, const std::pair<std::string_view, int>& wanted) {
                                            return std::pair(id_at(at), at) < wanted;
                                        });
    if (place == ahead.end() || id_at(*place) != id.view()) return false;
    std::string_view name;
    if (!read_tag(*place, name, found)) return false;
    found.end = find_end(name, found.resume);
    if (found.end < 0) return false;
    bool added = false;
    // Without memory to keep it, it is looked for again.
    if (IdTable::Place* const kept = ids.find_or_add(id, ~*place, added))
        *kept = {kept->key, ~*place, found.end};
    return true;
}

/// The tag around the id attribute at `id_begin`: its name, and the pieces of text beside the attribute.
bool MultiReferences::read_tag(int id_begin, std::string_view& name, Pieces& pieces) const {
    const std::size_t open = text().rfind('<', index(id_begin));
    if (open == kNowhere) return false;
    const std::size_t space = text().find(' ', open);
    if (space == kNowhere || space > index(id_begin)) return false;
    name = text().substr(open + 1, space - open - 1);
    const std::size_t quote = text().find('"', index(id_begin) + kIdMarker.size());
    pieces = {static_cast<int>(space), id_begin, static_cast<int>(quote) + 1, IdTable::Place::kUnknown};
    return true;
}

MultiReferences::Input MultiReferences::follow(const CRefString& id, const CRefString& name,
                                               const Input& current) {
    Pieces pieces;
    if (!find(id, pieces) && !find_ahead(id, document_position(current), pieces)) return {};
    if (nesting >= kMaxNesting) return {};
    brought_in += (pieces.cut - pieces.begin) + (pieces.end - pieces.resume);
    if (brought_in > std::max(kMaxBroughtIn, kMaxFactor * size)) return {};
    ++nesting;
    frames.push_back({current, {}, false});
    const std::string marker = "</" + std::string(name.c_str()) + ">";
    CRefString owner(marker.c_str());
    if (owner.length() == 0) return {};
    frames.push_back({{owner.c_str(), 0, owner.length()}, owner, true});
    frames.push_back({{document_, pieces.resume, pieces.end}, {}, false});
    return {document_, pieces.begin, pieces.cut};
}

MultiReferences::Input MultiReferences::next_input() {
    if (frames.empty()) return {};
    const Frame& next = frames.back();
    const Input input = next.input;
    if (next.ends_reference) {
        --nesting;
        last_owner = next.owner;
    }
    frames.pop_back();
    return input;
}
