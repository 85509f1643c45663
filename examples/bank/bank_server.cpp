// SPDX-License-Identifier: MIT

// bank_server [-Dname=value]... [--latin1] [--secure] --listen HOST:PORT: serves the bank's teller at the
// path /bank.

#include <iostream>
#include <string>
#include <string_view>

#include "../server_main.h"
#include "teller_impl.h"

namespace {

constexpr char kUsage[] =
    "usage: bank_server [-Dname=value]... [--latin1] [--secure] --listen HOST:PORT\n"
    "Serves the bank at http://HOST:PORT/bank (port 0: one that the system chooses) and prints\n"
    "'ready URL' when it accepts calls. Ends on SIGTERM or SIGINT, after the calls that are running.\n"
    "-help lists the properties of the transport.\n";

void serve(const std::string& address, bool secure) {
    TellerImpl teller;
    SOA::publish(teller, "bank", address + "/bank", secure);
    std::cout << "ready " << SOA::reference(teller).url() << std::endl;
    SOA::run();
    Caldane::shutdown();
    std::cout << "notes=" << teller.notes() << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
    return server_main(argc, argv, "bank_server", kUsage, &serve);
}
