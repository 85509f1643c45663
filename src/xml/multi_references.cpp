// SPDX-License-Identifier: MIT
#include "xml/multi_references.h"

#include <algorithm>

#include "xml/byte_reader.h"
#include "xml/lower_case.h"

namespace {

constexpr std::string_view kIdMarker = "id=\"";

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

void MultiReferences::note(const CRefString& id, const CRefString& name, const char* at) {
    if (at < document_ || at > document_ + size) return;
    Element element;
    element.name = name.c_str();
    element.begin = element.cut = element.resume = static_cast<int>(at - document_);
    Element& known = elements.try_emplace(lower_case(id), element).first->second;
    if (known.begin == element.begin) return;
    find_end(known);
    if (known.end < 0) known = std::move(element);
}

MultiReferences::Element* MultiReferences::find(const CRefString& id) {
    const auto found = elements.find(lower_case(id));
    if (found == elements.end()) return nullptr;
    find_end(found->second);
    return found->second.end >= 0 ? &found->second : nullptr;
}

/// The end is looked for once, when somebody refers to the element: its end tag, or `/>` before any markup.
void MultiReferences::find_end(Element& element) {
    if (element.end != -1) return;
    const std::string_view text(document_, static_cast<std::size_t>(size));
    const auto from = static_cast<std::size_t>(element.resume);
    std::size_t end = find_closing(element.name, from);
    // A tag may bear many ids: what was looked through up to the next markup is not looked through again.
    if (end == std::string_view::npos && (from < not_empty_from || from >= not_empty_until)) {
        const std::size_t markup = text.find('<', from);
        if (markup != std::string_view::npos) end = text.substr(0, markup).find("/>", from);
        if (end == std::string_view::npos) {
            not_empty_from = from;
            not_empty_until = std::min(markup, text.size());
        }
    }
    element.end = end == std::string_view::npos ? -2 : static_cast<int>(end);
}

/// The end tag of this name at `from` or later. Usually it is near; where looking for such tags has cost the
/// document several times over, all of them are noted, so that the cost stays in proportion.
std::size_t MultiReferences::find_closing(std::string_view name, std::size_t from) {
    constexpr long long kMostSearched = 4;
    // What stands for a name ahead may hold a `>`, which no noted name does. Looking for it costs no more
    // than what the reference brings in, or the document ends there.
    const bool is_name = name.find('>') == std::string_view::npos;
    if (!is_name || (!closings_indexed && searched <= kMostSearched * size)) {
        const std::string_view text(document_, static_cast<std::size_t>(size));
        const std::size_t at = text.find("</" + std::string(name) + ">", from);
        searched += static_cast<long long>(std::min(at, text.size()) - std::min(from, text.size()));
        return at;
    }
    if (!closings_indexed) index_closings();
    const auto found = closings.find(name);
    if (found == closings.end()) return std::string_view::npos;
    const std::vector<int>& places = found->second;
    const auto next = std::lower_bound(places.begin(), places.end(), static_cast<int>(from));
    return next == places.end() ? std::string_view::npos : static_cast<std::size_t>(*next);
}

void MultiReferences::index_closings() {
    closings_indexed = true;
    const std::string_view text(document_, static_cast<std::size_t>(size));
    for (std::size_t at = text.find("</"); at != std::string_view::npos; at = text.find("</", at + 2)) {
        const std::size_t behind = text.find_first_of("<>", at + 2);
        if (behind == std::string_view::npos) return;
        if (text[behind] == '>')
            closings[text.substr(at + 2, behind - at - 2)].push_back(static_cast<int>(at));
    }
}

void MultiReferences::index_ids() {
    indexed = true;
    const std::string_view text(document_, static_cast<std::size_t>(size));
    for (std::size_t at = text.find(kIdMarker); at != std::string_view::npos;
         at = text.find(kIdMarker, at + 1)) {
        const std::size_t value = at + kIdMarker.size();
        const std::size_t quote = text.find('"', value);
        if (quote == std::string_view::npos) break;
        ahead.emplace_back(text.substr(value, quote - value), static_cast<int>(at));
    }
    std::sort(ahead.begin(), ahead.end());
}

/// Where the document stands that was interrupted by the references now being read.
int MultiReferences::document_position(const Input& current) const {
    const Input& outermost = frames.empty() ? current : frames.front().input;
    return static_cast<int>(outermost.text - document_) + outermost.position;
}

/// An element with this id that stands at `from` or later; what stands before was noted when it was read.
MultiReferences::Element* MultiReferences::find_ahead(const CRefString& id, int from) {
    if (!indexed) index_ids();
    const auto found = std::lower_bound(ahead.begin(), ahead.end(), std::pair(id.view(), from));
    if (found == ahead.end() || found->first != id.view()) return nullptr;
    Element element;
    if (!read_tag(element, found->second)) return nullptr;
    find_end(element);
    if (element.end < 0) return nullptr;
    return &(elements[lower_case(id)] = std::move(element));
}

/// The tag around the id attribute at `id_begin`: its name, and the pieces of text beside the attribute.
bool MultiReferences::read_tag(Element& element, int id_begin) {
    const std::string_view text(document_, static_cast<std::size_t>(size));
    const std::size_t open = text.rfind('<', static_cast<std::size_t>(id_begin));
    if (open == std::string_view::npos) return false;
    const std::size_t space = text.find(' ', open);
    if (space == std::string_view::npos || space > static_cast<std::size_t>(id_begin)) return false;
    const std::size_t value = static_cast<std::size_t>(id_begin) + kIdMarker.size();
    element.name = text.substr(open + 1, space - open - 1);
    element.begin = static_cast<int>(space);
    element.cut = id_begin;
    element.resume = static_cast<int>(text.find('"', value)) + 1;
    return true;
}

MultiReferences::Input MultiReferences::follow(const CRefString& id, const CRefString& name,
                                               const Input& current) {
    const Element* element = find(id);
    if (element == nullptr) element = find_ahead(id, document_position(current));
    if (element == nullptr || nesting >= kMaxNesting) return {};
    brought_in += (element->cut - element->begin) + (element->end - element->resume);
    if (brought_in > std::max(kMaxBroughtIn, kMaxFactor * size)) return {};
    ++nesting;
    frames.push_back({current, {}, false});
    const std::string marker = "</" + std::string(name.c_str()) + ">";
    CRefString owner(marker.c_str());
    if (owner.length() == 0) return {};
    frames.push_back({{owner.c_str(), 0, owner.length()}, owner, true});
    frames.push_back({{document_, element->resume, element->end}, {}, false});
    return {document_, element->begin, element->cut};
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
