// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include <pelthread/memory.h>

#include <caldane/any_ref.h>
#include <caldane/boolean.h>
#include <caldane/string.h>

/// A name with a value; owns a copy of both.
class _Caldane_NamedValue {
public:
    PEL_HEAP_OBJECT
    _Caldane_NamedValue(const _Caldane_String& value_name, _Caldane_AnyConstRef original);
    ~_Caldane_NamedValue();
    _Caldane_NamedValue(const _Caldane_NamedValue&) = delete;
    _Caldane_NamedValue& operator=(const _Caldane_NamedValue&) = delete;

    const _Caldane_String& name() const { return name_; }
    /// The value; of kind null if the original could not be copied.
    _Caldane_AnyRef& value() { return value_; }
    const _Caldane_AnyRef& value() const { return value_; }

    /// It came with a message, and was not set by this process.
    [[nodiscard]] bool received() const { return received_; }

private:
    friend class _Caldane_Context;

    union Primitive {
        short short_value;
        unsigned short ushort_value;
        _Caldane_Long long_value;
        _Caldane_ULong ulong_value;
        float float_value;
        double double_value;
        char char_value;
        unsigned char octet_value;
        _Caldane_Boolean boolean_value;
    };

    _Caldane_AnyRef copy_of(_Caldane_AnyRef original);

    _Caldane_String name_;
    Primitive primitive{};
    _Caldane_TxType* object = nullptr;
    _Caldane_AnyRef value_;
    bool received_ = false;
};

/// The values of a context at one moment, in the order in which their names were first set. It shares them
/// with the context; a value that is set again later is a new one and does not change here.
class _Caldane_NVList {
public:
    PEL_HEAP_OBJECT
    _Caldane_ULong count() const { return static_cast<_Caldane_ULong>(values.size()); }
    bool empty() const { return values.empty(); }

    /// The value at `index`, from 0; false and null beyond the last.
    bool item(_Caldane_ULong index, _Caldane_NamedValue*& out) const;

private:
    friend class _Caldane_Context;
    std::vector<std::shared_ptr<_Caldane_NamedValue>> values;
};

/// Named values that travel with calls, beside their arguments. Each thread has one of its own, so nothing
/// here is locked: on a server a request has the context of its worker, on a client what the calling thread
/// set is sent.
///
/// What a message brings is put here too, and goes out with the thread's next messages as if it had been set,
/// but where the property `no_context_relay` is set.
///
/// A pattern is a name, or the beginning of names with a `*` behind it; `*` alone matches all.
class _Caldane_Context {
public:
    _Caldane_Context() = default;
    _Caldane_Context(const _Caldane_Context&) = delete;
    _Caldane_Context& operator=(const _Caldane_Context&) = delete;

    void delete_values(std::string_view pattern);

    /// While it lives, messages of this thread are written and read: values that are set came with one, and
    /// the values that are given are those to be sent.
    class Messages {
    public:
        Messages();
        ~Messages();
        Messages(const Messages&) = delete;
        Messages& operator=(const Messages&) = delete;

    private:
        _Caldane_Context& context_;
    };

    /// All values that are there came with a message.
    void mark_received();

    std::size_t size() const { return values.size(); }
    bool has(std::string_view name) const;

    /// Gives `target` the content of the value, as `_Caldane_copy` does; false, also where there is no such
    /// name.
    bool get_one_value(std::string_view name, _Caldane_AnyRef target) const;

    /// A new list, which the caller deletes; null when memory ends.
    [[nodiscard]] _Caldane_NVList* get_values(std::string_view pattern) const;

    /// Stores a copy of `value`, in place of what the name held before.
    void set_one_value(const _Caldane_String& name, _Caldane_AnyConstRef value);
    void set_one_value(const _Caldane_String& name, _Caldane_AnyRef value);

private:
    std::vector<std::shared_ptr<_Caldane_NamedValue>> values;
    int in_messages = 0;
};
