// SPDX-License-Identifier: MIT

// soap_tap HOST:PORT: stands between a client and a server and shows the bytes that pass in either
// direction. Point a client at it by the `proxy` property, or by its address.

#include <vqsys/handle.h>
#include <vqsys/names.h>
#include <vqsys/net.h>

#include <arpa/inet.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <chrono>
#include <cstdio>
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

struct Direction {
    vqSocket from, to;
    const char* heading;
    bool open = true;
};

/// Passes on what has come; false when the other side takes no more. The end of one direction leaves the
/// other open: a client may say that its request is complete and still read.
bool pass_on(Direction& direction, bool is_new) {
    char block[16384];
    const int count = vqNetRecv(direction.from, block, sizeof block, 0);
    if (count < 0) return false;
    if (count == 0) {
        direction.open = false;
        return vqNetShutdownWrite(direction.to) == VQOK;
    }
    const std::string_view bytes(block, static_cast<std::size_t>(count));
    show(direction.heading, is_new, bytes);
    return send_all(direction.to, bytes);
}

/// Passes bytes on in both directions until both have ended, or one side is gone.
void relay(vqSocket client, vqSocket server) {
    Direction directions[] = {{client, server, "--> request"}, {server, client, "<-- response"}};
    const Direction* last = nullptr;
    vqHandle handle = nullptr;
    if (vqHandleCreate(&handle) != VQOK) return;
    for (bool alive = true; alive && (directions[0].open || directions[1].open);) {
        vqHandleClearAllResources(handle);
        for (const Direction& d : directions) {
            if (d.open) static_cast<void>(vqHandleAddResourceMode(handle, d.from, 1));
        }
        const vqTimeout minute = {60, 0};
        if (vqBlock(handle, &minute) != 0) continue;
        for (Direction& d : directions) {
            if (!alive || !d.open || vqHandleQueryResource(handle, d.from, 1) != 1) continue;
            alive = pass_on(d, last != &d);
            last = &d;
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

/// HOST:PORT to an address; false, with a message, when it is not one. `least` is the lowest port.
bool parse_address(const std::string& text, int least, vqAddress& address) {
    const std::size_t colon = text.find(':');
    const char* const number = colon == std::string::npos ? "" : text.c_str() + colon + 1;
    int port = -1;
    const char* const end = text.data() + text.size();
    if (std::from_chars(number, end, port).ptr != end || *number == '\0' || port < least || port > 65535) {
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

vqSocket open_listener(vqAddress& bound) {
    const vqAddress wanted = bound;
    vqSocket listener = kVqNoSocket;
    int length = sizeof bound;
    if (vqNetSocket(&listener, 2, 1, 0) != 0 || vqNetBind(listener, &bound, sizeof bound) != 0 ||
        vqNetGetSockName(listener, &bound, &length) != 0 || vqNetListen(listener, 0) != 0) {
        std::fprintf(stderr, "soap_tap: cannot listen at %s:%d: %s\n", vqInet_ntoa(wanted.address),
                     ntohs(wanted.port), vqNetErrorText());
        return kVqNoSocket;
    }
    return listener;
}

/// Takes one client after the other; each is served on a thread of its own.
[[noreturn]] void accept_clients(vqSocket listener, vqAddress server) {
    for (;;) {
        vqSocket client = kVqNoSocket;
        vqAddress peer;
        int length = sizeof peer;
        if (vqNetAccept(listener, &client, &peer, &length) == 0) {
            std::thread(serve, client, server).detach();
        } else {
            // Out of descriptors: those in use go back in time.
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::string server_text;
    std::string own_text = "127.0.0.1:0";
    CLI::App app(
        "Listens, prints 'listening HOST:PORT', passes every connection on to the server at HOST:PORT\n"
        "and shows what goes over it in either direction.",
        "soap_tap");
    app.add_option("server", server_text, "where the server is")->required()->type_name("HOST:PORT");
    app.add_option("--listen", own_text, "where to listen, with port 0 for any that is free")
        ->type_name("HOST:PORT")
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "soap_tap: %s; see soap_tap --help\n", error.what());
        return 64;
    }
    vqAddress server;
    vqAddress bound;
    if (!parse_address(server_text, 1, server) || !parse_address(own_text, 0, bound)) return 64;
    const vqSocket listener = open_listener(bound);
    if (listener == kVqNoSocket) return 1;
    std::printf("listening %s:%d\n", vqInet_ntoa(bound.address), ntohs(bound.port));
    std::fflush(stdout);
    accept_clients(listener, server);
}
