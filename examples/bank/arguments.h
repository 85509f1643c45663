// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <caldane/string.h>

/// An argument that is not what its operation takes; `what()` says which.
class WrongArgument : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The words behind an operation's name on the command line, taken as values of the types that it needs.
class Arguments {
public:
    explicit Arguments(std::vector<std::string> given_words) : words(std::move(given_words)) {}

    _Caldane_String text(std::size_t index) const {
        return _Caldane_String(std::string_view(words.at(index)));
    }

    /// The whole word as a number; throws WrongArgument where it is none or does not fit.
    template <class Number>
    Number number(std::size_t index) const {
        const std::string& word = words.at(index);
        Number value{};
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (error == std::errc::result_out_of_range) throw WrongArgument("'" + word + "' is out of range");
        if (error != std::errc() || end != word.data() + word.size()) {
            throw WrongArgument("'" + word + "' is not a number");
        }
        return value;
    }

private:
    std::vector<std::string> words;
};
