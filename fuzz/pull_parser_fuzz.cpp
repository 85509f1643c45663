// SPDX-License-Identifier: MIT

// Any bytes as an XML document. The first byte says in what pieces they arrive and how they are read, in both
// kinds of text.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "streams/stream.h"
#include "xml/pull_parser.h"
#include "xml/utf8_text.h"

namespace {

class FuzzInputStream final : public CInputStream {
public:
    FuzzInputStream(const std::uint8_t* bytes, std::size_t size, std::size_t step)
        : at(bytes), end(bytes + size), piece(step) {}
    int get() override { return at == end ? -1 : *at++; }
    int read(char* buffer, int length) override {
        const std::size_t count =
            std::min({static_cast<std::size_t>(end - at), piece, static_cast<std::size_t>(length)});
        if (count == 0) return -1;
        std::memcpy(buffer, at, count);
        at += count;
        return static_cast<int>(count);
    }
    int available() override { return -1; }
    int status() override { return kStreamGood; }

private:
    const std::uint8_t* at;
    const std::uint8_t* end;
    std::size_t piece;
};

std::size_t look_at(CXmlPullParser& parser) {
    std::size_t seen = parser.getText().view().size() + parser.getName().view().size() +
                       parser.getNamespace().view().size() + parser.getPrefix().view().size();
    for (int i = 0; i < parser.getAttributeCount(); ++i) {
        seen += parser.getAttributeName(i).view().size() + parser.getAttributeValue(i).view().size() +
                parser.getAttributeNamespace(i).view().size();
    }
    return seen;
}

/// What is asked to be UTF-8 must be.
void check(const CRefString& text) {
    if (check_utf8(text.c_str(), text.view().size()).fault != TextFault::none) __builtin_trap();
}

void read(FuzzInputStream stream, std::uint8_t how, XmlText kind) {
    try {
        CXmlPullParser parser(&stream, kind);
        if ((how & 0x40) == 0) parser.setProcessNamespaces();
        // References bring in text again and again; what one input may cost is bounded here as well.
        std::size_t seen = 0;
        for (int event = 0; event != XML_END_DOCUMENT && seen < 4000000;) {
            event = (how & 0x80) != 0 ? parser.nextToken() : parser.next();
            seen += look_at(parser) + 1;
            if (kind != XmlText::utf8) continue;
            check(parser.getText());
            check(parser.getName());
            for (int i = 0; i < parser.getAttributeCount(); ++i) check(parser.getAttributeValue(i));
        }
    } catch (const CXmlPullParserException&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::uint8_t how = data[0];
    const FuzzInputStream stream(data + 1, size - 1, (how & 0x3F) == 0 ? 512 : how & 0x3F);
    read(stream, how, XmlText::one_byte);
    read(stream, how, XmlText::utf8);
    return 0;
}
