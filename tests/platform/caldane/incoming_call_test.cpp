// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>

#include "broker_fixtures.h"

using namespace Depot;

namespace {

struct ParserError {};

/// A transport's frame: fills in what the test says and notes what the broker does.
class FakeFrame final : public _Caldane_Transport_ServerFrame {
public:
    _Caldane_Boolean demarshal_args(_SOA_Call&, _Caldane_ArgList& args) override {
        if (raise_on_read) throw ParserError();
        log += "read ";
        if (!readable) return _Caldane_FALSE;
        if (args.count() == 4) {
            args.parameter(0).value()._tx_type()->_convert_from(item);
            *static_cast<_Caldane_Boolean*>(args.parameter(1).value()._address()) = force;
            *static_cast<std::int32_t*>(args.parameter(2).value()._address()) = 5;
        }
        return _Caldane_TRUE;
    }
    _Caldane_Boolean marshal_reply(_SOA_Call&, _Caldane_ArgList& args) override {
        log += "reply ";
        if (args.count() == 4) {
            result = *static_cast<std::int32_t*>(args.result().value()._address());
            left = *static_cast<std::int32_t*>(args.parameter(2).value()._address());
            note = _Caldane_AddressableString::_down_cast_const(args.parameter(3).value())->c_str();
        } else {
            EXPECT_EQ(args.result().value()._get_typeref().kind(), _Caldane_TypeRef::tk_null);
        }
        return _Caldane_TRUE;
    }
    _Caldane_Boolean marshal_exception(_SOA_Call&, _Caldane_ExceptionBase& exception) override {
        log += "exception ";
        id = exception.repository_id().view();
        message = exception.message_text().view();
        return _Caldane_TRUE;
    }
    void finished(_SOA_Call&) override { log += "finished"; }

    bool readable = true;
    bool raise_on_read = false;
    _Caldane_String item{"nails"};
    _Caldane_Boolean force = static_cast<_Caldane_Boolean>(5);  // any value but 0 is true
    std::int32_t result = 0;
    std::int32_t left = 0;
    std::string note;
    std::string id;
    std::string message;
    std::string log;
};

class StoreImpl final : public POA_Store {
public:
    std::int32_t take(const _Caldane_String& item, bool force, std::int32_t& left,
                      _Caldane_String& note) override {
        if (item == "empty") throw Empty(3);
        if (item == "told") {
            Empty empty(3);
            empty._put_message("less than <1> & more\x01");
            throw empty;
        }
        if (item == "undeclared") throw Failure();
        if (item == "standard") throw std::runtime_error("the password is 1234");
        if (item == "number") throw 17;
        if (item == "system") throw Caldane::SystemError(2, "inner secret", "x", "http://inner/");
        note = item;
        note += force ? "!" : "?";
        left -= 1;
        return 42;
    }
    void ring() override {
        ++rings;
        caller = SOA::current_peer();
        std::thread([this] { elsewhere = SOA::current_peer().address; }).join();
    }
    int rings = 0;
    SOA::Peer caller;
    std::string elsewhere;
};

class IncomingCall : public testing::Test {
protected:
    IncomingCall() : registration(transport) { SOA::publish(store, "store", "127.0.0.1:0/store"); }
    ~IncomingCall() override { SOA::withdraw(store); }

    bool call(const char* key, const char* operation) {
        _Caldane_CallInfo info;
        _SOA_IncomingCall incoming(*frame_, key, SOA::endpoint(), operation, "", "urn:any", info, nullptr);
        EXPECT_EQ(incoming.oper(), operation);
        EXPECT_EQ(incoming.ns_name(), "urn:any");
        return incoming.invoke() != _Caldane_FALSE;
    }

    FakeTransport* transport = new FakeTransport(&fake_server());
    _Caldane_Transport_Info::Registration registration;
    StoreImpl store;
    void fresh_frame() { frame_ = std::make_unique<FakeFrame>(); }

    std::unique_ptr<FakeFrame> frame_ = std::make_unique<FakeFrame>();
};

}  // namespace

TEST_F(IncomingCall, ReadsCallsRepliesAndFinishes) {
    EXPECT_TRUE(call("store", "take"));
    EXPECT_EQ(frame_->log, "read reply finished");
    EXPECT_EQ(frame_->result, 42);
    EXPECT_EQ(frame_->left, 4);
    EXPECT_EQ(frame_->note, "nails!");
}

TEST_F(IncomingCall, AnswersOneWayOperationsToo) {
    EXPECT_TRUE(call("store", "ring"));
    EXPECT_EQ(frame_->log, "read reply finished");
    EXPECT_EQ(store.rings, 1);
}

TEST_F(IncomingCall, NamesWhatItCannotFindWithoutLettingMarkupThrough) {
    const std::string limit(200, 'k');
    const std::string cut = limit.substr(1);
    const struct {
        std::string key;
        const char* operation;
        const char* id;
        std::string message;
    } cases[] = {
        {limit, "take", "IDL:Caldane/INV_OBJREF:1.0", "no object under the key '" + limit + "'"},
        {limit + "k", "take", "IDL:Caldane/INV_OBJREF:1.0", "no object under the key '" + limit + "...'"},
        {cut + "\xC3\xA9", "take", "IDL:Caldane/INV_OBJREF:1.0", "no object under the key '" + cut + "...'"},
        {cut + "\xFF\xFF", "take", "IDL:Caldane/INV_OBJREF:1.0", "no object under the key '" + cut + "?...'"},
        {"a<b>&\x02", "take", "IDL:Caldane/INV_OBJREF:1.0", "no object under the key 'a&lt;b&gt;&amp;'"},
        {"", "take", "IDL:Caldane/INV_OBJREF:1.0", "no object under the key ''"},
        {"sto\xC3re", "take", "IDL:Caldane/INV_OBJREF:1.0", "no object under the key 'sto?re'"},
        {"store", "Take", "IDL:Caldane/UNKNOWN:1.0", "the object has no operation 'Take'"},
        {"store", "tak", "IDL:Caldane/UNKNOWN:1.0", "the object has no operation 'tak'"},
    };
    for (const auto& c : cases) {
        fresh_frame();
        EXPECT_FALSE(call(c.key.c_str(), c.operation));
        EXPECT_EQ(frame_->log, "exception finished");
        EXPECT_EQ(frame_->id, c.id);
        EXPECT_EQ(frame_->message, c.message);
    }
}

TEST_F(IncomingCall, UnreadableArgumentsNeverReachTheServant) {
    frame_->readable = false;
    EXPECT_FALSE(call("store", "ring"));
    EXPECT_EQ(frame_->log, "read exception finished");
    EXPECT_EQ(frame_->id, "IDL:Caldane/MARSHAL:1.0");
    EXPECT_EQ(frame_->message, "arguments of 'ring' could not be read");
    EXPECT_EQ(store.rings, 0);
}

TEST_F(IncomingCall, DeclaredExceptionsGoOutAndAllElseGivesNothingAway) {
    const struct {
        const char* item;
        const char* id;
        const char* message;
    } cases[] = {
        {"empty", "IDL:Acme/Depot/Empty:1.0", "Empty"},
        {"told", "IDL:Acme/Depot/Empty:1.0", "less than &lt;1&gt; &amp; more"},
        {"undeclared", "IDL:Caldane/UNKNOWN:1.0",
         "the operation 'take' failed with an exception that it does not declare"},
        {"standard", "IDL:Caldane/UNKNOWN:1.0", "the operation 'take' failed in the server"},
        {"number", "IDL:Caldane/UNKNOWN:1.0", "the operation 'take' failed in the server"},
        {"system", "IDL:Caldane/UNKNOWN:1.0", "the operation 'take' failed in the server"},
    };
    for (const auto& c : cases) {
        fresh_frame();
        frame_->item = c.item;
        EXPECT_FALSE(call("store", "take"));
        EXPECT_EQ(frame_->log, "read exception finished") << c.item;
        EXPECT_EQ(frame_->id, c.id);
        EXPECT_EQ(frame_->message, c.message);
    }
}

TEST_F(IncomingCall, WhatTheFrameThrowsReachesTheTransport) {
    frame_->raise_on_read = true;
    EXPECT_THROW(call("store", "take"), ParserError);
}

TEST_F(IncomingCall, TheServantLearnsWhoCalls) {
    const SOA::Peer plain{.address = "192.0.2.7", .port = 4711};
    const SOA::Peer proven{.address = "2001:db8::1",
                           .port = 443,
                           .secure = true,
                           .subject = "CN=alice,O=Acme",
                           .fingerprint = std::string(64, 'f')};
    {
        const SOA::PeerScope outer(plain);
        {
            const SOA::PeerScope inner(proven);
            call("store", "ring");
            EXPECT_EQ(store.caller.subject, proven.subject);
            EXPECT_EQ(store.caller.fingerprint, proven.fingerprint);
            EXPECT_TRUE(store.caller.secure);
            EXPECT_EQ(store.elsewhere, "") << "other threads answer nobody";
        }
        call("store", "ring");
        EXPECT_EQ(store.caller.address, plain.address);
        EXPECT_EQ(store.caller.port, plain.port);
        EXPECT_EQ(store.caller.subject, "");
    }
    call("store", "ring");
    EXPECT_EQ(store.caller.address, "");
}
