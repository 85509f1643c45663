// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <caldane/idl_types.h>
#include <caldane/type_ref.h>

// Types that a program learns while it runs, from an IDL description say, and not when it is compiled. Their
// values are seen through the same views as those of generated classes: they can be printed, compared, held
// by an `any` and sent.
namespace Caldane {

/// What names a type: the repository id, the local name, the XML namespace.
struct DynamicName {
    std::string id;
    std::string name;
    std::string name_space;
};

/// A struct or an exception. Members are added before the first value is made; that is how a type can hold
/// sequences of itself.
class DynamicRecordType final : public _Caldane_IDL_BaseType {
public:
    struct Member {
        std::string name;
        _Caldane_TypeRef type;
    };

    DynamicRecordType(Kind kind, DynamicName name)
        : _Caldane_IDL_BaseType(kind), name_(std::move(name)), handle_(*this, kind) {}
    ~DynamicRecordType() = default;

    void add_member(std::string name, const _Caldane_TypeRef& type);
    const std::vector<Member>& members() const { return members_; }
    const _Caldane_TypeRef& handle() const { return handle_; }

    std::string_view name() const override { return name_.name; }
    std::string_view name_space() const override { return name_.name_space; }
    std::string_view repository_id() const override { return name_.id; }
    _Caldane_TxType* _new_value() override;

private:
    friend class TypeLibrary;

    DynamicName name_;
    _Caldane_TypeRef handle_;
    std::vector<Member> members_;
};

/// A union.
class DynamicUnionType final : public _Caldane_IDL_BaseType {
public:
    struct Branch {
        std::string name;
        _Caldane_TypeRef type;
        std::vector<_Caldane_Long> labels;  ///< none: the default branch
    };

    DynamicUnionType(DynamicName name, const _Caldane_TypeRef& discriminator)
        : _Caldane_IDL_BaseType(_Caldane_TypeRef::tk_union),
          name_(std::move(name)),
          handle_(*this, _Caldane_TypeRef::tk_union),
          discriminator_(discriminator) {}
    ~DynamicUnionType() = default;

    void add_branch(std::string name, const _Caldane_TypeRef& type, std::vector<_Caldane_Long> labels);
    const std::vector<Branch>& branches() const { return branches_; }
    /// The index of the branch that a discriminator selects; their number if none is.
    std::size_t select(_Caldane_Long discriminator) const;
    const _Caldane_TypeRef& discriminator() const { return discriminator_; }
    const _Caldane_TypeRef& handle() const { return handle_; }

    std::string_view name() const override { return name_.name; }
    std::string_view name_space() const override { return name_.name_space; }
    std::string_view repository_id() const override { return name_.id; }
    _Caldane_TxType* _new_value() override;

private:
    friend class TypeLibrary;

    DynamicName name_;
    _Caldane_TypeRef handle_;
    _Caldane_TypeRef discriminator_;
    std::vector<Branch> branches_;
};

/// An enum.
class DynamicEnumType final : public _Caldane_IDL_EnumType {
public:
    DynamicEnumType(DynamicName name, std::vector<std::string> members);
    ~DynamicEnumType() { drop_names(); }

    const std::vector<std::string>& members() const { return members_; }
    const _Caldane_TypeRef& handle() const { return handle_; }
    _Caldane_TxType* _new_value() override;

protected:
    const _Caldane_EnumInfo& info() const override { return info_; }

private:
    DynamicName name_;
    _Caldane_TypeRef handle_;
    std::vector<std::string> members_;
    std::vector<std::string_view> views_;
    _Caldane_EnumInfo info_;
};

/// A sequence, with its bound (0: none), or an array, with its length.
class DynamicListType final : public _Caldane_IDL_BaseType {
public:
    DynamicListType(Kind kind, const _Caldane_TypeRef& element, _Caldane_ULong count)
        : _Caldane_IDL_BaseType(kind), handle_(*this, kind), element_(element), count_(count) {}
    ~DynamicListType() = default;

    const _Caldane_TypeRef& element() const { return element_; }
    _Caldane_ULong count() const { return count_; }
    const _Caldane_TypeRef& handle() const { return handle_; }
    _Caldane_TxType* _new_value() override;

private:
    friend class TypeLibrary;

    _Caldane_TypeRef handle_;
    _Caldane_TypeRef element_;
    _Caldane_ULong count_;
};

/// Owns types that belong together, which may refer to one another; must outlive their values and handles.
/// One thread builds it, any number may use it afterwards. Its operations throw `std::bad_alloc`.
class TypeLibrary {
public:
    TypeLibrary() = default;
    TypeLibrary(const TypeLibrary&) = delete;
    TypeLibrary& operator=(const TypeLibrary&) = delete;
    ~TypeLibrary();

    DynamicRecordType& structure(DynamicName name);
    DynamicRecordType& exception(DynamicName name);
    DynamicUnionType& choice(DynamicName name, const _Caldane_TypeRef& discriminator);
    DynamicEnumType& enumeration(DynamicName name, std::vector<std::string> members);
    /// A bound of 0 means none.
    const _Caldane_TypeRef& sequence(const _Caldane_TypeRef& element, _Caldane_ULong bound = 0);
    const _Caldane_TypeRef& array(const _Caldane_TypeRef& element, _Caldane_ULong length);

    /// Makes the named types known to the readers of `any`. The library must live as long as the process
    /// from then on.
    void enter();

private:
    std::vector<std::unique_ptr<DynamicRecordType>> records;
    std::vector<std::unique_ptr<DynamicUnionType>> unions;
    std::vector<std::unique_ptr<DynamicEnumType>> enums;
    std::vector<std::unique_ptr<DynamicListType>> lists;
};

}  // namespace Caldane
