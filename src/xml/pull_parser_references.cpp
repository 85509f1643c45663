// SPDX-License-Identifier: MIT

// How the parser follows `href` to `id` (SOAP 1.1, section 5): an empty element with an `href` goes on with
// the attributes and the content of the element that has the `id`, as if they stood in its place.

#include <new>

#include "xml/pull_parser_inline.h"

namespace {

constexpr char kNotFound[] = "Href defined but corresponding ID NOT found";

}  // namespace

/// Holds on to the rest of the document; false for encodings in which nothing can be looked for by bytes.
bool CXmlPullParser::load_references() {
    if (encodingCode == XML_UTF_16BE || encodingCode == XML_UTF_16LE) return false;
    if (references != nullptr) return true;
    references.reset(new MultiReferences);
    reserve(references != nullptr && references->load({src, srcPos, srcCount}, *reader));
    const MultiReferences::Input document = references->document();
    ascii = false;
    src = document.text;
    srcPos = 0;
    srcCount = document.count;
    return true;
}

bool CXmlPullParser::fetch_referenced() {
    for (;;) {
        const MultiReferences::Input input = references->next_input();
        srcPos = input.position;
        srcCount = input.count;
        if (input.text == nullptr) {
            check_end();
            return false;
        }
        src = input.text;
        if (srcPos < srcCount) return true;
    }
}

/// Called when the value of an `id` attribute was read and its closing quote is the next character.
void CXmlPullParser::captureId(const CRefString& id) {
    if (!load_references()) return;
    try {
        reserve(references->note(id, name, src + srcPos + (peekCount == 0 ? 1 : 0)));
    } catch (const std::bad_alloc&) {
        raise(-102, "Memory allocation error");
    }
}

void CXmlPullParser::followReference() {
    if (!load_references()) raise(-115, kNotFound);
    MultiReferences::Input input;
    try {
        input = references->follow(hrefTarget, name, {src, srcPos, srcCount});
    } catch (const std::bad_alloc&) {
        raise(-102, "Memory allocation error");
    }
    if (input.text == nullptr) raise(-115, kNotFound);
    src = input.text;
    srcPos = input.position;
    srcCount = input.count;
    peekCount = textLength = 0;
    wasCR = false;
}
