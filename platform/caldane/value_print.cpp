// SPDX-License-Identifier: MIT
#include <ostream>
#include <string_view>

#include <caldane/addressable.h>
#include <caldane/idl_types.h>
#include <caldane/primitive.h>
#include <caldane/string.h>
#include <caldane/value_support.h>

namespace {

using Kind = _Caldane_TypeRef::_ENUM_TCKind;

/// A byte inside quotes: what a reader could not see, or would take for the quote, is escaped.
void print_byte(std::ostream& out, char byte, char quote) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto code = static_cast<unsigned char>(byte);
    if (byte == quote || byte == '\\') {
        out << '\\' << byte;
    } else if (byte == '\n') {
        out << "\\n";
    } else if (code < 0x20 || code == 0x7F) {
        out << "\\x" << kDigits[code >> 4] << kDigits[code & 15];
    } else {
        out << byte;
    }
}

void print_text(std::ostream& out, std::string_view text) {
    out << '"';
    for (const char byte : text) print_byte(out, byte, '"');
    out << '"';
}

template <class View>
void print_members(std::ostream& out, std::string_view name, const View& view) {
    out << name << '{';
    for (_Caldane_ULong i = 0; i < view.member_count(); ++i) {
        if (i != 0) out << ", ";
        out << view.member_name(i) << '=';
        _Caldane_print(out, view.member(i));
    }
    out << '}';
}

template <class View>
void print_elements(std::ostream& out, const View& view) {
    out << '[';
    for (_Caldane_ULong i = 0; i < view.length(); ++i) {
        if (i != 0) out << ", ";
        _Caldane_print(out, view.element(i));
    }
    out << ']';
}

void print_enum(std::ostream& out, const _Caldane_AddressableEnum& view) {
    const _Caldane_String name = view.member_name(view.value());
    if (name.empty()) {
        out << view.type_name() << '(' << view.value() << ')';
    } else {
        out << name;
    }
}

void print_string(std::ostream& out, _Caldane_AnyConstRef value) {
    if (const auto* text = dynamic_cast<const _Caldane_String*>(value._tx_type()); text && !text->is_null()) {
        print_text(out, text->view());
        return;
    }
    const _Caldane_AddressableString* const view = _Caldane_AddressableString::_down_cast_const(value);
    if (view == nullptr || view->c_str() == nullptr) {
        out << "null";
    } else {
        print_text(out, view->c_str());
    }
}

void print_union(std::ostream& out, const _Caldane_AddressableUnion& view) {
    out << view.type_name() << '{' << view.member_name(view.active_index()) << '=';
    _Caldane_print(out, view.active_member());
    out << '}';
}

void print_primitive(std::ostream& out, Kind kind, const void* address) {
    switch (kind) {
        case _Caldane_TypeRef::tk_short:
            out << *static_cast<const short*>(address);
            break;
        case _Caldane_TypeRef::tk_long:
            out << *static_cast<const _Caldane_Long*>(address);
            break;
        case _Caldane_TypeRef::tk_ushort:
            out << *static_cast<const unsigned short*>(address);
            break;
        case _Caldane_TypeRef::tk_ulong:
            out << *static_cast<const _Caldane_ULong*>(address);
            break;
        case _Caldane_TypeRef::tk_float:
            out << *static_cast<const float*>(address);
            break;
        case _Caldane_TypeRef::tk_double:
            out << *static_cast<const double*>(address);
            break;
        case _Caldane_TypeRef::tk_octet:
            out << unsigned{*static_cast<const unsigned char*>(address)};
            break;
        case _Caldane_TypeRef::tk_boolean:
            out << (*static_cast<const _Caldane_Boolean*>(address) != _Caldane_FALSE ? "true" : "false");
            break;
        case _Caldane_TypeRef::tk_char:
            out << '\'';
            print_byte(out, *static_cast<const char*>(address), '\'');
            out << '\'';
            break;
        default:
            out << "nothing";
            break;
    }
}

/// The part of a repository id between its last '/' or first ':' and the version.
std::string_view local_name(std::string_view id) {
    const auto version = id.rfind(':');
    if (version == std::string_view::npos || version == 0) return id;
    const auto start = id.find_last_of("/:", version - 1);
    return start == std::string_view::npos ? id.substr(0, version)
                                           : id.substr(start + 1, version - start - 1);
}

}  // namespace

void _Caldane_print(std::ostream& out, _Caldane_AnyConstRef value) {
    if (const _Caldane_TxType* const constructed = value._tx_type()) {
        constructed->_print(out);
    } else {
        print_primitive(out, value._get_typeref().kind(), value._address());
    }
}

void _Caldane_TxType::_print(std::ostream& out) const {
    if (nil_) {
        out << "nil";
        return;
    }
    const _Caldane_AnyConstRef value(*this);
    if (const auto* object = _Caldane_AddressableStruct::_down_cast_const(value)) {
        print_members(out, object->type_name(), *object);
    } else if (const auto* exception = _Caldane_AddressableException::_down_cast_const(value)) {
        print_members(out, local_name(_get_typeref().type().repository_id()), *exception);
    } else if (const auto* sequence = _Caldane_AddressableSequence::_down_cast_const(value)) {
        print_elements(out, *sequence);
    } else if (const auto* array = _Caldane_AddressableArray::_down_cast_const(value)) {
        print_elements(out, *array);
    } else if (const auto* enumeration = _Caldane_AddressableEnum::_down_cast_const(value)) {
        print_enum(out, *enumeration);
    } else if (const auto* choice = _Caldane_AddressableUnion::_down_cast_const(value)) {
        print_union(out, *choice);
    } else if (const auto* any = _Caldane_AddressableAny::_down_cast_const(value)) {
        _Caldane_print(out, any->value());
    } else {
        print_string(out, value);
    }
}

std::ostream& operator<<(std::ostream& out, const _Caldane_TxType& value) {
    value._print(out);
    return out;
}
