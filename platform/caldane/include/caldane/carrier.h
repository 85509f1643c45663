// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/any_ref.h>
#include <caldane/boolean.h>

namespace Caldane {

/// How a C++ value of an argument appears in an argument list: by itself where the value model knows its
/// type, else through a value that is copied forth and back.
template <class T>
class Carrier {
public:
    explicit Carrier(T& value) : value_(value) {}
    _Caldane_AnyRef reference() { return _Caldane_AnyRef(value_); }
    /// From the C++ value into the list's, ahead of writing.
    void load() {}
    /// The other way, after reading.
    void store() {}

private:
    T& value_;
};

template <>
class Carrier<bool> {
public:
    explicit Carrier(bool& value) : value_(value) {}
    _Caldane_AnyRef reference() { return _Caldane_AnyRef(held); }
    void load() { held = static_cast<_Caldane_Boolean>(value_); }
    void store() { value_ = static_cast<int>(held) != 0; }

private:
    bool& value_;
    _Caldane_Boolean held{};
};

}  // namespace Caldane
