// SPDX-License-Identifier: MIT
#pragma once

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <caldane/addressable.h>
#include <caldane/idl_types.h>
#include <caldane/transport_stream.h>

/// What a value's structural walk sent, one token a call: "long 7", "string alice".
using Tokens = std::vector<std::string>;

/// Writes tokens; refuses the call after `limit`.
class TokenOutStream final : public _Caldane_Transport_OutStream {
public:
    explicit TokenOutStream(std::size_t limit = static_cast<std::size_t>(-1)) : limit_(limit) {}

    Tokens tokens;

    _Caldane_Boolean marshal(const _Caldane_TxType& value) override { return value._marshal(*this); }
    _Caldane_Boolean marshal(_Caldane_TypeRef::_ENUM_TCKind kind) override { return put("kind", int{kind}); }
    _Caldane_Boolean marshal(double value) override { return put("double", value); }
    _Caldane_Boolean marshal(float value) override { return put("float", value); }
    _Caldane_Boolean marshal(_Caldane_ULong value) override { return put("ulong", value); }
    _Caldane_Boolean marshal(_Caldane_Long value) override { return put("long", value); }
    _Caldane_Boolean marshal(unsigned short value) override { return put("ushort", value); }
    _Caldane_Boolean marshal(short value) override { return put("short", value); }
    _Caldane_Boolean marshal(char value) override { return put("char", int{value}); }
    _Caldane_Boolean marshal(unsigned char value) override { return put("octet", int{value}); }
    _Caldane_Boolean marshal(_Caldane_Boolean value) override { return put("boolean", int{value}); }
    _Caldane_Boolean marshal_backptr(_Caldane_ULong offset) override { return put("backptr", offset); }
    _Caldane_Boolean marshal_string(const char* chars, _Caldane_ULong length) override {
        return put("string", std::string(chars, length));
    }
    _Caldane_Boolean marshal_octets(const unsigned char*, _Caldane_ULong length) override {
        return put("octets", length);
    }

private:
    template <class T>
    _Caldane_Boolean put(const char* type, const T& value) {
        if (tokens.size() >= limit_) return _Caldane_FALSE;
        std::ostringstream text;
        text << type << ' ' << value;
        tokens.push_back(text.str());
        return _Caldane_TRUE;
    }

    std::size_t limit_;
};

/// Reads tokens; refuses when one is of another type, and when they are used up. "type N" answers a value of
/// kind `tk_TypeCode` with the mapping's type of kind N, "named X" with the registered type of that name.
class TokenInStream final : public _Caldane_Transport_InStream {
public:
    explicit TokenInStream(Tokens source) : tokens_(std::move(source)) {}

    bool at_end() const { return next_ == tokens_.size(); }

    _Caldane_Boolean demarshal(_Caldane_TxType& value) override {
        if (auto* text = _Caldane_AddressableString::_down_cast(value)) return read_string(*text);
        if (auto* type = _Caldane_TypeRef::_down_cast(value)) return read_type(*type);
        return value._demarshal(*this);
    }
    _Caldane_Boolean demarshal(double& out) override { return get("double", out); }
    _Caldane_Boolean demarshal(float& out) override { return get("float", out); }
    _Caldane_Boolean demarshal(_Caldane_ULong& out) override { return get("ulong", out); }
    _Caldane_Boolean demarshal(_Caldane_Long& out) override { return get("long", out); }
    _Caldane_Boolean demarshal(unsigned short& out) override { return get("ushort", out); }
    _Caldane_Boolean demarshal(short& out) override { return get("short", out); }
    _Caldane_Boolean demarshal(char& out) override { return get_as_int("char", out); }
    _Caldane_Boolean demarshal(unsigned char& out) override { return get_as_int("octet", out); }
    _Caldane_Boolean demarshal(_Caldane_Boolean& out) override { return get_as_int("boolean", out); }
    _Caldane_Boolean demarshal_kind_or_backptr(_Caldane_Boolean&, _Caldane_ULong&, _Caldane_ULong&) override {
        return _Caldane_FALSE;
    }
    _Caldane_Boolean demarshal_string(char*&, _Caldane_ULong&) override { return _Caldane_FALSE; }
    _Caldane_Boolean demarshal_octets(unsigned char*, _Caldane_ULong) override { return _Caldane_FALSE; }

private:
    /// The text of the next token if it is of that type.
    bool take(const std::string& type, std::string& text) {
        if (at_end() || tokens_[next_].rfind(type + ' ', 0) != 0) return false;
        text = tokens_[next_++].substr(type.size() + 1);
        return true;
    }
    template <class T>
    _Caldane_Boolean get(const char* type, T& out) {
        std::string text;
        if (!take(type, text)) return _Caldane_FALSE;
        std::istringstream(text) >> out;
        return _Caldane_TRUE;
    }
    template <class T>
    _Caldane_Boolean get_as_int(const char* type, T& out) {
        int number = 0;
        if (get(type, number) == _Caldane_FALSE) return _Caldane_FALSE;
        out = static_cast<T>(number);
        return _Caldane_TRUE;
    }
    _Caldane_Boolean read_string(_Caldane_AddressableString& value) {
        std::string text;
        if (!take("string", text)) return _Caldane_FALSE;
        return value.from_buffer(static_cast<_Caldane_ULong>(text.size()), text.c_str());
    }
    _Caldane_Boolean read_type(_Caldane_TypeRef& value) {
        std::string text;
        if (take("named", text)) {
            value = _Caldane_TypeRef(_Caldane_IDL_BaseType::search(text, "http://sample.example/types"));
            return value.kind() == _Caldane_TypeRef::tk_null ? _Caldane_FALSE : _Caldane_TRUE;
        }
        if (!take("type", text)) return _Caldane_FALSE;
        const auto kind = static_cast<_Caldane_TypeRef::_ENUM_TCKind>(std::stoi(text));
        _Caldane_IDL_BaseType* const type = mapping().type_for_kind(kind);
        value = _Caldane_TypeRef(type);
        return type == nullptr ? _Caldane_FALSE : type->demarshal_parameters(*this);
    }

    Tokens tokens_;
    std::size_t next_ = 0;
};
