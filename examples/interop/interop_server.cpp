// SPDX-License-Identifier: MIT

// interop_server [-Dname=value]... [--latin1] [--secure] --listen HOST:PORT: serves the interfaces of
// interop.idl at the path /interop and of shapes.idl at /shapes.

#include <iostream>
#include <string>
#include <string_view>

#include "../server_main.h"
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

void serve(const std::string& address, bool secure) {
    InteropTestImpl interop;
    ShapesImpl shapes;
    SOA::publish(interop, "interop", address + "/interop", secure);
    const std::string url = SOA::reference(interop).url();
    const std::string host = url.substr(url.find("//") + 2);
    SOA::publish(shapes, "shapes", host.substr(0, host.find('/')) + "/shapes", secure);
    std::cout << "ready " << url << std::endl;
    SOA::run();
    Caldane::shutdown();
}

}  // namespace

int main(int argc, char** argv) {
    return server_main(argc, argv, "interop_server", kUsage, &serve);
}
