// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <vector>

#include "connection.h"

namespace {

using Clock = std::chrono::steady_clock;

int option(int socket, int level, int name) {
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(socket, level, name, &value, &size), 0);
    return value;
}

/// Sends until the system takes no more; the outcome of the last call.
int stuff(vqSocket socket) {
    const std::vector<char> block(1 << 20, 'x');
    int count = 0;
    while ((count = vqNetSend(socket, block.data(), static_cast<int>(block.size()), 0)) > 0) {
    }
    return count;
}

TEST(Net, BytesGoBothWaysAndTheEndIsSeen) {
    Connection pair;
    pair.say("request");
    EXPECT_EQ(pair.hear(), "request");
    EXPECT_EQ(vqNetShutdownWrite(pair.client), VQOK);
    EXPECT_EQ(pair.hear(), "");
    EXPECT_EQ(vqNetSend(pair.server, "reply", 5, 0), 5);  // the other direction goes on
    char buffer[8];
    EXPECT_EQ(vqNetRecv(pair.client, buffer, 8, 0), 5);
}

TEST(Net, EverySocketSendsAtOnceAndIsClosedOnExec) {
    const Listener listener;
    const Connection pair(listener);
    for (const vqSocket socket : {listener.socket, pair.client, pair.server}) {
        EXPECT_NE(option(socket, IPPROTO_TCP, TCP_NODELAY), 0);
        EXPECT_NE(fcntl(socket, F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_NE(option(listener.socket, SOL_SOCKET, SO_REUSEADDR), 0);
}

TEST(Net, AddressesAreSixteenBytesInNetworkOrder) {
    const Listener listener;
    EXPECT_NE(listener.address.port, 0);
    vqSocket client = listener.connect();
    vqAddress own;
    vqAddress peer;
    vqSocket server = kVqNoSocket;
    int length = 15;
    EXPECT_EQ(vqNetAccept(listener.socket, &server, &peer, &length), EINVAL);
    EXPECT_EQ(vqNetGetSockName(client, &own, &length), EINVAL);
    length = 100;
    ASSERT_EQ(vqNetAccept(listener.socket, &server, &peer, &length), VQOK);
    EXPECT_EQ(length, 16);
    length = 16;
    ASSERT_EQ(vqNetGetSockName(client, &own, &length), VQOK);
    EXPECT_EQ(std::memcmp(&own, &peer, sizeof own), 0);
    const unsigned char expected[] = {0, 2, 0, 0, 127, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0};
    peer.port = 0;
    EXPECT_EQ(std::memcmp(&peer, expected, sizeof expected), 0);
    vqNetClose(&client);
    vqNetClose(&server);
}

TEST(Net, FailuresHaveWordsForTheThreadThatMetThem) {
    vqAddress dead;
    {
        const Listener gone;
        dead = gone.address;
    }
    vqSocket socket = kVqNoSocket;
    ASSERT_EQ(vqNetSocket(&socket, 2, 1, 0), VQOK);
    EXPECT_EQ(vqNetConnect(socket, &dead, 16), ECONNREFUSED);
    EXPECT_STREQ(vqNetErrorText(), "Connection refused");
    std::thread([] { EXPECT_STREQ(vqNetErrorText(), ""); }).join();
    EXPECT_EQ(vqNetConnect(socket, &dead, 15), EINVAL);
    EXPECT_EQ(vqNetConnect(socket, nullptr, 16), EINVAL);
    EXPECT_STREQ(vqNetErrorText(), "Invalid argument");
    EXPECT_EQ(vqNetClose(&socket), VQOK);
    EXPECT_EQ(socket, kVqNoSocket);
    EXPECT_EQ(vqNetClose(&socket), EBADF);
    EXPECT_EQ(vqNetClose(nullptr), EINVAL);
    char byte = 0;
    EXPECT_EQ(vqNetRecv(socket, &byte, 1, 0), -1);
    EXPECT_EQ(vqNetSend(socket, &byte, 1, 0), -1);
    EXPECT_STREQ(vqNetErrorText(), "Bad file descriptor");
    EXPECT_EQ(vqNetRecv(socket, &byte, -1, 0), -1);
    EXPECT_EQ(vqNetPeek(socket), vqNetState::closed);
    EXPECT_EQ(vqNetAcknowledged(socket), -1);
    EXPECT_EQ(vqNetSocket(&socket, 9999, 1, 0), EAFNOSUPPORT);
    EXPECT_EQ(vqNetSocket(nullptr, 2, 1, 0), EINVAL);
}

TEST(Net, NoProgressWithinTheLimitIsATimeOut) {
    Connection pair;
    ASSERT_EQ(vqNetSetTimeout(pair.server, 0.05), VQOK);
    const auto start = Clock::now();
    EXPECT_EQ(pair.hear(), "Connection timed out");
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(45));
    EXPECT_EQ(stuff(pair.server), -1);
    EXPECT_STREQ(vqNetErrorText(), "Connection timed out");
    EXPECT_EQ(vqNetSetTimeout(pair.server, 0), VQOK);
    timeval limit{};
    socklen_t size = sizeof limit;
    EXPECT_EQ(getsockopt(pair.server, SOL_SOCKET, SO_RCVTIMEO, &limit, &size), 0);
    EXPECT_EQ(limit.tv_sec + limit.tv_usec, 0);
    EXPECT_EQ(vqNetSetTimeout(pair.server, 1e-9), VQOK);  // too little for the clock, and yet a limit
    EXPECT_EQ(pair.hear(), "Connection timed out");
    EXPECT_EQ(vqNetSetTimeout(pair.server, 1e300), VQOK);
    EXPECT_EQ(vqNetSetTimeout(pair.server, -1), EINVAL);
    EXPECT_EQ(vqNetSetTimeout(pair.server, std::nan("")), EINVAL);
}

/// A peer that takes a little now and then, for several times the limit in all.
TEST(Net, ASlowPeerIsWaitedForAsLongAsItTakesSomething) {
    constexpr int kSize = 2'000'000;
    constexpr double kLimit = 0.3;
    constexpr int kPieces = 100;  // ten milliseconds each
    const std::vector<char> data(kSize, 'x');
    for (const bool in_time : {false, true}) {
        SCOPED_TRACE(in_time);
        Connection pair;
        const int room = 16 * 1024;
        EXPECT_EQ(setsockopt(pair.server, SOL_SOCKET, SO_SNDBUF, &room, sizeof room), 0);
        EXPECT_EQ(setsockopt(pair.client, SOL_SOCKET, SO_RCVBUF, &room, sizeof room), 0);
        ASSERT_EQ(vqNetSetTimeout(pair.server, kLimit), VQOK);
        std::thread reader([&] {
            std::vector<char> piece(kSize / kPieces);
            int count = 0;
            while ((count = vqNetRecv(pair.client, piece.data(), static_cast<int>(piece.size()), 0)) > 0)
                std::this_thread::sleep_for(std::chrono::duration<double>(0.01 * count * kPieces / kSize));
        });
        const int sent = vqNetSend(pair.server, data.data(), kSize, in_time ? kVqSendInTime : 0);
        vqNetClose(&pair.server);
        reader.join();
        if (in_time) {
            EXPECT_GT(sent, 0);
            EXPECT_LT(sent, kSize);
        } else {
            EXPECT_EQ(sent, kSize);
        }
    }
}

TEST(Net, ConnectTimesOutWhenTheQueueOfTheListenerIsFull) {
    vqSocket narrow = kVqNoSocket;
    vqAddress address = loopback();
    int length = 16;
    ASSERT_EQ(vqNetSocket(&narrow, 2, 1, 0), VQOK);
    ASSERT_EQ(vqNetBind(narrow, &address, 16), VQOK);
    ASSERT_EQ(vqNetListen(narrow, 1), VQOK);
    ASSERT_EQ(vqNetGetSockName(narrow, &address, &length), VQOK);
    std::vector<vqSocket> clients;
    int outcome = VQOK;
    while (outcome == VQOK && clients.size() < 20) {
        clients.emplace_back(kVqNoSocket);
        ASSERT_EQ(vqNetSocket(&clients.back(), 2, 1, 0), VQOK);
        ASSERT_EQ(vqNetSetTimeout(clients.back(), 0.1), VQOK);
        outcome = vqNetConnect(clients.back(), &address, 16);
    }
    EXPECT_EQ(outcome, ETIMEDOUT);
    EXPECT_STREQ(vqNetErrorText(), "Connection timed out");
    for (vqSocket& client : clients) vqNetClose(&client);
    vqNetClose(&narrow);
}

TEST(Net, NonBlockingSocketsSayTryAgainAndBlockingCanBeSetBack) {
    const Listener listener;
    vqSocket server = 7;
    ASSERT_EQ(vqNetSetNonBlocking(listener.socket, 1), VQOK);
    EXPECT_EQ(vqNetAccept(listener.socket, &server, nullptr, nullptr), EAGAIN);
    EXPECT_EQ(server, kVqNoSocket);
    const Connection pair(listener);
    EXPECT_EQ(fcntl(pair.server, F_GETFL) & O_NONBLOCK, 0) << "accepted sockets block";
    ASSERT_EQ(vqNetSetNonBlocking(pair.server, 1), VQOK);
    EXPECT_EQ(pair.hear(), "Resource temporarily unavailable");
    EXPECT_EQ(stuff(pair.server), -1);
    ASSERT_EQ(vqNetSetNonBlocking(pair.server, 0), VQOK);
    EXPECT_EQ(fcntl(pair.server, F_GETFL) & O_NONBLOCK, 0);
}

TEST(Net, SendingToALostPeerFailsAndRaisesNothing) {
    Connection pair;
    pair.reset();
    ASSERT_TRUE(becomes([&] { return vqNetPeek(pair.server) == vqNetState::closed; }));
    // The first may still report the reset itself; those after it would raise SIGPIPE.
    for (int i = 0; i < 3; ++i) EXPECT_EQ(vqNetSend(pair.server, "x", 1, 0), -1);
    EXPECT_STREQ(vqNetErrorText(), "Broken pipe");
}

TEST(Net, SignalsNeverCutACallShort) {
    struct sigaction caught {};
    caught.sa_handler = [](int) {};
    struct sigaction before {};
    sigaction(SIGUSR1, &caught, &before);
    const Listener listener;
    std::atomic<int> stage = 0;
    std::thread waiter([&] {
        vqSocket server = kVqNoSocket;
        EXPECT_EQ(vqNetAccept(listener.socket, &server, nullptr, nullptr), VQOK);
        stage = 1;
        char byte = 0;
        EXPECT_EQ(vqNetRecv(server, &byte, 1, 0), 1);
        vqNetClose(&server);
        stage = 2;
    });
    const auto interrupt = [&](int times) {
        for (int i = 0; i < times; ++i) {
            pthread_kill(waiter.native_handle(), SIGUSR1);
            std::this_thread::yield();
        }
    };
    interrupt(2000);
    vqSocket client = listener.connect();
    EXPECT_TRUE(becomes([&] { return stage == 1; }));
    interrupt(2000);
    EXPECT_EQ(stage, 1);
    EXPECT_EQ(vqNetSend(client, "x", 1, 0), 1);
    EXPECT_TRUE(becomes([&] { return stage == 2; }));
    waiter.join();
    vqNetClose(&client);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(Net, PeekTellsWhatAReceiveWouldMeetAndTakesNothing) {
    Connection pair;
    EXPECT_EQ(vqNetPeek(pair.server), vqNetState::idle);
    EXPECT_FALSE(vqNetReset(pair.server));
    pair.say("x");
    EXPECT_TRUE(becomes([&] { return vqNetPeek(pair.server) == vqNetState::readable; }));
    vqNetShutdownWrite(pair.client);
    EXPECT_EQ(vqNetPeek(pair.server), vqNetState::readable);
    EXPECT_EQ(pair.hear(), "x");
    EXPECT_TRUE(becomes([&] { return vqNetPeek(pair.server) == vqNetState::closed; }));
    EXPECT_FALSE(vqNetReset(pair.server)) << "half closed is not gone";
}

TEST(Net, AnAddressCanBeTakenAgainAfterItsListenerEndedButNotBefore) {
    std::uint16_t port = 0;
    {
        const Listener first;
        port = first.address.port;
        Connection pair(first);
        EXPECT_EQ(Listener(port).failure, EADDRINUSE);
        vqNetClose(&pair.server);  // the side that ends first leaves the address in TIME-WAIT
        char byte = 0;
        EXPECT_EQ(vqNetRecv(pair.client, &byte, 1, 0), 0);
    }
    EXPECT_EQ(Listener(port).failure, VQOK);
}

TEST(Net, ABacklogOfZeroIsNotAQueueOfOne) {
    const Listener listener;
    std::vector<vqSocket> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(kVqNoSocket);
        ASSERT_EQ(vqNetSocket(&clients.back(), 2, 1, 0), VQOK);
        ASSERT_EQ(vqNetSetTimeout(clients.back(), 2), VQOK);
        ASSERT_EQ(vqNetConnect(clients.back(), &listener.address, 16), VQOK) << "connection " << i;
    }
    for (vqSocket& client : clients) vqNetClose(&client);
}

TEST(Net, ADeferredListenerHidesASilentPeer) {
    const Listener listener;
    ASSERT_EQ(vqNetDeferAccept(listener.socket, 30), VQOK);
    ASSERT_EQ(vqNetSetNonBlocking(listener.socket, 1), VQOK);
    vqSocket silent = listener.connect();
    vqSocket speaking = listener.connect();
    ASSERT_EQ(vqNetSend(speaking, "x", 1, 0), 1);
    vqSocket server = kVqNoSocket;
    ASSERT_TRUE(becomes([&] { return vqNetAccept(listener.socket, &server, nullptr, nullptr) == VQOK; }));
    EXPECT_EQ(vqNetPeek(server), vqNetState::readable);
    vqSocket other = kVqNoSocket;
    EXPECT_EQ(vqNetAccept(listener.socket, &other, nullptr, nullptr), EAGAIN);
    for (vqSocket* socket : {&silent, &speaking, &server}) vqNetClose(socket);
}

TEST(Net, AcknowledgedBytesAreCountedAlsoOnAConnectionThatWasReset) {
    Connection pair;
    const long long before = vqNetAcknowledged(pair.server);
    ASSERT_GE(before, 0);
    EXPECT_EQ(vqNetSend(pair.server, "12345", 5, 0), 5);
    EXPECT_TRUE(becomes([&] { return vqNetAcknowledged(pair.server) == before + 5; }));
    EXPECT_FALSE(vqNetReset(pair.server));
    pair.reset();
    EXPECT_TRUE(becomes([&] { return vqNetReset(pair.server); }));
    EXPECT_EQ(vqNetAcknowledged(pair.server), before + 5);
    EXPECT_EQ(vqNetSend(pair.server, "123", 3, 0), -1);
    EXPECT_EQ(vqNetAcknowledged(pair.server), before + 5);
}

// A peer whose end is closed answers any byte with a reset and acknowledges none of them.
TEST(Net, NothingIsAcknowledgedByAPeerThatHadClosed) {
    Connection pair;
    vqNetClose(&pair.server);
    ASSERT_TRUE(becomes([&] { return vqNetPeek(pair.client) == vqNetState::closed; }));
    const long long before = vqNetAcknowledged(pair.client);
    EXPECT_EQ(vqNetSend(pair.client, "late", 4, 0), 4);
    EXPECT_TRUE(becomes([&] { return vqNetReset(pair.client); }));
    EXPECT_EQ(vqNetAcknowledged(pair.client), before);
}

}  // namespace
