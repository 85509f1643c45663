// SPDX-License-Identifier: MIT
// How the client's connection comes, stays and goes.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/client_calls.h"
#include "support/scripted_server.h"
#include "support/slow_names.h"

namespace {

using namespace soap_test;
using Kind = _Caldane_SystemException;
using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Failure {
    std::int32_t kind = -1;
    std::string words;
};

Failure failure_of(const _Caldane_Object& object, std::int32_t number = 1) {
    try {
        count(object, number);
    } catch (const Caldane::SystemError& error) {
        return {error.kind(), error.what()};
    }
    return {};
}

bool eventually(const std::function<bool()>& condition) {
    for (const auto start = Clock::now(); seconds_since(start) < 10; std::this_thread::yield()) {
        if (condition()) return true;
    }
    return false;
}

void serve_counts(ScriptedConnection& client) {
    for (;;) {
        const int number = number_in(client.read_request());
        if (number < 0) return;
        client.send(counted(number));
    }
}

class Connection : public testing::Test {
protected:
    ~Connection() override { EXPECT_EQ(SOA::socketResource().in_use(), sockets_before); }

private:
    std::int64_t sockets_before = SOA::socketResource().in_use();
    ClientBroker broker;
};

TEST_F(Connection, IsTriedTenTimesASecondApart) {
    std::string url;
    {
        ScriptedServer server(serve_counts);
        url = server.url();
    }
    const auto start = Clock::now();
    const Failure failure = failure_of(object_at(url));
    EXPECT_GE(seconds_since(start), 9.0);
    EXPECT_LT(seconds_since(start), 9.9);
    EXPECT_EQ(failure.kind, Kind::COMM_FAILURE);
    EXPECT_NE(failure.words.find("after 10 attempts: Connection refused"), std::string::npos)
        << failure.words;
}

// Where packets are dropped, ten attempts took more than twenty minutes.
TEST_F(Connection, IsTriedAsOftenAndAsLongAsThePropertiesSay) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    // Nobody accepts: once its queue is full the system drops what would open a connection.
    std::vector<int> queued;
    for (int i = 0; i < 4; ++i) {
        queued.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        static_cast<void>(connect(queued.back(), reinterpret_cast<sockaddr*>(&address), size));
    }
    const WithProperty attempts("SOAP_CONNECT_ATTEMPTS", "2");
    const WithProperty time("SOAP_CONNECT_TIMEOUT", "0.3");
    const auto start = Clock::now();
    const Failure failure =
        failure_of(object_at("http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/p"));
    EXPECT_GE(seconds_since(start), 1.5);
    EXPECT_LT(seconds_since(start), 3.0);
    EXPECT_EQ(failure.kind, Kind::COMM_FAILURE);
    EXPECT_NE(failure.words.find("after 2 attempts"), std::string::npos) << failure.words;
    for (const int one : queued) close(one);
    close(listener);
}

TEST_F(Connection, IsGivenUpWhenTimeIsUp) {
    std::string url;
    {
        ScriptedServer server(serve_counts);
        url = server.url();
    }
    const Caldane::CallTimeout limit(0.3);
    const auto start = Clock::now();
    const Failure failure = failure_of(object_at(url));
    EXPECT_LT(seconds_since(start), 1.0);
    EXPECT_EQ(failure.kind, Kind::COMM_FAILURE);
    EXPECT_NE(failure.words.find("timed out after 0.3 s without"), std::string::npos) << failure.words;
    EXPECT_NE(failure.words.find(": Connection refused"), std::string::npos) << failure.words;
}

TEST_F(Connection, TakesNoMoreTimeToFindAHostThanACallHas) {
    look_ups_stall = true;
    const auto start = Clock::now();
    {
        const Caldane::CallTimeout limit(0.3);
        const Failure failure = failure_of(object_at("http://one.slow.test:8080/p"));
        EXPECT_EQ(failure.kind, Kind::COMM_FAILURE);
        EXPECT_NE(failure.words.find("timed out after 0.3 s without"), std::string::npos) << failure.words;
    }
    const WithProperty attempts("SOAP_CONNECT_ATTEMPTS", "1");
    const WithProperty time("SOAP_CONNECT_TIMEOUT", "0.2");
    const Failure failure = failure_of(object_at("http://two.slow.test:8080/p"));
    EXPECT_NE(failure.words.find("1 attempt: the look-up of the host's name took too long"),
              std::string::npos)
        << failure.words;
    EXPECT_LT(seconds_since(start), 2);
    look_ups_stall = false;
    ScriptedServer server(serve_counts);
    EXPECT_EQ(count(object_at("http://three.slow.test:" + std::to_string(server.port()) + "/p"), 5), 5);
}

TEST_F(Connection, GoesThroughAProxysTunnel) {
    std::string asked;
    ScriptedServer proxy([&asked](ScriptedConnection& client) {
        asked = client.read_request();
        client.send_in_pieces("HTTP/1.1 200 Fine\r\nVia: it\r\n\r\n", 7);
        serve_counts(client);
    });
    const WithProperty through("proxy", proxy.address().c_str());
    const WithProperty tunnel("SOAP_PROXY_CONNECT", "");
    const _Caldane_Object object = object_at("http://Far.example/p/q");
    EXPECT_EQ(count(object, 5), 5);
    EXPECT_EQ(asked, "CONNECT Far.example:80 HTTP/1.1\r\nHost: Far.example:80\r\n\r\n");
    EXPECT_EQ(count(object, 6), 6);
    EXPECT_EQ(proxy.connections(), 1);
}

TEST_F(Connection, IsNotMadeWhereTheProxyGivesNoTunnel) {
    struct Row {
        const char* answer;
        int attempts;
        const char* words;
    };
    constexpr Row kRows[] = {
        {"HTTP/1.1 407 Who are you\r\n\r\n", 1, "407 Who are you"},
        {"HTTP/1.1 502 Bad Gateway\r\n\r\n", 2, "502 Bad Gateway"},
        {"HTTP/1.1 200 OK\r\n", 2, "it closed the connection"},
        {nullptr, 2, "Connection timed out"},
    };
    const WithProperty attempts("SOAP_CONNECT_ATTEMPTS", "2");
    const WithProperty time("SOAP_CONNECT_TIMEOUT", "0.2");
    const WithProperty tunnel("SOAP_PROXY_CONNECT", "");
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.words);
        ScriptedServer proxy([&row](ScriptedConnection& client) {
            client.read_request();
            if (row.answer == nullptr) return client.wait_for_end();
            client.send(row.answer);
        });
        const WithProperty through("proxy", proxy.address().c_str());
        const Failure failure = failure_of(object_at("http://far.example/p"));
        const std::string words =
            "the proxy gave no tunnel to far.example:80: " + std::string(row.words) + ";";
        EXPECT_NE(failure.words.find(words), std::string::npos) << failure.words;
        EXPECT_EQ(proxy.connections(), row.attempts);
    }
}

TEST_F(Connection, NeedsAUnitOfTheSocketResource) {
    ScriptedServer server(serve_counts);
    const std::int64_t limit = SOA::socketResource().limit();
    SOA::socketResource().limit(SOA::socketResource().in_use());
    {
        const Caldane::CallTimeout time(0.2);
        EXPECT_EQ(failure_of(object_at(server.url())).kind, Kind::COMM_FAILURE);
    }
    SOA::socketResource().limit(limit);
    EXPECT_EQ(server.connections(), 0);
    EXPECT_EQ(count(object_at(server.url()), 3), 3);
}

TEST_F(Connection, ThatTheServerClosesAfterEachReplyIsReplacedHundredTimes) {
    for (const char* header : {"", "Connection: close\r\n"}) {
        std::atomic<int> requests = 0;
        ScriptedServer server([&](ScriptedConnection& client) {
            const int number = number_in(client.read_request());
            if (number < 0) return;
            ++requests;
            client.send(counted(number, header));
        });
        const _Caldane_Object object = object_at(server.url());
        for (int i = 0; i < 100; ++i) ASSERT_EQ(count(object, i), i);
        EXPECT_EQ(requests, 100);
    }
}

// The close and the request cross on the way: only the refusal by the peer's system tells that nothing
// arrived.
TEST_F(Connection, ClosedBeforeTheRequestArrivedSaysSo) {
    ScriptedServer server(
        [](ScriptedConnection& client) { client.send(counted(number_in(client.read_request()))); });
    const _Caldane_Object object = object_at(server.url());
    EXPECT_EQ(count(object, 1), 1);
    _SOAP_Transport_Client* const client = ClientTransport::newest;
    ASSERT_TRUE(eventually([&] { return !client->usable(); }));

    _Caldane_CallInfo info;
    std::int32_t value = 0;
    _Caldane_Parameter result("return", 1, _Caldane_AnyRef(value));
    _Caldane_ArgList args(nullptr, 0, result);
    const _Caldane_String oper("count");
    _Caldane_OutboundCall call(info, object, args, oper, oper);
    EXPECT_EQ(client->invoke(call), _Caldane_FALSE);
    EXPECT_TRUE(_Caldane_CallDiagnostics::not_delivered(info));
    EXPECT_FALSE(client->valid());
    // A call that comes late to a client that was given up does not reach the network.
    _Caldane_CallInfo late_info;
    _Caldane_OutboundCall late(late_info, object, args, oper, oper);
    EXPECT_EQ(client->invoke(late), _Caldane_FALSE);
    EXPECT_TRUE(_Caldane_CallDiagnostics::not_delivered(late_info));
    EXPECT_EQ(count(object, 2), 2);
}

TEST_F(Connection, ClosedAfterTheRequestArrivedIsNeverTriedAgain) {
    for (const bool with_reset : {false, true}) {
        std::atomic<int> requests = 0;
        ScriptedServer server([&](ScriptedConnection& client) {
            for (int i = 0; i < 2; ++i) {
                const int number = number_in(client.read_request());
                if (number < 0) return;
                ++requests;
                if (i == 0) client.send(counted(number));
            }
            if (with_reset) client.reset();
        });
        const _Caldane_Object object = object_at(server.url());
        EXPECT_EQ(count(object, 1), 1);
        const Failure failure = failure_of(object, 2);
        EXPECT_EQ(failure.kind, Kind::BAD_RESPONSE) << failure.words;
        EXPECT_EQ(requests, 2);
        EXPECT_EQ(count(object, 3), 3);
    }
}

TEST_F(Connection, ThatStallsMeetsTheTimeLimitAndIsNotUsedAgain) {
    for (const std::string& start_of_answer :
         {std::string(), std::string("HTTP/1.1 200"), counted(1).substr(0, 90)}) {
        SCOPED_TRACE(start_of_answer);
        ScriptedServer server([&](ScriptedConnection& client) {
            if (client.number() > 1) return serve_counts(client);
            client.read_request();
            client.send(start_of_answer);
            client.wait_for_end();
        });
        const _Caldane_Object object = object_at(server.url());
        {
            const Caldane::CallTimeout limit(0.2);
            const auto start = Clock::now();
            const Failure failure = failure_of(object);
            EXPECT_GE(seconds_since(start), 0.15);
            EXPECT_LT(seconds_since(start), 1.0);
            EXPECT_EQ(failure.kind, Kind::BAD_RESPONSE);
            EXPECT_NE(failure.words.find("timed out after 0.2 s"), std::string::npos) << failure.words;
        }
        EXPECT_EQ(count(object, 5), 5);
        EXPECT_EQ(server.connections(), 2);
    }
}

// The wait behind a connection's first reply did not look at the limit, and was made where nothing asked for
// it.
TEST_F(Connection, ServesTheSecondCallAtOnceAndWithinAShortLimit) {
    for (const char* version : {"HTTP/1.1", "HTTP/1.0"}) {
        for (const char* header : {"", "Connection: Keep-Alive\r\n", "Server: ZOLT http version 1.0\r\n"}) {
            SCOPED_TRACE(std::string(version) + header);
            ScriptedServer server([&](ScriptedConnection& client) {
                for (int number = 0; (number = number_in(client.read_request())) >= 0;)
                    client.send(version + counted(number, header).substr(8));
            });
            const bool promised = *header != '\0';
            std::vector<double> times;
            for (int i = 0; i < 7; ++i) {
                const _Caldane_Object object = object_at(server.url());
                EXPECT_EQ(count(object, 1), 1);
                const auto start = Clock::now();
                EXPECT_EQ(count(object, 2), 2);
                times.push_back(seconds_since(start));
                const _Caldane_Object another = object_at(server.url());
                EXPECT_EQ(count(another, 1), 1);
                const Caldane::CallTimeout limit(0.019);
                try {
                    EXPECT_EQ(count(another, 2), 2);
                } catch (const Caldane::SystemError& error) {
                    if (i > 2) ADD_FAILURE() << error.what();  // a busy machine needs the time now and then
                }
            }
            std::sort(times.begin(), times.end());
            EXPECT_EQ(times[3] < 0.015, promised) << times[3];
        }
    }
}

// It looked done to its caller.
TEST_F(Connection, ThatTakesNoMoreFailsAOneWayCall) {
    const _Caldane_String large(std::string(30'000'000, 'x'));
    static const Caldane::Operation store("store", "IDL:T:1.0", {}, Caldane::Operation::ONE_WAY);
    const struct {
        bool breaks;
        const char* words;
    } cases[] = {{true, "broke while the request was sent"}, {false, "timed out after 0.3 s while"}};
    for (const auto& c : cases) {
        std::atomic<bool> over = false;
        ScriptedServer server([&](ScriptedConnection& client) {
            if (client.number() > 1) return serve_counts(client);
            std::string text;
            client.read_more(text);
            if (c.breaks) return client.reset();
            while (!over) std::this_thread::yield();
        });
        const _Caldane_Object object = object_at(server.url());
        try {
            const Caldane::CallTimeout limit(c.breaks ? 10 : 0.3);
            Caldane::call<void>(object, store, Caldane::in("text", large));
            ADD_FAILURE();
        } catch (const Caldane::SystemError& error) {
            EXPECT_EQ(error.kind(), Kind::COMM_FAILURE);
            EXPECT_NE(std::string(error.what()).find(c.words), std::string::npos) << error.what();
        }
        over = true;
        EXPECT_EQ(count(object, 4), 4);
        EXPECT_EQ(server.connections(), 2);
    }
}

TEST_F(Connection, ThatDripsMeetsTheTimeLimit) {
    std::atomic<bool> over = false;
    ScriptedServer server([&](ScriptedConnection& client) {
        client.read_request();
        client.send("HTTP/1.1 200 OK\r\nX: ");
        while (!over) {
            client.send("x");
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    const Caldane::CallTimeout limit(0.2);
    const auto start = Clock::now();
    EXPECT_EQ(failure_of(object_at(server.url())).kind, Kind::BAD_RESPONSE);
    EXPECT_LT(seconds_since(start), 1.0);
    over = true;
}

/// The server takes some of the request now and then, so that sending it makes progress all the while.
TEST_F(Connection, ThatTakesALargeRequestSlowlyMeetsTheTimeLimit) {
    ScriptedServer server([](ScriptedConnection& client) {
        std::string text;
        while (client.read_more(text)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    static const Caldane::Operation operation("store", "IDL:T:1.0");
    const _Caldane_String large(std::string(30'000'000, 'x'));
    const Caldane::CallTimeout limit(1);
    const auto start = Clock::now();
    EXPECT_THROW(Caldane::call<std::int32_t>(object_at(server.url()), operation, Caldane::in("text", large)),
                 Caldane::SystemError);
    EXPECT_LT(seconds_since(start), 3.0);
}

TEST_F(Connection, ThatWasTimedServesCallsWithoutALimit) {
    ScriptedServer server([](ScriptedConnection& client) {
        client.send(counted(number_in(client.read_request())));
        const int number = number_in(client.read_request());
        std::this_thread::sleep_for(std::chrono::milliseconds(300));  // longer than the limit before
        client.send(counted(number));
        client.wait_for_end();
    });
    const _Caldane_Object object = object_at(server.url());
    {
        const Caldane::CallTimeout limit(0.2);
        EXPECT_EQ(count(object, 1), 1);
    }
    EXPECT_EQ(count(object, 2), 2);
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(Connection, IsFoundAgainAfterARestart) {
    const auto answer_once = [](ScriptedConnection& client) {
        client.send(counted(number_in(client.read_request())));
    };
    auto server = std::make_unique<ScriptedServer>(answer_once);
    const _Caldane_Object object = object_at(server->url());
    EXPECT_EQ(count(object, 1), 1);
    const std::uint16_t port = server->port();
    server.reset();
    server = std::make_unique<ScriptedServer>(answer_once, port);
    EXPECT_EQ(count(object, 2), 2);
}

TEST_F(Connection, IsSharedByManyThreadsAndEachGetsItsOwnReply) {
    ScriptedServer server(serve_counts);
    {
        const _Caldane_Object object = object_at(server.url());
        EXPECT_EQ(count(object, 0), 0);
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&object, t] {
                for (int i = 0; i < 100; ++i) {
                    if (i % 10 == 3) note(object, 9'999'999);
                    EXPECT_EQ(count(object, t * 1000 + i), t * 1000 + i);
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
    }
    server.stop();
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(Connection, LetsACallGoThatWaitsForAnothersTurn) {
    std::atomic<bool> asked = false;
    ScriptedServer server([&](ScriptedConnection& client) {
        client.read_request();
        asked = true;
        client.read_request();  // no answer: the first caller's limit ends this
    });
    const _Caldane_Object object = object_at(server.url());
    std::thread first([&] {
        const Caldane::CallTimeout limit(3);
        EXPECT_EQ(failure_of(object).kind, Kind::BAD_RESPONSE);
    });
    ASSERT_TRUE(eventually([&] { return asked.load(); }));
    const auto start = Clock::now();
    {
        const Caldane::CallTimeout limit(0.2);
        const Failure failure = failure_of(object);
        EXPECT_EQ(failure.kind, Kind::COMM_FAILURE);
        EXPECT_NE(failure.words.find("waiting for the call before it"), std::string::npos) << failure.words;
    }
    EXPECT_LT(seconds_since(start), 2.0);
    first.join();
}

TEST_F(Connection, SurvivesTheEndOfMemoryAnywhereAndSendsWholeRequestsOnly) {
    // Longer than a text that needs no memory.
    const std::string path = "/a/rather/long/path/to/the/object/that/counts";
    std::atomic<int> others = 0;
    ScriptedServer server([&](ScriptedConnection& client) {
        for (;;) {
            const std::string request = client.read_request();
            const int number = number_in(request);
            if (number < 0) return;
            const bool whole = request.find("POST " + path + " ") == 0 &&
                               request.find("SOAPAction: \"count\"") != std::string::npos &&
                               request.find("a token that is longer than most") != std::string::npos;
            if (!whole) ++others;
            client.send(counted(number));
        }
    });
    _Caldane_String token("a token that is longer than most");
    SOA::get_default_context().set_one_value("token", _Caldane_AnyRef(token));
    const std::string url = server.url().substr(0, server.url().rfind('/')) + path;
    int failed = 0;
    for (long nth = 1;; ++nth) {
        // The first call of a reference binds it as well.
        const _Caldane_Object object = object_at(url);
        PEL_Fault::fail_allocation(nth);
        const Failure failure = failure_of(object, 5);
        const bool happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        failed += failure.kind != -1;
        ASSERT_EQ(count(object, 6), 6) << nth;
        if (!happened) break;
        ASSERT_LT(nth, 500);
    }
    EXPECT_GT(failed, 0);
    EXPECT_EQ(others, 0);
    SOA::get_default_context().delete_values("*");
}

}  // namespace
