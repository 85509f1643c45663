// SPDX-License-Identifier: MIT
#include <ostream>

#include <caldane/exceptions.h>
#include <caldane/idl_types.h>

namespace {

const _Caldane_TypeInfo& describe() {
    static constexpr _Caldane_TypeInfo kInfo = {"IDL:Caldane/SystemException:1.0", "SystemException",
                                                _Caldane_SystemException::kNamespace};
    return kInfo;
}

_Caldane_IDL_Type system_exception_type(_Caldane_TypeRef::tk_except, &describe, nullptr);
const _Caldane_TypeRef system_exception_typeref(system_exception_type, _Caldane_TypeRef::tk_except);

}  // namespace

_Caldane_String _Caldane_SystemException::repository_id() const {
    return _Caldane_String(std::string("IDL:Caldane/") + kind_name(kind_) + ":1.0");
}

void _Caldane_SystemException::_raise() const {
    throw _Caldane_SystemException(*this);
}

_Caldane_String _Caldane_SystemException::namespace_text() const {
    return _Caldane_String::constant(kNamespace);
}

_Caldane_String _Caldane_SystemException::member_name(_Caldane_ULong) const {
    return _Caldane_String::constant("");
}

_Caldane_AnyConstRef _Caldane_SystemException::member(_Caldane_ULong) const {
    return {};
}

_Caldane_Boolean _Caldane_SystemException::_marshal(_Caldane_Transport_OutStream&) const {
    return _Caldane_TRUE;
}

_Caldane_Boolean _Caldane_SystemException::_demarshal(_Caldane_Transport_InStream&) {
    return _Caldane_TRUE;
}

const _Caldane_Representation& _Caldane_SystemException::_get_representation() const {
    return _Caldane_AddressableException::_rep;
}

const _Caldane_TypeRef& _Caldane_SystemException::_get_typeref() const {
    return system_exception_typeref;
}

void* _Caldane_SystemException::_safe_cast(const _Caldane_Representation& wanted) const {
    if (wanted == _Caldane_AddressableException::_rep) {
        return const_cast<_Caldane_AddressableException*>(
            static_cast<const _Caldane_AddressableException*>(this));
    }
    return _Caldane_ExceptionBase::_safe_cast(wanted);
}

_Caldane_AnyRef _Caldane_SystemException::_clone() const {
    auto* copy = new _Caldane_SystemException(*this);
    return copy != nullptr ? _Caldane_AnyRef(*copy) : _Caldane_AnyRef();
}

void _Caldane_SystemException::_print(std::ostream& out) const {
    out << kind_name(kind_) << " (" << kind_ << "): " << message_text();
}
