// SPDX-License-Identifier: MIT

// bank_client [-Dname=value]... [--latin1] [--repeat N] [--threads N] URL OPERATION [ARGUMENT]...: calls one
// operation of a bank's teller and prints its result and out parameters.

#include <algorithm>
#include <iostream>
#include <limits>
#include <mutex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <caldane/side_by_side.h>

#include "../text_option.h"
#include "arguments.h"
#include "bank.h"

using Acme::Bank::Teller;

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kSystemException = 2, kUserException = 3, kUsage = 64 };

/// One operation: what it takes, and how it is called. `run` gives the lines that tell its outcome.
struct Command {
    const char* name;
    std::vector<const char*> parameters;
    std::string (*run)(const Teller& teller, const Arguments& arguments);
};

template <class Value>
std::string line(const char* name, const Value& value) {
    std::ostringstream out;
    out << std::boolalpha << name << '=' << value << '\n';
    return out.str();
}

std::string call_transfer(const Teller& teller, const Arguments& arguments) {
    std::int32_t source_balance = 0;
    std::int32_t target_balance = 0;
    teller.transfer(arguments.text(0), arguments.text(1), arguments.number<std::int32_t>(2), source_balance,
                    target_balance);
    return line("source_balance", source_balance) + line("target_balance", target_balance);
}

std::string call_convert(const Teller& teller, const Arguments& arguments) {
    float rate = arguments.number<float>(1);
    const double result = teller.convert(arguments.number<double>(0), rate);
    return line("return", result) + line("rate", rate);
}

std::string call_limits(const Teller& teller, const Arguments&) {
    std::int16_t a = 0;
    std::uint16_t b = 0;
    std::uint32_t c = 0;
    unsigned char d = 0;
    char e = 0;
    bool f = false;
    teller.limits(a, b, c, d, e, f);
    return line("a", a) + line("b", b) + line("c", c) + line("d", static_cast<int>(d)) + line("e", e) +
           line("f", f);
}

std::string call_echo(const Teller& teller, const Arguments& arguments) {
    _Caldane_String copy;
    teller.echo(arguments.text(0), copy);
    return line("copy", std::string_view(copy));
}

const Command kCommands[] = {
    {"exists",
     {"ACCOUNT"},
     [](const Teller& t, const Arguments& a) { return line("return", t.exists(a.text(0))); }},
    {"deposit",
     {"ACCOUNT", "AMOUNT"},
     [](const Teller& t, const Arguments& a) {
         return line("return", t.deposit(a.text(0), a.number<std::int32_t>(1)));
     }},
    {"withdraw",
     {"ACCOUNT", "AMOUNT"},
     [](const Teller& t, const Arguments& a) {
         return line("return", t.withdraw(a.text(0), a.number<std::int32_t>(1)));
     }},
    {"transfer", {"SOURCE", "TARGET", "AMOUNT"}, &call_transfer},
    {"convert", {"AMOUNT", "RATE"}, &call_convert},
    {"limits", {}, &call_limits},
    {"echo", {"TEXT"}, &call_echo},
    {"note",
     {"TEXT"},
     [](const Teller& t, const Arguments& a) {
         t.note(a.text(0));
         return std::string();
     }},
    {"sleep",
     {"MILLISECONDS"},
     [](const Teller& t, const Arguments& a) { return line("return", t.sleep(a.number<std::int32_t>(0))); }},
};

int usage(std::ostream& out) {
    out << "usage: bank_client [-Dname=value]... [--latin1] [--repeat N] [--threads N] URL OPERATION "
           "[ARGUMENT]...\n"
           "Calls an operation of the bank at URL, such as http://127.0.0.1:8080/bank, and prints its result "
           "and\n"
           "out parameters. With --repeat it calls N times and prints the last outcome; with --threads as "
           "well, "
           "by so many\n"
           "threads side by side, each on a connection of its own, and the times on standard error.\n"
        << kTextOptionHelp << "The operations:\n";
    for (const Command& command : kCommands) {
        out << "  " << command.name;
        for (const char* parameter : command.parameters) out << ' ' << parameter;
        out << '\n';
    }
    out << "Exit code: 0 done, 2 system exception, 3 user exception, 64 wrong usage. -help lists the "
           "properties.\n";
    return kUsage;
}

int wrong(const std::string& reason) {
    std::cerr << "bank_client: " << reason << '\n';
    return usage(std::cerr);
}

const Command* find_command(std::string_view name) {
    for (const Command& command : kCommands) {
        if (name == command.name) return &command;
    }
    return nullptr;
}

/// How often to call, and by how many threads side by side.
struct Load {
    std::size_t repeat = 1;
    std::size_t threads = 1;
};

int call(const std::string& url, const Command& command, const Arguments& arguments, const Load& load) {
    std::string outcome;
    std::mutex mutex;
    try {
        const Teller teller = Teller::_narrow(Caldane::string_to_object(url));
        const auto times = Caldane::call_side_by_side(load.threads, load.repeat, [&] {
            std::string last = command.run(teller, arguments);
            const std::lock_guard lock(mutex);
            outcome.swap(last);
        });
        if (load.threads > 1) std::cerr << times << '\n';
    } catch (const Acme::Bank::UnknownAccount& exception) {
        std::cerr << exception << '\n';
        return kUserException;
    } catch (const Acme::Bank::InsufficientFunds& exception) {
        std::cerr << exception << '\n';
        return kUserException;
    } catch (const Caldane::SystemError& error) {
        std::cerr << "system exception " << error.kind() << ' ' << error.what() << '\n';
        return kSystemException;
    }
    std::cout << outcome;
    return kDone;
}

int run(std::vector<std::string> words) {
    Load load;
    while (!words.empty() && (words[0] == "--repeat" || words[0] == "--threads")) {
        if (words.size() < 2) return wrong(words[0] + " takes a number");
        std::int32_t number = 0;
        try {
            number = Arguments({words[1]}).number<std::int32_t>(0);
        } catch (const WrongArgument& error) {
            return wrong(error.what());
        }
        if (number < 1) return wrong(words[0] + " takes a number from 1 on");
        (words[0] == "--repeat" ? load.repeat : load.threads) = static_cast<std::size_t>(number);
        words.erase(words.begin(), words.begin() + 2);
    }
    load.repeat = std::max(load.repeat, load.threads);
    if (words.size() < 2) return wrong("a URL and an operation are missing");
    if (words[0].starts_with("-")) return wrong("there is no option '" + words[0] + "'");
    const Command* command = find_command(words[1]);
    if (command == nullptr) return wrong("there is no operation '" + words[1] + "'");
    const std::size_t given = words.size() - 2;
    if (given != command->parameters.size()) {
        return wrong(words[1] + " takes " + std::to_string(command->parameters.size()) + " arguments, not " +
                     std::to_string(given));
    }
    const Arguments arguments({words.begin() + 2, words.end()});
    try {
        return call(words[0], *command, arguments, load);
    } catch (const WrongArgument& error) {
        return wrong(error.what());
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (wants_help(argc, argv) || !Caldane::init(argc, argv)) {
            usage(std::cout);
            return kDone;
        }
        choose_text(argc, argv);
        const int code = run({argv + 1, argv + argc});
        Caldane::shutdown();
        return code;
    } catch (const Caldane::SetupError& error) {
        return wrong(error.what());
    } catch (const std::exception& error) {
        std::cerr << "bank_client: " << error.what() << '\n';
        return kFailed;
    }
}
