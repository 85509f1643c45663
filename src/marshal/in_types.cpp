// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>
#include <cstring>
#include <limits>
#include <string_view>

#include "marshal/names.h"
#include "marshal/number_text.h"
#include "marshal/soap_in_stream.h"
#include "marshal/type_in_stream.h"

using marshal_names::marked_nil;
using marshal_names::same;

namespace {

using Kind = _Caldane_TypeRef::_ENUM_TCKind;

struct Word {
    std::string_view text;
    Kind kind;
};

/// The words by which a type attribute tells a kind, in the order in which they are looked for.
constexpr Word kWords[] = {
    {"short", _Caldane_TypeRef::tk_short},          {"int", _Caldane_TypeRef::tk_long},
    {"unsignedShort", _Caldane_TypeRef::tk_ushort}, {"unsignedInt", _Caldane_TypeRef::tk_ulong},
    {"float", _Caldane_TypeRef::tk_float},          {"double", _Caldane_TypeRef::tk_double},
    {"boolean", _Caldane_TypeRef::tk_boolean},      {"unsignedByte", _Caldane_TypeRef::tk_octet},
    {"Array", _Caldane_TypeRef::tk_array},          {"string", _Caldane_TypeRef::tk_string},
};

/// True when the word stands in the text with `ending` directly behind it.
bool holds(std::string_view text, std::string_view word, std::string_view ending) {
    for (std::size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
        if (text.substr(at + word.size()).substr(0, ending.size()) == ending) return true;
    }
    return false;
}

/// A string of which the tag says that its length is 1 is a character.
bool is_single_character(CXmlPullParser& parser) {
    const int count = parser.getAttributeCount();
    for (int i = 0; i < count; ++i) {
        if (same(parser.getAttributeName(i), "length") &&
            integer_in(parser.getAttributeValue(i).c_str()) == 1)
            return true;
    }
    return false;
}

/// The kind that the first word found stands for; `tk_null` for none, which means a type with a name.
Kind kind_in(std::string_view text, std::string_view ending, CXmlPullParser& parser) {
    for (const Word& word : kWords) {
        if (!holds(text, word.text, ending)) continue;
        if (word.kind == _Caldane_TypeRef::tk_string && is_single_character(parser))
            return _Caldane_TypeRef::tk_char;
        return word.kind;
    }
    return _Caldane_TypeRef::tk_null;
}

/// Where the number of a dimension, counted from 1, stands between the brackets of a type; null where there
/// is none.
const char* number_of(std::string_view type, int dimension) {
    const std::size_t bracket = type.find('[');
    if (bracket == std::string_view::npos || type.find(']') == std::string_view::npos) return nullptr;
    const std::string_view numbers = type.substr(0, type.find(']', bracket));
    std::size_t at = bracket;
    while (--dimension > 0 && at != std::string_view::npos) at = numbers.find(',', at + 1);
    return at == std::string_view::npos ? nullptr : type.data() + at + 1;
}

/// The type that a text tells by its name behind `prefix:`; of kind null when there is none.
_Caldane_TypeRef type_named(std::string_view text, CXmlPullParser& parser) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) return {};
    CRefString prefix;
    if (!CRefString::create(prefix, text.data(), colon)) return {};
    const CRefString uri = parser.getNamespace(prefix);
    const std::string_view name = text.substr(colon + 1);
    // What octets are written as has no type of its own in IDL.
    if (name == "base64" && same(uri, NS_SOAP_ENC))
        return _Caldane_Sequence<unsigned char>::_static_typeref();
    if (name == "anyType" && same(uri, NS_XSD)) return _Caldane_Any::_static_typeref();
    return _Caldane_TypeRef(_Caldane_IDL_BaseType::search(name, _Caldane_String(uri.c_str())));
}

}  // namespace

/// Puts the type of a kind, or for `tk_null` the one that `name` tells with its prefix, into `value`; false
/// when there is none. `source` stands before an element of that type.
bool _SOAP_InStream::store_type(_Caldane_TypeRef& value, Kind kind, std::string_view name,
                                CXmlPullParser& source, int nesting) {
    if (kind == _Caldane_TypeRef::tk_null) {
        value = type_named(name, source);
        return value.kind() != _Caldane_TypeRef::tk_null;
    }
    _Caldane_IDL_BaseType* const type = mapping().type_for_kind(kind);
    if (type == nullptr) return false;
    const _Caldane_TypeRef handle(type);  // owns an array's type from here on
    _SOAP_TypeInStream parameters(*this, &source, nesting);
    if (type->demarshal_parameters(parameters) == _Caldane_FALSE) return false;
    value = handle;
    return true;
}

/// Books what is about to be made of nothing that came; false beyond what the message may make so.
bool _SOAP_InStream::may_make(std::int64_t bytes) {
    unsent_ += bytes;
    return unsent_ <= std::min<std::int64_t>(kMaxUnsent, kMaxUnsentFactor * parser->bytes_read());
}

/// Reads the type that the attributes of the element ahead tell, and moves nothing.
int _SOAP_InStream::demarshal_type(_Caldane_TxType& value) {
    _Caldane_TypeRef* type = _Caldane_TypeRef::_down_cast(_Caldane_AnyRef(value));
    assert(type != nullptr && "tcval");
    if (parser->peekEvent() != START_TAG) return 0;
    ++types_read;
    const int count = parser->getAttributeCount();
    for (int i = 0; i < count; ++i) {
        if (!same(parser->getAttributeName(i), "type")) continue;
        const CRefString attribute = parser->getAttributeValue(i);
        const std::string_view text = attribute.view();
        const Kind kind = text.find('[') != std::string_view::npos ? _Caldane_TypeRef::tk_array
                                                                   : kind_in(text, "", *parser);
        return store_type(*type, kind, text, *parser, 1) ? 1 : 0;
    }
    return 0;
}

_Caldane_Boolean _SOAP_TypeInStream::demarshal(_Caldane_ULong& out) {
    const int count = outer_parser->getAttributeCount();
    for (int i = 0; i < count; ++i) {
        const CRefString value = outer_parser->getAttributeValue(i);
        const char* number = number_of(value.view(), nesting);
        if (number == nullptr) continue;
        if (marked_nil(*outer_parser)) break;
        const std::int64_t declared = integer_in(number);
        const std::int64_t most = std::numeric_limits<std::int32_t>::max();
        // Costs nothing yet: an array of such a type makes its elements as they come.
        if (declared < 0 || declared > most) return _Caldane_FALSE;
        out = static_cast<_Caldane_ULong>(declared);
        break;
    }
    return _Caldane_TRUE;
}

_Caldane_Boolean _SOAP_TypeInStream::demarshal(_Caldane_TxType& value) {
    constexpr _Caldane_Boolean kFailed = _Caldane_FALSE;
    if (value._get_typeref().kind() != _Caldane_TypeRef::tk_TypeCode) return _Caldane_TRUE;
    _Caldane_TypeRef* type = _Caldane_TypeRef::_down_cast(_Caldane_AnyRef(value));
    assert(type != nullptr && "tc");
    if (nesting > kMaxDepth) return kFailed;
    const int count = outer_parser->getAttributeCount();
    for (int i = 0; i < count; ++i) {
        const CRefString name = outer_parser->getAttributeName(i);
        if (std::strcmp(name.c_str(), "arrayType") != 0 && std::strcmp(name.c_str(), "type") != 0) continue;
        const CRefString attribute = outer_parser->getAttributeValue(i);
        const std::string_view text = attribute.view();
        const std::size_t bracket = text.find('[');
        if (bracket == std::string_view::npos) continue;
        const std::string_view type_name = text.substr(0, bracket);
        Kind kind = kind_in(text, "[", *outer_parser);
        if (number_of(text, nesting + 1) != nullptr) {
            kind = _Caldane_TypeRef::tk_array;  // of the dimensions that are left
        } else if (kind == _Caldane_TypeRef::tk_array) {
            // Arrays in an array: each has a type of its own, told by its element.
            *type = _Caldane_Any::_static_typeref();
            return _Caldane_TRUE;
        }
        return _Caldane_Boolean(outer.store_type(*type, kind, type_name, *outer_parser, nesting + 1) ? 1 : 0);
    }
    return kFailed;
}
