// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

/// What a reply says whose types nobody told, by the form of its XML and the types that it names itself.
struct LooseReply {
    bool is_fault = false;
    std::string fault_text;
    std::string exception;  ///< local name of what a fault's `detail` brings; empty if it is the system's
    nlohmann::ordered_json
        values;  ///< results and out parameters, or the exception's members, by their names
};

/// Nothing if the text is no envelope.
std::optional<LooseReply> read_loosely(const std::string& text);
