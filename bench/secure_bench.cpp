// SPDX-License-Identifier: MIT

// What a secure channel costs beside OpenSSL alone: 10 MB out, and a handshake, each in one process.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

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

/// Takes what was written into a session's memory.
std::string take_output(SSL* session) {
    char* text = nullptr;
    const long length = BIO_get_mem_data(SSL_get_wbio(session), &text);
    std::string all(text, static_cast<std::size_t>(length));
    static_cast<void>(BIO_reset(SSL_get_wbio(session)));
    return all;
}

SSL* session_in_memory(SSL_CTX* context) {
    SSL* const session = SSL_new(context);
    SSL_set_bio(session, BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    return session;
}

/// What the client got for the next time; a session of TLS 1.3 comes behind the handshake.
SSL_SESSION* next_session = nullptr;

int keep_session(SSL*, SSL_SESSION* session) {
    SSL_SESSION_free(next_session);
    next_session = session;
    return 1;
}

/// The server's side by OpenSSL alone.
class OpenSslServer {
public:
    explicit OpenSslServer(bool resumes) : context(raw_context(true)) {
        SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
        if (!resumes) SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
    }
    ~OpenSslServer() { SSL_CTX_free(context); }
    void begin() { session = session_in_memory(context); }
    std::string step(const std::string& bytes) {
        BIO_write(SSL_get_rbio(session), bytes.data(), static_cast<int>(bytes.size()));
        SSL_accept(session);
        return take_output(session);
    }
    void end() { SSL_free(session); }

private:
    SSL_CTX* context;
    SSL* session = nullptr;
};

/// The server's side by a channel that is driven by bytes.
class ChannelServer {
public:
    explicit ChannelServer(bool) : credentials(createCredentials(2, 0, nullptr)) {
        if (credentials->acquireCredentials(kName, 0, 0) != 0) std::abort();
    }
    ~ChannelServer() { destroyCredentials(credentials); }
    void begin() { channel = credentials->createChannel({}); }
    std::string step(const std::string& bytes) {
        ByteQueue out;
        if (channel->stepServerHandshake(bytes, out) == TlsState::failed) std::abort();
        return std::string(out.view());
    }
    void end() {
        ByteQueue out;
        channel->goodbye(out);
        delete channel;
    }

private:
    CSspiCredentials* credentials;
    CSecureChannel* channel = nullptr;
};

/// Processor time of the server's side of one handshake in memory; range 0 is the version, range 1 tells
/// whether the session is one of before.
template <class Server>
void Handshake(benchmark::State& state) {
    const bool resumes = state.range(1) != 0;
    SSL_CTX* const clients = raw_context(false);
    SSL_CTX_set_min_proto_version(clients, static_cast<int>(state.range(0)));
    SSL_CTX_set_max_proto_version(clients, static_cast<int>(state.range(0)));
    SSL_CTX_set_session_cache_mode(clients, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    SSL_CTX_sess_set_new_cb(clients, &keep_session);
    Server server(resumes);
    std::size_t resumed = 0;
    for ([[maybe_unused]] auto _ : state) {
        SSL* const client = session_in_memory(clients);
        if (resumes && next_session != nullptr) SSL_set_session(client, next_session);
        std::chrono::nanoseconds used{};
        const auto timed = [&used](auto action) {
            timespec begin{}, end{};
            clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
            action();
            clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
            used += std::chrono::seconds(end.tv_sec - begin.tv_sec) +
                    std::chrono::nanoseconds(end.tv_nsec - begin.tv_nsec);
        };
        timed([&] { server.begin(); });
        for (std::string answer;;) {
            BIO_write(SSL_get_rbio(client), answer.data(), static_cast<int>(answer.size()));
            char byte = 0;
            SSL_connect(client);
            if (SSL_is_init_finished(client)) SSL_read(client, &byte, 1);
            const std::string bytes = take_output(client);
            if (bytes.empty()) break;
            timed([&] { answer = server.step(bytes); });
        }
        timed([&] { server.end(); });
        if (!SSL_is_init_finished(client)) std::abort();
        resumed += SSL_session_reused(client) != 0 ? 1 : 0;
        // Else the session would count as one that broke off, and not be taken up again.
        SSL_set_shutdown(client, SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
        SSL_free(client);
        state.SetIterationTime(std::chrono::duration<double>(used).count());
    }
    state.counters["resumed"] = static_cast<double>(resumed) / static_cast<double>(state.iterations());
    SSL_SESSION_free(next_session);
    next_session = nullptr;
    SSL_CTX_free(clients);
}
void versions(benchmark::internal::Benchmark* bench) {
    bench->ArgsProduct({{TLS1_2_VERSION, TLS1_3_VERSION}, {0, 1}})->UseManualTime();
    bench->Unit(benchmark::kMicrosecond);
}
BENCHMARK_TEMPLATE(Handshake, OpenSslServer)->Apply(versions);
BENCHMARK_TEMPLATE(Handshake, ChannelServer)->Apply(versions);

/// Memory of a server's session that stands and is idle; range 0 is the version, range 1 how many bytes the
/// client has sent of its hello where it stalled in it, 0 for a whole handshake.
void IdleSession(benchmark::State& state) {
    constexpr int kSessions = 300;
    SSL_CTX* const clients = raw_context(false);
    SSL_CTX_set_min_proto_version(clients, static_cast<int>(state.range(0)));
    SSL_CTX_set_max_proto_version(clients, static_cast<int>(state.range(0)));
    CSspiCredentials* const servers = createCredentials(2, 0, nullptr);
    if (servers->acquireCredentials(kName, 0, 0) != 0) std::abort();
    const auto connect = [&] {
        CSecureChannel* const channel = servers->createChannel({});
        SSL* const client = session_in_memory(clients);
        for (std::string answer;;) {
            BIO_write(SSL_get_rbio(client), answer.data(), static_cast<int>(answer.size()));
            SSL_connect(client);
            std::string bytes = take_output(client);
            if (bytes.empty()) break;
            ByteQueue out;
            if (state.range(1) != 0) bytes.resize(static_cast<std::size_t>(state.range(1)));
            if (channel->stepServerHandshake(bytes, out) == TlsState::failed) std::abort();
            answer = out.view();
            if (state.range(1) != 0) break;
        }
        if (state.range(1) == 0) {
            std::string request(1000, 'x');
            SSL_write(client, request.data(), 1000);
            request = take_output(client);
            ByteQueue plain;
            if (channel->decrypt(request, plain) != TlsState::open || plain.size() != 1000) std::abort();
            ByteQueue reply;
            if (channel->seal(plain.view(), reply) != 1000) std::abort();
        }
        SSL_free(client);
        return channel;
    };
    std::vector<CSecureChannel*> channels;
    channels.reserve(kSessions + 10);
    for (int i = 0; i < 10; ++i) channels.push_back(connect());
    for ([[maybe_unused]] auto _ : state) {
        const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
        for (int i = 0; i < kSessions; ++i) channels.push_back(connect());
        const std::size_t after = mallinfo2().uordblks + mallinfo2().hblkhd;
        state.counters["bytes"] = static_cast<double>(after - before) / kSessions;
    }
    for (CSecureChannel* const channel : channels) {
        ByteQueue out;
        channel->goodbye(out);
        delete channel;
    }
    destroyCredentials(servers);
    SSL_CTX_free(clients);
}
BENCHMARK(IdleSession)->ArgsProduct({{TLS1_2_VERSION, TLS1_3_VERSION}, {0, 3}})->Iterations(1);

}  // namespace
