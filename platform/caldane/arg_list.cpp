// SPDX-License-Identifier: MIT
#include <caldane/arg_list.h>

_Caldane_Parameter::_Caldane_Parameter() : name_("return"), direction_(OUT) {}

_Caldane_Parameter::_Caldane_Parameter(const char* parameter_name, std::int32_t direction,
                                       _Caldane_AnyRef value)
    : name_(parameter_name), direction_(direction), value_(value) {}

_Caldane_Parameter::_Caldane_Parameter(const char* parameter_name, std::int32_t direction,
                                       _Caldane_AnyConstRef value)
    : name_(parameter_name), direction_(direction), value_(value.cast_away_constness()) {}

_Caldane_AnyRef _Caldane_Parameter::value() const {
    return value_;
}

std::int32_t _Caldane_Parameter::direction() const {
    return direction_;
}

_Caldane_String _Caldane_Parameter::name() const {
    return _Caldane_String::constant(name_);
}

_Caldane_Boolean _Caldane_Parameter::marshal(_Caldane_Transport_OutStream& out) const {
    return value_._marshal(out);
}

_Caldane_Boolean _Caldane_Parameter::demarshal(_Caldane_Transport_InStream& in) {
    return value_._demarshal(in);
}

_Caldane_ULong _Caldane_ArgList::count() const {
    return count_;
}

_Caldane_Parameter& _Caldane_ArgList::parameter(_Caldane_ULong index) {
    return parameters_[index];
}

std::int32_t _Caldane_ArgList::index_of(std::string_view name) const {
    for (_Caldane_ULong i = 0; i < count_; ++i) {
        if (name == parameters_[i].name_text()) return static_cast<std::int32_t>(i);
    }
    return -1;
}

_Caldane_Parameter& _Caldane_ArgList::result() {
    return *result_;
}
