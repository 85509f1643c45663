// SPDX-License-Identifier: MIT

// soapcall URL OPERATION [name=value]...: calls any object and prints its reply as JSON.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <caldane/caldane.h>
#include <caldane/dynamic_call.h>
#include <caldane/dynamic_values.h>
#include <caldane/side_by_side.h>

#include "failures.h"
#include "json_values.h"
#include "loose_reply.h"
#include "messages.h"
#include "repetition.h"
#include "service.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr char kDescription[] =
    "Calls an operation of the object at URL and prints its reply as JSON: the result as \"return\", out\n"
    "parameters by their names. Arguments are name=value; their types, and those of the reply, come from an "
    "IDL\n"
    "or WSDL file, or are told as name:type=value. Values of struct, sequence, array and union types are "
    "JSON.";

constexpr char kExamples[] = R"(examples, with build/bin/interop_server --listen 127.0.0.1:8080 running:
  soapcall http://127.0.0.1:8080/interop echoInteger inputInteger:long=5 --encoded
  soapcall --idl interop.idl http://127.0.0.1:8080/interop echoString inputString='Grüße'
  soapcall --idl interop.idl http://127.0.0.1:8080/interop echoIntegerArray inputIntegerArray='[1, 2, 3]'
  soapcall --idl interop.idl --show http://127.0.0.1:8080/interop echoStruct \
           inputStruct='{"varString": "a", "varInt": 1, "varFloat": 0.5}'
  soapcall --idl interop.idl --repeat 1000 http://127.0.0.1:8080/interop echoVoid

types of arguments: short, long, ushort, ulong, float, double, boolean, char, octet, string, any, Object, and
with [] a list of them, such as long[]. Octets are a text in base64.
Text is UTF-8 (the property SOAP_UTF8_TEXT is set); --latin1 leaves that off.
-Dname=value sets a property of the transport, -help lists them.
exit code: 0 done, 1 the IDL or WSDL file cannot be used, or the output not written, 2 system exception,
3 user exception, 64 wrong usage, 130 interrupted)";

struct Options {
    std::string url;
    std::string operation;
    std::vector<std::string> arguments;
    std::string idl;
    std::string wsdl;
    std::string interface_name;
    std::vector<std::string> include_folders;
    bool encoded = false;
    bool literal = false;
    std::vector<std::string> headers;
    std::string action;
    bool has_action = false;
    std::string name_space;
    std::string returns;
    double timeout = 0;
    bool show = false;
    bool time = false;
    bool latin1 = false;
    std::size_t repeat = 1;
    std::size_t threads = 1;
};

/// Splits at the first `=`; throws Failure for a word without one.
std::pair<std::string, std::string> split(const std::string& word, const char* what) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0) wrong_usage("'" + word + "' is no " + what);
    return {word.substr(0, equals), word.substr(equals + 1)};
}

/// An operation whose parameters the command line tells.
std::unique_ptr<Caldane::DynamicOperation> told_operation(const Options& options) {
    // Types must outlive the values of the process.
    static Caldane::TypeLibrary library;
    const auto typed = [](const std::string& word, const std::string& where) {
        const _Caldane_TypeRef type = basic_type(word, library);
        if (type.kind() == _Caldane_TypeRef::tk_null)
            wrong_usage(where + ": there is no type '" + word + "'");
        return type;
    };
    auto made = std::make_unique<Caldane::DynamicOperation>(
        options.operation,
        options.name_space.empty() ? "urn:caldane:" + options.operation : options.name_space,
        options.returns.empty() ? _Caldane_TypeRef() : typed(options.returns, "--returns"));
    for (const std::string& word : options.arguments) {
        const auto [name, value] = split(word, "argument of the form name=value");
        const std::size_t colon = name.find(':');
        const std::string type = colon == std::string::npos ? "string" : name.substr(colon + 1);
        made->add_parameter(name.substr(0, colon), _Caldane_Parameter::IN, typed(type, name));
    }
    return made;
}

/// The compiler that was installed beside this program, else the one on the path.
std::string find_compiler() {
    std::error_code error;
    const auto beside = std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / "caldane-idl";
    return std::filesystem::exists(beside, error) ? beside.string() : "caldane-idl";
}

/// Keeps what is no XML from the compiler, which would take it for IDL.
const std::string& checked_wsdl(const std::string& path) {
    std::ifstream file(path);
    char first = '<';
    if (file >> first && first != '<' && first != '\xEF')
        throw Failure(kUnusable, path + ": this is no WSDL");
    return path;
}

/// What the IDL or WSDL tells, learnt once.
const Service& service_of(const Options& options) {
    // Types must outlive the values of the process.
    static const Service service(
        describe(find_compiler(), options.idl.empty() ? checked_wsdl(options.wsdl) : options.idl,
                 options.include_folders),
        options.interface_name);
    return service;
}

volatile std::sig_atomic_t interrupted = 0;

void interrupt(int number) {
    interrupted = 1;
    std::signal(number, SIG_DFL);
}

/// One program run: what it calls, and how it tells the outcome.
class Caller {
public:
    explicit Caller(const Options& options) : options_(options) {
        if (!options.idl.empty() || !options.wsdl.empty()) {
            service_ = &service_of(options);
        } else {
            told_ = told_operation(options);
        }
        // Without types a reply is read from the trace.
        if (options.show || service_ == nullptr) trace_.emplace();
        set_properties();
    }

    int run() {
        const _Caldane_Object target = Caldane::string_to_object(options_.url);
        const Caldane::DynamicOperation& operation =
            service_ != nullptr ? service_->operation(options_.operation) : *told_;
        Caldane::DynamicCall call(operation);
        fill(call, operation);
        Caldane::CallTimeout limit(options_.timeout);
        if (options_.threads > 1) return run_side_by_side(call, operation, target);
        Repetition repetition(options_.repeat,
                              options_.repeat > 1 && ::isatty(STDERR_FILENO) ? &std::cerr : nullptr);
        // The first SIGINT ends a row of calls behind the one that runs, the second at once.
        if (options_.repeat > 1) std::signal(SIGINT, interrupt);
        int code = kDone;
        for (std::size_t i = 0; i < options_.repeat && code == kDone; ++i) {
            put_headers();
            const auto begun = Repetition::Clock::now();
            code = invoke(call, operation, target, i + 1 == options_.repeat);
            repetition.add(Repetition::Clock::now() - begun);
            if (interrupted != 0 && i + 1 < options_.repeat && code == kDone) code = kInterrupted;
        }
        if (options_.repeat > 1 || (options_.time && code == kDone)) repetition.summarise(std::cerr);
        return code;
    }

private:
    /// Calls by several threads, each with values of its own; the last one is made and shown alone.
    int run_side_by_side(Caldane::DynamicCall& last, const Caldane::DynamicOperation& operation,
                         const _Caldane_Object& target) {
        const auto call = [&] {
            Caldane::CallTimeout limit(options_.timeout);
            Caldane::DynamicCall own(operation);
            fill(own, operation);
            put_headers();
            own.invoke(target);
        };
        try {
            std::cerr << Caldane::call_side_by_side(options_.threads, options_.repeat, call) << '\n';
        } catch (const Caldane::DynamicException& exception) {
            const _Caldane_AnyConstRef raised(exception);
            return print_exception(std::string(raised._get_typeref().type().name()), to_json(raised));
        } catch (const Caldane::SystemError& error) {
            tell(error.what());
            return kSystemException;
        }
        put_headers();
        return invoke(last, operation, target, true);
    }

    void set_properties() const {
        _Caldane_Properties& properties = SOA::getProperties();
        if (options_.encoded) properties.set("SOAP_ENABLE_RPC_ENCODER", "");
        if (!options_.latin1) properties.set("SOAP_UTF8_TEXT", "");
        if (options_.has_action) properties.set(options_.operation + "_SOAPAction", options_.action);
        if (trace_) properties.set("SOAP_TRACE", trace_->path());
    }

    /// Header entries are taken up by each call.
    void put_headers() const {
        for (const std::string& word : options_.headers) {
            const auto [name, value] = split(word, "header of the form name=value");
            const _Caldane_String text(value);
            SOA::get_default_context().set_one_value(_Caldane_String(name), _Caldane_AnyConstRef(text));
        }
    }

    void fill(Caldane::DynamicCall& call, const Caldane::DynamicOperation& operation) const {
        std::vector<bool> given(operation.parameters().size());
        for (const std::string& word : options_.arguments) {
            const auto [left, value] = split(word, "argument of the form name=value");
            const std::string name = left.substr(0, left.find(':'));
            std::size_t index = 0;
            while (index < given.size() && operation.parameters()[index].name != name) ++index;
            if (index == given.size()) no_parameter(operation, name);
            if (given[index]) wrong_usage("the argument '" + name + "' is given twice");
            given[index] = true;
            from_word(call.argument(index), value, name);
        }
        for (std::size_t i = 0; i < given.size(); ++i) {
            if (!given[i] && operation.parameters()[i].direction != _Caldane_Parameter::OUT)
                wrong_usage("the argument '" + operation.parameters()[i].name + "' is missing");
        }
    }

    [[noreturn]] static void no_parameter(const Caldane::DynamicOperation& operation,
                                          const std::string& name) {
        std::string known;
        for (const auto& parameter : operation.parameters())
            known += (known.empty() ? ", but: " : ", ") + parameter.name;
        wrong_usage("the operation '" + operation.name() + "' has no parameter '" + name + "'" + known);
    }

    int invoke(Caldane::DynamicCall& call, const Caldane::DynamicOperation& operation,
               const _Caldane_Object& target, bool last) {
        try {
            call.invoke(target);
        } catch (const Caldane::DynamicException& exception) {
            const auto messages = shown();
            const _Caldane_AnyConstRef raised(exception);
            return print_exception(std::string(raised._get_typeref().type().name()), to_json(raised));
        } catch (const Caldane::SystemError& error) {
            const auto messages = shown();
            const std::optional<LooseReply> reply = loose(messages);
            if (reply && reply->is_fault && !reply->exception.empty())
                return print_exception(reply->exception, reply->values);
            tell(error.what());
            return kSystemException;
        }
        const auto messages = last ? shown() : std::vector<WireMessage>();
        if (!last) return kDone;
        if (service_ == nullptr && options_.returns.empty()) {
            const std::optional<LooseReply> reply = loose(messages);
            print(reply ? reply->values : Json::object());
        } else {
            print(outcome(call, operation));
        }
        return kDone;
    }

    static Json outcome(Caldane::DynamicCall& call, const Caldane::DynamicOperation& operation) {
        Json values = Json::object();
        if (!call.result().is_null()) values["return"] = to_json(call.result());
        for (std::size_t i = 0; i < operation.parameters().size(); ++i) {
            const auto& parameter = operation.parameters()[i];
            if (parameter.direction != _Caldane_Parameter::IN)
                values[parameter.name] = to_json(call.argument(i));
        }
        return values;
    }

    std::vector<WireMessage> shown() {
        if (!trace_) return {};
        std::vector<WireMessage> messages = trace_->take();
        if (options_.show) {
            const char* const plain = std::getenv("NO_COLOR");
            const bool coloured = ::isatty(STDOUT_FILENO) != 0 && (plain == nullptr || *plain == '\0');
            for (const WireMessage& message : messages) show(std::cout, message, coloured);
            std::cout.flush();
        }
        return messages;
    }

    static std::optional<LooseReply> loose(const std::vector<WireMessage>& messages) {
        if (messages.empty() || messages.back().sent) return {};
        return read_loosely(messages.back().body());
    }

    static int print_exception(const std::string& name, const Json& members) {
        tell(name + " " + text_of(members, -1));
        return kUserException;
    }

    static std::string text_of(const Json& values, int indent) {
        return values.dump(indent, ' ', false, Json::error_handler_t::replace);
    }
    static void print(const Json& values) { std::cout << text_of(values, 2) << '\n'; }

    const Options& options_;
    const Service* service_ = nullptr;  ///< for the rest of the process: its types outlive all values
    std::unique_ptr<Caldane::DynamicOperation> told_;
    std::optional<Trace> trace_;
};

void declare(CLI::App& app, Options& options) {
    app.footer(kExamples);
    app.get_formatter()->column_width(30);
    app.add_option("url", options.url, "the object, such as http://host:8080/path")
        ->required()
        ->type_name("URL");
    app.add_option("operation", options.operation, "the operation's name")
        ->required()
        ->type_name("OPERATION");
    app.add_option("arguments", options.arguments, "name=value or name:type=value")->type_name("ARGUMENT");
    auto* const idl =
        app.add_option("--idl", options.idl, "take the types from an IDL file")->type_name("FILE");
    app.add_option("--wsdl", options.wsdl, "take the types from a WSDL file that caldane-idl made")
        ->type_name("FILE")
        ->excludes(idl);
    app.add_option("--interface", options.interface_name, "which interface of the file it is")
        ->type_name("NAME");
    app.add_option("-I", options.include_folders, "a folder to look for included IDL files in")
        ->type_name("DIR")
        ->allow_extra_args(false);
    auto* const encoded =
        app.add_flag("--encoded", options.encoded, "SOAP encoding, every value with its type");
    app.add_flag("--literal", options.literal, "no types in the message (the default)")->excludes(encoded);
    app.add_option("--header", options.headers, "an entry of the SOAP header")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option("--action", options.action, "the SOAPAction (default: the operation)")->type_name("TEXT");
    app.add_option("--namespace", options.name_space, "the operation's namespace, where no file tells it")
        ->type_name("URI");
    app.add_option("--returns", options.returns, "the result's type, where no file tells it")
        ->type_name("TYPE");
    app.add_option("--timeout", options.timeout, "give the call up after so many seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 1e9));
    app.add_flag("--show", options.show, "print request and response");
    app.add_flag("--time", options.time, "print how long it took, on standard error");
    app.add_option("--repeat", options.repeat,
                   "call so often on one connection; prints the last reply and the times")
        ->type_name("N")
        ->check(CLI::Range(1, 100'000'000));
    app.add_option(
           "--threads", options.threads,
           "call by so many threads side by side, each on a connection of its own; --repeat tells how "
           "often in all")
        ->type_name("N")
        ->check(CLI::Range(1, 10'000));
    app.add_flag("--latin1", options.latin1, "text is one byte a character, and nothing is checked");
}

/// Whether a text can be the name of an XML element, as far as ASCII goes.
bool is_name(const std::string& text) {
    const auto stands = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c < 0;
    };
    return !text.empty() && stands(text[0]) && !std::isdigit(static_cast<unsigned char>(text[0])) &&
           std::all_of(text.begin(), text.end(), [&](char c) { return stands(c) || c == '-' || c == '.'; });
}

/// What would make a message that no server can read.
void check_names(const Options& options) {
    const auto is_control = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    if (std::any_of(options.action.begin(), options.action.end(),
                    [&](char c) { return is_control(c) || c == '"'; }))
        wrong_usage("--action cannot have quotes and control characters in it");
    for (const std::string& word : options.headers) {
        const std::string name = split(word, "header of the form name=value").first;
        if (!is_name(name)) wrong_usage("--header: '" + name + "' is no name of an XML element");
    }
    if (!is_name(options.operation)) wrong_usage("'" + options.operation + "' is no name of an operation");
    for (const std::string& word : options.arguments) {
        const std::string left = split(word, "argument of the form name=value").first;
        const std::string name = left.substr(0, left.find(':'));
        if (!is_name(name)) wrong_usage("'" + name + "' is no name of a parameter");
    }
}

/// Options that would be without effect.
void check_types(const Options& options) {
    const bool has_file = !options.idl.empty() || !options.wsdl.empty();
    if (!has_file && (!options.interface_name.empty() || !options.include_folders.empty()))
        wrong_usage("--interface and -I go with --idl or --wsdl");
    if (options.threads > 1 && (!has_file || options.show))
        wrong_usage("--threads goes with --idl or --wsdl, and without --show");
    if (has_file && (!options.returns.empty() || !options.name_space.empty()))
        wrong_usage("--returns and --namespace are what --idl and --wsdl tell: leave them out");
}

/// Takes -Dname=value and -help, which are the transport's, out of the words.
std::vector<char*> take_properties(int argc, char** argv, std::vector<std::string>& rest) {
    std::vector<char*> properties = {argv[0]};
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word.starts_with("-D") || word == "-help") {
            properties.push_back(argv[i]);
        } else {
            rest.emplace_back(word);
        }
    }
    return properties;
}

int run(int argc, char** argv) {
    std::vector<std::string> words;
    std::vector<char*> properties = take_properties(argc, argv, words);
    const bool lists_properties = std::any_of(properties.begin() + 1, properties.end(),
                                              [](const char* word) { return !std::strcmp(word, "-help"); });
    Options options;
    CLI::App app(kDescription, "soapcall");
    declare(app, options);
    std::optional<Caller> caller;
    if (!lists_properties) {
        std::reverse(words.begin(), words.end());  // as CLI11 takes a vector
        try {
            app.parse(words);
        } catch (const CLI::CallForHelp& help) {
            return app.exit(help);
        } catch (const CLI::ParseError& error) {
            wrong_usage(std::string(error.what()) + "; see soapcall --help");
        }
        options.has_action = app.count("--action") > 0;
        check_names(options);
        check_types(options);
        caller.emplace(options);
    }
    int property_count = static_cast<int>(properties.size());
    properties.push_back(nullptr);
    if (!Caldane::init(property_count, properties.data())) return kDone;
    int code = caller->run();
    Caldane::shutdown();
    // Who closed the pipe wants no more, and needs no word about it.
    if (!std::cout.flush() && errno != EPIPE) {
        tell(std::string("the output cannot be written: ") + std::strerror(errno));
        if (code == kDone) code = kUnusable;
    }
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const Failure& failure) {
        if (*failure.what() != '\0') tell(failure.what());
        return failure.code;
    } catch (const Caldane::SetupError& error) {
        tell(error.what());
        return kUsage;
    } catch (const Caldane::SystemError& error) {
        tell(error.what());
        return error.kind() == _Caldane_SystemException::INV_OBJREF ? kUsage : kSystemException;
    } catch (const std::exception& error) {
        tell(error.what());
        return kSystemException;
    }
}
