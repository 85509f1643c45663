// SPDX-License-Identifier: MIT
#include <cassert>

#include "encoder/soap_named_value.h"
#include "marshal/base64.h"
#include "marshal/item_writer.h"
#include "marshal/soap_out_stream.h"

namespace {

constexpr _Caldane_Boolean kWritten = _Caldane_TRUE;
constexpr _Caldane_Boolean kFailed = _Caldane_FALSE;

template <class View>
const View& view_of(const _Caldane_TxType& value) {
    const View* view = View::_down_cast_const(_Caldane_AnyConstRef(value));
    assert(view != nullptr && "aval");
    return *view;
}

/// Hands each member with its name to the value writer.
template <class View>
_Caldane_Boolean write_members(_SOAP_OutStream& out, const View& view) {
    const auto count = view.member_count();
    for (_Caldane_ULong i = 0; i < count; ++i) {
        const _Caldane_String name = view.member_name(i);
        if (_SOAP_NamedValue(name.c_str(), view.member(i)).write(out) == kFailed) return kFailed;
    }
    return kWritten;
}

template <class View>
_Caldane_Boolean write_base64(_SOAP_OutStream& out, const View& view) {
    CBase64Writer coder(&out);
    const auto length = view.length();
    if (const void* block = view._block()) {
        coder.put(static_cast<const unsigned char*>(block), length);
    } else {
        const _Caldane_Representation& octet = _Caldane_Primitive1::_prim_rep(_Caldane_TypeRef::tk_octet);
        for (_Caldane_ULong i = 0; i < length; ++i) {
            const void* byte = view.element(i)._safe_cast(octet);
            if (byte != nullptr) coder.put(*static_cast<const unsigned char*>(byte));
        }
    }
    coder.finish();
    return kWritten;
}

/// Arrays and sequences alike: octets as one text in encoded mode, else an "item" for each element.
template <class View>
_Caldane_Boolean write_elements(_SOAP_OutStream& out, const View& view) {
    const _Caldane_TypeRef::_ENUM_TCKind kind = view.element_type().kind();
    if (kind == _Caldane_TypeRef::tk_octet && out.rpc_encoding()) return write_base64(out, view);
    const auto length = view.length();
    if (const void* block = view._block()) {
        if (write_items(out, kind, block, length)) return kWritten;
    }
    for (_Caldane_ULong i = 0; i < length; ++i) {
        if (_SOAP_NamedValue("item", view.element(i)).write(out) == kFailed) return kFailed;
    }
    return kWritten;
}

}  // namespace

_Caldane_Boolean _SOAP_OutStream::marshal(const _Caldane_TxType& value) {
    switch (value._get_typeref().kind()) {
        case _Caldane_TypeRef::tk_enum: {
            const _Caldane_String name = view_of<_Caldane_AddressableEnum>(value).type_name();
            return _SOAP_NamedValue(name.c_str(), _Caldane_AnyConstRef(value)).write(*this);
        }
        case _Caldane_TypeRef::tk_struct:
            return write_members(*this, view_of<_Caldane_AddressableStruct>(value));
        case _Caldane_TypeRef::tk_string:
            return view_of<_Caldane_AddressableString>(value)._marshal_chars(*this);
        case _Caldane_TypeRef::tk_array:
            return write_elements(*this, view_of<_Caldane_AddressableArray>(value));
        case _Caldane_TypeRef::tk_sequence:
            return write_elements(*this, view_of<_Caldane_AddressableSequence>(value));
        case _Caldane_TypeRef::tk_union:
            return marshal_union(value);
        case _Caldane_TypeRef::tk_objref: {
            const _Caldane_Object* object = _Caldane_Object::_down_cast_const(_Caldane_AnyConstRef(value));
            assert(object != nullptr && "aval");
            return marshal_object(*object);
        }
        case _Caldane_TypeRef::tk_except:
            return write_members(*this, view_of<_Caldane_AddressableException>(value));
        default:
            assert(!"0");
            return value._marshal(*this);
    }
}

_Caldane_Boolean _SOAP_OutStream::marshal_union(const _Caldane_TxType& value) {
    const auto& view = view_of<_Caldane_AddressableUnion>(value);
    put_text("\r\n<choice>");
    if (const auto* enumeration = _Caldane_IDL_EnumType::narrow(view.discriminator_type().type())) {
        put_string(enumeration->member_name(static_cast<_Caldane_ULong>(view.discriminator())));
    } else {
        marshal(static_cast<_Caldane_ULong>(view.discriminator()));
    }
    put_text("</choice>");
    const auto active = view.active_index();
    const _Caldane_String name = view.member_name(active);
    if (_SOAP_NamedValue(name.c_str(), view.active_member()).write(*this) == kFailed) return kFailed;
    return kWritten;
}
