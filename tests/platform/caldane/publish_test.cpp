// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <thread>

#include "broker_fixtures.h"

using namespace Depot;

namespace {

class Shelf final : public POA_Store {
public:
    std::int32_t take(const _Caldane_String&, bool, std::int32_t&, _Caldane_String&) override { return 1; }
    void ring() override {}
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

    FakeServer* const server = &fake_server();
    _Caldane_Transport_Info::Registration registration;
};

}  // namespace

TEST_F(Publish, NamesTheAddressAndTheReason) {
    const struct {
        std::int32_t code;
        const char* reason;
    } cases[] = {{1, "other kind"},
                 {2, "another object has this address"},
                 {-1, "no socket is left"},
                 {-2, "no socket"},
                 {-3, "cannot be bound"},
                 {-4, "cannot listen"},
                 {-5, "memory"},
                 {-6, "HOST:PORT/PATH"},
                 {99, "refuses"}};
    for (const auto& c : cases) {
        Shelf shelf;
        server->answer = c.code;
        const std::string text = refusal(shelf, "k", "127.0.0.1:4099/k");
        EXPECT_NE(text.find("127.0.0.1:4099/k"), std::string::npos) << text;
        EXPECT_NE(text.find(c.reason), std::string::npos) << text;
        EXPECT_TRUE(SOA::reference(shelf)._is_nil());
    }
    server->answer = 0;
    Shelf shelf;
    EXPECT_EQ(refusal(shelf, "k", "127.0.0.1:4098/k"), "") << "a failure leaves nothing behind";
}

TEST_F(Publish, RefusesWhatIsNoAddress) {
    Shelf shelf;
    for (const char* address : {"", "host", "host/p", "host:1", "host:/p", "host:x/p", "host:65536/p",
                                "host:-1/p", "host:1/a b", "host:1/<p>", "a/b:1"}) {
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
        SOA::withdraw(shelf);
        EXPECT_TRUE(SOA::reference(shelf)._is_nil());
    }
}

TEST_F(Publish, AServantIsFoundByItsKeyAndByItsPathUntilItGoes) {
    const auto found = [](const char* key) {
        struct Frame final : _Caldane_Transport_ServerFrame {
            _Caldane_Boolean demarshal_args(_SOA_Call&, _Caldane_ArgList&) override { return _Caldane_TRUE; }
            _Caldane_Boolean marshal_reply(_SOA_Call&, _Caldane_ArgList&) override { return _Caldane_TRUE; }
            _Caldane_Boolean marshal_exception(_SOA_Call&, _Caldane_ExceptionBase&) override {
                return _Caldane_TRUE;
            }
        } frame;
        _Caldane_CallInfo info;
        return _SOA_IncomingCall(frame, key, "", "ring", "", "", info, nullptr).invoke() != _Caldane_FALSE;
    };
    {
        Shelf shelf;
        SOA::publish(shelf, "key", "127.0.0.1:0/path");
        EXPECT_TRUE(found("key"));
        EXPECT_TRUE(found("path"));
        EXPECT_FALSE(found("other"));
        Shelf rival;
        EXPECT_NE(refusal(rival, "key", "127.0.0.1:0/elsewhere"), "");
        EXPECT_NE(refusal(rival, "rival", "127.0.0.1:0/path"), "");
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
    Shelf rival;
    EXPECT_NE(refusal(rival, "key", "127.0.0.1:4106/rival"), "") << "the key is still the first one's";
}

TEST_F(Publish, ASecondObjectOnAPortOfOursIsNoFailure) {
    Shelf first;
    Shelf second;
    server->answer = 0;
    SOA::publish(first, "first", "127.0.0.1:4101/first");
    server->answer = -3;  // the port is bound already, by ourselves
    EXPECT_EQ(refusal(second, "second", "127.0.0.1:4101/second"), "");
    SOA::withdraw(first);
    server->answer = 2;  // the address is in the transport's table from before
    EXPECT_EQ(refusal(first, "first", "127.0.0.1:4101/first"), "");
    SOA::withdraw(first);
    EXPECT_NE(refusal(first, "other", "127.0.0.1:4101/first"), "");
    server->answer = 0;
}

TEST_F(Publish, ZRunServesUntilASignalAndThenThereIsNoMore) {
    Shelf shelf;
    SOA::publish(shelf, "key", "127.0.0.1:4102/key");
    std::thread signaller([this] {
        server->ran.wait(false);
        // This thread is about to end, and would take a signal of its own with it.
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        kill(getpid(), SIGTERM);
    });
    SOA::run();
    signaller.join();
    EXPECT_TRUE(server->left);
    EXPECT_EQ(server->shutdowns, 1);
    EXPECT_THROW(SOA::run(), Caldane::SetupError);
    EXPECT_NE(refusal(shelf, "key", "127.0.0.1:4103/key"), "");
}
