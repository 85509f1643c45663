// SPDX-License-Identifier: MIT
#pragma once

/// The identity of a way in which values are held in memory: a primitive kind or a view. Two are the same if
/// they are the same object.
class _Caldane_Representation {
public:
    constexpr explicit _Caldane_Representation(const char* readable_name) : name_(readable_name) {}
    _Caldane_Representation(const _Caldane_Representation&) = delete;
    _Caldane_Representation& operator=(const _Caldane_Representation&) = delete;

    /// For people who debug.
    const char* name() const { return name_; }

    friend bool operator==(const _Caldane_Representation& a, const _Caldane_Representation& b) {
        return &a == &b;
    }

private:
    const char* name_;
};
