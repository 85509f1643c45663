// SPDX-License-Identifier: MIT
#include "encoder/soap_named_value.h"

#include <cassert>
#include <cstring>

#include "encoder/array_text.h"
#include "encoder/type_prefix.h"
#include "marshal/namespaces.h"
#include "marshal/soap_out_stream.h"
#include "marshal/xsd_streams.h"

namespace {

constexpr _Caldane_Boolean kWritten = _Caldane_TRUE;
constexpr char kNullEnd[] = " xsi:null=\"1\"/>";

template <class View>
const View& view_of(_Caldane_AnyConstRef value) {
    const View* view = View::_down_cast_const(value);
    assert(view != nullptr && "aval");
    return *view;
}

bool is_nil(_Caldane_AnyConstRef value) {
    const _Caldane_TxType* constructed = _Caldane_TxType::_down_cast_const(value);
    return constructed != nullptr && constructed->is_nil();
}

/// The type of a struct or union, under a prefix declared for it alone.
template <class View>
void put_named_type(_SOAP_OutStream& out, const View& view) {
    const _Caldane_String type_namespace = view.type_namespace();
    if (type_namespace.length() == 0) return;
    const TypePrefix prefix(out, type_namespace);
    out.put_text(" xsi:type=\"");
    prefix.put(out);
    out.put_string(view.type_name());
    out.put_char('"');
}

template <class Variant>
void put_through(_SOAP_OutStream& out, _Caldane_AnyConstRef value) {
    Variant variant(&out);
    value._marshal(variant);
}

/// The inside of a struct; one text for those that stand for simple types of XML Schema.
void put_struct_content(_SOAP_OutStream& out, const _Caldane_String& id, _Caldane_AnyConstRef value) {
    constexpr char kFamily[] = "IDL:xsd/";
    if (id.is_null() || std::strncmp(id.c_str(), kFamily, sizeof kFamily - 1) != 0) {
        value._marshal(out);
    } else if (std::strcmp(id.c_str(), XSD_BASE64_ID) == 0) {
        put_through<_SOAP_Base64OutStream>(out, value);
    } else if (std::strcmp(id.c_str(), XSD_HEX_ID) == 0) {
        put_through<_SOAP_HexOutStream>(out, value);
    } else if (std::strcmp(id.c_str(), XSD_DATE_TIME_ID) == 0) {
        put_through<_SOAP_DateTimeOutStream>(out, value);
    } else if (std::strcmp(id.c_str(), XSD_DECIMAL_ID) == 0) {
        put_through<_SOAP_DecimalOutStream>(out, value);
    } else {
        value._marshal(out);
    }
}

// The rest of an element behind its name and free attributes, by kind. True when the end tag is still due.

template <class View>
bool put_array(_SOAP_OutStream& out, _Caldane_AnyConstRef value, bool typed) {
    const View& view = view_of<View>(value);
    if (out.rpc_encoding() && view.element_type().kind() == _Caldane_TypeRef::tk_octet) {
        out.put_text(" xsi:type=\"SOAP-ENC:base64\">");
        value._marshal(out);
        return true;
    }
    const array_text::Layout layout = array_text::layout_of(view, typed);
    if (typed) {
        out.write_type_attribute(value);
        array_text::put_type(out, view, layout);
    }
    if (is_nil(value)) {
        out.put_text(kNullEnd);
        return false;
    }
    out.put_char('>');
    array_text::put_items(out, view, value, layout);
    return true;
}

bool put_struct(_SOAP_OutStream& out, _Caldane_AnyConstRef value, bool typed) {
    const auto& view = view_of<_Caldane_AddressableStruct>(value);
    if (typed) put_named_type(out, view);
    if (is_nil(value)) {
        out.put_text(kNullEnd);
        return false;
    }
    out.put_char('>');
    put_struct_content(out, view.repository_id(), value);
    return true;
}

bool put_union(_SOAP_OutStream& out, _Caldane_AnyConstRef value, bool typed) {
    if (typed) put_named_type(out, view_of<_Caldane_AddressableUnion>(value));
    out.put_char('>');
    value._marshal(out);
    return true;
}

bool put_enum(_SOAP_OutStream& out, _Caldane_AnyConstRef value) {
    const auto& view = view_of<_Caldane_AddressableEnum>(value);
    out.put_char('>');
    const _Caldane_String label = view.member_name(view.value());
    if (!label.is_null()) out.marshal_string(label.c_str(), static_cast<_Caldane_ULong>(label.length()));
    return true;
}

bool put_string(_SOAP_OutStream& out, _Caldane_AnyConstRef value, bool typed) {
    if (typed) out.write_type_attribute(value);
    if (view_of<_Caldane_AddressableString>(value).c_str() == nullptr) {
        out.put_text(kNullEnd);
        return false;
    }
    out.put_char('>');
    value._marshal(out);
    return true;
}

bool put_simple(_SOAP_OutStream& out, _Caldane_AnyConstRef value, bool typed) {
    if (typed) out.write_type_attribute(value);
    out.put_char('>');
    value._marshal(out);
    return true;
}

bool put_rest(_SOAP_OutStream& out, _Caldane_TypeRef::_ENUM_TCKind kind, _Caldane_AnyConstRef value,
              bool typed) {
    switch (kind) {
        case _Caldane_TypeRef::tk_array:
            return put_array<_Caldane_AddressableArray>(out, value, typed);
        case _Caldane_TypeRef::tk_sequence:
            return put_array<_Caldane_AddressableSequence>(out, value, typed);
        case _Caldane_TypeRef::tk_struct:
            return put_struct(out, value, typed);
        case _Caldane_TypeRef::tk_union:
            return put_union(out, value, typed);
        case _Caldane_TypeRef::tk_enum:
            return put_enum(out, value);
        case _Caldane_TypeRef::tk_string:
            return put_string(out, value, typed);
        default:
            return put_simple(out, value, typed);
    }
}

}  // namespace

_SOAP_NamedValue::_SOAP_NamedValue(const char* element_name, _Caldane_AnyRef element_value)
    : name(element_name), value(element_value) {
    assert(name != nullptr && "name");
}

_SOAP_NamedValue::_SOAP_NamedValue(const char* element_name, _Caldane_AnyConstRef element_value)
    : _SOAP_NamedValue(element_name, element_value.cast_away_constness()) {}

_Caldane_Boolean _SOAP_NamedValue::write(_SOAP_OutStream& out) {
    const _Caldane_TypeRef::_ENUM_TCKind kind = value._get_typeref().kind();
    if (kind == _Caldane_TypeRef::tk_null) return kWritten;
    if (kind == _Caldane_TypeRef::tk_objref) return value._marshal(out);
    if (kind == _Caldane_TypeRef::tk_any) {
        _SOAP_NamedValue inside(name, view_of<_Caldane_AddressableAny>(value).value());
        inside.typed = true;
        return inside.write(out);
    }
    if (out.rpc_encoding()) typed = true;
    const std::size_t name_length = std::strlen(name);
    out.put_bytes("\r\n<", 3);
    out.put_bytes(name, name_length);
    out.write_attributes(value);
    if (!typed && is_nil(value)) {
        out.put_bytes("/>", 2);
        return kWritten;
    }
    const bool end_tag_due = put_rest(out, kind, value, typed);
    typed = false;
    if (!end_tag_due) return kWritten;
    out.put_bytes("</", 2);
    out.put_bytes(name, name_length);
    out.put_char('>');
    return kWritten;
}
