// SPDX-License-Identifier: MIT
#include "loose_reply.h"

#include <tinyxml2.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

using Json = nlohmann::ordered_json;
using tinyxml2::XMLElement;

std::string_view without_prefix(std::string_view name) {
    const std::size_t colon = name.rfind(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

std::string_view local_name(const XMLElement& element) {
    return without_prefix(element.Name());
}

const XMLElement* child_named(const XMLElement& parent, std::string_view name) {
    for (const auto* child = parent.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        if (local_name(*child) == name) return child;
    }
    return nullptr;
}

/// An attribute by its local name; empty if there is none.
std::string_view attribute(const XMLElement& element, std::string_view name) {
    for (const auto* found = element.FirstAttribute(); found != nullptr; found = found->Next()) {
        if (without_prefix(found->Name()) == name) return found->Value();
    }
    return {};
}

bool is_nil(const XMLElement& element) {
    for (const char* const name : {"nil", "null"}) {
        const std::string_view value = attribute(element, name);
        if (value == "1" || value == "true") return true;
    }
    return false;
}

bool is_list(const XMLElement& element) {
    if (!attribute(element, "arrayType").empty()) return true;
    for (const auto* child = element.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        if (local_name(*child) != "item") return false;
    }
    return element.FirstChildElement() != nullptr;
}

Json value_of(const XMLElement& element);

/// Children by their names; those of one name as a list.
Json members_of(const XMLElement& element) {
    Json object = Json::object();
    for (const auto* child = element.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        const std::string name(local_name(*child));
        if (!object.contains(name)) {
            object[name] = value_of(*child);
            continue;
        }
        if (child->PreviousSiblingElement(child->Name()) != nullptr && !object[name].is_array())
            object[name] = Json::array({object[name]});
        object[name].push_back(value_of(*child));
    }
    return object;
}

Json value_of(const XMLElement& element) {
    if (is_nil(element)) return nullptr;
    if (is_list(element)) {
        Json list = Json::array();
        for (const auto* item = element.FirstChildElement(); item != nullptr;
             item = item->NextSiblingElement())
            list.push_back(value_of(*item));
        return list;
    }
    if (element.FirstChildElement() != nullptr) return members_of(element);
    const std::string text = element.GetText() != nullptr ? element.GetText() : "";
    const std::string_view type = without_prefix(attribute(element, "type"));
    constexpr std::string_view kNumbers[] = {"short", "int",   "long",   "unsignedShort", "unsignedInt",
                                             "byte",  "float", "double", "unsignedByte",  "integer"};
    const bool typed = std::find(std::begin(kNumbers), std::end(kNumbers), type) != std::end(kNumbers);
    if (!typed && type != "boolean") return text;
    const Json parsed = Json::parse(text, nullptr, false);
    return parsed.is_number() || parsed.is_boolean() ? parsed : Json(text);
}

}  // namespace

std::optional<LooseReply> read_loosely(const std::string& text) {
    tinyxml2::XMLDocument document;
    if (document.Parse(text.data(), text.size()) != tinyxml2::XML_SUCCESS) return {};
    const XMLElement* const envelope = document.RootElement();
    const XMLElement* const body = envelope != nullptr ? child_named(*envelope, "Body") : nullptr;
    const XMLElement* const content = body != nullptr ? body->FirstChildElement() : nullptr;
    if (content == nullptr) return {};
    LooseReply reply;
    if (local_name(*content) != "Fault") {
        reply.values = members_of(*content);
        return reply;
    }
    reply.is_fault = true;
    const XMLElement* const told = child_named(*content, "faultstring");
    if (told != nullptr && told->GetText() != nullptr) reply.fault_text = told->GetText();
    const XMLElement* const detail = child_named(*content, "detail");
    const XMLElement* const inside = detail != nullptr ? detail->FirstChildElement() : nullptr;
    if (inside == nullptr || std::string_view(inside->Name()).starts_with("Caldane:")) return reply;
    reply.exception = local_name(*inside);
    reply.values = members_of(*inside);
    return reply;
}
