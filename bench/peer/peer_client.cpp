// The peer of the client's measurements: `exists`, called by an independent SOAP toolkit from a number of
// threads, each with a connection that it keeps. Usage: peer_client URL THREADS CALLS; prints calls per
// second.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "exists.nsmap"
#include "soapH.h"

int main(int argc, char** argv) {
    if (argc != 4) return 64;
    const char* const url = argv[1];
    const int threads = std::atoi(argv[2]);
    const int calls = std::atoi(argv[3]);
    std::atomic<int> left = calls;
    std::atomic<bool> failed = false;
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::thread> all;
    for (int i = 0; i < threads; ++i) {
        all.emplace_back([&] {
            struct soap* const session = soap_new1(SOAP_IO_KEEPALIVE);
            session->tcp_keep_alive = 1;
            char account[] = "alice";
            while (left-- > 0 && !failed) {
                struct bank__existsResponse result;
                if (soap_call_bank__exists(session, url, "\"exists\"", account, &result) != SOAP_OK ||
                    !result._return) {
                    soap_print_fault(session, stderr);
                    failed = true;
                }
                soap_destroy(session);
                soap_end(session);
            }
            soap_free(session);
        });
    }
    for (std::thread& thread : all) thread.join();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    if (failed) return 1;
    std::printf("%.0f\n", calls / took.count());
}
