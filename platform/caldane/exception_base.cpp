// SPDX-License-Identifier: MIT
#include <caldane/exception_base.h>

#include <utility>

#include <caldane/addressable.h>

void _Caldane_ExceptionBase::_put_message(_Caldane_String text) {
    message_ = std::move(text);
}

_Caldane_String _Caldane_ExceptionBase::message_text() const {
    return message_;
}

_Caldane_Boolean _Caldane_ExceptionBase::_marshal(_Caldane_Transport_OutStream&) const {
    return _Caldane_TRUE;
}

_Caldane_Boolean _Caldane_ExceptionBase::_demarshal(_Caldane_Transport_InStream&) {
    return _Caldane_TRUE;
}

const _Caldane_Representation& _Caldane_ExceptionBase::_get_representation() const {
    return _Caldane_AddressableException::_rep;
}

const _Caldane_TypeRef& _Caldane_ExceptionBase::_get_typeref() const {
    return _Caldane_TypeRef::_of_kind(_Caldane_TypeRef::tk_except);
}
