// SPDX-License-Identifier: MIT

// interop_client [-Dname=value]... [--latin1] URL [--case NAME]...: calls every operation of an
// interop_server, or of another server of the same interface, with ordinary and with awkward values.

#include <algorithm>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "../text_option.h"
#include "case_list.h"

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kSystemException = 2, kUsage = 64 };

int usage(std::ostream& out) {
    out << "usage: interop_client [-Dname=value]... [--latin1] URL [--case NAME]...\n"
           "Calls the operations of the object at URL, such as http://127.0.0.1:8080/interop, and of the "
           "object\n"
           "Shapes at /shapes of the same server, and prints PASS NAME or FAIL NAME: sent ..., got ... for "
           "each\n"
           "case. --case runs one case (echoString.empty), or all of an operation (echoString) or of an\n"
           "interface (InteropTest, Shapes); --list prints the names of all.\n"
        << kTextOptionHelp
        << "Exit code: 0 all passed, 1 some failed, 2 the server cannot be reached, 64 wrong usage. -help "
           "lists\n"
           "the properties.\n";
    return kUsage;
}

int wrong(const std::string& reason) {
    std::cerr << "interop_client: " << reason << '\n';
    return usage(std::cerr);
}

/// Whether an error says that there is no use in further calls.
bool out_of_reach(const Caldane::SystemError& error) {
    return error.kind() == _Caldane_SystemException::COMM_FAILURE ||
           error.kind() == _Caldane_SystemException::INV_OBJREF;
}

/// Runs one case; true if it passed.
bool run(const Case& one, const Targets& targets) {
    try {
        const Difference difference = one.run(targets);
        if (!difference.found) {
            std::cout << "PASS " << one.name << std::endl;
            return true;
        }
        std::cout << "FAIL " << one.name << ": sent " << difference.sent << ", got " << difference.got
                  << std::endl;
    } catch (const Caldane::SystemError& error) {
        if (out_of_reach(error)) throw;
        std::cout << "FAIL " << one.name << ": got system exception " << error.kind() << ' ' << error.what()
                  << std::endl;
    }
    return false;
}

int run_all(const CaseList& cases, const Targets& targets) {
    int passed = 0;
    int failed = 0;
    try {
        for (const Case& one : cases) ++(run(one, targets) ? passed : failed);
    } catch (const Caldane::SystemError& error) {
        std::cerr << "interop_client: system exception " << error.kind() << ' ' << error.what() << '\n';
        return kSystemException;
    }
    std::cout << passed << " passed, " << failed << " failed" << std::endl;
    return failed == 0 ? kDone : kFailed;
}

struct Groups {
    CaseList interop;
    CaseList shapes;
};

/// Appends what `name` stands for to `chosen`; false if nothing does.
bool choose(const Groups& groups, const std::string& name, CaseList& chosen) {
    const std::size_t before = chosen.size();
    const bool whole_interop = name == "InteropTest";
    const bool whole_shapes = name == "Shapes";
    std::copy_if(groups.interop.begin(), groups.interop.end(), std::back_inserter(chosen),
                 [&](const Case& one) { return whole_interop || one.is(name); });
    std::copy_if(groups.shapes.begin(), groups.shapes.end(), std::back_inserter(chosen),
                 [&](const Case& one) { return whole_shapes || one.is(name); });
    return chosen.size() > before;
}

/// The same host's object Shapes.
std::string shapes_url(const std::string& url) {
    const std::size_t host = url.find("://");
    const std::size_t path = host == std::string::npos ? host : url.find('/', host + 3);
    return url.substr(0, path) + "/shapes";
}

int run(const std::vector<std::string>& words, bool utf8) {
    Groups groups;
    add_interop_cases(groups.interop, utf8);
    add_shapes_cases(groups.shapes, SOA::getProperties().get("SOAP_ENABLE_RPC_ENCODER") != nullptr);
    if (words.size() == 1 && words[0] == "--list") {
        for (const Case& one : groups.interop) std::cout << one.name << '\n';
        for (const Case& one : groups.shapes) std::cout << one.name << '\n';
        return kDone;
    }
    if (words.empty()) return wrong("a URL is missing");
    if (words[0].starts_with("-")) return wrong("there is no option '" + words[0] + "'");
    CaseList chosen;
    for (std::size_t i = 1; i < words.size(); i += 2) {
        if (words[i] != "--case") return wrong("there is no option '" + words[i] + "'");
        if (i + 1 == words.size()) return wrong("--case takes a name");
        if (!choose(groups, words[i + 1], chosen)) return wrong("there is no case '" + words[i + 1] + "'");
    }
    if (words.size() == 1) {
        chosen = groups.interop;
        chosen.insert(chosen.end(), groups.shapes.begin(), groups.shapes.end());
    }
    Targets targets;
    targets.interop = SOAPInterop::InteropTest::_narrow(Caldane::string_to_object(words[0]));
    targets.shapes = Figures::Shapes::_narrow(Caldane::string_to_object(shapes_url(words[0])));
    return run_all(chosen, targets);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (wants_help(argc, argv) || !Caldane::init(argc, argv)) {
            usage(std::cout);
            return kDone;
        }
        const int before = argc;
        choose_text(argc, argv);
        const int code = run({argv + 1, argv + argc}, argc == before);
        Caldane::shutdown();
        return code;
    } catch (const Caldane::SetupError& error) {
        return wrong(error.what());
    } catch (const Caldane::SystemError& error) {
        std::cerr << "interop_client: " << error.what() << '\n';
        return kSystemException;
    } catch (const std::exception& error) {
        std::cerr << "interop_client: " << error.what() << '\n';
        return kFailed;
    }
}
