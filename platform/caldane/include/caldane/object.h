// SPDX-License-Identifier: MIT
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include <caldane/any_ref.h>
#include <caldane/boolean.h>
#include <caldane/ior.h>
#include <caldane/representation.h>
#include <caldane/string.h>
#include <caldane/tx_type.h>
#include <caldane/type_ref.h>

/// An object reference as a value: nil, or a share of an `_IOP_IOR`. Copies refer to the same object; they
/// may be on different threads, one object is used by one thread at a time when it changes.
class _Caldane_Object : public _Caldane_TxType {
public:
    _Caldane_Object() = default;
    /// Takes over the caller's reference to `ior`; null gives nil.
    explicit _Caldane_Object(_IOP_IOR* ior) : ior_(ior) {}
    _Caldane_Object(const _Caldane_Object& other);
    _Caldane_Object& operator=(const _Caldane_Object& other);
    ~_Caldane_Object() override;

    /// Still this object's; null for nil.
    _IOP_IOR* _ior() const { return ior_; }
    /// Takes over the caller's reference in place of the present one.
    void set_ior(_IOP_IOR* ior);
    void setSecurity(_Caldane_Boolean flag) { secure = flag; }
    _Caldane_Boolean getSecurity() const { return secure; }
    bool _is_nil() const { return ior_ == nullptr; }
    explicit operator bool() const { return !_is_nil(); }

    /// Whether the object has the interface of that repository id. Known ahead where the reference's own type
    /// id says it, else asked of the object, so that what `Caldane::call` throws comes here too. Nil has
    /// none.
    bool _is_a(std::string_view repository_id) const;
    /// The same, but a nil reference and one that tells no type, made from a URL, may be anything.
    bool _may_be(std::string_view repository_id) const;

    /// The object's URL; empty for nil and for references that have none.
    std::string url() const;

    /// The object that a value is; null if it is none.
    static _Caldane_Object* _down_cast(_Caldane_AnyRef value);
    static const _Caldane_Object* _down_cast_const(_Caldane_AnyConstRef value);

    /// Both nil, or both with the same type and profiles or URL.
    friend bool operator==(const _Caldane_Object& a, const _Caldane_Object& b);

    /// By shape: the type id, the number of profiles, and of each its tag and body. Streams that have a form
    /// of their own for references do not come here.
    _Caldane_Boolean _marshal(_Caldane_Transport_OutStream& out) const override;
    _Caldane_Boolean _demarshal(_Caldane_Transport_InStream& in) override;
    const _Caldane_Representation& _get_representation() const override { return _rep; }
    const _Caldane_TypeRef& _get_typeref() const override;
    void* _safe_cast(const _Caldane_Representation& wanted) const override;
    _Caldane_Boolean _convert_from(_Caldane_AnyConstRef source) override;
    _Caldane_AnyRef _clone() const override;
    void _print(std::ostream& out) const override;
    bool _equals(const _Caldane_TxType& other) const override;
    static const _Caldane_Representation _rep;

private:
    _IOP_IOR* ior_ = nullptr;
    _Caldane_Boolean secure{};
};
