// SPDX-License-Identifier: MIT

// How the parser finds the encoding of a document, by its first bytes and its declaration.

#include "streams/stream.h"
#include "xml/pull_parser.h"

namespace {

constexpr unsigned kUnsupported[] = {
    0x0000FEFF, 0xFFFE0000, 0x0000FFFE, 0xFEFF0000,              // 32 bits, with a mark
    0x0000003C, 0x3C000000, 0x00003C00, 0x003C0000, 0x4C6FA794,  // 32 bits without one, EBCDIC
};

}  // namespace

bool CXmlPullParser::signature_is_unsupported(unsigned signature) const {
    for (const unsigned unsupported : kUnsupported) {
        if (signature == unsupported) return true;
    }
    return false;
}

void CXmlPullParser::detectEncoding(CInputStream* stream) {
    unsigned signature = 0;
    while (srcCount < 4) {
        const int byte = stream->get();
        if (byte < 0) break;
        srcBuf[srcCount++] = static_cast<char>(byte);
        signature = signature << 8 | static_cast<unsigned>(byte);
    }
    const auto found = [this](const char* encoding_name, int mark_length) {
        encoding = make_text(encoding_name, static_cast<int>(std::string_view(encoding_name).size()));
        for (int i = mark_length; i < srcCount; ++i) srcBuf[i - mark_length] = srcBuf[i];
        srcCount -= mark_length;
    };
    if (srcCount < 4) return found("UTF-8", 0);
    if (signature_is_unsupported(signature)) return found("Unsupported", 0);
    if (signature == 0x003C003F) return found("UTF-16BE", 0);
    if (signature == 0x3C003F00) return found("UTF-16LE", 0);
    if (signature >> 16 == 0xFEFF) return found("UTF-16BE", 2);
    if (signature >> 16 == 0xFFFE) return found("UTF-16LE", 2);
    if (signature >> 8 == 0xEFBBBF) return found("UTF-8", 3);
    found("UTF-8", 0);
    if (signature == 0x3C3F786D) scanDeclaration(stream);
}

void CXmlPullParser::scanDeclaration(CInputStream* stream) {
    // A declaration that does not fit the buffer is none that anybody writes: it stays UTF-8.
    while (srcCount < CXmlByteReader::kBlockSize) {
        const int byte = stream->get();
        if (byte < 0) return;
        srcBuf[srcCount++] = static_cast<char>(byte);
        if (byte == '>') return read_declared_encoding({srcBuf, static_cast<std::size_t>(srcCount)});
    }
}

void CXmlPullParser::read_declared_encoding(std::string_view declaration) {
    const std::size_t word = declaration.find("encoding");
    if (word == std::string_view::npos) return;
    const std::size_t equals = declaration.find('=', word);
    if (equals == std::string_view::npos) {
        raise(-136, "Encoding attribute and value not seperated by '=' sign");
    }
    const std::size_t opening = equals + 1;
    if (opening >= declaration.size() || (declaration[opening] != '"' && declaration[opening] != '\'')) {
        raise(-130, "Encoding attribute not enclosed in quotes");
    }
    const std::size_t closing = declaration.find(declaration[opening], opening + 1);
    if (closing == std::string_view::npos) raise(-135, "Missing Encoding name in the Encoding declaration");
    encoding = make_text(declaration.data() + opening + 1, static_cast<int>(closing - opening - 1));
}
