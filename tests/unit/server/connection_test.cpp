// SPDX-License-Identifier: MIT
#include "server/connection.h"

#include <gtest/gtest.h>
#include <vqsys/net.h>

#include <array>
#include <future>
#include <thread>
#include <vector>

#include "support/piecewise_stream.h"
#include "transport/broker.h"

namespace {

constexpr vqTimeout kAtOnce = {0, 0};
constexpr vqTimeout kSoon = {10, 0};

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
    std::string ready(const vqTimeout& wait = kAtOnce) {
        std::string text;
        vqSocket found[8];
        if (vqBlock(list.handle(), &wait) != 0) return text;
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
    list.read_ends(taken);
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

TEST_F(ConnectionList, EndsTheReadingOfRequestsThatAreNotThere) {
    fill();
    _SOAP_Connection* const waiting = list.task_begins(pairs[0].near);
    _SOAP_Connection* const calling = list.task_begins(pairs[1].near);
    list.read_ends(calling);
    std::promise<int> count;
    std::thread task([&] {
        char byte = 0;
        count.set_value(vqNetRecv(waiting->socket, &byte, 1, 0));
    });
    EXPECT_FALSE(list.await_tasks(0.005));
    list.stop_reading();
    EXPECT_EQ(count.get_future().get(), 0);
    task.join();
    // Who reads later meets the end as well; who had all it needs is left alone.
    EXPECT_EQ(vqNetPeek(calling->socket), vqNetState::idle);
    list.read_begins(calling);
    EXPECT_EQ(vqNetPeek(calling->socket), vqNetState::closed);
    for (_SOAP_Connection* const connection : {waiting, calling}) {
        EXPECT_FALSE(list.append(connection));
        delete connection;
        list.task_ends();
    }
    EXPECT_TRUE(list.await_tasks(10));
}

TEST_F(ConnectionList, CutsOffPeersThatDoNotReadWhatTasksSend) {
    fill();
    _SOAP_Connection* const sending = list.task_begins(pairs[0].near);
    _SOAP_Connection* const leaving = list.task_begins(pairs[1].near);
    list.read_ends(sending);
    list.leaves(leaving);
    std::promise<bool> sent;
    std::thread task([&] {
        const std::string much(16'000'000, 'x');
        const int length = static_cast<int>(much.size());
        sent.set_value(vqNetSend(sending->socket, much.data(), length, 0) == length);
        list.leaves(sending);
        list.task_ends();
    });
    EXPECT_FALSE(list.await_tasks(0.005));
    list.cut_tasks();
    EXPECT_FALSE(sent.get_future().get());
    task.join();
    // Neither those that are idle, nor a number that may be another socket's by now.
    for (const int pair : {1, 2})
        EXPECT_EQ(vqNetPeek(pairs[static_cast<std::size_t>(pair)].near), vqNetState::idle);
    list.task_ends();
    EXPECT_TRUE(list.await_tasks(10));
    delete sending;
    delete leaving;
}

TEST_F(ConnectionList, WakesTheServerThatWaitsForASocketOnce) {
    list.socket_closed();
    EXPECT_EQ(vqBlock(list.handle(), &kAtOnce), kVqTimedOut);
    list.await_socket();
    list.socket_closed();
    EXPECT_EQ(vqBlock(list.handle(), &kSoon), kVqUnblocked);
    list.socket_closed();
    EXPECT_EQ(vqBlock(list.handle(), &kAtOnce), kVqTimedOut);
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
    const std::int32_t ages[] = {59, 60, 61};
    _SOAP_Connection* connection = list.head();
    for (std::size_t i = 0; i < 3; ++i, connection = connection->link) connection->last_used = 1000 - ages[i];
    list.close_idle(1000, 60);
    EXPECT_EQ(order(), "01");
    EXPECT_EQ(SOA::socketResource().in_use(), units + 2);
    pairs[2].near = kVqNoSocket;
    char byte = 0;
    EXPECT_EQ(::recv(pairs[2].far, &byte, 1, 0), 0);
    for (int i = 0; i < 2; ++i) SOA::socketResource().release();
}

TEST_F(ConnectionList, LivesAsLongAsATaskNeedsIt) {
    auto* const other = new _SOAP_ConnectionList;
    ASSERT_TRUE(other->append(new _SOAP_Connection(pairs[0].near, 1, other)));
    _SOAP_Connection* const connection = other->task_begins(pairs[0].near);
    EXPECT_EQ(other->close_next(), nullptr);
    other->release();
    EXPECT_FALSE(connection->list->append(connection));
    other->read_ends(connection);
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
                list.read_ends(taken);
                EXPECT_TRUE(list.append(taken));
                list.task_ends();
            }
        });
    }
    for (int i = 0; i < 500; ++i) EXPECT_LE(order().size(), 3U);
    for (std::thread& task : tasks) task.join();
    EXPECT_EQ(list.idle_count(), 3);
    EXPECT_TRUE(list.await_tasks(0));
}

}  // namespace
