// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstring>
#include <string_view>

#include "marshal/base64.h"
#include "marshal/number_text.h"
#include "marshal/soap_out_stream.h"
#include "xml/utf8_text.h"

namespace {

/// What stands for a character that XML text may not hold as it is; empty for any other.
std::string_view escape_of(char c) {
    switch (c) {
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&apos;";
        case '&':
            return "&amp;";
        default:
            return {};
    }
}

/// The five characters that XML text gets escaped, as a table by byte.
struct SpecialTable {
    bool special[256] = {};
    constexpr SpecialTable() {
        for (const char c : {'<', '>', '"', '\'', '&'}) special[static_cast<unsigned char>(c)] = true;
    }
};
constexpr SpecialTable kSpecial;

constexpr std::uint64_t kOnes = 0x0101010101010101;

/// The high bit of each byte of `word` that equals `byte`; bits above a hit may be wrong, the lowest is
/// right.
constexpr std::uint64_t hits(std::uint64_t word, unsigned char byte) {
    const std::uint64_t rest = word ^ (kOnes * byte);
    return (rest - kOnes) & ~rest;
}

/// True if an attribute may hold eight bytes as they are, for certain: they are ASCII, none a control
/// character, none of `"` to `'` but `$` and `%`, and none of `<` to `?`. XML allows a `?`, but our own
/// reader ends the value there.
bool eight_stand_in_attribute(const char* chars) {
    constexpr std::uint64_t kHigh = kOnes * 0x80;
    std::uint64_t word;
    std::memcpy(&word, chars, sizeof word);
    const std::uint64_t found =
        hits(word | kOnes * 3, '?') | hits(word | kOnes * 5, '\'') | (word - kOnes * ' ') | word;
    return (found & kHigh) == 0;
}

bool stands_in_attribute(std::string_view value) {
    constexpr std::size_t kEight = sizeof(std::uint64_t);
    if (value.size() < kEight) {
        char padded[kEight] = {'.', '.', '.', '.', '.', '.', '.', '.'};
        if (!value.empty()) std::memcpy(padded, value.data(), value.size());
        return eight_stand_in_attribute(padded);
    }
    for (std::size_t at = 0; at + kEight < value.size(); at += kEight) {
        if (!eight_stand_in_attribute(value.data() + at)) return false;
    }
    return eight_stand_in_attribute(value.data() + value.size() - kEight);
}

/// A carriage return that a reader would take for the end of a line (XML 1.0, 2.11).
constexpr std::string_view kCarriageReturn = "&#13;";

/// Length of the run of characters at `chars` that need no escape; `exact` if carriage returns need one.
template <bool exact>
std::size_t plain_run(const char* chars, std::size_t length) {
    constexpr std::uint64_t kHigh = kOnes * 0x80;
    constexpr std::uint64_t kOtherBracket = kOnes * ('<' ^ '>');  // each of these pairs differs in one bit
    constexpr std::uint64_t kOtherQuote = kOnes * ('&' ^ '\'');
    std::size_t at = 0;
    while (length - at >= sizeof(std::uint64_t)) {
        std::uint64_t word;
        std::memcpy(&word, chars + at, sizeof word);
        const std::uint64_t found =
            hits(word & ~kOtherBracket, '<') | hits(word | kOtherQuote, '\'') | hits(word, '"');
        if ((found & kHigh) != 0 || (exact && (hits(word, '\r') & kHigh) != 0)) break;
        at += sizeof word;
    }
    while (at < length && !kSpecial.special[static_cast<unsigned char>(chars[at])] &&
           !(exact && chars[at] == '\r'))
        ++at;
    return at;
}

}  // namespace

template <class Number>
void _SOAP_OutStream::put_number(Number value) {
    if (!writer) return;
    pieces.commit(text_of(value, pieces.reserve(kNumberRoom)));
}

_Caldane_Boolean _SOAP_OutStream::marshal(_Caldane_TypeRef::_ENUM_TCKind kind) {
    return marshal(static_cast<_Caldane_ULong>(kind));
}

_Caldane_Boolean _SOAP_OutStream::marshal(double value) {
    put_number(value);
    return _Caldane_TRUE;
}

_Caldane_Boolean _SOAP_OutStream::marshal(float value) {
    put_number(value);
    return _Caldane_TRUE;
}

_Caldane_Boolean _SOAP_OutStream::marshal(_Caldane_ULong value) {
    put_number(value);
    return _Caldane_TRUE;
}

_Caldane_Boolean _SOAP_OutStream::marshal(_Caldane_Long value) {
    put_number(value);
    return _Caldane_TRUE;
}

_Caldane_Boolean _SOAP_OutStream::marshal(unsigned short value) {
    return marshal(_Caldane_ULong{value});
}

_Caldane_Boolean _SOAP_OutStream::marshal(short value) {
    return marshal(_Caldane_Long{value});
}

_Caldane_Boolean _SOAP_OutStream::marshal(unsigned char value) {
    return marshal(static_cast<short>(value));
}

_Caldane_Boolean _SOAP_OutStream::marshal(_Caldane_Boolean value) {
    put_text(value != _Caldane_FALSE ? "true" : "false");
    return _Caldane_TRUE;
}

_Caldane_Boolean _SOAP_OutStream::marshal(char value) {
    const auto code = static_cast<unsigned char>(value);
    if (utf8_text_ && code < 0x20) return marshal_string(&value, 1);
    if (const std::string_view escape = escape_of(value); !escape.empty()) {
        put_bytes(escape.data(), escape.size());
    } else if (code >= 0x80) {
        const char utf8[2] = {static_cast<char>(0xC0 + (code >> 6)), static_cast<char>(0x80 + (code & 0x3F))};
        put_bytes(utf8, sizeof utf8);
    } else {
        put_char(value);
    }
    return _Caldane_TRUE;
}

_Caldane_Boolean _SOAP_OutStream::marshal_backptr(_Caldane_ULong offset) {
    // The end of one element and the start of the next: two readers of one element each take them apart.
    marshal(_Caldane_Long{-1});
    put_text("</><>");
    return marshal(offset);
}

_Caldane_Boolean _SOAP_OutStream::marshal_string(const char* chars, _Caldane_ULong length) {
    if (!writer) return _Caldane_TRUE;
    if (utf8_text_ && check_utf8(chars, length).fault != TextFault::none) {
        text_refused_ = true;
        return _Caldane_FALSE;
    }
    if (pieces.gathers()) {
        if (utf8_text_) {
            put_escaped<true>(chars, length);
        } else {
            put_escaped<false>(chars, length);
        }
        return _Caldane_TRUE;
    }
    for (_Caldane_ULong i = 0; i < length; ++i) {
        const std::string_view escape =
            utf8_text_ && chars[i] == '\r' ? kCarriageReturn : escape_of(chars[i]);
        if (escape.empty()) {
            pieces.put(chars[i]);
        } else {
            pieces.write(escape.data(), escape.size());
        }
    }
    return _Caldane_TRUE;
}

template <bool exact>
void _SOAP_OutStream::put_escaped(const char* chars, std::size_t length) {
    for (;;) {
        const std::size_t run = plain_run<exact>(chars, length);
        if (run != 0) pieces.write(chars, run);
        if (run == length) return;
        const std::string_view escape = exact && chars[run] == '\r' ? kCarriageReturn : escape_of(chars[run]);
        pieces.write(escape.data(), escape.size());
        chars += run + 1;
        length -= run + 1;
    }
}

_Caldane_Boolean _SOAP_OutStream::marshal_octets(const unsigned char* data, _Caldane_ULong length) {
    CBase64Writer coder(this);
    coder.put(data, length);
    coder.finish();
    return _Caldane_TRUE;
}

void _SOAP_OutStream::put_value(const _Caldane_String& value) {
    if (stands_in_attribute(value.view())) {
        put_bytes(value.c_str(), value.length());
    } else {
        put_any_value(value.view());
    }
}

void _SOAP_OutStream::put_any_value(std::string_view value) {
    const bool is_utf8 = check_utf8(value.data(), value.size()).fault == TextFault::none;
    if (!is_utf8 && utf8_text_) text_refused_ = true;
    for (const char c : value) {
        const auto code = static_cast<unsigned char>(c);
        if (const std::string_view escape = escape_of(c); !escape.empty()) {
            put_bytes(escape.data(), escape.size());
        } else if (c == '?' || c == '\t' || c == '\n' || c == '\r') {
            // Readers make a blank of a line end (XML 1.0, 3.3.3).
            put_bytes("&#", 2);
            marshal(_Caldane_ULong{code});
            put_char(';');
        } else if (code < 0x20) {
            put_char('_');
        } else if (code >= 0x80 && !is_utf8) {
            char bytes[4];
            put_bytes(bytes, put_utf8(code, bytes));
        } else {
            put_char(c);
        }
    }
}

void _SOAP_OutStream::write_type_attribute(_Caldane_AnyConstRef value) {
    switch (value._get_typeref().kind()) {
        case _Caldane_TypeRef::tk_short:
            put_text(" xsi:type=\"xsd:short\"");
            break;
        case _Caldane_TypeRef::tk_long:
            put_text(" xsi:type=\"xsd:int\"");
            break;
        case _Caldane_TypeRef::tk_ushort:
            put_text(" xsi:type=\"xsd:unsignedShort\"");
            break;
        case _Caldane_TypeRef::tk_ulong:
            put_text(" xsi:type=\"xsd:unsignedInt\"");
            break;
        case _Caldane_TypeRef::tk_float:
            put_text(" xsi:type=\"xsd:float\"");
            break;
        case _Caldane_TypeRef::tk_double:
            put_text(" xsi:type=\"xsd:double\"");
            break;
        case _Caldane_TypeRef::tk_boolean:
            put_text(" xsi:type=\"xsd:boolean\"");
            break;
        case _Caldane_TypeRef::tk_char:
            put_text(" xsi:type=\"xsd:string\" xsd:length=\"1\"");
            break;
        case _Caldane_TypeRef::tk_octet:
            put_text(" xsi:type=\"xsd:unsignedByte\"");
            break;
        case _Caldane_TypeRef::tk_string:
            put_text(" xsi:type=\"xsd:string\"");
            break;
        case _Caldane_TypeRef::tk_sequence:
        case _Caldane_TypeRef::tk_array:
            if (rpc_encoding_) put_text(" xsi:type=\"SOAP-ENC:Array\"");
            break;
        default:
            break;
    }
}

void _SOAP_OutStream::write_attributes(_Caldane_AnyConstRef value) {
    const _Caldane_TxType* constructed = _Caldane_TxType::_down_cast_const(value);
    if (constructed == nullptr) return;
    const char* attributes = constructed->property("attributes");
    if (attributes == nullptr) return;
    put_char(' ');
    put_text(attributes);
}
