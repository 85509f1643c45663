// SPDX-License-Identifier: MIT

// What a secure channel costs beside OpenSSL alone: 10 MB out, and a handshake, each in one process.

#include <benchmark/benchmark.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "secure/secure_channel.h"
#include "secure/sspi_credentials.h"

namespace {

constexpr int kReply = 10'000'000;
constexpr char kName[] = "bench.test";

/// Certificates in a folder of their own, for as long as the process runs.
class Certificates {
public:
    Certificates() {
        char pattern[] = "/tmp/secure-bench-XXXXXX";
        folder = ::mkdtemp(pattern);
        if (std::system((CALDANE_CERT " " + folder + " " + kName + " >/dev/null").c_str()) != 0) std::abort();
        ::setenv("CALDANE_CERTS", folder.c_str(), 1);
    }
    ~Certificates() { std::filesystem::remove_all(folder); }
    std::string file() const { return folder + "/my/server.pem"; }

private:
    std::string folder;
};
const Certificates certificates;

SSL_CTX* raw_context(bool server) {
    SSL_CTX* const context = SSL_CTX_new(server ? TLS_server_method() : TLS_client_method());
    if (server) {
        SSL_CTX_use_certificate_chain_file(context, certificates.file().c_str());
        SSL_CTX_use_PrivateKey_file(context, certificates.file().c_str(), SSL_FILETYPE_PEM);
        SSL_CTX_set_num_tickets(context, 1);
    }
    return context;
}

/// A client of OpenSSL on one end of a pair of sockets.
struct Pair {
    explicit Pair(SSL_CTX* context) : client(SSL_new(context)) {
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
        SSL_set_fd(client, ends[0]);
    }
    ~Pair() {
        SSL_free(client);
        ::close(ends[0]);
        ::close(ends[1]);
    }
    int ends[2];
    SSL* client;
};

/// Takes what comes, undecrypted, until the other end closes.
void drop_all(int socket) {
    static thread_local char block[1 << 18];
    while (::recv(socket, block, sizeof block, 0) > 0) continue;
}

template <class Write, class End>
void write_replies(benchmark::State& state, Pair& pair, Write write, End end) {
    std::thread reader([&pair] { drop_all(pair.ends[0]); });
    const std::string text(kReply, 'x');
    for ([[maybe_unused]] auto _ : state) write(text.data());
    state.SetBytesProcessed(state.iterations() * kReply);
    end();
    ::shutdown(pair.ends[1], SHUT_WR);
    reader.join();
}

void ReplyByOpenSsl(benchmark::State& state) {
    SSL_CTX* const clients = raw_context(false);
    SSL_CTX* const servers = raw_context(true);
    {
        Pair pair(clients);
        std::thread connecting([&pair] { SSL_connect(pair.client); });
        SSL* const server = SSL_new(servers);
        SSL_set_fd(server, pair.ends[1]);
        SSL_accept(server);
        connecting.join();
        write_replies(
            state, pair, [server](const char* text) { SSL_write(server, text, kReply); }, [] {});
        SSL_free(server);
    }
    SSL_CTX_free(servers);
    SSL_CTX_free(clients);
}
BENCHMARK(ReplyByOpenSsl)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Records in memory, without a socket: the speed of encryption alone.
void RecordsInMemory(benchmark::State& state) {
    SSL_CTX* const clients = raw_context(false);
    SSL_CTX* const servers = raw_context(true);
    {
        Pair pair(clients);
        std::thread connecting([&pair] { SSL_connect(pair.client); });
        SSL* const server = SSL_new(servers);
        SSL_set_fd(server, pair.ends[1]);
        SSL_accept(server);
        connecting.join();
        BIO* const memory = BIO_new(BIO_s_mem());
        SSL_set0_wbio(server, memory);
        const std::string text(kReply, 'x');
        for ([[maybe_unused]] auto _ : state) {
            for (int at = 0; at < kReply; at += 16384) {
                SSL_write(server, text.data() + at, std::min(16384, kReply - at));
                static_cast<void>(BIO_reset(memory));
            }
        }
        state.SetBytesProcessed(state.iterations() * kReply);
        SSL_free(server);
    }
    SSL_CTX_free(servers);
    SSL_CTX_free(clients);
}
BENCHMARK(RecordsInMemory)->Unit(benchmark::kMillisecond);

void ReplyByChannel(benchmark::State& state) {
    SSL_CTX* const clients = raw_context(false);
    CSspiCredentials* const servers = createCredentials(2, 0, nullptr);
    if (servers->acquireCredentials(kName, 0, 0) != 0) std::abort();
    {
        Pair pair(clients);
        std::thread connecting([&pair] { SSL_connect(pair.client); });
        CSecureChannel* const channel = servers->createChannel(pair.ends[1]);
        if (channel->serverHandshake() == 0) std::abort();
        connecting.join();
        write_replies(
            state, pair, [channel](const char* text) { channel->write(text, kReply); },
            [channel] { channel->closeServer(); });
        delete channel;
    }
    destroyCredentials(servers);
    SSL_CTX_free(clients);
}
BENCHMARK(ReplyByChannel)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Processor time of the server's side of a full handshake; the client runs on a thread of its own.
template <class Accept>
void accept_clients(benchmark::State& state, Accept accept) {
    SSL_CTX* const clients = raw_context(false);
    for ([[maybe_unused]] auto _ : state) {
        Pair pair(clients);
        std::thread connecting([&pair] { SSL_connect(pair.client); });
        accept(pair.ends[1]);
        connecting.join();
    }
    SSL_CTX_free(clients);
}

void HandshakeByOpenSsl(benchmark::State& state) {
    SSL_CTX* const servers = raw_context(true);
    accept_clients(state, [servers](int socket) {
        SSL* const server = SSL_new(servers);
        SSL_set_fd(server, socket);
        SSL_accept(server);
        SSL_free(server);
    });
    SSL_CTX_free(servers);
}
BENCHMARK(HandshakeByOpenSsl)->Unit(benchmark::kMicrosecond);

void HandshakeByChannel(benchmark::State& state) {
    CSspiCredentials* const servers = createCredentials(2, 0, nullptr);
    if (servers->acquireCredentials(kName, 0, 0) != 0) std::abort();
    accept_clients(state, [servers](int socket) {
        CSecureChannel* const channel = servers->createChannel(socket);
        if (channel->serverHandshake() == 0) std::abort();
        channel->closeServer();
        delete channel;
    });
    destroyCredentials(servers);
}
BENCHMARK(HandshakeByChannel)->Unit(benchmark::kMicrosecond);

}  // namespace
