// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include <caldane/any_ref.h>

// Values as JSON, and back.
//
// Numbers are numbers ("NaN", "INF" and "-INF" as texts), an enum is the name of its member, a char a text of
// one character, a struct an object, a sequence or array a list, octets a text in base64, a union an object
// of its one member, with "choice" besides where the member alone does not tell the discriminator, a
// reference the object's URL, an `any` the value inside it. What is marked as absent is null.

/// Fills a value in. `where` names it for the message of the Failure that is thrown if `source` does not fit.
void from_json(_Caldane_AnyRef target, const nlohmann::ordered_json& source, const std::string& where);

/// The same from a word of the command line: taken as it stands where the type is a text, a character, an
/// enum or a reference, read as JSON everywhere else.
void from_word(_Caldane_AnyRef target, const std::string& word, const std::string& where);

nlohmann::ordered_json to_json(_Caldane_AnyConstRef source);
