// SPDX-License-Identifier: MIT
#include "marshal/item_writer.h"

#include <cstdint>
#include <cstring>
#include <string_view>

#include "marshal/number_text.h"
#include "marshal/soap_out_stream.h"

namespace {

template <class Number>
bool write_numbers(_SOAP_OutStream& out, std::string_view start_tag, const void* block,
                   _Caldane_ULong length) {
    constexpr std::string_view kEndTag = "</item>";
    const auto* numbers = static_cast<const Number*>(block);
    if (!out.rpc_encoding()) start_tag = "\r\n<item>";
    for (_Caldane_ULong i = 0; i < length; ++i) out.put_element(start_tag, numbers[i], kEndTag);
    return true;
}

}  // namespace

bool write_items(_SOAP_OutStream& out, _Caldane_TypeRef::_ENUM_TCKind kind, const void* block,
                 _Caldane_ULong length) {
    if (!out.gathers_pieces()) return false;
    switch (kind) {
        case _Caldane_TypeRef::tk_short:
            return write_numbers<short>(out, "\r\n<item xsi:type=\"xsd:short\">", block, length);
        case _Caldane_TypeRef::tk_ushort:
            return write_numbers<unsigned short>(out, "\r\n<item xsi:type=\"xsd:unsignedShort\">", block,
                                                 length);
        case _Caldane_TypeRef::tk_long:
            return write_numbers<_Caldane_Long>(out, "\r\n<item xsi:type=\"xsd:int\">", block, length);
        case _Caldane_TypeRef::tk_ulong:
            return write_numbers<_Caldane_ULong>(out, "\r\n<item xsi:type=\"xsd:unsignedInt\">", block,
                                                 length);
        case _Caldane_TypeRef::tk_float:
            return write_numbers<float>(out, "\r\n<item xsi:type=\"xsd:float\">", block, length);
        case _Caldane_TypeRef::tk_double:
            return write_numbers<double>(out, "\r\n<item xsi:type=\"xsd:double\">", block, length);
        case _Caldane_TypeRef::tk_octet:
            return write_numbers<unsigned char>(out, "\r\n<item xsi:type=\"xsd:unsignedByte\">", block,
                                                length);
        default:
            return false;
    }
}
