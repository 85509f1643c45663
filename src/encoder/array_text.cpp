// SPDX-License-Identifier: MIT
#include "encoder/array_text.h"

#include <type_traits>

#include "encoder/soap_named_value.h"
#include "encoder/type_prefix.h"
#include "marshal/namespaces.h"
#include "marshal/soap_out_stream.h"

namespace array_text {

namespace {

using Kind = _Caldane_TypeRef::_ENUM_TCKind;

/// The kind of the elements by which a level counts as one dimension of several.
constexpr Kind nested_kind(const _Caldane_AddressableArray*) {
    return _Caldane_TypeRef::tk_array;
}
constexpr Kind nested_kind(const _Caldane_AddressableSequence*) {
    return _Caldane_TypeRef::tk_sequence;
}

template <class View>
bool is_nested(const View& view) {
    return view.element_type().kind() == nested_kind(&view);
}

/// The level below, by its first element; null where there is none.
template <class View>
const View* first_level_of(const View& view) {
    return view.length() == 0 ? nullptr : View::_down_cast_const(view.element(0));
}

const char* element_type_text(Kind kind) {
    switch (kind) {
        case _Caldane_TypeRef::tk_short:
            return "xsd:short";
        case _Caldane_TypeRef::tk_long:
            return "xsd:int";
        case _Caldane_TypeRef::tk_ushort:
            return "xsd:unsignedShort";
        case _Caldane_TypeRef::tk_ulong:
        case _Caldane_TypeRef::tk_TypeCode:
            return "xsd:unsignedInt";
        case _Caldane_TypeRef::tk_float:
            return "xsd:float";
        case _Caldane_TypeRef::tk_double:
            return "xsd:double";
        case _Caldane_TypeRef::tk_boolean:
            return "xsd:boolean";
        case _Caldane_TypeRef::tk_char:
        case _Caldane_TypeRef::tk_string:
            return "xsd:string";
        case _Caldane_TypeRef::tk_octet:
            return "xsd:unsignedByte";
        default:
            return "";
    }
}

void put_attribute_start(_SOAP_OutStream& out) {
    out.put_text(out.rpc_encoding() ? " SOAP-ENC:arrayType=\"" : " type=\"");
}

template <class View>
void put_element_type(_SOAP_OutStream& out, const View& view) {
    if (view.element_type().kind() == _Caldane_TypeRef::tk_any) {
        put_attribute_start(out);
        out.put_text("xsd:anyType");
        return;
    }
    const _Caldane_StructBase* first =
        view.length() == 0 ? nullptr : _Caldane_StructBase::_down_cast_const(view.element(0));
    if (first != nullptr) {
        if (const _Caldane_String type_namespace = first->type_namespace(); type_namespace.length() != 0) {
            const TypePrefix prefix(out, type_namespace);
            put_attribute_start(out);
            prefix.put(out);
            out.put_string(first->type_name());
            return;
        }
    }
    put_attribute_start(out);
    const View* level = &view;
    while (const View* below = first_level_of(*level)) level = below;
    out.put_text(element_type_text(level->element_type().kind()));
}

/// True when every row below `view` is as long as the first of its dimension, which `first` leads along.
template <class View>
bool is_rectangular(const View& view, const View* first) {
    const View* const first_below = first_level_of(*first);
    if (first_below == nullptr) return true;
    for (_Caldane_ULong i = 0; i < view.length(); ++i) {
        const View* below = View::_down_cast_const(view.element(i));
        if (below == nullptr || below->length() != first_below->length() ||
            !is_rectangular(*below, first_below))
            return false;
    }
    return true;
}

}  // namespace

template <class View>
Layout layout_of(const View& view, bool typed) {
    // The shape of a fixed array is known to its reader; that of sequences must be told or seen.
    if (std::is_same_v<View, _Caldane_AddressableArray> || !is_nested(view)) return Layout::flat;
    if (!typed) return Layout::nested;
    return is_rectangular(view, &view) ? Layout::flat : Layout::typed_rows;
}

template <class View>
void put_type(_SOAP_OutStream& out, const View& view, Layout layout) {
    if (layout == Layout::typed_rows) {
        // Only encoded envelopes declare the prefix.
        if (!out.rpc_encoding()) {
            out.put_text(" xmlns:SOAP-ENC=\"");
            out.put_text(NS_SOAP_ENC);
            out.put_char('"');
        }
        put_attribute_start(out);
        out.put_text("SOAP-ENC:Array");
    } else {
        put_element_type(out, view);
    }
    out.put_char('[');
    out.marshal(static_cast<_Caldane_ULong>(view.length()));
    const View* level = &view;
    while (layout == Layout::flat && is_nested(*level)) {
        level = first_level_of(*level);
        if (level == nullptr) break;
        out.put_char(',');
        out.marshal(static_cast<_Caldane_ULong>(level->length()));
    }
    out.put_text("]\"");
}

template <class View>
void put_items(_SOAP_OutStream& out, const View& view, _Caldane_AnyConstRef value, Layout layout) {
    if (layout == Layout::nested || !is_nested(view)) {
        value._marshal(out);
        return;
    }
    const auto length = view.length();
    for (_Caldane_ULong i = 0; i < length; ++i) {
        const _Caldane_AnyConstRef element = view.element(i);
        if (layout == Layout::typed_rows) {
            _SOAP_NamedValue row("item", element);
            row.typed = true;
            row.write(out);
            continue;
        }
        const View* below = View::_down_cast_const(element);
        if (below == nullptr) return;
        if (below->element_type().kind() == _Caldane_TypeRef::tk_octet) {
            // Among several dimensions each byte is an item of its own: one base64 text could not be cut up.
            for (_Caldane_ULong j = 0; j < below->length(); ++j)
                _SOAP_NamedValue("item", below->element(j)).write(out);
        } else {
            put_items(out, *below, element, layout);
        }
    }
}

template Layout layout_of(const _Caldane_AddressableArray&, bool);
template Layout layout_of(const _Caldane_AddressableSequence&, bool);
template void put_type(_SOAP_OutStream&, const _Caldane_AddressableArray&, Layout);
template void put_type(_SOAP_OutStream&, const _Caldane_AddressableSequence&, Layout);
template void put_items(_SOAP_OutStream&, const _Caldane_AddressableArray&, _Caldane_AnyConstRef, Layout);
template void put_items(_SOAP_OutStream&, const _Caldane_AddressableSequence&, _Caldane_AnyConstRef, Layout);

}  // namespace array_text
