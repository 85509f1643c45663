// SPDX-License-Identifier: MIT
#include <ctime>

#include "marshal/xsd_streams.h"

namespace {

constexpr _Caldane_Boolean kDone = _Caldane_TRUE;

const unsigned char* octets_of(const char* chars) {
    return reinterpret_cast<const unsigned char*>(chars);
}

}  // namespace

_Caldane_Boolean XsdOutStream::marshal(const _Caldane_TxType& value) {
    value._marshal(*this);
    return kDone;
}

_Caldane_Boolean XsdOutStream::marshal(_Caldane_TypeRef::_ENUM_TCKind) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal(double) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal(float) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal(_Caldane_ULong) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal(_Caldane_Long) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal(unsigned short) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal(short) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal(char) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal(unsigned char) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal(_Caldane_Boolean) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal_backptr(_Caldane_ULong) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal_string(const char*, _Caldane_ULong) {
    return kDone;
}
_Caldane_Boolean XsdOutStream::marshal_octets(const unsigned char*, _Caldane_ULong) {
    return kDone;
}

_Caldane_Boolean _SOAP_Base64OutStream::marshal(const _Caldane_TxType& value) {
    // Octets that lie side by side need not come one by one.
    const auto* octets = _Caldane_AddressableSequence::_down_cast_const(_Caldane_AnyConstRef(value));
    if (octets == nullptr || octets->element_type().kind() != _Caldane_TypeRef::tk_octet ||
        octets->_block() == nullptr)
        return XsdOutStream::marshal(value);
    return marshal_octets(static_cast<const unsigned char*>(octets->_block()), octets->length());
}

_Caldane_Boolean _SOAP_Base64OutStream::marshal(char value) {
    return marshal(static_cast<unsigned char>(value));
}

_Caldane_Boolean _SOAP_Base64OutStream::marshal(unsigned char value) {
    coder.put(value);
    return kDone;
}

_Caldane_Boolean _SOAP_Base64OutStream::marshal_string(const char* chars, _Caldane_ULong length) {
    return marshal_octets(octets_of(chars), length);
}

_Caldane_Boolean _SOAP_Base64OutStream::marshal_octets(const unsigned char* data, _Caldane_ULong length) {
    coder.put(data, length);
    return kDone;
}

_Caldane_Boolean _SOAP_HexOutStream::marshal(char value) {
    return marshal(static_cast<unsigned char>(value));
}

_Caldane_Boolean _SOAP_HexOutStream::marshal(unsigned char value) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    target->put_char(kDigits[value >> 4]);
    target->put_char(kDigits[value & 15]);
    return kDone;
}

_Caldane_Boolean _SOAP_HexOutStream::marshal_string(const char* chars, _Caldane_ULong length) {
    return marshal_octets(octets_of(chars), length);
}

_Caldane_Boolean _SOAP_HexOutStream::marshal_octets(const unsigned char* data, _Caldane_ULong length) {
    for (_Caldane_ULong i = 0; i < length; ++i) marshal(data[i]);
    return kDone;
}

_Caldane_Boolean _SOAP_DecimalOutStream::marshal_string(const char* chars, _Caldane_ULong length) {
    return target->marshal_string(chars, length);
}

_Caldane_Boolean _SOAP_DateTimeOutStream::marshal(_Caldane_Long value) {
    const std::time_t seconds = value;
    std::tm parts{};
    char text[32];
    if (gmtime_r(&seconds, &parts) == nullptr) return kDone;
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    target->put_bytes(text, length);
    return kDone;
}
