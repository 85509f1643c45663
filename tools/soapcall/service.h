// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include <caldane/dynamic_call.h>
#include <caldane/dynamic_types.h>

/// The types and the operations of one interface, learnt from the description that `caldane-idl --describe`
/// prints. Lives as long as the process: its types are known to readers of `any`.
class Service {
public:
    /// `interface_name` may be local or scoped with "::"; empty: the only one of the file. Throws Failure
    /// when it cannot be told.
    Service(const nlohmann::ordered_json& description, const std::string& interface_name);

    /// Throws Failure, which names the operations that there are.
    const Caldane::DynamicOperation& operation(const std::string& name) const;

private:
    using Json = nlohmann::ordered_json;

    void learn_types(const Json& types);
    void learn_union(const Json& entry);
    void learn_operation(const Json& entry);
    _Caldane_TypeRef type(const Json& type);
    _Caldane_TypeRef named(const std::string& scoped);
    const Json& choose(const Json& interfaces, const std::string& wanted) const;

    Caldane::TypeLibrary library;
    std::map<std::string, const Json*> entries;
    std::map<std::string, _Caldane_TypeRef> types;
    std::map<std::string, Caldane::DynamicRecordType*> records;
    std::map<std::string, std::unique_ptr<Caldane::DynamicOperation>> operations;
};

/// The type that a word stands for: an IDL name such as "unsigned long", or "long[]" for a sequence of it. Of
/// kind null for a word that is none. Sequences go into `library`.
_Caldane_TypeRef basic_type(std::string_view word, Caldane::TypeLibrary& library);

/// The JSON of `caldane-idl --describe` for an IDL or WSDL file. Throws Failure with the compiler's words.
nlohmann::ordered_json describe(const std::string& program, const std::string& path,
                                const std::vector<std::string>& include_folders);
