// SPDX-License-Identifier: MIT
#include <iostream>
#include <memory>
#include <string>

#include "hello.h"

class Greeter final : public Hello::POA_Greeter {
    _Caldane_String greet(const _Caldane_String& name, std::int32_t times) override {
        if (name.empty()) throw Hello::Nameless("a greeting needs somebody");
        std::string words;
        for (; times > 0; --times) words += "Hello, " + std::string(name) + "! ";
        return _Caldane_String(words);
    }
};

int main(int argc, char** argv) try {
    if (!Caldane::init(argc, argv, "usage: hello_server [-Dname=value]...\n")) return 0;
    const auto greeter = std::make_shared<Greeter>();
    SOA::publish(greeter, "greeter", "127.0.0.1:8090/greeter");
    std::cout << "ready " << SOA::reference(*greeter).url() << std::endl;
    SOA::run();
    Caldane::shutdown();
} catch (const std::exception& error) {
    std::cerr << "hello_server: " << error.what() << '\n';
    return 1;
}
