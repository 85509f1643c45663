// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <concepts>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "interop.h"
#include "shapes.h"

/// The objects that are tried.
struct Targets {
    SOAPInterop::InteropTest interop;
    Figures::Shapes shapes;
};

/// What a case found: nothing if it passed.
struct Difference {
    std::string sent;
    std::string got;

    bool found = false;
};

/// A value as a line of text, cut where it is long.
template <class T>
std::string shown(const T& value) {
    constexpr std::size_t kMost = 300;
    std::ostringstream out;
    if constexpr (std::same_as<T, _Caldane_String>) {
        _Caldane_print(out, value);
    } else if constexpr (std::same_as<T, char> || std::same_as<T, unsigned char>) {
        out << static_cast<int>(value);
    } else {
        out.precision(std::same_as<T, float> ? 9 : 17);
        out << std::boolalpha << value;
    }
    std::string text = out.str();
    if (text.size() > kMost) text = text.substr(0, kMost) + "... (" + std::to_string(text.size()) + " bytes)";
    return text;
}

template <class T>
bool same(const T& a, const T& b) {
    if constexpr (std::floating_point<T>) {
        return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
    } else {
        return a == b;
    }
}
/// What an any brings back may be of another class of the same kind: the texts are what counts.
inline bool same(const _Caldane_Any& a, const _Caldane_Any& b) {
    std::ostringstream first;
    std::ostringstream second;
    first << a;
    second << b;
    return first.str() == second.str();
}

/// No difference if all pairs are the same.
template <class T>
Difference compare(const T& sent, const T& got) {
    if (same(sent, got)) return {};
    return {shown(sent), shown(got), true};
}

/// The first of several that found something.
inline Difference first_of(std::initializer_list<Difference> differences) {
    for (const Difference& difference : differences) {
        if (difference.found) return difference;
    }
    return {};
}

/// One call with one value, named operation.value.
struct Case {
    std::string name;
    std::function<Difference(const Targets&)> run;

    /// Whether `wanted` is its name, or that of its operation.
    [[nodiscard]] bool is(std::string_view wanted) const;
};

using CaseList = std::vector<Case>;

template <class T>
struct Sample {
    std::string name;
    T value;
};

/// A case for each value of an operation that gives back what it gets.
template <class Stub, class T, class Parameter>
void add_echo(CaseList& cases, const Stub Targets::*stub, const char* operation,
              T (Stub::*call)(Parameter) const, const std::vector<Sample<T>>& samples) {
    for (const Sample<T>& sample : samples) {
        cases.push_back({operation + ("." + sample.name), [=, value = sample.value](const Targets& targets) {
                             return compare<T>(value, ((targets.*stub).*call)(value));
                         }});
    }
}

/// Ordinary and awkward texts. Where text is not UTF-8 they keep to ASCII, since messages always say that
/// they are.
std::vector<Sample<_Caldane_String>> text_samples(bool utf8);

void add_interop_cases(CaseList& cases, bool utf8);
/// `encoded`: calls go out in SOAP's encoded style.
void add_shapes_cases(CaseList& cases, bool encoded);
