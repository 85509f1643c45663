// SPDX-License-Identifier: MIT
#include "service.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "failures.h"

namespace {

using Json = nlohmann::ordered_json;
using Ref = _Caldane_TypeRef;

struct BasicName {
    std::string_view word;
    Ref::_ENUM_TCKind kind;
};

constexpr BasicName kBasicNames[] = {
    {"short", Ref::tk_short},           {"long", Ref::tk_long},     {"int", Ref::tk_long},
    {"unsigned short", Ref::tk_ushort}, {"ushort", Ref::tk_ushort}, {"unsigned long", Ref::tk_ulong},
    {"ulong", Ref::tk_ulong},           {"float", Ref::tk_float},   {"double", Ref::tk_double},
    {"boolean", Ref::tk_boolean},       {"char", Ref::tk_char},     {"octet", Ref::tk_octet},
    {"string", Ref::tk_string},         {"any", Ref::tk_any},       {"Object", Ref::tk_objref},
};

Caldane::DynamicName name_of(const Json& entry) {
    return {entry.at("id"), entry.at("name"), entry.at("namespace")};
}

std::int32_t direction_of(const std::string& word) {
    if (word == "in") return _Caldane_Parameter::IN;
    return word == "out" ? _Caldane_Parameter::OUT : _Caldane_Parameter::INOUT;
}

}  // namespace

Ref basic_type(std::string_view word, Caldane::TypeLibrary& library) {
    if (word.ends_with("[]")) {
        const Ref element = basic_type(word.substr(0, word.size() - 2), library);
        return element.kind() == Ref::tk_null ? element : library.sequence(element);
    }
    for (const BasicName& basic : kBasicNames) {
        if (basic.word == word) return Ref::_of_kind(basic.kind);
    }
    return {};
}

Service::Service(const Json& description, const std::string& interface_name) {
    learn_types(description.at("types"));
    const Json& chosen = choose(description.at("interfaces"), interface_name);
    for (const Json& entry : chosen.at("operations")) learn_operation(entry);
    library.enter();
}

const Json& Service::choose(const Json& interfaces, const std::string& wanted) const {
    const Json* found = nullptr;
    bool several = false;
    std::string names;
    for (const Json& entry : interfaces) {
        const std::string& scoped = entry.at("scoped").get_ref<const std::string&>();
        const bool fits =
            wanted.empty() ? entry.at("main").get<bool>() : scoped == wanted || entry.at("name") == wanted;
        names += (names.empty() ? "" : ", ") + scoped;
        if (!fits) continue;
        several = several || found != nullptr;
        found = &entry;
    }
    if (several) wrong_usage("--interface has to say which one: " + names);
    if (found == nullptr)
        wrong_usage(names.empty() ? "the file declares no interface"
                                  : "there is no interface '" + wanted + "', but: " + names);
    return *found;
}

const Caldane::DynamicOperation& Service::operation(const std::string& name) const {
    const auto found = operations.find(name);
    if (found != operations.end()) return *found->second;
    std::string names;
    for (const auto& [known, unused] : operations) names += (names.empty() ? "" : ", ") + known;
    wrong_usage("the interface has no operation '" + name + "', but: " + names);
}

/// Enums and the names of structs first: everything else may refer to them.
void Service::learn_types(const Json& described) {
    for (const Json& entry : described) {
        const std::string scoped = entry.at("scoped");
        const std::string kind = entry.at("kind");
        entries[scoped] = &entry;
        if (kind == "enum") types[scoped] = library.enumeration(name_of(entry), entry.at("members")).handle();
        if (kind == "struct") records[scoped] = &library.structure(name_of(entry));
        if (kind == "exception") records[scoped] = &library.exception(name_of(entry));
    }
    for (const auto& [scoped, record] : records) types[scoped] = record->handle();
    for (const auto& [scoped, record] : records) {
        for (const Json& member : entries.at(scoped)->at("members"))
            record->add_member(member.at("name"), type(member.at("type")));
    }
    for (const auto& [scoped, unused] : entries) named(scoped);
}

void Service::learn_union(const Json& entry) {
    auto& made = library.choice(name_of(entry), type(entry.at("discriminator")));
    types[entry.at("scoped").get<std::string>()] = made.handle();
    for (const Json& branch : entry.at("branches"))
        made.add_branch(branch.at("name"), type(branch.at("type")), branch.at("labels"));
}

Ref Service::named(const std::string& scoped) {
    if (const auto known = types.find(scoped); known != types.end()) return known->second;
    const Json& entry = *entries.at(scoped);
    if (entry.at("kind") == "union") {
        learn_union(entry);
        return types.at(scoped);
    }
    const Ref made = type(entry.at("type"));
    types[scoped] = made;
    return made;
}

Ref Service::type(const Json& described) {
    if (described.is_string()) return basic_type(described.get<std::string>(), library);
    if (described.contains("named")) return named(described.at("named"));
    if (described.contains("sequence"))
        return library.sequence(type(described.at("sequence")), described.at("bound"));
    if (described.contains("array"))
        return library.array(type(described.at("array")), described.at("length"));
    return Ref::_of_kind(Ref::tk_string);
}

void Service::learn_operation(const Json& entry) {
    const Json& result = entry.at("result");
    using Operation = Caldane::Operation;
    auto made = std::make_unique<Caldane::DynamicOperation>(
        entry.at("name"), entry.at("namespace"), result.is_null() ? Ref() : type(result),
        entry.at("oneway") ? Operation::ONE_WAY : Operation::TWO_WAY);
    for (const Json& parameter : entry.at("parameters"))
        made->add_parameter(parameter.at("name"), direction_of(parameter.at("direction")),
                            type(parameter.at("type")));
    for (const Json& raised : entry.at("raises")) made->add_exception(*records.at(raised.get<std::string>()));
    operations[entry.at("name")] = std::move(made);
}

namespace {

/// The program's whole output on `text`; the exit code, or -1 if it could not be run.
int run(std::vector<std::string> words, std::string& text) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int ends[2];
    if (::pipe(ends) != 0) return -1;
    const pid_t child = ::fork();
    if (child < 0) return -1;
    if (child == 0) {
        ::dup2(ends[1], STDOUT_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
        ::execvp(arguments[0], arguments.data());
        ::_exit(127);
    }
    ::close(ends[1]);
    std::array<char, 4096> block;
    for (;;) {
        const ssize_t count = ::read(ends[0], block.data(), block.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        text.append(block.data(), static_cast<std::size_t>(count));
    }
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

Json describe(const std::string& program, const std::string& path,
              const std::vector<std::string>& include_folders) {
    std::vector<std::string> words = {program, "--describe"};
    for (const std::string& folder : include_folders) words.push_back("-I" + folder);
    words.push_back(path);
    std::string text;
    const int code = run(words, text);
    if (code == 127 || code < 0) throw Failure(kUnusable, "cannot run " + program);
    // What is wrong with the file, the compiler has said.
    if (code != 0) throw Failure(kUnusable, "");
    const Json parsed = Json::parse(text, nullptr, false);
    if (parsed.is_discarded()) throw Failure(kUnusable, program + " printed no description");
    return parsed;
}
