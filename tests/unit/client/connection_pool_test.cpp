// SPDX-License-Identifier: MIT
#include "client/connection_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <mutex>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "support/client_calls.h"
#include "support/scripted_server.h"

using namespace soap_test;

namespace {

using Clock = std::chrono::steady_clock;

class Pool : public testing::Test {
protected:
    ~Pool() override { EXPECT_EQ(SOA::socketResource().in_use(), sockets_before); }

    /// `calls` calls of each of so many threads, side by side.
    static void call_from(int threads, int calls, const _Caldane_Object& object) {
        std::vector<std::thread> all;
        for (int t = 0; t < threads; ++t) {
            all.emplace_back([&object, calls, t] {
                for (int i = 0; i < calls; ++i) {
                    const int number = 1 + t * 10'000 + i;
                    EXPECT_EQ(count(object, number), number);
                }
            });
        }
        for (std::thread& thread : all) thread.join();
    }

private:
    std::int64_t sockets_before = SOA::socketResource().in_use();
    ClientBroker broker;
};

/// Answers, but not before so many requests are there at the same time, on as many connections.
class Crowd {
public:
    explicit Crowd(int size) : wanted(size) {}
    void operator()(ScriptedConnection& client) {
        for (;;) {
            const int number = number_in(client.read_request());
            if (number < 0) return;
            const int now = ++inside;
            for (int most_now = most; now > most_now && !most.compare_exchange_weak(most_now, now);) {
            }
            const auto end = Clock::now() + std::chrono::seconds(10);
            while (most < wanted && Clock::now() < end) std::this_thread::yield();
            --inside;
            client.send(counted(number));
        }
    }
    std::atomic<int> most = 0;

private:
    std::atomic<int> inside = 0;
    int wanted;
};

TEST_F(Pool, CarriesAsManyCallsSideBySideAsItHasConnections) {
    const WithProperty several("SOAP_CLIENT_CONNECTIONS", "5");
    Crowd crowd(5);
    ScriptedServer server(std::ref(crowd));
    call_from(12, 20, object_at(server.url()));
    server.stop();
    EXPECT_EQ(crowd.most, 5);
    EXPECT_EQ(server.connections(), 5);
}

TEST_F(Pool, UsesTheConnectionThatWasUsedLast) {
    const WithProperty several("SOAP_CLIENT_CONNECTIONS", "8");
    std::mutex mutex;
    std::vector<int> used;
    const auto callers = [&] {
        const std::lock_guard lock(mutex);
        return used.size();
    };
    ScriptedServer server([&](ScriptedConnection& client) {
        for (;;) {
            const int number = number_in(client.read_request());
            if (number < 0) return;
            {
                const std::lock_guard lock(mutex);
                used.push_back(client.number());
            }
            while (number < 100 && callers() < 3) std::this_thread::yield();
            client.send(counted(number));
        }
    });
    const _Caldane_Object object = object_at(server.url());
    call_from(3, 1, object);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(count(object, 100 + i), 100 + i);
    const std::lock_guard lock(mutex);
    EXPECT_EQ(std::set<int>(used.begin() + 3, used.end()).size(), 1U) << "the others may grow old";
}

// A server that closes at random: a request may cross the close on the way, and where it cannot be told
// whether it arrived, its call fails. None is sent twice.
TEST_F(Pool, SendsNoCallTwiceToAServerThatClosesAtRandom) {
    const WithProperty several("SOAP_CLIENT_CONNECTIONS", "6");
    std::mutex mutex;
    std::multiset<int> arrived;
    std::atomic<unsigned> seed = 1;
    ScriptedServer server([&](ScriptedConnection& client) {
        std::mt19937 random(seed++);
        for (;;) {
            const int number = number_in(client.read_request());
            if (number < 0) return;
            {
                const std::lock_guard lock(mutex);
                arrived.insert(number);
            }
            client.send(counted(number));
            if (random() % 4 == 0) return;
        }
    });
    const _Caldane_Object object = object_at(server.url());
    std::atomic<int> answered = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                const int number = 1 + t * 1000 + i;
                try {
                    EXPECT_EQ(count(object, number), number);
                    ++answered;
                } catch (const Caldane::SystemError& error) {
                    EXPECT_EQ(error.kind(), _Caldane_SystemException::BAD_RESPONSE) << error.what();
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::lock_guard lock(mutex);
    EXPECT_EQ(std::set<int>(arrived.begin(), arrived.end()).size(), arrived.size());
    EXPECT_EQ(arrived.size(), static_cast<std::size_t>(answered));
    EXPECT_GT(answered, 300);
}

TEST_F(Pool, KeepsTheOthersWhenOneConnectionFails) {
    const WithProperty several("SOAP_CLIENT_CONNECTIONS", "3");
    Crowd crowd(3);
    ScriptedServer server([&](ScriptedConnection& client) {
        if (client.number() == 1) {
            client.read_request();
            client.send("no HTTP at all\r\n\r\n");
            return;
        }
        crowd(client);
    });
    const _Caldane_Object object = object_at(server.url());
    EXPECT_THROW(count(object, 1), Caldane::SystemError);
    call_from(3, 10, object);
    server.stop();
    EXPECT_EQ(server.connections(), 4);
}

TEST_F(Pool, TakesAnotherConnectionWhileAOnewayReplyIsOut) {
    const WithProperty several("SOAP_CLIENT_CONNECTIONS", "2");
    std::atomic<bool> answered = false;
    ScriptedServer server([&](ScriptedConnection& client) {
        client.read_request();
        if (client.number() == 1) {
            while (!answered) std::this_thread::yield();
            client.send(http_answer(soap_body("<r/>")));
        } else {
            client.send(counted(7));
        }
        client.wait_for_end();
    });
    const _Caldane_Object object = object_at(server.url());
    note(object, 1);
    EXPECT_EQ(count(object, 7), 7);
    answered = true;
    EXPECT_EQ(SOA::socketResource().in_use() >= 2, true);
}

// A reference from a peer is enough to name the other kind for an endpoint that is known.
TEST_F(Pool, NeverSendsASecureCallOverAPlainConnection) {
    const WithProperty understood("ZOLT_SSL", "");
    for (const char* most : {"1", "4"}) {
        SCOPED_TRACE(most);
        const WithProperty several("SOAP_CLIENT_CONNECTIONS", most);
        std::mutex mutex;
        std::vector<std::string> heard;
        ScriptedServer server([&](ScriptedConnection& client) {
            std::string text;
            for (;;) {
                text = client.read_request();
                {
                    const std::lock_guard lock(mutex);
                    heard.push_back(text);
                }
                if (number_in(text) < 0) return;
                client.send(counted(number_in(text)));
            }
        });
        const _Caldane_Object plain = object_at(server.url());
        const _Caldane_Object secure = object_at("https://" + server.address() + "/p");
        for (int i = 1; i <= 3; ++i) {
            EXPECT_EQ(count(plain, i), i);
            const Caldane::CallTimeout limit(0.3);
            EXPECT_THROW(count(secure, 666), Caldane::SystemError);
        }
        const std::lock_guard lock(mutex);
        for (const std::string& text : heard) {
            EXPECT_EQ(text.find("<number>666"), std::string::npos);
            EXPECT_TRUE(text.empty() || text.starts_with("POST ") || text[0] == '\x16') << text;
        }
    }
}

TEST_F(Pool, HasLinesOfEachKindAndServesWhoCameFirst) {
    ConnectionPool pool("127.0.0.1:1", false);
    const auto never = Clock::time_point::max();
    ClientLine* first = nullptr;
    {
        const ConnectionPool::Turn plain(pool, false, 1, never);
        const ConnectionPool::Turn secure(pool, true, 1, never);
        first = plain.line();
        ASSERT_TRUE(first != nullptr && secure.line() != nullptr);
        EXPECT_FALSE(first->secure());
        EXPECT_TRUE(secure.line()->secure());
        const ConnectionPool::Turn late(pool, false, 1, Clock::now() + std::chrono::milliseconds(20));
        EXPECT_TRUE(late.timed_out());
        EXPECT_EQ(late.line(), nullptr);
    }
    std::vector<int> order;
    std::vector<std::thread> threads;
    {
        const ConnectionPool::Turn held(pool, false, 1, never);
        EXPECT_EQ(held.line(), first);
        for (int i = 0; i < 4; ++i) {
            std::latch started(1);
            threads.emplace_back([&, i] {
                started.count_down();
                const ConnectionPool::Turn turn(pool, false, 1, never);
                EXPECT_EQ(turn.line(), first);
                order.push_back(i);
            });
            started.wait();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
}

TEST_F(Pool, GivesItsPlaceOnWhenMemoryEnds) {
    ConnectionPool pool("127.0.0.1:1", false);
    PEL_Fault::fail_allocation(1);
    {
        const ConnectionPool::Turn none(pool, false, 1, Clock::time_point::max());
        EXPECT_EQ(none.line(), nullptr);
        EXPECT_FALSE(none.timed_out());
    }
    PEL_Fault::fail_allocation(0);
    const ConnectionPool::Turn next(pool, false, 1, Clock::now());
    EXPECT_NE(next.line(), nullptr);
}

}  // namespace
