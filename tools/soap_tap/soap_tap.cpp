// SPDX-License-Identifier: MIT

// soap_tap HOST:PORT: stands between a client and a server and shows the bytes that pass in either
// direction. Point a client at it by the `proxy` property, or by its address.

#include <vqsys/handle.h>
#include <vqsys/names.h>
#include <vqsys/net.h>

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace {

std::mutex output;

/// Shows `bytes` under a heading that is repeated only when the direction changes.
void show(const char* heading, bool new_direction, std::string_view bytes) {
    const std::lock_guard lock(output);
    if (new_direction) std::printf("\n%s\n", heading);
    for (const char c : bytes) {
        if (c != '\r') std::putchar(c);
    }
    std::fflush(stdout);
}

bool send_all(vqSocket socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const int sent = vqNetSend(socket, bytes.data(), static_cast<int>(bytes.size()), 0);
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

vqSocket connect_to(const vqAddress& server) {
    vqSocket socket = kVqNoSocket;
    if (vqNetSocket(&socket, 2, 1, 0) != 0) return kVqNoSocket;
    if (vqNetConnect(socket, &server, sizeof server) == 0) return socket;
    std::fprintf(stderr, "soap_tap: the server cannot be reached: %s\n", vqNetErrorText());
    vqNetClose(&socket);
    return kVqNoSocket;
}

/// Passes bytes on in both directions until one side ends.
void relay(vqSocket client, vqSocket server) {
    struct Direction {
        vqSocket from, to;
        const char* heading;
    };
    const Direction directions[] = {{client, server, "--> request"}, {server, client, "<-- response"}};
    const Direction* last = nullptr;
    vqHandle handle = nullptr;
    if (vqHandleCreate(&handle) != VQOK) return;
    for (bool open = true; open;) {
        vqHandleClearAllResources(handle);
        for (const Direction& d : directions) static_cast<void>(vqHandleAddResourceMode(handle, d.from, 1));
        const vqTimeout minute = {60, 0};
        if (vqBlock(handle, &minute) != 0) continue;
        for (const Direction& d : directions) {
            if (!open || vqHandleQueryResource(handle, d.from, 1) != 1) continue;
            char block[16384];
            const int count = vqNetRecv(d.from, block, sizeof block, 0);
            if (count <= 0) {
                open = false;
                break;
            }
            const std::string_view bytes(block, static_cast<std::size_t>(count));
            show(d.heading, last != &d, bytes);
            last = &d;
            open = send_all(d.to, bytes);
        }
    }
    vqHandleDestroy(handle);
}

void serve(vqSocket client, vqAddress server_address) {
    vqSocket server = connect_to(server_address);
    if (server != kVqNoSocket) {
        relay(client, server);
        vqNetClose(&server);
    }
    vqNetClose(&client);
}

/// HOST:PORT to an address; false, with a message, when it is not one.
bool parse_address(const std::string& text, vqAddress& address) {
    const std::size_t colon = text.find(':');
    const int port = colon == std::string::npos ? 0 : std::atoi(text.c_str() + colon + 1);
    if (port < 1 || port > 65535) {
        std::fprintf(stderr, "soap_tap: '%s' is not of the form HOST:PORT\n", text.c_str());
        return false;
    }
    const std::string host = text.substr(0, colon);
    address.port = htons(static_cast<std::uint16_t>(port));
    address.address = vqInet_addr(host.c_str());
    if (address.address != 0xFFFFFFFFU) return true;
    vqHostEntry record;
    vqHostEntry* entry = nullptr;
    if (vqNetIPGetHostByName(host.c_str(), &entry, &record, sizeof record) != 0) {
        std::fprintf(stderr, "soap_tap: no host '%s' is known\n", host.c_str());
        return false;
    }
    address.address = *entry->addresses[0];
    return true;
}

/// A listener on a port of 127.0.0.1 that the system chooses.
vqSocket open_listener(vqAddress& bound) {
    vqSocket listener = kVqNoSocket;
    bound.address = htonl(0x7F000001U);
    int length = sizeof bound;
    if (vqNetSocket(&listener, 2, 1, 0) != 0 || vqNetBind(listener, &bound, sizeof bound) != 0 ||
        vqNetGetSockName(listener, &bound, &length) != 0 || vqNetListen(listener, 0) != 0) {
        std::fprintf(stderr, "soap_tap: cannot listen: %s\n", vqNetErrorText());
        return kVqNoSocket;
    }
    return listener;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view word = argc == 2 ? argv[1] : "";
    const bool help = word == "--help" || word == "-h";
    if (word.empty() || word.front() == '-') {
        std::fprintf(help ? stdout : stderr,
                     "usage: soap_tap HOST:PORT\n"
                     "Listens on a port of 127.0.0.1, prints 'listening 127.0.0.1:PORT', passes every\n"
                     "connection on to HOST:PORT and shows what goes over it in either direction.\n");
        return help ? 0 : 64;
    }
    vqAddress server;
    if (!parse_address(argv[1], server)) return 64;
    vqAddress bound;
    const vqSocket listener = open_listener(bound);
    if (listener == kVqNoSocket) return 1;
    std::printf("listening 127.0.0.1:%d\n", ntohs(bound.port));
    std::fflush(stdout);
    for (;;) {
        vqSocket client = kVqNoSocket;
        vqAddress peer;
        int length = sizeof peer;
        if (vqNetAccept(listener, &client, &peer, &length) == 0) std::thread(serve, client, server).detach();
    }
}
