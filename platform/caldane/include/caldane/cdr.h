// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <caldane/ior.h>
#include <caldane/transport_stream.h>

namespace CDR {

/// Writes values in the common data representation (CORBA 2.6, 15.3): each primitive aligned to its size,
/// counted from the first octet; little endian, without a byte order mark of its own; strings as their length
/// with the terminator, the characters and a zero byte.
class OutStream : public _Caldane_Transport_OutStream {
public:
    _Caldane_Boolean marshal(const _Caldane_TxType& value) override;
    _Caldane_Boolean marshal(_Caldane_TypeRef::_ENUM_TCKind kind) override;
    _Caldane_Boolean marshal(double value) override;
    _Caldane_Boolean marshal(float value) override;
    _Caldane_Boolean marshal(_Caldane_ULong value) override;
    _Caldane_Boolean marshal(_Caldane_Long value) override;
    _Caldane_Boolean marshal(unsigned short value) override;
    _Caldane_Boolean marshal(short value) override;
    _Caldane_Boolean marshal(char value) override;
    _Caldane_Boolean marshal(unsigned char value) override;
    _Caldane_Boolean marshal(_Caldane_Boolean value) override;
    _Caldane_Boolean marshal_backptr(_Caldane_ULong offset) override;
    /// A null text is written as an empty one.
    _Caldane_Boolean marshal_string(const char* chars, _Caldane_ULong length) override;
    _Caldane_Boolean marshal_octets(const unsigned char* data, _Caldane_ULong length) override;

protected:
    std::string octets;

private:
    template <class T>
    _Caldane_Boolean put(T value);
};

}  // namespace CDR

/// A CDR stream into memory.
class _IOP_SequenceOutStream : public CDR::OutStream {
public:
    /// `first_size`: octets to set aside at first.
    explicit _IOP_SequenceOutStream(_Caldane_ULong first_size) { octets.reserve(first_size); }

    /// What was written so far.
    _IOP_OctetSeq octet_sequence() const;
};
