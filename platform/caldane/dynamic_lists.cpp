// SPDX-License-Identifier: MIT
#include "dynamic_lists.h"

#include <new>

#include <caldane/any_value.h>
#include <caldane/sequence_value.h>

namespace Caldane {

namespace {

/// A sequence of primitives: the class that generated code uses, with type and bound told at run time.
template <class T>
class PrimitiveSequence final : public _Caldane_Sequence<T> {
public:
    explicit PrimitiveSequence(const DynamicListType& type) : type_(&type) {}

    using _Caldane_Sequence<T>::length;
    _Caldane_Boolean length(_Caldane_ULong count) override {
        if (!allowed(count)) return _Caldane_FALSE;
        return _Caldane_Sequence<T>::length(count);
    }
    _Caldane_ULong bound() const override { return type_->count(); }
    const _Caldane_TypeRef& _get_typeref() const override { return type_->handle(); }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

private:
    bool allowed(_Caldane_ULong count) const { return type_->count() == 0 || count <= type_->count(); }

    const DynamicListType* type_;
};

template <class T>
class PrimitiveArray final : public _Caldane_AddressableArray {
public:
    explicit PrimitiveArray(const DynamicListType& type) : type_(&type), values_(type.count()) {}

    _Caldane_AnyConstRef element(_Caldane_ULong index) const override { return values_.element(index); }
    _Caldane_ULong length() const override { return type_->count(); }
    const _Caldane_TypeRef& element_type() const override { return type_->element(); }
    const void* _block() const override { return values_._block(); }
    const _Caldane_TypeRef& _get_typeref() const override { return type_->handle(); }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

private:
    const DynamicListType* type_;
    _Caldane_Sequence<T> values_;
};

/// Elements of any other type.
class Elements {
public:
    explicit Elements(const _Caldane_TypeRef& type) : type_(&type) {}
    Elements(const Elements& other) : type_(other.type_), values_(other.values_) {
        for (const _Caldane_Any& copy : values_) {
            if (copy.value().is_null()) throw std::bad_alloc();
        }
    }

    _Caldane_ULong count() const { return static_cast<_Caldane_ULong>(values_.size()); }
    _Caldane_AnyRef at(_Caldane_ULong index) const {
        return index < count() ? values_[index].value().cast_away_constness() : _Caldane_AnyRef();
    }
    /// False, with nothing changed, when memory ends.
    bool resize(_Caldane_ULong count) {
        const std::size_t before = values_.size();
        try {
            if (count <= before) {
                values_.resize(count);
                return true;
            }
            while (values_.size() < count) {
                if (!values_.emplace_back().make(*type_)) throw std::bad_alloc();
            }
            return true;
        } catch (const std::bad_alloc&) {
            values_.resize(before);
            return false;
        }
    }
    const _Caldane_TypeRef& type() const { return *type_; }

private:
    const _Caldane_TypeRef* type_;
    std::vector<_Caldane_Any> values_;
};

class ObjectSequence final : public _Caldane_AddressableSequence {
public:
    explicit ObjectSequence(const DynamicListType& type) : type_(&type), elements_(type.element()) {}

    _Caldane_AnyConstRef element(_Caldane_ULong index) const override { return elements_.at(index); }
    _Caldane_Boolean length(_Caldane_ULong count) override {
        if (bound() != 0 && count > bound()) return _Caldane_FALSE;
        return static_cast<_Caldane_Boolean>(elements_.resize(count));
    }
    _Caldane_ULong bound() const override { return type_->count(); }
    const _Caldane_TypeRef& element_type() const override { return type_->element(); }
    _Caldane_ULong length() const override { return elements_.count(); }
    const void* _block() const override { return nullptr; }
    const _Caldane_TypeRef& _get_typeref() const override { return type_->handle(); }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

private:
    const DynamicListType* type_;
    Elements elements_;
};

class ObjectArray final : public _Caldane_AddressableArray {
public:
    explicit ObjectArray(const DynamicListType& type) : type_(&type), elements_(type.element()) {
        if (!elements_.resize(type.count())) throw std::bad_alloc();
    }

    _Caldane_AnyConstRef element(_Caldane_ULong index) const override { return elements_.at(index); }
    _Caldane_ULong length() const override { return elements_.count(); }
    const _Caldane_TypeRef& element_type() const override { return type_->element(); }
    const void* _block() const override { return nullptr; }
    const _Caldane_TypeRef& _get_typeref() const override { return type_->handle(); }
    _Caldane_AnyRef _clone() const override { return _Caldane_clone_of(*this); }

private:
    const DynamicListType* type_;
    Elements elements_;
};

template <template <class> class List>
_Caldane_TxType* make_primitive_list(const DynamicListType& type) {
    switch (type.element().kind()) {
        case _Caldane_TypeRef::tk_short:
            return new List<short>(type);
        case _Caldane_TypeRef::tk_long:
            return new List<_Caldane_Long>(type);
        case _Caldane_TypeRef::tk_ushort:
            return new List<unsigned short>(type);
        case _Caldane_TypeRef::tk_ulong:
            return new List<_Caldane_ULong>(type);
        case _Caldane_TypeRef::tk_float:
            return new List<float>(type);
        case _Caldane_TypeRef::tk_double:
            return new List<double>(type);
        case _Caldane_TypeRef::tk_boolean:
            return new List<_Caldane_Boolean>(type);
        case _Caldane_TypeRef::tk_char:
            return new List<char>(type);
        case _Caldane_TypeRef::tk_octet:
            return new List<unsigned char>(type);
        default:
            return nullptr;
    }
}

bool is_primitive(_Caldane_TypeRef::_ENUM_TCKind kind) {
    return kind >= _Caldane_TypeRef::tk_short && kind <= _Caldane_TypeRef::tk_octet;
}

}  // namespace

_Caldane_TxType* make_dynamic_list(const DynamicListType& type) {
    const bool primitive = is_primitive(type.element().kind());
    try {
        if (type.kind() == _Caldane_TypeRef::tk_array) {
            if (primitive) return make_primitive_list<PrimitiveArray>(type);
            return new ObjectArray(type);
        }
        if (primitive) return make_primitive_list<PrimitiveSequence>(type);
        return new ObjectSequence(type);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace Caldane
