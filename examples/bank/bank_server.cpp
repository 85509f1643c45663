// SPDX-License-Identifier: MIT

// bank_server [-Dname=value]... [--latin1] [--secure] --listen HOST:PORT: serves the bank's teller at the path /bank.

#include <iostream>
#include <string>
#include <string_view>

#include "../secure_option.h"
#include "../text_option.h"
#include "teller_impl.h"

namespace {

constexpr char kUsage[] =
    "usage: bank_server [-Dname=value]... [--latin1] [--secure] --listen HOST:PORT\n"
    "Serves the bank at http://HOST:PORT/bank (port 0: one that the system chooses) and prints\n"
    "'ready URL' when it accepts calls. Ends on SIGTERM or SIGINT, after the calls that are running.\n"
    "-help lists the properties of the transport.\n";

int serve(const std::string& address, bool secure) {
    TellerImpl teller;
    SOA::publish(teller, "bank", address + "/bank", secure);
    std::cout << "ready " << SOA::reference(teller).url() << std::endl;
    SOA::run();
    Caldane::shutdown();
    std::cout << "notes=" << teller.notes() << std::endl;
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
        std::cerr << "bank_server: " << error.what() << '\n';
        return 1;
    }
}
