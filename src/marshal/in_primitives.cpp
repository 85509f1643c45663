// SPDX-License-Identifier: MIT
#include <cassert>
#include <cstring>

#include "marshal/base64.h"
#include "marshal/number_text.h"
#include "marshal/octets.h"
#include "marshal/soap_in_stream.h"
#include "vqsys/text.h"
#include "xml/utf8_text.h"

namespace {

constexpr char kBlank[] = " ";

_Caldane_Boolean outcome(int result) {
    return _Caldane_Boolean(result);
}

bool is_payload(const CRefString& name) {
    constexpr std::string_view kPayload = "Payload";
    return name.view() == kPayload;
}

void append(CBufferedOutputStream& to, const CRefString& text) {
    to.write(text.c_str(), text.length());
}

}  // namespace

int _SOAP_InStream::read_text(const char** text) {
    return is_payload(parser->getName()) ? read_payload(text) : read_to_end_tag(text);
}

int _SOAP_InStream::read_text(std::string_view& text) {
    const bool payload = is_payload(parser->getName());
    if (!payload && parser->peekEvent() == START_TAG && parser->takePlainText(text))
        return static_cast<int>(text.size());
    const char* chars = nullptr;
    const int result = payload ? read_payload(&chars) : read_to_end_tag(&chars);
    if (chars != nullptr && result != 0) text = {chars, static_cast<std::size_t>(result)};
    return result;
}

int _SOAP_InStream::read_to_end_tag(const char** text) {
    bool saw_start = false;
    bool saw_text = false;
    for (;;) {
        switch (parser->next()) {
            case START_TAG:
                saw_start = true;
                break;
            case TEXT:
                text_ = parser->getText();
                saw_text = true;
                break;
            case XML_END_TAG:
                if (!saw_text) return saw_start ? 1 : 0;
                *text = text_.c_str();
                return text_.length();
            case XML_END_DOCUMENT:
                return 0;
            default:
                break;
        }
    }
}

int _SOAP_InStream::read_payload(const char** text) {
    if (!payload_) payload_.reset(new CBufferedOutputStream());
    if (!payload_) return 0;
    payload_->flush();
    if (payload_->status() != 0) return 0;
    for (;;) {
        const int event = parser->next();
        if (event == XML_END_DOCUMENT) return 0;
        if (event == TEXT) {
            append(*payload_, parser->getText());
            continue;
        }
        const CRefString name = parser->getName();
        const bool ends = event == XML_END_TAG;
        if (is_payload(name)) {
            if (!ends) continue;
            if (payload_->status() != 0) return 0;
            *text = payload_->text();
            return payload_->length();
        }
        payload_->write("</", ends ? 2 : 1);
        append(*payload_, name);
        payload_->put('>');
    }
}

int _SOAP_InStream::skip_to_end_tag() {
    for (;;) {
        const int event = parser->next();
        if (event == XML_END_TAG || event == XML_END_DOCUMENT) return 1;
    }
}

namespace {

/// Narrows as the C conversions do: whatever does not fit loses its upper bits.
template <class To>
To narrowed(const char* text) {
    return static_cast<To>(integer_in(text));
}

}  // namespace

_Caldane_Boolean _SOAP_InStream::demarshal(double& out) {
    out = 0;
    std::string_view text = kBlank;
    const int result = read_text(text);
    if (result != 0) out = real_in(text.data());
    return outcome(result);
}

_Caldane_Boolean _SOAP_InStream::demarshal(float& out) {
    double wide;
    const _Caldane_Boolean result = demarshal(wide);
    out = static_cast<float>(wide);
    return result;
}

template <class Number>
_Caldane_Boolean _SOAP_InStream::read_integer(Number& out) {
    out = 0;
    std::string_view text = kBlank;
    const int result = read_text(text);
    if (result != 0) out = narrowed<Number>(text.data());
    return outcome(result);
}

_Caldane_Boolean _SOAP_InStream::demarshal(_Caldane_ULong& out) {
    return read_integer(out);
}

_Caldane_Boolean _SOAP_InStream::demarshal(_Caldane_Long& out) {
    return read_integer(out);
}

_Caldane_Boolean _SOAP_InStream::demarshal(unsigned short& out) {
    return read_integer(out);
}

_Caldane_Boolean _SOAP_InStream::demarshal(short& out) {
    return read_integer(out);
}

_Caldane_Boolean _SOAP_InStream::demarshal(unsigned char& out) {
    return read_integer(out);
}

_Caldane_Boolean _SOAP_InStream::demarshal(char& out) {
    out = 0;
    const char* text = kBlank;
    const int result = read_text(&text);
    if (utf8_text_ && result != 0) {
        const Utf8Character first = first_character(text);
        if (first.length == static_cast<std::size_t>(result) && first.code <= 0xFF)
            out = static_cast<char>(first.code);
    } else if (result == 1) {
        out = text[0];
    }
    return outcome(result);
}

_Caldane_Boolean _SOAP_InStream::demarshal(_Caldane_Boolean& out) {
    out = _Caldane_FALSE;
    const char* text = kBlank;
    const int result = read_text(&text);
    if (result != 0 && (vqOSstricmp(text, "true") == 0 || vqOSstricmp(text, "1") == 0)) out = _Caldane_TRUE;
    return outcome(result);
}

_Caldane_Boolean _SOAP_InStream::demarshal_kind_or_backptr(_Caldane_Boolean& is_backptr, _Caldane_ULong& kind,
                                                           _Caldane_ULong& offset) {
    _Caldane_Long number;
    if (demarshal(number) == _Caldane_FALSE) return _Caldane_FALSE;
    is_backptr = _Caldane_Boolean(number == -1 ? 1 : 0);
    if (number == -1) return demarshal(offset);
    kind = static_cast<_Caldane_ULong>(number);
    return _Caldane_TRUE;
}

_Caldane_Boolean _SOAP_InStream::demarshal_string(char*&, _Caldane_ULong&) {
    // Strings read themselves through their view.
    assert(!"0");
    return _Caldane_FALSE;
}

_Caldane_Boolean _SOAP_InStream::demarshal_octets(unsigned char* out, _Caldane_ULong count) {
    constexpr _Caldane_Boolean kFailed = _Caldane_FALSE;
    if (parser->peekEvent() != START_TAG) return kFailed;
    parser->next();
    if (parser->next() != TEXT) return kFailed;
    const CRefString text = parser->getText();
    const auto length = static_cast<std::size_t>(text.length());
    const OctetBuffer bytes = make_octets(base64_room(length));
    if (!bytes || base64_decode(text.c_str(), length, bytes.get()) != count) return kFailed;
    if (count != 0) std::memcpy(out, bytes.get(), count);
    return _Caldane_Boolean(parser->next() == XML_END_TAG ? 1 : 0);
}
