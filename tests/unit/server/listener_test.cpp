// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pelthread/host.h>
#include <vqsys/names.h>
#include <vqsys/net.h>

#include <arpa/inet.h>

#include <future>
#include <vector>

#include "addressing/profile_tags.h"
#include "addressing/soap_profile.h"
#include "running_server.h"
#include "server/endpoint_table.h"

using namespace soap_test;

namespace {

/// Addresses stay known to the process: an ending that none had before.
int paths = 0;
std::string fresh() {
    return std::to_string(++paths);
}

/// A server that is only set up; ends with the test.
class Listener : public testing::Test {
protected:
    Listener() : units(SOA::socketResource().in_use()), server(new _SOAP_Transport_Server) {}
    ~Listener() override {
        server->shutdown();
        EXPECT_EQ(SOA::socketResource().in_use(), units);
    }
    int add(const std::string& address, bool secure = false) {
        return server->add_endpoint("target", _Caldane_String(address),
                                    static_cast<_Caldane_Boolean>(secure));
    }
    /// A port that nobody listens on.
    static int free_port() {
        vqSocket socket = kVqNoSocket;
        vqAddress address;
        int length = sizeof address;
        EXPECT_EQ(vqNetSocket(&socket, 2, 1, 0), VQOK);
        EXPECT_EQ(vqNetBind(socket, &address, sizeof address), VQOK);
        EXPECT_EQ(vqNetGetSockName(socket, &address, &length), VQOK);
        vqNetClose(&socket);
        return ntohs(address.port);
    }
    static bool is_known(const std::string& key) {
        return endpoint_table().lookup(_Caldane_String(key), nullptr) != 0;
    }
    std::int64_t units_taken() const { return SOA::socketResource().in_use() - units; }
    std::vector<_IOP_Profile> profiles() {
        _IOP_ProfileList list;
        server->add_profiles(servant, "the/path", "the name", list);
        std::vector<_IOP_Profile> result;
        list.copy_to(result);
        return result;
    }

    std::int64_t units;
    Counter servant;
    _SOAP_Transport_Server* server;
};

TEST_F(Listener, TellsWhyAnAddressCannotBeHad) {
    const std::string port = std::to_string(free_port());
    EXPECT_EQ(add("no address at all"), -6);
    EXPECT_EQ(add("host:8080"), -6);
    EXPECT_EQ(add("host/8080:"), -6);
    EXPECT_EQ(add("host:70000/a"), -6);
    EXPECT_EQ(add("host:-1/a"), -6);
    EXPECT_EQ(units_taken(), 0);
    EXPECT_EQ(add("x:" + port + "/a"), 0);
    EXPECT_EQ(units_taken(), 1);
    EXPECT_EQ(add("x:" + port + "/b", true), 1);
    EXPECT_FALSE(is_known(port + "/b"));
    EXPECT_EQ(add("another:" + port + "/a"), 2);
    EXPECT_EQ(units_taken(), 1);
    // The port is ours already, which serves the new key as well.
    EXPECT_EQ(add("x:" + port + "/c/d"), -3);
    EXPECT_TRUE(is_known(port + "/c/d"));
    EXPECT_EQ(units_taken(), 1);
}

TEST_F(Listener, TakesAPortOfTheSystemsChoice) {
    EXPECT_EQ(add(":0/chosen" + fresh()), 0);
    EXPECT_TRUE(is_known("0/chosen" + std::to_string(paths)));
    const auto made = profiles();
    ASSERT_EQ(made.size(), 2U);
    EXPECT_NE(_SOAP_Profile::narrow(made[0])->port(), 0);
    EXPECT_EQ(units_taken(), 1) << "the listener that is there serves the profiles";
}

TEST_F(Listener, NeedsASocket) {
    SOA::ResourceCounter& counter = SOA::socketResource();
    const auto limit = counter.limit();
    counter.limit(units);
    EXPECT_EQ(add("x:" + std::to_string(free_port()) + "/needy"), -1);
    counter.limit(limit);
    EXPECT_EQ(units_taken(), 0);
}

TEST_F(Listener, GivesEverythingBackWhenMemoryEnds) {
    const std::string port = std::to_string(free_port());
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(server->open_listener((":" + port).c_str(), _Caldane_FALSE), -5);
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(units_taken(), 0);
    EXPECT_EQ(server->open_listener((":" + port).c_str(), _Caldane_FALSE), 0);
}

TEST_F(Listener, GivesPlainObjectsADottedAddressDocumentFirst) {
    const auto made = profiles();
    ASSERT_EQ(made.size(), 2U);
    const _Caldane_ULong tags[] = {TAG_INTERNET_SOAP_DOC, TAG_INTERNET_SOAP_RPC};
    for (std::size_t i = 0; i < 2; ++i) {
        const _SOAP_Profile* const profile = _SOAP_Profile::narrow(made[i]);
        ASSERT_NE(profile, nullptr);
        EXPECT_EQ(made[i].tag(), tags[i]);
        EXPECT_EQ(profile->host(), vqInet_ntoa(htonl(PEL_GetHostID())));
        EXPECT_NE(profile->port(), 0);
        EXPECT_EQ(profile->port(), _SOAP_Profile::narrow(made[0])->port());
        EXPECT_EQ(std::string(made[i].data().as_string()), "http://" + std::string(profile->host()) + ":" +
                                                               std::to_string(profile->port()) + "/the/path");
    }
    EXPECT_EQ(units_taken(), 1);
}

TEST_F(Listener, GivesSecureObjectsAHostName) {
    servant.setSecurity(true);
    const auto made = profiles();
    ASSERT_EQ(made.size(), 2U);
    EXPECT_EQ(made[0].tag(), TAG_INTERNET_SOAPS_DOC);
    EXPECT_EQ(made[1].tag(), TAG_INTERNET_SOAPS_RPC);
    EXPECT_FALSE(_SOAP_Profile::narrow(made[0])->host().empty());
    EXPECT_NE(_SOAP_Profile::narrow(made[0])->port(), 0);
}

TEST_F(Listener, MakesProfilesWithoutAPortWhereNoneCanBeHad) {
    SOA::ResourceCounter& counter = SOA::socketResource();
    const auto limit = counter.limit();
    counter.limit(units);
    const auto made = profiles();
    counter.limit(limit);
    ASSERT_EQ(made.size(), 2U);
    EXPECT_EQ(_SOAP_Profile::narrow(made[0])->port(), 0);
}

TEST_F(Listener, IsReadyFromTheStart) {
    EXPECT_EQ(server->server_state(), 0);
    EXPECT_EQ(server->ready(), 1);
    server->idle_operation_1();
    server->idle_operation_2();
    server->shutdown();
    server = new _SOAP_Transport_Server;
}

TEST(ServerWithoutRun, EndsWithAllItHas) {
    const auto units = SOA::socketResource().in_use();
    auto* const server = new _SOAP_Transport_Server;
    EXPECT_EQ(server->add_endpoint("t", _Caldane_String(":0/without-run" + fresh()), _Caldane_FALSE), 0);
    server->shutdown();
    EXPECT_EQ(SOA::socketResource().in_use(), units);
}

// While it runs.

TEST_F(RunningServer, TakesEndpointsWhileItWaits) {
    ASSERT_TRUE(serves());
    ASSERT_EQ(server->add_endpoint("key of " + path, ":0/late" + path, _Caldane_FALSE), 0);
    // The listener's port shows only in the system: the one that is not the first.
    EXPECT_EQ(
        server->add_endpoint("key of " + path, ":" + std::to_string(port) + "/alias" + path, _Caldane_FALSE),
        -3);
    RawClient client(port);
    client.send("POST /alias" + path + " HTTP/1.1\r\nContent-Length: " +
                std::to_string(envelope("<ping/>").size()) + "\r\n\r\n" + envelope("<ping/>"));
    EXPECT_NE(client.read_to_end().find("pingResponse"), std::string::npos);
}

TEST_F(RunningServer, ClosesWhatComesToASecureListenerWithoutCredentials) {
    Counter secret;
    secret.setSecurity(true);
    _IOP_ProfileList list;
    server->add_profiles(secret, "secret", "secret", list);
    _IOP_Profile profile;
    ASSERT_TRUE(list.front(&profile));
    RawClient client(_SOAP_Profile::narrow(profile)->port());
    ASSERT_TRUE(client.send(call(1)));  // a silent one would be kept away
    EXPECT_TRUE(client.ended());
    EXPECT_TRUE(serves());
}

TEST_F(RunningServer, ServesIdleConnectionsWhenNoSocketIsLeft) {
    RawClient kept(port);
    ASSERT_TRUE(kept.send(call(1, kKeep)));
    ASSERT_NE(kept.read_message().find(result(1)), std::string::npos);
    SOA::ResourceCounter& counter = SOA::socketResource();
    const auto limit = counter.limit();
    counter.limit(counter.in_use());
    RawClient waiting(port);
    ASSERT_TRUE(waiting.send(call(3)));
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(kept.send(call(2, kKeep)));
        ASSERT_NE(kept.read_message().find(result(2)), std::string::npos);
    }
    EXPECT_EQ(counter.in_use(), counter.limit());
    // The place that becomes free is the waiting client's at once, not when the server's time is over.
    const auto begin = std::chrono::steady_clock::now();
    kept.close();
    EXPECT_NE(waiting.read_to_end().find(result(3)), std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    counter.limit(limit);
}

TEST_F(RunningServer, ClosesIdleConnectionsWhenItEnds) {
    std::vector<std::unique_ptr<RawClient>> idle;
    for (int i = 0; i < 20; ++i) {
        idle.push_back(std::make_unique<RawClient>(port));
        if (i % 2 == 0) continue;
        ASSERT_TRUE(idle.back()->send(call(i, kKeep)));
        ASSERT_NE(idle.back()->read_message().find(result(i)), std::string::npos);
    }
    end();
    for (const auto& client : idle) EXPECT_TRUE(client->ended());
    EXPECT_FALSE(RawClient(port).connected());
}

TEST_F(RunningServer, WaitsForRunningCallsAndNotForStalledRequests) {
    RawClient stalled(port);
    ASSERT_TRUE(stalled.send(call(1).substr(0, 60)));
    RawClient calling(port);
    servant.hold(true);
    ASSERT_TRUE(calling.send(call(7, kKeep)));
    ASSERT_TRUE(servant.await_call());
    std::thread ender([this] { server->shutdown(); });
    EXPECT_TRUE(comes_true([this] { return !RawClient(port).connected(); }));
    EXPECT_TRUE(stalled.ended());
    servant.hold(false);
    EXPECT_NE(calling.read_to_end().find(result(7)), std::string::npos);
    ender.join();
    loop.join();
}

TEST_F(RunningServer, KeepsManyClientsApart) {
    std::vector<std::thread> clients;
    std::atomic<int> good = 0;
    for (int t = 0; t < 8; ++t) {
        clients.emplace_back([this, t, &good] {
            RawClient client(port);
            for (int i = 0; i < 100; ++i) {
                const int number = t * 1000 + i;
                if (!client.send(call(number, kKeep))) return;
                if (client.read_message().find(result(number)) != std::string::npos) ++good;
            }
        });
    }
    for (std::thread& client : clients) client.join();
    EXPECT_EQ(good, 800);
}

}  // namespace
