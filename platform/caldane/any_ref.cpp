// SPDX-License-Identifier: MIT
#include <caldane/any_ref.h>

#include <caldane/primitive.h>
#include <caldane/transport_stream.h>
#include <caldane/type_ref.h>

_Caldane_Boolean _Caldane_AnyConstRef::_marshal(_Caldane_Transport_OutStream& out) const {
    switch (tag_) {
        case kTxType:
            return out.marshal(*tx());
        case kShort:
            return out.marshal(*static_cast<const short*>(pointer_));
        case kLong:
            return out.marshal(*static_cast<const _Caldane_Long*>(pointer_));
        case kUShort:
            return out.marshal(*static_cast<const unsigned short*>(pointer_));
        case kULong:
            return out.marshal(*static_cast<const _Caldane_ULong*>(pointer_));
        case kFloat:
            return out.marshal(*static_cast<const float*>(pointer_));
        case kDouble:
            return out.marshal(*static_cast<const double*>(pointer_));
        case kBoolean:
            return out.marshal(*static_cast<const _Caldane_Boolean*>(pointer_));
        case kChar:
            return out.marshal(*static_cast<const char*>(pointer_));
        case kOctet:
            return out.marshal(*static_cast<const unsigned char*>(pointer_));
        case kNothing:
            break;
    }
    return _Caldane_TRUE;
}

_Caldane_Boolean _Caldane_AnyRef::_demarshal(_Caldane_Transport_InStream& in) const {
    void* const target = _address();
    switch (tag_) {
        case kTxType:
            return in.demarshal(*_tx_type());
        case kShort:
            return in.demarshal(*static_cast<short*>(target));
        case kLong:
            return in.demarshal(*static_cast<_Caldane_Long*>(target));
        case kUShort:
            return in.demarshal(*static_cast<unsigned short*>(target));
        case kULong:
            return in.demarshal(*static_cast<_Caldane_ULong*>(target));
        case kFloat:
            return in.demarshal(*static_cast<float*>(target));
        case kDouble:
            return in.demarshal(*static_cast<double*>(target));
        case kBoolean:
            return in.demarshal(*static_cast<_Caldane_Boolean*>(target));
        case kChar:
            return in.demarshal(*static_cast<char*>(target));
        case kOctet:
            return in.demarshal(*static_cast<unsigned char*>(target));
        case kNothing:
            break;
    }
    return _Caldane_TRUE;
}

void* _Caldane_AnyConstRef::_safe_cast(const _Caldane_Representation& wanted) const {
    if (tag_ == kTxType) return tx()->_safe_cast(wanted);
    if (tag_ == kNothing) return nullptr;
    const auto kind = static_cast<_Caldane_TypeRef::_ENUM_TCKind>(tag_);
    return wanted == _Caldane_Primitive1::_prim_rep(kind) ? const_cast<void*>(pointer_) : nullptr;
}

const _Caldane_TypeRef& _Caldane_AnyConstRef::primitive_typeref(Tag tag) {
    return _Caldane_TypeRef::_of_kind(static_cast<_Caldane_TypeRef::_ENUM_TCKind>(tag));
}
