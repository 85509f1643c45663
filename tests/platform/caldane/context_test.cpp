// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include <caldane/primitive.h>
#include <caldane/soa.h>
#include <caldane/type_ref.h>

#include "broker_fixtures.h"

namespace {

std::string names(const _Caldane_Context& context, std::string_view pattern) {
    const std::unique_ptr<_Caldane_NVList> list(context.get_values(pattern));
    std::string text;
    _Caldane_NamedValue* value = nullptr;
    for (_Caldane_ULong i = 0; list->item(i, value); ++i) text += std::string(value->name().view()) + " ";
    return text;
}

_Caldane_Long long_in(_Caldane_AnyRef value) {
    const void* address = _Caldane_Primitive1::_down_cast_prim(value, _Caldane_TypeRef::tk_long);
    return address != nullptr ? *static_cast<const _Caldane_Long*>(address) : -1;
}

}  // namespace

TEST(Context, KeepsOrderReplacesByNameAndMatchesPatterns) {
    _Caldane_Context context;
    _Caldane_Long number = 1;
    for (const char* name : {"user.id", "trace", "user.name", "user"}) {
        context.set_one_value(name, _Caldane_AnyRef(number));
    }
    number = 2;
    context.set_one_value("trace", _Caldane_AnyRef(number));
    EXPECT_EQ(names(context, "*"), "user.id trace user.name user ");
    EXPECT_EQ(names(context, "user.*"), "user.id user.name ");
    EXPECT_EQ(names(context, "user"), "user ");
    EXPECT_EQ(names(context, ""), "");
    context.delete_values("user.*");
    EXPECT_EQ(names(context, "*"), "trace user ");
    context.delete_values("*");
    EXPECT_EQ(names(context, "*"), "");
}

TEST(Context, CopiesValuesAndAListKeepsWhatItHolds) {
    _Caldane_Context context;
    {
        _Caldane_Long number = 7;
        _Caldane_String text("a text that is longer than what stands in place");
        context.set_one_value("number", _Caldane_AnyRef(number));
        context.set_one_value("text", _Caldane_AnyRef(text));
        number = 8;
        text = "gone";
    }
    const std::unique_ptr<_Caldane_NVList> list(context.get_values("*"));
    context.delete_values("*");
    _Caldane_NamedValue* value = nullptr;
    ASSERT_TRUE(list->item(0, value));
    EXPECT_EQ(long_in(value->value()), 7);
    ASSERT_TRUE(list->item(1, value));
    const auto* text = _Caldane_AddressableString::_down_cast_const(value->value());
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text->c_str(), "a text that is longer than what stands in place");
    EXPECT_FALSE(list->item(2, value));
    EXPECT_EQ(value, nullptr);
}

TEST(Context, EachPrimitiveKeepsItsKind) {
    _Caldane_Context context;
    short a = -1;
    unsigned short b = 2;
    _Caldane_ULong c = 3;
    float d = 4;
    double e = 5;
    char f = 'f';
    unsigned char g = 7;
    _Caldane_Boolean h = _Caldane_TRUE;
    const std::vector<_Caldane_AnyRef> values = {a, b, c, d, e, f, g, h};
    for (const _Caldane_AnyRef& original : values) {
        context.set_one_value("value", original);
        const std::unique_ptr<_Caldane_NVList> list(context.get_values("value"));
        _Caldane_NamedValue* value = nullptr;
        ASSERT_TRUE(list->item(0, value));
        EXPECT_EQ(value->value()._get_typeref().kind(), original._get_typeref().kind());
        EXPECT_NE(value->value()._address(), original._address());
    }
    _Caldane_Boolean last = _Caldane_FALSE;
    EXPECT_TRUE(context.get_one_value("value", last));
    EXPECT_EQ(last, _Caldane_TRUE);
    EXPECT_FALSE(context.get_one_value("value", a));
    EXPECT_FALSE(context.get_one_value("valu", last));
}

TEST(Context, EachThreadHasItsOwn) {
    _Caldane_Long number = 1;
    SOA::get_default_context().set_one_value("mine", _Caldane_AnyRef(number));
    std::thread([] { EXPECT_EQ(names(SOA::get_default_context(), "*"), ""); }).join();
    EXPECT_EQ(names(SOA::get_default_context(), "*"), "mine ");
    SOA::get_default_context().delete_values("*");
}

// A request brings one entry; its servant sets another and calls a third object, whose reply brings one more.
TEST(Context, WhatMessagesBringIsSentOnUnlessThatIsSwitchedOff) {
    static _Caldane_Context& context = SOA::get_default_context();
    static _Caldane_Long number = 1;
    static const auto set = [](const char* name) { context.set_one_value(name, _Caldane_AnyRef(number)); };
    static std::string in_call;
    static std::string seen;

    class Relay final : public Depot::POA_Store {
        std::int32_t take(const _Caldane_String&, bool, std::int32_t&, _Caldane_String&) override {
            return 1;
        }
        void ring() override {
            set("own");
            Depot::Store::_narrow(Caldane::string_to_object("http://127.0.0.1:1/next")).ring();
            seen = names(context, "*");
        }
    };
    struct Frame final : _Caldane_Transport_ServerFrame {
        _Caldane_Boolean demarshal_args(_SOA_Call&, _Caldane_ArgList&) override { return _Caldane_TRUE; }
        _Caldane_Boolean marshal_reply(_SOA_Call&, _Caldane_ArgList&) override {
            sent = names(context, "*");
            return _Caldane_TRUE;
        }
        _Caldane_Boolean marshal_exception(_SOA_Call&, _Caldane_ExceptionBase&) override {
            sent = names(context, "*");
            return _Caldane_TRUE;
        }
        std::string sent;
    };
    const struct {
        const char* name;
        bool is_off;
        const char* operation;
        const char* in_call;
        const char* in_reply;
    } cases[] = {
        {"sent on", false, "ring", "request own ", "request own reply "},
        {"own alone", true, "ring", "own ", "own "},
        {"with a fault", false, "nothing of that name", "", "request "},
        {"own alone with a fault", true, "nothing of that name", "", ""},
    };
    auto* const transport = new FakeTransport(&fake_server());
    transport->act = [](_Caldane_OutboundCall&) {
        in_call = names(context, "*");
        set("reply");
        return 1;
    };
    const _Caldane_Transport_Info::Registration registration(transport);
    Relay relay;
    SOA::publish(relay, "relay", "127.0.0.1:0/relay");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        in_call.clear();
        if (c.is_off) SOA::getProperties().set("no_context_relay", "");
        set("request");
        Frame frame;
        _Caldane_CallInfo info;
        _SOA_IncomingCall(frame, "relay", "", c.operation, "", "", info, nullptr).invoke();
        EXPECT_EQ(in_call, c.in_call);
        EXPECT_EQ(frame.sent, c.in_reply);
        context.delete_values("*");
        SOA::getProperties().remove("no_context_relay");
    }
    EXPECT_EQ(seen, "request own reply ") << "the servant sees all, whatever is sent";
}

TEST(ResourceCounter, NeverGivesMoreThanItsLimitAndNeverFallsBelowZero) {
    SOA::ResourceCounter counter(2);
    counter.release();
    EXPECT_EQ(counter.in_use(), 0);
    EXPECT_TRUE(counter.acquire());
    EXPECT_TRUE(counter.available());
    EXPECT_TRUE(counter.acquire());
    EXPECT_FALSE(counter.available());
    EXPECT_FALSE(counter.acquire());
    counter.limit(1);
    counter.release();
    EXPECT_FALSE(counter.acquire());
    counter.release();
    EXPECT_TRUE(counter.acquire());
}

TEST(ResourceCounter, CountsExactlyUnderManyThreads) {
    SOA::ResourceCounter counter(3);
    std::atomic<int> most{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 20000; ++n) {
                if (!counter.acquire()) continue;
                const int seen = static_cast<int>(counter.in_use());
                for (int old = most; seen > old && !most.compare_exchange_weak(old, seen);) {
                }
                counter.release();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter.in_use(), 0);
    EXPECT_LE(most, 3);
}
