// The peer of the measurements: one operation of the bank, served by an independent SOAP toolkit with one
// thread a connection ("threads") or a fixed pool that keeps a connection until its end ("pool").
#include <pthread.h>

#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>

#include "bank.nsmap"
#include "soapH.h"

namespace {

std::mutex queue_mutex;
std::condition_variable queue_filled;
std::deque<struct soap*> queue;

/// With a certificate the peer speaks TLS.
const char* certificate() {
    return std::getenv("PEER_CERTIFICATE");
}

bool secured(struct soap* session) {
#ifdef WITH_OPENSSL
    if (certificate() != nullptr) return soap_ssl_accept(session) == SOAP_OK;
#endif
    return session != nullptr;
}

void serve(struct soap* session) {
    if (secured(session)) soap_serve(session);
    soap_destroy(session);
    soap_end(session);
    soap_free(session);
}

void* serve_thread(void* argument) {
    pthread_detach(pthread_self());
    serve(static_cast<struct soap*>(argument));
    return nullptr;
}

void pool_worker() {
    for (;;) {
        std::unique_lock lock(queue_mutex);
        queue_filled.wait(lock, [] { return !queue.empty(); });
        struct soap* session = queue.front();
        queue.pop_front();
        lock.unlock();
        serve(session);
    }
}

}  // namespace

int bank__withdraw(struct soap* soap, char* account, int amount, struct bank__withdrawResponse* result) {
    auto* receipt = static_cast<struct bank__Receipt*>(soap_malloc(soap, sizeof(struct bank__Receipt)));
    receipt->account = account;
    receipt->amount = amount;
    receipt->balance = 10000 - amount;
    receipt->mood = CALM;
    result->_return = receipt;
    return SOAP_OK;
}

int main(int argc, char** argv) {
    const bool pool = argc > 1 && std::strcmp(argv[1], "pool") == 0;
    const int workers = argc > 2 ? std::atoi(argv[2]) : 8;
    struct soap* listener = soap_new1(SOAP_IO_KEEPALIVE | SOAP_XML_STRICT);
    listener->bind_flags = SO_REUSEADDR;
    listener->tcp_keep_alive = 1;
    listener->max_keep_alive = 1000000000;
    listener->accept_flags = 0;
    if (!soap_valid_socket(soap_bind(listener, "127.0.0.1", 0, 1024))) return 1;
#ifdef WITH_OPENSSL
    std::signal(SIGPIPE, SIG_IGN);
    if (certificate() != nullptr &&
        soap_ssl_server_context(listener, SOAP_SSL_DEFAULT, certificate(), nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr) != SOAP_OK)
        return 1;
#endif
    struct sockaddr_in name;
    socklen_t length = sizeof name;
    getsockname(listener->master, reinterpret_cast<struct sockaddr*>(&name), &length);
    std::printf("ready http%s://127.0.0.1:%d/bank\n", certificate() != nullptr ? "s" : "",
                ntohs(name.sin_port));
    std::fflush(stdout);
    if (pool) {
        for (int i = 0; i < workers; ++i) std::thread(pool_worker).detach();
    }
    for (;;) {
        if (!soap_valid_socket(soap_accept(listener))) continue;
        struct soap* session = soap_copy(listener);
        if (pool) {
            const std::lock_guard lock(queue_mutex);
            queue.push_back(session);
            queue_filled.notify_one();
            continue;
        }
        pthread_t thread;
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, 256 * 1024);
        if (pthread_create(&thread, &attributes, serve_thread, session) != 0) soap_free(session);
        pthread_attr_destroy(&attributes);
    }
}
