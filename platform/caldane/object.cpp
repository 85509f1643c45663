// SPDX-License-Identifier: MIT
#include <caldane/object.h>

#include <ostream>
#include <utility>

#include <caldane/transport_stream.h>

const _Caldane_Representation _Caldane_Object::_rep("object reference");

namespace {

/// Longer profile bodies than this are no profiles.
constexpr _Caldane_ULong kMaxBody = 1 << 20;
constexpr _Caldane_ULong kMaxProfiles = 1024;

bool demarshal_profile(_Caldane_Transport_InStream& in, _IOP_ProfileList& list) {
    _Caldane_ULong tag = 0;
    _Caldane_ULong length = 0;
    if (!in.demarshal(tag) || !in.demarshal(length) || length > kMaxBody) return false;
    std::string body(length, '\0');
    auto* octets = reinterpret_cast<unsigned char*>(body.data());
    if (length != 0 && !in.demarshal_octets(octets, length)) return false;
    const _IOP_Profile profile(tag, _IOP_OctetSeq(octets, length));
    if (profile.valid()) list.append(profile);
    return profile.valid();
}

}  // namespace

_Caldane_Object::_Caldane_Object(const _Caldane_Object& other)
    : _Caldane_TxType(other), ior_(other.ior_), secure(other.secure) {
    if (ior_ != nullptr) ior_->_add_ref();
}

_Caldane_Object& _Caldane_Object::operator=(const _Caldane_Object& other) {
    if (other.ior_ != nullptr) other.ior_->_add_ref();
    set_ior(other.ior_);
    secure = other.secure;
    _Caldane_TxType::operator=(other);
    return *this;
}

_Caldane_Object::~_Caldane_Object() {
    set_ior(nullptr);
}

void _Caldane_Object::set_ior(_IOP_IOR* ior) {
    if (ior_ != nullptr) ior_->_release();
    ior_ = ior;
}

std::string _Caldane_Object::url() const {
    return _is_nil() ? std::string() : std::string(std::string_view(ior_->location()));
}

_Caldane_Object* _Caldane_Object::_down_cast(_Caldane_AnyRef value) {
    return static_cast<_Caldane_Object*>(value._safe_cast(_rep));
}

const _Caldane_Object* _Caldane_Object::_down_cast_const(_Caldane_AnyConstRef value) {
    return static_cast<const _Caldane_Object*>(value._safe_cast(_rep));
}

bool operator==(const _Caldane_Object& a, const _Caldane_Object& b) {
    if (a.ior_ == b.ior_) return true;
    if (a._is_nil() || b._is_nil() || !(a.ior_->type_id() == b.ior_->type_id())) return false;
    if (!(a.ior_->url() == b.ior_->url())) return false;
    _IOP_ProfileIter mine = a.ior_->profiles();
    _IOP_ProfileIter theirs = b.ior_->profiles();
    for (; mine && theirs; mine.next(), theirs.next()) {
        if (!(*mine.current() == *theirs.current())) return false;
    }
    return !mine && !theirs;
}

_Caldane_Boolean _Caldane_Object::_marshal(_Caldane_Transport_OutStream& out) const {
    const _Caldane_String id = _is_nil() ? _Caldane_String::constant("") : ior_->type_id();
    if (!out.marshal_string(id.is_null() ? "" : id.c_str(), id.length())) return _Caldane_FALSE;
    _Caldane_ULong count = 0;
    if (!_is_nil()) {
        for (_IOP_ProfileIter profile = ior_->profiles(); profile; profile.next()) ++count;
    }
    if (!out.marshal(count)) return _Caldane_FALSE;
    if (count == 0) return _Caldane_TRUE;
    for (_IOP_ProfileIter profile = ior_->profiles(); profile; profile.next()) {
        const _IOP_OctetSeq body = profile.current()->data();
        if (!out.marshal(profile.current()->tag()) || !out.marshal(body.length())) return _Caldane_FALSE;
        if (body.length() != 0 && !out.marshal_octets(body.data(), body.length())) return _Caldane_FALSE;
    }
    return _Caldane_TRUE;
}

_Caldane_Boolean _Caldane_Object::_demarshal(_Caldane_Transport_InStream& in) {
    _Caldane_String id;
    _Caldane_ULong count = 0;
    if (!in.demarshal(id) || !in.demarshal(count) || count > kMaxProfiles) return _Caldane_FALSE;
    _IOP_ProfileList list;
    for (_Caldane_ULong i = 0; i < count; ++i) {
        if (!demarshal_profile(in, list)) return _Caldane_FALSE;
    }
    if (count == 0 && id.empty()) {
        set_ior(nullptr);
        return _Caldane_TRUE;
    }
    _IOP_IOR* ior = _IOP_IOR::generate(id, list);
    set_ior(ior);
    return static_cast<_Caldane_Boolean>(ior != nullptr);
}

const _Caldane_TypeRef& _Caldane_Object::_get_typeref() const {
    return _Caldane_TypeRef::_of_kind(_Caldane_TypeRef::tk_objref);
}

void* _Caldane_Object::_safe_cast(const _Caldane_Representation& wanted) const {
    return wanted == _rep ? const_cast<_Caldane_Object*>(this) : _Caldane_TxType::_safe_cast(wanted);
}

_Caldane_Boolean _Caldane_Object::_convert_from(_Caldane_AnyConstRef source) {
    const _Caldane_Object* other = _down_cast_const(source);
    if (other != nullptr) *this = *other;
    return static_cast<_Caldane_Boolean>(other != nullptr);
}

_Caldane_AnyRef _Caldane_Object::_clone() const {
    auto* copy = new _Caldane_Object(*this);
    return copy != nullptr ? _Caldane_AnyRef(*copy) : _Caldane_AnyRef();
}

void _Caldane_Object::_print(std::ostream& out) const {
    out << (_is_nil() ? std::string("nil") : url());
}

bool _Caldane_Object::_equals(const _Caldane_TxType& other) const {
    const _Caldane_Object* object = _down_cast_const(other);
    return object != nullptr && is_nil() == other.is_nil() && *this == *object;
}
