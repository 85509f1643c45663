// SPDX-License-Identifier: MIT
#include "server/connection_list.h"

#include <gtest/gtest.h>
#include <vqsys/net.h>

#include <array>
#include <future>
#include <thread>
#include <vector>

#include "support/piecewise_stream.h"
#include "transport/broker.h"

namespace {

constexpr int kAtOnce = 0;
constexpr int kSoon = 10000;

/// A list with connections over socket pairs; what is left in the list at the end is the list's.
class ConnectionList : public testing::Test {
protected:
    ConnectionList() : list(*new _SOAP_ConnectionList) {}
    ~ConnectionList() override { list.release(); }

    _SOAP_Connection* made(int pair) {
        return new _SOAP_Connection(pairs[static_cast<std::size_t>(pair)].near, 8080, &list);
    }
    void fill() {
        for (int i = 0; i < 3; ++i) ASSERT_TRUE(list.append(made(i)));
    }
    std::string order() {
        std::string text;
        _SOAP_ConnectionIterator walk(list);
        while (const _SOAP_Connection* const connection = walk.next()) text += number_of(connection->socket);
        return text;
    }
    char number_of(vqSocket socket) const {
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            if (pairs[i].near == socket) return static_cast<char>('0' + i);
        }
        return '?';
    }
    /// The sockets that the wait handle reports.
    std::string ready(int wait = kAtOnce) {
        std::string text;
        vqSocket found[8];
        if (vqBlockFor(list.handle(), wait) != 0) return text;
        const int count = vqHandleReady(list.handle(), found, 8);
        for (int i = 0; i < count; ++i) text += number_of(found[i]);
        return text;
    }

    std::array<SocketPair, 3> pairs;
    _SOAP_ConnectionList& list;
};

TEST_F(ConnectionList, KeepsItsOrderWhicheverIsRemoved) {
    const struct {
        int removed;
        const char* left;
        const char* back;
    } cases[] = {{0, "12", "120"}, {1, "20", "201"}, {2, "01", "012"}};
    fill();
    EXPECT_EQ(order(), "012");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.removed);
        const vqSocket socket = pairs[static_cast<std::size_t>(c.removed)].near;
        _SOAP_Connection* const removed = list.remove(socket);
        ASSERT_NE(removed, nullptr);
        EXPECT_EQ(removed->socket, socket);
        EXPECT_EQ(list.remove(socket), nullptr);
        EXPECT_EQ(order(), c.left);
        ASSERT_TRUE(list.append(removed));
        EXPECT_EQ(order(), c.back);
    }
    EXPECT_EQ(list.idle_count(), 3);
}

TEST_F(ConnectionList, LetsTheConnectionGivenLastBeRemoved) {
    fill();
    _SOAP_ConnectionIterator walk(list);
    int seen = 0;
    while (_SOAP_Connection* const connection = walk.next()) {
        EXPECT_EQ(list.remove(connection->socket), connection);
        delete connection;
        ++seen;
    }
    EXPECT_EQ(seen, 3);
    EXPECT_EQ(list.idle_count(), 0);
    EXPECT_EQ(list.head(), nullptr);
}

TEST_F(ConnectionList, RefusesWhatItCannotWatch) {
    EXPECT_FALSE(list.append(nullptr));
    vqSocket gone = pairs[0].near;
    _SOAP_Connection closed(gone, 1, &list);
    pairs[0].close_near();
    EXPECT_FALSE(list.append(&closed));
    EXPECT_EQ(list.remove(gone), nullptr);
    _SOAP_Connection none(kVqNoSocket, 1, &list);
    EXPECT_FALSE(list.append(&none));
    EXPECT_EQ(list.idle_count(), 0);
}

TEST_F(ConnectionList, LeavesTheConnectionToItsOwnerWhenMemoryEnds) {
    _SOAP_Connection connection(pairs[0].near, 1, &list);
    int failed = 0;
    with_each_allocation_failing([&] {
        if (list.append(&connection)) {
            EXPECT_EQ(list.remove(connection.socket), &connection);
        } else {
            ++failed;
        }
        EXPECT_EQ(list.idle_count(), 0);
    });
    EXPECT_GE(failed, 1);
}

TEST_F(ConnectionList, WatchesIdleConnectionsAndNoOthers) {
    fill();
    pairs[1].send("x");
    EXPECT_EQ(ready(kSoon), "1");
    _SOAP_Connection* const taken = list.task_begins(pairs[1].near);
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(list.task_begins(pairs[1].near), nullptr);
    pairs[1].send("y");
    EXPECT_EQ(ready(), "") << "a task reads from it";
    EXPECT_EQ(ready(), "");
    ASSERT_TRUE(list.append(taken));
    EXPECT_EQ(ready(kSoon), "1");
    list.task_ends();
}

TEST_F(ConnectionList, WatchesAGivenBackConnectionWhileTheServerWaits) {
    fill();
    _SOAP_Connection* const taken = list.task_begins(pairs[2].near);
    pairs[2].send("x");
    std::thread task([&] {
        EXPECT_TRUE(list.append(taken));
        list.task_ends();
    });
    EXPECT_EQ(ready(kSoon), "2");
    task.join();
}

TEST_F(ConnectionList, TakesNothingOnceItIsClosed) {
    fill();
    _SOAP_Connection* const with_task = list.task_begins(pairs[1].near);
    for (const char left : {'0', '2'}) {
        _SOAP_Connection* const next = list.close_next();
        ASSERT_NE(next, nullptr);
        EXPECT_EQ(number_of(next->socket), left);
        delete next;
    }
    EXPECT_EQ(list.close_next(), nullptr);
    EXPECT_FALSE(list.append(with_task));
    delete with_task;
    list.task_ends();
}

TEST_F(ConnectionList, LetsAConnectionWaitUntilItIsReadyOrItsTimeIsOver) {
    const std::int64_t now = wait_clock();
    const std::int64_t over = now + 2 * DeadlineWheel::kTick;
    const struct {
        int pair;
        int mode;
        Phase phase;
    } cases[] = {{0, kVqReadable, Phase::handshake}, {1, kVqWritable, Phase::reply}, {2, 0, Phase::request}};
    EXPECT_FALSE(list.has_deadlines());
    for (const auto& c : cases) {
        _SOAP_Connection* const connection = made(c.pair);
        connection->phase = c.phase;
        ASSERT_TRUE(list.wait(connection, c.mode, now + DeadlineWheel::kTick / 2));
        pairs[static_cast<std::size_t>(c.pair)].send("x");
    }
    EXPECT_EQ(vqBlockFor(list.handle(), kAtOnce), 0) << "the first wakes the server, which has to look";
    EXPECT_TRUE(list.has_replies());
    EXPECT_EQ(list.remove(pairs[0].near), nullptr) << "it is not idle";
    _SOAP_Connection* const read = list.task_begins(pairs[0].near);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(list.take_due(now), nullptr);
    _SOAP_Connection* const first = list.take_due(over);
    _SOAP_Connection* const second = list.take_due(over);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    EXPECT_EQ(list.take_due(over), nullptr);
    EXPECT_FALSE(list.has_deadlines());
    EXPECT_FALSE(list.has_replies());
    EXPECT_EQ(list.tasks(), 3) << "whoever took them counts as a task";
    for (_SOAP_Connection* const connection : {read, first, second}) {
        delete connection;
        list.task_ends();
    }
}

TEST_F(ConnectionList, LetsRepliesGoOutOnceItIsClosed) {
    _SOAP_Connection* const reply = made(0);
    reply->phase = Phase::reply;
    _SOAP_Connection* const request = made(1);
    ASSERT_TRUE(list.wait(reply, kVqWritable, DeadlineWheel::kNever));
    ASSERT_TRUE(list.wait(request, kVqReadable, DeadlineWheel::kNever));
    EXPECT_EQ(list.close_next(), request);
    EXPECT_EQ(list.close_next(), nullptr);
    EXPECT_FALSE(list.wait(request, kVqReadable, DeadlineWheel::kNever));
    ASSERT_EQ(list.task_begins(reply->socket), reply);
    EXPECT_TRUE(list.wait(reply, kVqWritable, DeadlineWheel::kNever));
    EXPECT_EQ(list.close_next(true), reply);
    list.task_ends();
    delete reply;
    delete request;
}

TEST_F(ConnectionList, GivesHalfOfTheWorkersToLargeBodies) {
    SOA::getProperties().set("dispatcher_threads", "4");
    _SOAP_Connection* all[3] = {made(0), made(1), made(2)};
    for (int i = 0; i < 3; ++i) {
        all[i]->phase = Phase::streamed;
        all[i]->last_progress = i;
        const StreamTurn turn = list.begin_stream(*all[i], DeadlineWheel::kNever);
        EXPECT_EQ(turn, i < 2 ? StreamTurn::begun : StreamTurn::waits);
    }
    // The one that waits gets the turn with the first that is given back, and keeps it until it ends.
    EXPECT_EQ(list.end_stream(*all[0]), all[2]);
    EXPECT_EQ(list.begin_stream(*all[2], DeadlineWheel::kNever), StreamTurn::begun);
    EXPECT_EQ(list.begin_stream(*all[0], DeadlineWheel::kNever), StreamTurn::waits);
    // The server's end cuts the reading, and nobody gets a turn any more.
    list.stop_streams();
    EXPECT_EQ(vqNetPeek(pairs[1].near), vqNetState::closed);
    EXPECT_EQ(list.end_stream(*all[1]), nullptr);
    EXPECT_EQ(list.begin_stream(*all[1], DeadlineWheel::kNever), StreamTurn::refused);
    EXPECT_EQ(list.close_next(), all[0]);
    SOA::getProperties().remove("dispatcher_threads");
    list.task_ends();
    for (_SOAP_Connection* const connection : all) delete connection;
}

TEST_F(ConnectionList, EndsTheLargestAndSlowestWhenTooMuchWaits) {
    SOA::getProperties().set("SOAP_MAX_BUFFERED", "10000");
    const struct {
        std::size_t bytes;
        std::int64_t seconds_ago;
    } cases[] = {{8000, 1}, {2000, 100}, {3000, 1}};
    for (int i = 0; i < 3; ++i) {
        _SOAP_Connection* const connection = made(i);
        connection->last_progress = wait_clock() - 1000 * cases[i].seconds_ago;
        ASSERT_TRUE(connection->gathered.append(std::string(cases[i].bytes, 'x')));
        list.count_memory(*connection);
        EXPECT_EQ(list.is_full(), i == 2);
        ASSERT_TRUE(list.wait(connection, kVqReadable, DeadlineWheel::kNever));
    }
    _SOAP_Connection* const slowest = list.take_largest();
    ASSERT_NE(slowest, nullptr);
    EXPECT_EQ(number_of(slowest->socket), '1');
    EXPECT_TRUE(list.is_full()) << "its bytes count until it is closed";
    ASSERT_TRUE(SOA::socketResource().acquire());
    pairs[1].near = kVqNoSocket;
    slowest->close();
    _SOAP_Connection* const largest = list.take_largest();
    ASSERT_NE(largest, nullptr);
    EXPECT_EQ(number_of(largest->socket), '0');
    largest->gathered.clear();
    list.count_memory(*largest);
    EXPECT_EQ(list.take_largest(), nullptr);
    SOA::getProperties().remove("SOAP_MAX_BUFFERED");
    for (_SOAP_Connection* const connection : {slowest, largest}) {
        delete connection;
        list.task_ends();
    }
}

TEST_F(ConnectionList, AdmitsSoManyOfOneAddress) {
    _SOAP_Connection* const one = made(0);
    _SOAP_Connection* const two = made(1);
    one->peer_address = two->peer_address = 7;
    EXPECT_TRUE(list.admit(*one, 1));
    EXPECT_FALSE(list.admit(*two, 1));
    EXPECT_TRUE(list.admit(*two, 0)) << "no limit";
    two->peer_address = 8;
    EXPECT_TRUE(list.admit(*two, 1));
    list.socket_closed(*one);
    two->peer_address = 7;
    two->admitted = false;
    EXPECT_TRUE(list.admit(*two, 1));
    delete one;
    delete two;
}

TEST_F(ConnectionList, WakesTheServerThatWaitsForASocketOnce) {
    _SOAP_Connection bystander(pairs[0].near, 1, &list);
    list.socket_closed(bystander);
    EXPECT_EQ(vqBlockFor(list.handle(), kAtOnce), kVqTimedOut);
    list.await_socket();
    list.socket_closed(bystander);
    EXPECT_EQ(vqBlockFor(list.handle(), kSoon), kVqUnblocked);
    list.socket_closed(bystander);
    EXPECT_EQ(vqBlockFor(list.handle(), kAtOnce), kVqTimedOut);
}

TEST_F(ConnectionList, GivesTheUnitBackWithTheSocket) {
    ASSERT_TRUE(SOA::socketResource().acquire());
    const auto before = SOA::socketResource().in_use();
    SocketPair pair;
    _SOAP_Connection connection(pair.near, 1, &list);
    pair.near = kVqNoSocket;
    connection.close();
    EXPECT_EQ(SOA::socketResource().in_use(), before - 1);
    EXPECT_EQ(connection.socket, kVqNoSocket);
    char byte = 0;
    EXPECT_EQ(::recv(pair.far, &byte, 1, 0), 0);
}

TEST_F(ConnectionList, ClosesThoseThatAreIdleTooLong) {
    const auto units = SOA::socketResource().in_use();
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(SOA::socketResource().acquire());
    fill();
    const std::int32_t ages[] = {61, 60, 59};
    _SOAP_Connection* connection = list.head();
    for (std::size_t i = 0; i < 3; ++i, connection = connection->link) connection->last_used = 1000 - ages[i];
    list.close_idle(1000, 60);
    EXPECT_EQ(order(), "12");
    EXPECT_EQ(SOA::socketResource().in_use(), units + 2);
    pairs[0].near = kVqNoSocket;
    char byte = 0;
    EXPECT_EQ(::recv(pairs[0].far, &byte, 1, 0), 0);
    for (int i = 0; i < 2; ++i) SOA::socketResource().release();
}

TEST_F(ConnectionList, LivesAsLongAsATaskNeedsIt) {
    auto* const other = new _SOAP_ConnectionList;
    ASSERT_TRUE(other->append(new _SOAP_Connection(pairs[0].near, 1, other)));
    _SOAP_Connection* const connection = other->task_begins(pairs[0].near);
    EXPECT_EQ(other->close_next(), nullptr);
    other->release();
    EXPECT_FALSE(connection->list->append(connection));
    delete connection;
    other->task_ends();
}

TEST_F(ConnectionList, ServesManyThreads) {
    fill();
    std::vector<std::thread> tasks;
    for (int t = 0; t < 3; ++t) {
        tasks.emplace_back([this, t] {
            for (int i = 0; i < 2000; ++i) {
                _SOAP_Connection* const taken =
                    list.task_begins(pairs[static_cast<std::size_t>((i + t) % 3)].near);
                if (taken == nullptr) continue;
                EXPECT_TRUE(list.append(taken));
                list.task_ends();
            }
        });
    }
    for (int i = 0; i < 500; ++i) EXPECT_LE(order().size(), 3U);
    for (std::thread& task : tasks) task.join();
    EXPECT_EQ(list.idle_count(), 3);
    EXPECT_EQ(list.tasks(), 0);
}

}  // namespace
