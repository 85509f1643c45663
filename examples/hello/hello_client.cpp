// SPDX-License-Identifier: MIT
#include <iostream>

#include "hello.h"

int main(int argc, char** argv) {
    int code = 0;
    try {
        const auto threads = Caldane::take_threads(argc, argv);  // of --threads N, else 0
        if (!Caldane::init(argc, argv, "usage: hello_client [-Dname=value]... [--threads N] [URL [NAME]]\n"))
            return 0;
        const char* const url = argc > 1 ? argv[1] : "http://127.0.0.1:8090/greeter";
        const auto greeter = Hello::Greeter::_narrow(Caldane::string_to_object(url));
        const auto greet = [&] { return greeter->greet(argc > 2 ? argv[2] : "world", 2); };
        std::cout << std::string_view(greet()) << '\n';
        if (threads > 0) std::cout << Caldane::call_side_by_side(threads, 100 * threads, greet) << '\n';
    } catch (const Hello::Nameless& exception) {
        std::cerr << "nobody was greeted: " << exception.reason << '\n';
        code = 3;
    } catch (const std::exception& error) {
        std::cerr << "hello_client: " << error.what() << '\n';
        code = 2;
    }
    Caldane::shutdown();
    return code;
}
