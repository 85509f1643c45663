// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "broker_fixtures.h"

using namespace Depot;

namespace {

class Shelf final : public POA_Store {
public:
    Shelf() = default;
    explicit Shelf(std::function<void()> what_to_do) : act(std::move(what_to_do)) {}
    ~Shelf() override { --alive; }
    std::int32_t take(const _Caldane_String&, bool, std::int32_t&, _Caldane_String&) override { return 1; }
    void ring() override {
        ++rings;
        if (act) act();
    }
    std::function<void()> act;
    std::atomic<int> rings{0};
    static inline std::atomic<int> alive{0};
    static inline Shelf* last = nullptr;  // that was made

private:
    const int counted = (last = this, ++alive);
};

class Publish : public testing::Test {
protected:
    Publish() : registration(new FakeTransport(server)) {}

    /// Why publishing fails; empty if it does not.
    static std::string refusal(_Caldane_ImplBase& servant, std::string_view key, std::string_view address) {
        try {
            SOA::publish(servant, key, address);
        } catch (const Caldane::SetupError& error) {
            return error.what();
        }
        return {};
    }
    static bool found(const std::string& key) { return call_in(key, "ring"); }
    /// Makes a call as a request for the port and path would.
    bool ring_at(const std::string& route) const {
        const auto endpoint = server->endpoints.find(route);
        return found(endpoint != server->endpoints.end() ? endpoint->second
                                                         : route.substr(route.find('/') + 1));
    }

    FakeServer* const server = &fake_server();
    _Caldane_Transport_Info::Registration registration;
};

}  // namespace

TEST_F(Publish, NamesTheAddressAndTheReasonAndMayBeTriedAgain) {
    const struct {
        std::int32_t code;
        const char* reason;
    } cases[] = {{1, "other kind"}, {2, "in capitals alone"}, {-1, "no socket is left"},
                 {-2, "no socket"}, {-3, "cannot be bound"},  {-4, "cannot listen"},
                 {-5, "memory"},    {-6, "HOST:PORT/PATH"},   {99, "refuses"}};
    int port = 4070;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reason);
        Shelf shelf;
        const std::string route = std::to_string(++port) + "/k";
        const std::string address = "127.0.0.1:" + route;
        server->answer = c.code;
        for (int attempt = 0; attempt < 2; ++attempt) {
            const std::string text = refusal(shelf, "k", address);
            EXPECT_NE(text.find(address), std::string::npos) << text;
            EXPECT_NE(text.find(c.reason), std::string::npos) << text;
            EXPECT_TRUE(SOA::reference(shelf)._is_nil());
            for (const std::string& name : {std::string("k"), route}) EXPECT_FALSE(found(name)) << name;
        }
        server->answer = 0;
        EXPECT_EQ(refusal(shelf, "k", address), "") << "a failure leaves nothing behind";
        EXPECT_TRUE(ring_at(route));
        EXPECT_TRUE(server->ports.contains(port));
        EXPECT_EQ(SOA::reference(shelf).url(), "http://" + address);
    }
}

TEST_F(Publish, RefusesWhatIsNoAddress) {
    Shelf shelf;
    for (const char* address :
         {"", "host", "host/p", "host:1", "host:/p", "host:x/p", "host:65536/p", "host:-1/p", "host:1/a b",
          "host:1/<p>", "host:1/a#b", "host:1/a\x7F", "a/b:1"}) {
        EXPECT_NE(refusal(shelf, "k", address), "") << address;
    }
}

TEST_F(Publish, ReferencesShowTheGivenHostAndTheRealPort) {
    const struct {
        const char* address;
        const char* url;
    } cases[] = {
        {"localhost:4100/a/b", "http://localhost:4100/a/b"},
        {"127.0.0.1:0/c", "http://127.0.0.1:4711/c"},
        {":0/d", "http://10.0.0.9:4711/d"},
    };
    for (const auto& c : cases) {
        Shelf shelf;
        SOA::publish(shelf, "key", c.address);
        const _Caldane_Object object = SOA::reference(shelf);
        EXPECT_EQ(object.url(), c.url);
        EXPECT_EQ(object._ior()->type_id(), kStore);
        EXPECT_TRUE(SOA::withdraw(shelf));
        EXPECT_TRUE(SOA::reference(shelf)._is_nil());
        EXPECT_EQ(refusal(shelf, "key", c.address), "") << "the address is free again";
    }
}

TEST_F(Publish, AServantIsFoundByItsKeyAndByItsPathUntilItGoes) {
    {
        Shelf shelf;
        SOA::publish(shelf, "key", "127.0.0.1:0/path");
        EXPECT_TRUE(found("key"));
        EXPECT_TRUE(found("path"));
        EXPECT_FALSE(found("other"));
        Shelf rival;
        EXPECT_NE(refusal(rival, "key", "127.0.0.1:0/elsewhere").find("known as 'key'"), std::string::npos);
        EXPECT_NE(refusal(rival, "rival", "127.0.0.1:0/path").find("known as 'path'"), std::string::npos);
        EXPECT_FALSE(found("rival")) << "a refused servant is not left in the table";
        EXPECT_TRUE(found("key")) << "nor does it push out the one that is there";
    }
    EXPECT_FALSE(found("key"));
    EXPECT_FALSE(found("path"));
}

TEST_F(Publish, AFailureLeavesAnEarlierAddressOfTheServantInPlace) {
    Shelf shelf;
    SOA::publish(shelf, "key", "127.0.0.1:4104/key");
    server->answer = -3;
    EXPECT_NE(refusal(shelf, "key", "127.0.0.1:4105/key"), "");
    server->answer = 0;
    EXPECT_EQ(SOA::reference(shelf).url(), "http://127.0.0.1:4104/key");
    EXPECT_TRUE(ring_at("4104/key"));
    Shelf rival;
    EXPECT_NE(refusal(rival, "key", "127.0.0.1:4106/rival"), "") << "the key is still the first one's";
}

// A transport never forgets an address, nor the key that it was told first.
TEST_F(Publish, AnAddressIsItsObjectsAloneAndOnlyAsLongAsThatIsPublished) {
    Shelf first;
    Shelf second;
    SOA::publish(first, "first", "127.0.0.1:4101/path");
    EXPECT_EQ(refusal(second, "second", "127.0.0.1:4101/other"), "") << "the port is ours";
    EXPECT_NE(refusal(second, "second", "127.0.0.1:4101/path").find("another object has this address"),
              std::string::npos);
    SOA::withdraw(first);
    EXPECT_FALSE(ring_at("4101/path"));
    EXPECT_EQ(refusal(second, "second", "127.0.0.1:4101/path"), "");
    EXPECT_TRUE(ring_at("4101/path"));
    EXPECT_EQ(refusal(first, "first", "127.0.0.1:4107/path"), "") << "elsewhere, under its old key";
    EXPECT_EQ(first.rings, 0);
    EXPECT_EQ(second.rings, 1) << "the old key does not lead to the old address";
}

TEST_F(Publish, OnePathOnTwoPortsIsTwoObjects) {
    Shelf first;
    Shelf second;
    SOA::publish(first, "first", "127.0.0.1:4108/path");
    SOA::publish(second, "second", "127.0.0.1:4109/path");
    EXPECT_TRUE(ring_at("4109/path"));
    EXPECT_EQ(second.rings, 1);
    EXPECT_TRUE(ring_at("4108/path"));
    EXPECT_EQ(first.rings, 1);
    // References that travel lead to the first port, whichever it is: the path has to tell the two apart.
    EXPECT_EQ(server->paths, (std::vector<std::string>{"path", "4109/path"}));
    EXPECT_TRUE(ring_at("4108/4109/path"));
    EXPECT_EQ(second.rings, 2);
    EXPECT_EQ(SOA::reference(second).url(), "http://127.0.0.1:4109/path");
}

TEST_F(Publish, WithdrawWaitsForTheCallsThatAreInTheServant) {
    for (const bool owned : {false, true}) {
        SCOPED_TRACE(owned);
        std::promise<void> entered;
        std::promise<void> leave;
        auto shelf = std::make_shared<Shelf>([&] {
            entered.set_value();
            leave.get_future().wait();
        });
        const Shelf& servant = *shelf;
        owned ? SOA::publish(shelf, "key", "127.0.0.1:0/key")
              : SOA::publish(*shelf, "key", "127.0.0.1:0/key");
        if (owned) shelf.reset();
        std::thread caller([] { EXPECT_TRUE(found("key")); });
        entered.get_future().wait();
        std::future<bool> withdrawn = std::async(std::launch::async, [&] { return SOA::withdraw(servant); });
        while (!SOA::reference(servant)._is_nil()) std::this_thread::yield();
        EXPECT_EQ(withdrawn.wait_for(std::chrono::milliseconds(120)), std::future_status::timeout);
        EXPECT_EQ(Shelf::alive, 1);
        leave.set_value();
        EXPECT_TRUE(withdrawn.get());
        EXPECT_EQ(Shelf::alive, owned ? 0 : 1);
        caller.join();
    }
}

// Each of the two would wait for the other for ever.
TEST_F(Publish, WithdrawInACallDoesNotWait) {
    std::atomic<int> inside{0};
    std::atomic<int> told_false{0};
    Shelf* shelves[2] = {};
    const auto withdraw = [&](int which) {
        ++inside;
        while (inside < 2) std::this_thread::yield();
        told_false += SOA::withdraw(*shelves[which]) ? 0 : 1;
        told_false += SOA::withdraw(*shelves[1 - which]) ? 0 : 1;
        ++inside;
        while (inside < 4) std::this_thread::yield();
    };
    Shelf first([&] { withdraw(0); });
    Shelf second([&] { withdraw(1); });
    shelves[0] = &first;
    shelves[1] = &second;
    SOA::publish(first, "first", "127.0.0.1:0/first");
    SOA::publish(second, "second", "127.0.0.1:0/second");
    std::thread other([] { EXPECT_TRUE(found("second")); });
    EXPECT_TRUE(found("first"));
    EXPECT_EQ(told_false, 4);
    EXPECT_TRUE(SOA::withdraw(second)) << "whoever asks later, and not in a call, waits after all";
    other.join();
    EXPECT_TRUE(SOA::withdraw(first));
}

TEST_F(Publish, AnOwnedServantLivesAsLongAsItIsNeeded) {
    int argc = 0;
    char* argv[] = {nullptr};
    const struct {
        const char* name;
        std::function<void(const Shelf&)> end;
    } cases[] = {
        {"withdrawn", [](const Shelf& shelf) { EXPECT_TRUE(SOA::withdraw(shelf)); }},
        {"withdrawn in its call",
         [](const Shelf& shelf) {
             const_cast<Shelf&>(shelf).act = [&shelf] {
                 EXPECT_FALSE(SOA::withdraw(shelf));
                 EXPECT_EQ(Shelf::alive, 1);
             };
             EXPECT_TRUE(found("key"));
         }},
        {"shut down",
         [&](const Shelf&) {
             ASSERT_TRUE(Caldane::init(argc, argv));
             Caldane::shutdown();
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        {
            const auto shelf = std::make_shared<Shelf>();
            SOA::publish(*shelf, "key", "127.0.0.1:0/key");
            SOA::publish(shelf, "key", "127.0.0.1:0/key");  // is kept from here on
        }
        ASSERT_EQ(Shelf::alive, 1);
        EXPECT_TRUE(found("key"));
        c.end(*Shelf::last);
        EXPECT_EQ(Shelf::alive, 0);
        EXPECT_FALSE(found("key"));
    }
}

TEST_F(Publish, ZRunServesUntilASignalAndThenThereIsNoMore) {
    static std::promise<Caldane::Stage> reopened;
    Caldane::installCallback([](Caldane::Stage stage) {
        if (stage == Caldane::STAGE_REOPEN) reopened.set_value(stage);
    });
    Shelf shelf;
    SOA::publish(shelf, "key", "127.0.0.1:4102/key");
    std::thread signaller([this] {
        server->ran.wait(false);
        // This thread is about to end, and would take a signal of its own with it.
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        kill(getpid(), SIGHUP);
        reopened.get_future().wait();
        EXPECT_FALSE(server->left) << "SIGHUP ends no server";
        kill(getpid(), SIGTERM);
    });
    SOA::run();
    signaller.join();
    EXPECT_TRUE(server->left);
    EXPECT_EQ(server->shutdowns, 1);
    EXPECT_THROW(SOA::run(), Caldane::SetupError);
    EXPECT_NE(refusal(shelf, "key", "127.0.0.1:4103/key"), "");
}
