// SPDX-License-Identifier: MIT

// interop_server [-Dname=value]... [--latin1] [--secure] --listen HOST:PORT: serves the interfaces of
// interop.idl at the path /interop and of shapes.idl at /shapes.

#include <iostream>
#include <string>
#include <string_view>

#include "../secure_option.h"
#include "../text_option.h"
#include "interop_impl.h"
#include "shapes_impl.h"

namespace {

constexpr char kUsage[] =
    "usage: interop_server [-Dname=value]... [--latin1] [--secure] --listen HOST:PORT\n"
    "Serves the interoperability rounds' echo interface at http://HOST:PORT/interop and the interface "
    "Shapes\n"
    "at http://HOST:PORT/shapes (port 0: one that the system chooses), and prints 'ready URL' with the "
    "first\n"
    "when it accepts calls. Ends on SIGTERM or SIGINT. -help lists the properties of the transport.\n";

int serve(const std::string& address, bool secure) {
    InteropTestImpl interop;
    ShapesImpl shapes;
    SOA::publish(interop, "interop", address + "/interop", secure);
    const std::string url = SOA::reference(interop).url();
    const std::string host = url.substr(url.find("//") + 2);
    SOA::publish(shapes, "shapes", host.substr(0, host.find('/')) + "/shapes", secure);
    std::cout << "ready " << url << std::endl;
    SOA::run();
    Caldane::shutdown();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (!Caldane::init(argc, argv)) {
            std::cout << kUsage << kTextOptionHelp << kSecureOptionHelp;
            return 0;
        }
        choose_text(argc, argv);
        const bool secure = choose_secure(argc, argv);
        if (argc != 3 || std::string_view(argv[1]) != "--listen") {
            std::cerr << kUsage << kTextOptionHelp << kSecureOptionHelp;
            return 64;
        }
        return serve(argv[2], secure);
    } catch (const std::exception& error) {
        std::cerr << "interop_server: " << error.what() << '\n';
        return 1;
    }
}
