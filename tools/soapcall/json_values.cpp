// SPDX-License-Identifier: MIT
#include "json_values.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <vector>

#include <nlohmann/json.hpp>

#include <caldane/any_value.h>
#include <caldane/caldane.h>
#include <caldane/dynamic_values.h>

#include "base64_text.h"
#include "failures.h"

namespace {

using Json = nlohmann::ordered_json;
using Ref = _Caldane_TypeRef;

[[noreturn]] void unfit(const std::string& where, const std::string& wanted, const Json& given) {
    std::string text = given.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (text.size() > 60) text = text.substr(0, 57) + "...";
    wrong_usage(where + ": expected " + wanted + ", not " + text);
}

template <class T>
void put_integer(void* address, const Json& source, const std::string& where) {
    constexpr auto kLeast = static_cast<double>(std::numeric_limits<T>::min());
    constexpr auto kMost = static_cast<double>(std::numeric_limits<T>::max());
    const double number = source.is_number() ? source.get<double>() : NAN;
    if (!(number >= kLeast && number <= kMost) || number != std::floor(number)) {
        unfit(where,
              "a whole number from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
                  std::to_string(std::numeric_limits<T>::max()),
              source);
    }
    *static_cast<T*>(address) = static_cast<T>(number);
}

template <class T>
void put_real(void* address, const Json& source, const std::string& where) {
    T& target = *static_cast<T*>(address);
    if (source.is_number()) {
        const auto number = source.get<double>();
        if (std::abs(number) > static_cast<double>(std::numeric_limits<T>::max()))
            unfit(where, "a number that a float can have", source);
        target = static_cast<T>(number);
    } else if (source == "NaN") {
        target = std::numeric_limits<T>::quiet_NaN();
    } else if (source == "INF") {
        target = std::numeric_limits<T>::infinity();
    } else if (source == "-INF") {
        target = -std::numeric_limits<T>::infinity();
    } else {
        unfit(where, "a number, INF, -INF or NaN", source);
    }
}

void put_char(void* address, const Json& source, const std::string& where) {
    const std::string text = source.is_string() ? source.get<std::string>() : std::string();
    const auto first = static_cast<unsigned char>(text.empty() ? '\0' : text[0]);
    if (text.size() == 1 && first < 0x80) {
        *static_cast<char*>(address) = text[0];
    } else if (text.size() == 2 && (first == 0xC2 || first == 0xC3)) {
        *static_cast<char*>(address) = static_cast<char>((first & 3) << 6 | (text[1] & 0x3F));
    } else {
        unfit(where, "one character of Latin-1", source);
    }
}

void put_boolean(void* address, const Json& source, const std::string& where) {
    if (!source.is_boolean()) unfit(where, "true or false", source);
    *static_cast<_Caldane_Boolean*>(address) = source.get<bool>() ? _Caldane_TRUE : _Caldane_FALSE;
}

void put_string(_Caldane_AnyRef target, const Json& source, const std::string& where) {
    if (!source.is_string()) unfit(where, "a text", source);
    const std::string text = source.get<std::string>();
    auto* const view = _Caldane_AddressableString::_down_cast(target);
    if (view == nullptr || view->from_buffer(static_cast<_Caldane_ULong>(text.size()), text.data(),
                                             Caldane::OWNERSHIP_COPY) == _Caldane_FALSE)
        wrong_usage(where + ": the text cannot be taken");
}

void put_enum(_Caldane_AnyRef target, const Json& source, const std::string& where) {
    auto* const view = _Caldane_AddressableEnum::_down_cast(target);
    const auto* const type = _Caldane_IDL_EnumType::narrow(target._get_typeref().type());
    std::string names;
    for (_Caldane_ULong i = 0; type != nullptr && i < type->member_count(); ++i) {
        const std::string name(type->member_name(i).view());
        if (source == name) {
            view->value(i);
            return;
        }
        names += (names.empty() ? "" : ", ") + name;
    }
    unfit(where, "one of " + names, source);
}

void put_struct(_Caldane_AnyRef target, const Json& source, const std::string& where) {
    const auto* const view = _Caldane_AddressableStruct::_down_cast(target);
    if (!source.is_object()) unfit(where, "an object", source);
    std::size_t used = 0;
    for (_Caldane_ULong i = 0; i < view->member_count(); ++i) {
        const std::string name(view->member_name(i).view());
        const auto member = source.find(name);
        if (member == source.end()) wrong_usage(where + ": the member '" + name + "' is missing");
        from_json(view->member(i).cast_away_constness(), *member, where + "." + name);
        ++used;
    }
    if (used == source.size()) return;
    for (const auto& [key, unused] : source.items()) {
        bool known = false;
        for (_Caldane_ULong i = 0; i < view->member_count(); ++i) known |= key == view->member_name(i).view();
        if (!known) wrong_usage(where + ": there is no member '" + key + "'");
    }
}

template <class View>
void put_elements(const View& view, const Json& source, const std::string& where) {
    for (_Caldane_ULong i = 0; i < view.length(); ++i)
        from_json(view.element(i).cast_away_constness(), source[i], where + "[" + std::to_string(i) + "]");
}

/// Octets may come as base64: their list of numbers then.
Json as_list(const Json& source, Ref::_ENUM_TCKind element, const std::string& where) {
    if (element != Ref::tk_octet || !source.is_string()) return source;
    std::vector<unsigned char> bytes;
    if (!from_base64(source.get<std::string>(), bytes)) unfit(where, "base64", source);
    return Json(bytes);
}

void put_sequence(_Caldane_AnyRef target, const Json& given, const std::string& where) {
    auto* const view = _Caldane_AddressableSequence::_down_cast(target);
    const Json source = as_list(given, view->element_type().kind(), where);
    if (!source.is_array()) unfit(where, "a list", source);
    if (view->length(static_cast<_Caldane_ULong>(source.size())) == _Caldane_FALSE)
        wrong_usage(where + ": at most " + std::to_string(view->bound()) + " elements are allowed");
    put_elements(*view, source, where);
}

void put_array(_Caldane_AnyRef target, const Json& given, const std::string& where) {
    const auto* const view = _Caldane_AddressableArray::_down_cast(target);
    const Json source = as_list(given, view->element_type().kind(), where);
    if (!source.is_array() || source.size() != view->length())
        unfit(where, "a list of " + std::to_string(view->length()) + " elements", source);
    put_elements(*view, source, where);
}

_Caldane_Long discriminator_from(const Json& source, const Ref& type, const std::string& where) {
    _Caldane_Any value;
    if (!value.make(type)) wrong_usage(where + ": memory has ended");
    from_json(value._value(), source, where);
    if (const auto* const choice = _Caldane_AddressableEnum::_down_cast_const(value.value()))
        return static_cast<_Caldane_Long>(choice->value());
    if (type.kind() == Ref::tk_char) return *static_cast<const char*>(value.value()._address());
    return source.is_boolean() ? source.get<_Caldane_Long>()
                               : static_cast<_Caldane_Long>(source.get<double>());
}

void put_union(_Caldane_AnyRef target, const Json& source, const std::string& where) {
    auto* const view = _Caldane_AddressableUnion::_down_cast(target);
    const auto& type = static_cast<const Caldane::DynamicUnionType&>(target._get_typeref().type());
    if (!source.is_object()) unfit(where, "an object", source);
    std::size_t members = source.size();
    if (const auto choice = source.find("choice"); choice != source.end()) {
        view->discriminator(discriminator_from(*choice, type.discriminator(), where + ".choice"));
        --members;
    }
    if (members == 0) return;
    for (const auto& branch : type.branches()) {
        const auto member = source.find(branch.name);
        if (member == source.end() || members > 1) continue;
        if (type.select(view->discriminator()) !=
            static_cast<std::size_t>(&branch - type.branches().data())) {
            if (source.contains("choice") || branch.labels.empty())
                wrong_usage(where + ": \"choice\" has to select the member '" + branch.name + "'");
            view->discriminator(branch.labels.front());
        }
        from_json(view->active_member().cast_away_constness(), *member, where + "." + branch.name);
        return;
    }
    unfit(where, "an object of one of the union's members", source);
}

void put_any(_Caldane_AnyRef target, const Json& source, const std::string& where) {
    auto& any = dynamic_cast<_Caldane_Any&>(*target._tx_type());
    Ref::_ENUM_TCKind kind = Ref::tk_string;
    if (source.is_boolean()) kind = Ref::tk_boolean;
    if (source.is_number()) kind = source.is_number_integer() ? Ref::tk_long : Ref::tk_double;
    if (source.is_structured()) unfit(where, "a text, a number, true or false", source);
    if (!any.make(Ref::_of_kind(kind))) wrong_usage(where + ": memory has ended");
    from_json(any._value(), source, where);
}

void put_object(_Caldane_AnyRef target, const Json& source, const std::string& where) {
    if (!source.is_string()) unfit(where, "the URL of an object", source);
    try {
        *_Caldane_Object::_down_cast(target) = Caldane::string_to_object(source.get<std::string>());
    } catch (const Caldane::SystemError&) {
        unfit(where, "the URL of an object", source);
    }
}

template <class Real>
Json real(const void* address) {
    const Real number = *static_cast<const Real*>(address);
    if (std::isnan(number)) return "NaN";
    if (std::isinf(number)) return number > 0 ? "INF" : "-INF";
    // A float is shown by its own shortest digits, not by those of the double next to it.
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    double shown = 0;
    std::from_chars(digits, end, shown);
    return shown;
}

std::string char_text(char value) {
    const auto code = static_cast<unsigned char>(value);
    if (code < 0x80) return std::string(1, value);
    return {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
}

template <class View>
Json members_of(const View& view) {
    Json object = Json::object();
    for (_Caldane_ULong i = 0; i < view.member_count(); ++i)
        object[std::string(view.member_name(i).view())] = to_json(view.member(i));
    return object;
}

template <class View>
Json elements_of(const View& view) {
    if (view.element_type().kind() == Ref::tk_octet && view._block() != nullptr)
        return to_base64(static_cast<const unsigned char*>(view._block()), view.length());
    Json list = Json::array();
    for (_Caldane_ULong i = 0; i < view.length(); ++i) list.push_back(to_json(view.element(i)));
    return list;
}

Json union_of(const _Caldane_AddressableUnion& view) {
    Json object = Json::object();
    const auto* const labels = _Caldane_IDL_EnumType::narrow(view.discriminator_type().type());
    if (labels != nullptr) {
        object["choice"] =
            std::string(labels->member_name(static_cast<_Caldane_ULong>(view.discriminator())).view());
    } else {
        object["choice"] = view.discriminator();
    }
    if (!view.active_member().is_null())
        object[std::string(view.member_name(view.active_index()).view())] = to_json(view.active_member());
    return object;
}

Json constructed(const _Caldane_TxType& value) {
    const _Caldane_AnyConstRef ref(value);
    if (value.is_nil()) return nullptr;
    if (const auto* view = _Caldane_AddressableStruct::_down_cast_const(ref)) return members_of(*view);
    if (const auto* exception = _Caldane_AddressableException::_down_cast_const(ref))
        return members_of(*exception);
    if (const auto* sequence = _Caldane_AddressableSequence::_down_cast_const(ref))
        return elements_of(*sequence);
    if (const auto* array = _Caldane_AddressableArray::_down_cast_const(ref)) return elements_of(*array);
    if (const auto* choice = _Caldane_AddressableUnion::_down_cast_const(ref)) return union_of(*choice);
    if (const auto* any = _Caldane_AddressableAny::_down_cast_const(ref)) return to_json(any->value());
    if (const auto* object = _Caldane_Object::_down_cast_const(ref))
        return object->_is_nil() ? Json() : Json(object->url());
    if (const auto* label = _Caldane_AddressableEnum::_down_cast_const(ref))
        return std::string(label->member_name(label->value()).view());
    const auto* const text = dynamic_cast<const _Caldane_String*>(&value);
    if (text == nullptr || text->is_null()) return nullptr;
    return std::string(text->view());
}

}  // namespace

void from_json(_Caldane_AnyRef target, const Json& source, const std::string& where) {
    void* const address = target._address();
    if (source.is_null() && target._tx_type() != nullptr) {
        target._tx_type()->is_nil(true);
        return;
    }
    switch (target._get_typeref().kind()) {
        case Ref::tk_short:
            return put_integer<std::int16_t>(address, source, where);
        case Ref::tk_long:
            return put_integer<std::int32_t>(address, source, where);
        case Ref::tk_ushort:
            return put_integer<std::uint16_t>(address, source, where);
        case Ref::tk_ulong:
            return put_integer<std::uint32_t>(address, source, where);
        case Ref::tk_octet:
            return put_integer<std::uint8_t>(address, source, where);
        case Ref::tk_float:
            return put_real<float>(address, source, where);
        case Ref::tk_double:
            return put_real<double>(address, source, where);
        case Ref::tk_boolean:
            return put_boolean(address, source, where);
        case Ref::tk_char:
            return put_char(address, source, where);
        case Ref::tk_string:
            return put_string(target, source, where);
        case Ref::tk_enum:
            return put_enum(target, source, where);
        case Ref::tk_struct:
            return put_struct(target, source, where);
        case Ref::tk_sequence:
            return put_sequence(target, source, where);
        case Ref::tk_array:
            return put_array(target, source, where);
        case Ref::tk_union:
            return put_union(target, source, where);
        case Ref::tk_any:
            return put_any(target, source, where);
        case Ref::tk_objref:
            return put_object(target, source, where);
        default:
            wrong_usage(where + ": values of this type cannot be given");
    }
}

namespace {

/// What goes deeper is not read by anybody, and would need a deep stack here.
constexpr int kMaxDepth = 500;

/// The value of a word that is JSON, else the word itself: base64 and the names of special numbers need no
/// quotes on the command line.
Json parsed_or_text(const std::string& word, const std::string& where) {
    const auto shallow = [&where](int depth, Json::parse_event_t, Json&) {
        if (depth > kMaxDepth)
            wrong_usage(where + ": lists and objects are more than " + std::to_string(kMaxDepth) + " deep");
        return true;
    };
    try {
        return Json::parse(word, shallow);
    } catch (const Json::exception& error) {
        const std::size_t first = word.find_first_not_of(" \t\n\r");
        if (first == std::string::npos || (word[first] != '[' && word[first] != '{')) return word;
        const auto* const place = dynamic_cast<const Json::parse_error*>(&error);
        wrong_usage(where + ": the JSON cannot be read" +
                    (place == nullptr ? "" : ", see its character " + std::to_string(place->byte)));
    }
}

bool is_schema_type(_Caldane_AnyRef target) {
    const auto* const view = _Caldane_AddressableStruct::_down_cast(target);
    return view != nullptr && view->repository_id().view().starts_with("IDL:xsd/") &&
           view->member_count() == 1;
}

}  // namespace

void from_word(_Caldane_AnyRef target, const std::string& word, const std::string& where) {
    switch (target._get_typeref().kind()) {
        case Ref::tk_string:
        case Ref::tk_char:
        case Ref::tk_enum:
        case Ref::tk_objref:
            return from_json(target, word, where);
        default:
            break;
    }
    // A simple type of XML Schema is told by its one value as well.
    if (is_schema_type(target) && !word.starts_with('{'))
        return from_word(_Caldane_AddressableStruct::_down_cast(target)->member(0).cast_away_constness(),
                         word, where);
    from_json(target, parsed_or_text(word, where), where);
}

Json to_json(_Caldane_AnyConstRef source) {
    if (const _Caldane_TxType* const value = source._tx_type()) return constructed(*value);
    const void* const address = source._address();
    switch (source._get_typeref().kind()) {
        case Ref::tk_short:
            return *static_cast<const std::int16_t*>(address);
        case Ref::tk_long:
            return *static_cast<const std::int32_t*>(address);
        case Ref::tk_ushort:
            return *static_cast<const std::uint16_t*>(address);
        case Ref::tk_ulong:
            return *static_cast<const std::uint32_t*>(address);
        case Ref::tk_octet:
            return *static_cast<const std::uint8_t*>(address);
        case Ref::tk_float:
            return real<float>(address);
        case Ref::tk_double:
            return real<double>(address);
        case Ref::tk_boolean:
            return *static_cast<const _Caldane_Boolean*>(address) != _Caldane_FALSE;
        case Ref::tk_char:
            return char_text(*static_cast<const char*>(address));
        default:
            return nullptr;
    }
}
