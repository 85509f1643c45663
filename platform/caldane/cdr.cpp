// SPDX-License-Identifier: MIT
#include <caldane/cdr.h>

#include <bit>
#include <cstring>
#include <limits>

namespace CDR {

template <class T>
_Caldane_Boolean OutStream::put(T value) {
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    octets.resize((octets.size() + sizeof(T) - 1) / sizeof(T) * sizeof(T), '\0');
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        const std::size_t at = std::endian::native == std::endian::little ? i : sizeof(T) - 1 - i;
        octets.push_back(static_cast<char>(bytes[at]));
    }
    return _Caldane_TRUE;
}

_Caldane_Boolean OutStream::marshal(const _Caldane_TxType& value) {
    return value._marshal(*this);
}
_Caldane_Boolean OutStream::marshal(_Caldane_TypeRef::_ENUM_TCKind kind) {
    return put(static_cast<_Caldane_ULong>(kind));
}
_Caldane_Boolean OutStream::marshal(double value) {
    return put(value);
}
_Caldane_Boolean OutStream::marshal(float value) {
    return put(value);
}
_Caldane_Boolean OutStream::marshal(_Caldane_ULong value) {
    return put(value);
}
_Caldane_Boolean OutStream::marshal(_Caldane_Long value) {
    return put(value);
}
_Caldane_Boolean OutStream::marshal(unsigned short value) {
    return put(value);
}
_Caldane_Boolean OutStream::marshal(short value) {
    return put(value);
}
_Caldane_Boolean OutStream::marshal(char value) {
    return put(value);
}
_Caldane_Boolean OutStream::marshal(unsigned char value) {
    return put(value);
}
_Caldane_Boolean OutStream::marshal(_Caldane_Boolean value) {
    return put(static_cast<unsigned char>(value != _Caldane_FALSE));
}

/// CORBA 2.6, 15.3.5.1: an indirection is the tag 0xffffffff and the distance.
_Caldane_Boolean OutStream::marshal_backptr(_Caldane_ULong offset) {
    put(std::numeric_limits<_Caldane_ULong>::max());
    return put(offset);
}

_Caldane_Boolean OutStream::marshal_string(const char* chars, _Caldane_ULong length) {
    if (length == std::numeric_limits<_Caldane_ULong>::max()) return _Caldane_FALSE;
    if (chars == nullptr) length = 0;
    put(length + 1);
    if (length != 0) octets.append(chars, length);
    octets.push_back('\0');
    return _Caldane_TRUE;
}

_Caldane_Boolean OutStream::marshal_octets(const unsigned char* data, _Caldane_ULong length) {
    if (length != 0) octets.append(reinterpret_cast<const char*>(data), length);
    return _Caldane_TRUE;
}

}  // namespace CDR

_IOP_OctetSeq _IOP_SequenceOutStream::octet_sequence() const {
    return {reinterpret_cast<const unsigned char*>(octets.data()), octets.size()};
}
