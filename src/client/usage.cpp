// SPDX-License-Identifier: MIT
#include "client/usage.h"

#include <cstdio>

void soap_usage_stage(Caldane::Stage stage) {
    if (stage != Caldane::STAGE_USAGE) return;
    std::fputs(
        "  SOAP Transport options\n"
        "    -Dproxy=<proxy host:port>\n"
        "                  to specify the proxy server\n"
        "    -DSOAP_CLIENT_CHUNKING\n"
        "                  to enable SOAP client side chunking\n"
        "    -DSOAP_ENABLE_RPC_ENCODER\n"
        "                  to enable the RPC encoder in the SOAP transport\n"
        "    -Ddefault_SOAPAction=<action>\n"
        "                  change the default value of the SOAP Action\n"
        "    -D<oper>_SOAPAction=<action>\n"
        "                  change the value of the SOAP Action for this <oper>\n"
        "\n",
        stdout);
}
