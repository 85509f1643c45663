// SPDX-License-Identifier: MIT
#include <cassert>
#include <cstring>
#include <memory>
#include <string_view>

#include "marshal/in_views.h"
#include "marshal/names.h"
#include "marshal/namespaces.h"
#include "marshal/number_text.h"
#include "marshal/octets.h"
#include "marshal/soap_in_stream.h"
#include "marshal/value_weight.h"
#include "marshal/xsd_streams.h"
#include "xml/same_bytes.h"

using marshal_names::marked_nil;
using marshal_names::same;

namespace {

constexpr auto kCopied = Caldane::OWNERSHIP_COPY;

/// Counts one level of nested readers for as long as it lives.
class Level {
public:
    explicit Level(int& depth) : depth_(depth) { ++depth_; }
    ~Level() { --depth_; }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;

private:
    int& depth_;
};

/// Marks the value as nil. What would hide the mark from who only looks at the content goes: a value that
/// went out with an inout parameter is not to come back with a nil one.
void make_nil(_Caldane_TxType& value) {
    if (auto* string = _Caldane_AddressableString::_down_cast(_Caldane_AnyRef(value))) {
        string->from_buffer(0, nullptr, kCopied);
    } else if (auto* object = _Caldane_Object::_down_cast(_Caldane_AnyRef(value))) {
        object->set_ior(nullptr);
    } else if (auto* any = dynamic_cast<_Caldane_Any*>(&value)) {
        any->clear();
    }
    value.is_nil(true);
}

}  // namespace

_Caldane_Boolean _SOAP_InStream::demarshal(_Caldane_TxType& value) {
    const Level level(depth_);
    if (depth_ > kMaxDepth) return _Caldane_FALSE;
    if (value.is_nil()) value.is_nil(false);
    if (!rpc_encoding_) {
        // Without types in the message, a value whose element is missing is nil.
        if (parser->peekEvent() == TEXT) parser->next();
        if (parser->peekEvent() != START_TAG) {
            // Costs the message nothing, and in an any the message says how many there are.
            if (anys_ > 0 && !may_make(weight_of(_Caldane_AnyConstRef(value)))) return _Caldane_FALSE;
            make_nil(value);
            return _Caldane_TRUE;
        }
    }
    return _Caldane_Boolean(read_value(value));
}

int _SOAP_InStream::read_value(_Caldane_TxType& value) {
    switch (value._get_typeref().kind()) {
        case _Caldane_TypeRef::tk_any:
            return demarshal_any(value);
        case _Caldane_TypeRef::tk_enum:
            return demarshal_enum(value);
        case _Caldane_TypeRef::tk_objref: {
            _Caldane_Object* object = _Caldane_Object::_down_cast(_Caldane_AnyRef(value));
            assert(object != nullptr && "aval");
            return demarshal_object(*object);
        }
        case _Caldane_TypeRef::tk_array:
            return demarshal_array(value);
        case _Caldane_TypeRef::tk_struct:
            return demarshal_struct(value);
        case _Caldane_TypeRef::tk_string:
            return demarshal_string_value(value);
        case _Caldane_TypeRef::tk_sequence:
            return demarshal_sequence(value);
        case _Caldane_TypeRef::tk_TypeCode:
            return demarshal_type(value);
        case _Caldane_TypeRef::tk_union:
            return demarshal_union(value);
        default:
            return 0;
    }
}

/// An any whose value could not be read holds none: what came of an array may be far less than was declared,
/// and whoever sends such an any again would make all of it.
int _SOAP_InStream::demarshal_any(_Caldane_TxType& value) {
    struct Clear {
        void operator()(_Caldane_Any* any) const { any->clear(); }
    };
    std::unique_ptr<_Caldane_Any, Clear> unread(dynamic_cast<_Caldane_Any*>(&value));
    const Level any(anys_);
    if (value._demarshal(*this) == _Caldane_FALSE) return 0;
    unread.release();
    return 1;
}

int _SOAP_InStream::demarshal_enum(_Caldane_TxType& value) {
    auto& view = view_of<_Caldane_AddressableEnum>(value);
    const char* text = "";
    const int result = read_text(&text);
    if (result == 0) return 0;
    const auto* type = _Caldane_IDL_EnumType::narrow(value._get_typeref().type());
    const _Caldane_Long index = type == nullptr ? -1 : enum_index(*type, text);
    view.value(
        static_cast<_Caldane_ULong>(index >= 0 ? index : static_cast<_Caldane_Long>(integer_in(text))));
    return result;
}

int _SOAP_InStream::demarshal_string_value(_Caldane_TxType& value) {
    auto& view = view_of<_Caldane_AddressableString>(value);
    parser->peekEvent();
    if (marked_nil(*parser)) {
        parser->next();
        make_nil(value);
        return skip_to_end_tag();
    }
    std::string_view text = "";
    const int result = read_text(text);
    if (result == 0) return 0;
    const auto length = static_cast<_Caldane_ULong>(text.size());
    return view.from_buffer(length, text.data(), kCopied) == _Caldane_FALSE ? 0 : result;
}

namespace {

/// Has a struct that stands for a simple type of XML Schema read itself from one text; false for any other.
bool read_as_simple_type(const _Caldane_String& id, _Caldane_TxType& value, CXmlPullParser* parser) {
    if (id.is_null() || !id.view().starts_with("IDL:xsd/")) return false;
    const auto is = [&id](const char* text) { return std::strcmp(id.c_str(), text) == 0; };
    // What the text is worth is not the caller's concern: one that is no date leaves the date as it is.
    if (is(XSD_BASE64_ID)) {
        _SOAP_Base64InStream variant(parser);
        value._demarshal(variant);
    } else if (is(XSD_HEX_ID)) {
        _SOAP_HexInStream variant(parser);
        value._demarshal(variant);
    } else if (is(XSD_DATE_TIME_ID)) {
        _SOAP_DateTimeInStream variant(parser);
        value._demarshal(variant);
    } else if (is(XSD_DECIMAL_ID)) {
        _SOAP_DecimalInStream variant(parser);
        value._demarshal(variant);
    } else {
        return false;
    }
    return true;
}

/// The member with this name, ignoring case, looked for from `expected` on; -1 if there is none.
_Caldane_Long find_member(const _Caldane_AddressableStruct& view, const CRefString& name,
                          _Caldane_ULong expected) {
    // Beyond the last member names are empty, as no element's is.
    const _Caldane_String likely = view.member_name(expected);
    const auto length = static_cast<_Caldane_ULong>(name.length());
    if (likely.length() == length && same_bytes(likely.c_str(), name.c_str(), length))
        return static_cast<_Caldane_Long>(expected);
    const _Caldane_ULong count = view.member_count();
    for (_Caldane_ULong step = 0, i = expected; step < count; ++step, ++i) {
        if (i >= count) i = 0;
        const _Caldane_String member = view.member_name(i);
        if (member.length() == length && vqOSstricmp(member.c_str(), name.c_str()) == 0)
            return static_cast<_Caldane_Long>(i);
    }
    return -1;
}

}  // namespace

int _SOAP_InStream::demarshal_struct(_Caldane_TxType& value) {
    if (parser->peekEvent() != START_TAG) return 0;
    if (marked_nil(*parser)) {
        value.is_nil(true);
        return skip_to_end_tag();
    }
    auto& view = view_of<_Caldane_AddressableStruct>(value);
    if (read_as_simple_type(view.repository_id(), value, parser.get())) return 1;
    parser->next();
    const CRefString element = parser->getName();
    _Caldane_ULong expected = 0;
    for (;;) {
        const int event = parser->peekEvent();
        if (event == XML_END_DOCUMENT) return 0;
        const CRefString name = parser->getName();
        if (event == XML_END_TAG) {
            // Another name is a stray tag, left by a reader that stopped early.
            parser->next();
            if (name == element) return 1;
            continue;
        }
        const _Caldane_Long member = find_member(view, name, expected);
        if (member < 0) return 0;
        expected = static_cast<_Caldane_ULong>(member) + 1;
        if (!read_member(view, static_cast<_Caldane_ULong>(member))) return 0;
    }
}

bool _SOAP_InStream::read_member(_Caldane_AddressableStruct& view, _Caldane_ULong index) {
    const unsigned types_before = types_read;
    if (view.demarshal_member(index, *this) == _Caldane_FALSE) return false;
    if (types_read != types_before &&
        view.member(index)._get_typeref().kind() == _Caldane_TypeRef::tk_TypeCode)
        skip_element();
    return true;
}

/// Steps over the element ahead with all that is in it. Types are read from a start tag without taking it,
/// and where such a value is a member or item of its own, the reader would see the same tag for ever.
void _SOAP_InStream::skip_element() {
    int open = 0;
    do {
        const int event = parser->next();
        if (event == XML_END_DOCUMENT) return;
        if (event == START_TAG) ++open;
        if (event == XML_END_TAG) --open;
    } while (open > 0);
}

int _SOAP_InStream::demarshal_union(_Caldane_TxType& value) {
    if (parser->peekEvent() != START_TAG) return 0;
    auto& view = view_of<_Caldane_AddressableUnion>(value);
    parser->next();
    const CRefString element = parser->getName();
    const char* text = " ";
    if (read_text(&text) != 0) {
        if (const auto* enumeration = _Caldane_IDL_EnumType::narrow(view.discriminator_type().type())) {
            const _Caldane_Long index = enum_index(*enumeration, text);
            if (index >= 0) view.discriminator(index);
        } else {
            view.discriminator(static_cast<_Caldane_Long>(integer_in(text)));
        }
    }
    const bool read =
        view.active_member().is_null() || view.demarshal_member(view.active_index(), *this) != _Caldane_FALSE;
    const bool ends = parser->next() == XML_END_TAG && parser->getName() == element;
    return read && ends ? 1 : 0;
}
