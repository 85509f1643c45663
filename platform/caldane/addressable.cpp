// SPDX-License-Identifier: MIT
#include <caldane/addressable.h>

#include <caldane/transport_stream.h>

// Each view answers for its own representation and asks its base for the others, so a cast is a virtual call
// and a few comparisons of addresses, and right for any class that derives from a view.

namespace {

template <class View>
const View* view_of(_Caldane_AnyConstRef value) {
    const _Caldane_TxType* const constructed = value._tx_type();
    if (constructed == nullptr) return nullptr;
    return static_cast<const View*>(constructed->_safe_cast(View::_rep));
}

template <class View>
void* answer(const View* view, const _Caldane_Representation& wanted) {
    return wanted == View::_rep ? const_cast<View*>(view) : nullptr;
}

template <class View>
_Caldane_Boolean marshal_elements(const View& view, _Caldane_Transport_OutStream& out) {
    const _Caldane_ULong count = view.length();
    for (_Caldane_ULong i = 0; i < count; ++i) {
        if (view.element(i)._marshal(out) == _Caldane_FALSE) return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}

}  // namespace

constinit const _Caldane_Representation _Caldane_StructBase::_rep("struct base");
constinit const _Caldane_Representation _Caldane_AddressableStruct::_rep("struct");
constinit const _Caldane_Representation _Caldane_AddressableUnion::_rep("union");
constinit const _Caldane_Representation _Caldane_AddressableEnum::_rep("enum");
constinit const _Caldane_Representation _Caldane_AddressableSequence::_rep("sequence");
constinit const _Caldane_Representation _Caldane_AddressableArray::_rep("array");
constinit const _Caldane_Representation _Caldane_AddressableString::_rep("string");
constinit const _Caldane_Representation _Caldane_AddressableException::_rep("exception");
constinit const _Caldane_Representation _Caldane_AddressableAny::_rep("any");

void* _Caldane_StructBase::_safe_cast(const _Caldane_Representation& wanted) const {
    return answer(this, wanted);
}
void* _Caldane_AddressableStruct::_safe_cast(const _Caldane_Representation& wanted) const {
    if (void* const found = answer(this, wanted)) return found;
    return _Caldane_StructBase::_safe_cast(wanted);
}
void* _Caldane_AddressableUnion::_safe_cast(const _Caldane_Representation& wanted) const {
    return answer(this, wanted);
}
void* _Caldane_AddressableEnum::_safe_cast(const _Caldane_Representation& wanted) const {
    return answer(this, wanted);
}
void* _Caldane_AddressableSequence::_safe_cast(const _Caldane_Representation& wanted) const {
    return answer(this, wanted);
}
void* _Caldane_AddressableArray::_safe_cast(const _Caldane_Representation& wanted) const {
    return answer(this, wanted);
}
void* _Caldane_AddressableString::_safe_cast(const _Caldane_Representation& wanted) const {
    return answer(this, wanted);
}
void* _Caldane_AddressableAny::_safe_cast(const _Caldane_Representation& wanted) const {
    return answer(this, wanted);
}

const _Caldane_StructBase* _Caldane_StructBase::_down_cast_const(_Caldane_AnyConstRef value) {
    return view_of<_Caldane_StructBase>(value);
}
const _Caldane_AddressableStruct* _Caldane_AddressableStruct::_down_cast_const(_Caldane_AnyConstRef value) {
    return view_of<_Caldane_AddressableStruct>(value);
}
_Caldane_AddressableStruct* _Caldane_AddressableStruct::_down_cast(_Caldane_AnyRef value) {
    return const_cast<_Caldane_AddressableStruct*>(_down_cast_const(value));
}
const _Caldane_AddressableUnion* _Caldane_AddressableUnion::_down_cast_const(_Caldane_AnyConstRef value) {
    return view_of<_Caldane_AddressableUnion>(value);
}
_Caldane_AddressableUnion* _Caldane_AddressableUnion::_down_cast(_Caldane_AnyRef value) {
    return const_cast<_Caldane_AddressableUnion*>(_down_cast_const(value));
}
const _Caldane_AddressableEnum* _Caldane_AddressableEnum::_down_cast_const(_Caldane_AnyConstRef value) {
    return view_of<_Caldane_AddressableEnum>(value);
}
_Caldane_AddressableEnum* _Caldane_AddressableEnum::_down_cast(_Caldane_AnyRef value) {
    return const_cast<_Caldane_AddressableEnum*>(_down_cast_const(value));
}
const _Caldane_AddressableSequence* _Caldane_AddressableSequence::_down_cast_const(
    _Caldane_AnyConstRef value) {
    return view_of<_Caldane_AddressableSequence>(value);
}
_Caldane_AddressableSequence* _Caldane_AddressableSequence::_down_cast(_Caldane_AnyRef value) {
    return const_cast<_Caldane_AddressableSequence*>(_down_cast_const(value));
}
const _Caldane_AddressableArray* _Caldane_AddressableArray::_down_cast_const(_Caldane_AnyConstRef value) {
    return view_of<_Caldane_AddressableArray>(value);
}
_Caldane_AddressableArray* _Caldane_AddressableArray::_down_cast(_Caldane_AnyRef value) {
    return const_cast<_Caldane_AddressableArray*>(_down_cast_const(value));
}
const _Caldane_AddressableString* _Caldane_AddressableString::_down_cast_const(_Caldane_AnyConstRef value) {
    return view_of<_Caldane_AddressableString>(value);
}
_Caldane_AddressableString* _Caldane_AddressableString::_down_cast(_Caldane_AnyRef value) {
    return const_cast<_Caldane_AddressableString*>(_down_cast_const(value));
}
const _Caldane_AddressableException* _Caldane_AddressableException::_down_cast_const(
    _Caldane_AnyConstRef value) {
    return view_of<_Caldane_AddressableException>(value);
}
_Caldane_AddressableException* _Caldane_AddressableException::_down_cast(_Caldane_AnyRef value) {
    return const_cast<_Caldane_AddressableException*>(_down_cast_const(value));
}
const _Caldane_AddressableAny* _Caldane_AddressableAny::_down_cast_const(_Caldane_AnyConstRef value) {
    return view_of<_Caldane_AddressableAny>(value);
}
_Caldane_AddressableAny* _Caldane_AddressableAny::_down_cast(_Caldane_AnyRef value) {
    return const_cast<_Caldane_AddressableAny*>(_down_cast_const(value));
}

_Caldane_Boolean _Caldane_AddressableSequence::_marshal(_Caldane_Transport_OutStream& out) const {
    const _Caldane_ULong count = length();
    if (out.marshal(count) == _Caldane_FALSE) return _Caldane_FALSE;
    return marshal_elements(*this, out);
}
_Caldane_Boolean _Caldane_AddressableSequence::_demarshal(_Caldane_Transport_InStream& in) {
    _Caldane_ULong count = 0;
    if (in.demarshal(count) == _Caldane_FALSE) return _Caldane_FALSE;
    if ((bound() != 0 && count > bound()) || length(0) == _Caldane_FALSE) return _Caldane_FALSE;
    // One by one: a length alone brings no memory about.
    for (_Caldane_ULong i = 0; i < count; ++i) {
        if (length(i + 1) == _Caldane_FALSE || _demarshal_content(i, in) == _Caldane_FALSE)
            return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}

_Caldane_Boolean _Caldane_AddressableArray::_marshal(_Caldane_Transport_OutStream& out) const {
    return marshal_elements(*this, out);
}
_Caldane_Boolean _Caldane_AddressableArray::_demarshal(_Caldane_Transport_InStream& in) {
    const _Caldane_ULong count = length();
    for (_Caldane_ULong i = 0; i < count; ++i) {
        if (element(i).cast_away_constness()._demarshal(in) == _Caldane_FALSE) return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}
