// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "broker_fixtures.h"

using namespace Depot;

namespace {

/// A registered fake transport and a reference that it reaches.
class Invocation : public testing::Test {
protected:
    Invocation() : registration(new _Caldane_Transport_Info::Registration(transport)) {
        store = Store::_narrow(Caldane::string_to_object("http://127.0.0.1:1/store"));
    }
    ~Invocation() override {
        store = Store();
        registration.reset();
        EXPECT_EQ(FakeClient::alive, 0) << "clients go with the references that bound them";
    }

    std::int32_t take(bool force = false) const {
        std::int32_t left = 5;
        _Caldane_String note;
        return store.take("nails", force, left, note);
    }

    /// The error that a call ends with.
    Caldane::SystemError error_of_take() const {
        try {
            take();
        } catch (const Caldane::SystemError& error) {
            return error;
        }
        return {-1, "no exception", "", ""};
    }

    static FakeClient* client_of(const Store& reference) {
        return static_cast<FakeClient*>(reference._ior()->bound_profile()->binding());
    }

    FakeTransport* const transport = new FakeTransport;
    std::unique_ptr<_Caldane_Transport_Info::Registration> registration;
    Store store;
};

void fail(_Caldane_OutboundCall& call, std::int32_t kind, const char* message) {
    _Caldane_SystemException exception(0, _Caldane_CompletionStatus(1), kind);
    exception._put_message(message);
    _Caldane_CallException::lookup_or_add(call.info())->exception(exception, Caldane::OWNERSHIP_COPY);
}

int succeed(_Caldane_OutboundCall&) {
    return 1;
}

template <class T>
T& primitive(_Caldane_Parameter& parameter) {
    return *static_cast<T*>(parameter.value()._address());
}

}  // namespace

TEST_F(Invocation, CarriesArgumentsThereAndResultsBack) {
    transport->act = [](_Caldane_OutboundCall& call) {
        EXPECT_EQ(call.oper(), "take");
        EXPECT_EQ(call.intf_id(), kStore);
        _Caldane_ArgList& args = call.args();
        EXPECT_EQ(args.count(), 4U);
        EXPECT_EQ(args.parameter(0).name(), "item");
        EXPECT_EQ(args.index_of("note"), 3);
        EXPECT_EQ(args.index_of("nothing"), -1);
        EXPECT_EQ(args.parameter(2).direction(), _Caldane_Parameter::INOUT);
        EXPECT_EQ(args.parameter(1).value()._get_typeref().kind(), _Caldane_TypeRef::tk_boolean);
        EXPECT_EQ(primitive<_Caldane_Boolean>(args.parameter(1)), _Caldane_TRUE);
        primitive<std::int32_t>(args.parameter(2)) += 1;
        args.parameter(3).value()._tx_type()->_convert_from(_Caldane_String("done"));
        primitive<std::int32_t>(args.result()) = 42;
        return 1;
    };
    std::int32_t left = 5;
    _Caldane_String note;
    EXPECT_EQ(store.take("nails", true, left, note), 42);
    EXPECT_EQ(left, 6);
    EXPECT_EQ(note, "done");
}

TEST_F(Invocation, OperationsWithoutParametersHaveAnEmptyListAndAResultOfKindNull) {
    transport->act = [](_Caldane_OutboundCall& call) {
        EXPECT_EQ(call.args().count(), 0U);
        EXPECT_EQ(call.args().result().value()._get_typeref().kind(), _Caldane_TypeRef::tk_null);
        EXPECT_TRUE(_Caldane_CallDuration::is_oneway(call.info()));
        return 1;
    };
    store.ring();
}

TEST_F(Invocation, BindsOnceAndKeepsTheClient) {
    transport->act = succeed;
    for (int i = 0; i < 5; ++i) take();
    const Store copy = store;
    copy.ring();
    EXPECT_EQ(transport->binds, 1);
}

TEST_F(Invocation, DropsAClientOfNoMoreUseBeforeTheCall) {
    int calls = 0;
    transport->act = [&calls](_Caldane_OutboundCall&) { return ++calls, 1; };
    take();
    client_of(store)->is_usable = false;
    take();
    EXPECT_EQ(transport->binds, 2);
    client_of(store)->invalidate();
    take();
    EXPECT_EQ(transport->binds, 3);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(FakeClient::alive, 1);
}

TEST_F(Invocation, ACallThatInvalidatesItsClientIsNotRepeatedAndTheNextBindsAnew) {
    int calls = 0;
    transport->act = [&](_Caldane_OutboundCall& call) {
        if (++calls > 1) return 1;
        client_of(store)->invalidate();
        fail(call, 6, "200 OK");
        return 0;
    };
    EXPECT_EQ(error_of_take().kind(), _Caldane_SystemException::BAD_RESPONSE);
    EXPECT_EQ(calls, 1);
    take();
    EXPECT_EQ(transport->binds, 2);
}

TEST_F(Invocation, WhatWasProvedUndeliveredIsTriedAnewButNotForEver) {
    int calls = 0;
    int failures = 2;
    transport->act = [&](_Caldane_OutboundCall& call) {
        if (++calls > failures) return 1;
        _Caldane_CallDiagnostics::not_delivered(call.info(), true);
        fail(call, 6, "gone");
        return 0;
    };
    take();
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(transport->binds, 3);
    calls = 0;
    failures = 1000;
    EXPECT_EQ(error_of_take().message(), "gone");
    EXPECT_EQ(calls, 65);
}

TEST_F(Invocation, SystemErrorsTellKindReasonOperationAndEndpoint) {
    transport->act = [](_Caldane_OutboundCall& call) {
        _Caldane_CallDiagnostics::describe(call.info(), "connection refused");
        fail(call, 2, "500 Internal Server Error");
        return 0;
    };
    const Caldane::SystemError error = error_of_take();
    EXPECT_EQ(error.kind(), 2);
    EXPECT_EQ(error.operation(), "take");
    EXPECT_EQ(error.endpoint(), "http://127.0.0.1:1/store");
    const std::string text = error.what();
    for (const char* part : {"COMM_FAILURE (2)", "connection refused;", "take", "http://127.0.0.1:1/"}) {
        EXPECT_NE(text.find(part), std::string::npos) << text;
    }
}

TEST_F(Invocation, TurnsWhateverLeavesATransportIntoASystemError) {
    const struct {
        FakeClient::Act act;
        std::int32_t kind;
        const char* message;
    } cases[] = {
        {[](_Caldane_OutboundCall&) -> int { throw 17; }, 6, "malformed XML in the response"},
        {[](_Caldane_OutboundCall&) -> int { throw std::bad_alloc(); }, 0, "memory has ended"},
        {[](_Caldane_OutboundCall&) { return 0; }, 0, "the transport gave no reason"},
    };
    for (const auto& c : cases) {
        transport->act = c.act;
        store = Store::_narrow(Caldane::string_to_object("http://127.0.0.1:1/store"));
        const Caldane::SystemError error = error_of_take();
        EXPECT_EQ(error.kind(), c.kind);
        EXPECT_EQ(error.message(), c.message);
    }
}

TEST_F(Invocation, NilAndUnreachableReferencesHaveTheirOwnKinds) {
    transport->refuse = true;
    EXPECT_EQ(error_of_take().kind(), _Caldane_SystemException::INV_OBJREF);
    store = Store();
    const Caldane::SystemError error = error_of_take();
    EXPECT_EQ(error.kind(), _Caldane_SystemException::NIL_OBJECT);
    EXPECT_STREQ(error.kind_name(), "NIL_OBJECT");
}

TEST_F(Invocation, DeclaredExceptionsArriveAsTheirTypeAndOthersAsSystemErrors) {
    transport->act = [](_Caldane_OutboundCall& call) {
        auto* holder = _Caldane_CallException::lookup_or_add(call.info());
        auto* exception = holder->find_exception("http://acme.example/d", "Depot:Empty", 1);
        dynamic_cast<Empty&>(*exception).shelf = 9;
        exception->_put_message("nothing there");
        holder->exception(exception, Caldane::OWNERSHIP_TAKE);
        return 1;
    };
    try {
        take();
        ADD_FAILURE();
    } catch (const Empty& empty) {
        EXPECT_EQ(empty.shelf, 9);
        EXPECT_EQ(empty.message_text(), "nothing there");
    }
}

TEST_F(Invocation, AnExceptionThatTheOperationDoesNotDeclareIsASystemError) {
    transport->act = [](_Caldane_OutboundCall& call) {
        auto* holder = _Caldane_CallException::lookup_or_add(call.info());
        holder->exception(Empty(3), Caldane::OWNERSHIP_COPY);
        return 1;
    };
    EXPECT_THROW(take(), Empty);
    try {
        store.ring();
        ADD_FAILURE();
    } catch (const Caldane::SystemError& error) {
        EXPECT_NE(error.message().find("IDL:Acme/Depot/Empty:1.0"), std::string::npos);
    }
}

TEST_F(Invocation, TheExceptionOfACopiedInformationIsSeen) {
    // The transport's client works on a copy that it keeps beyond the call.
    _Caldane_CallInfo kept;
    transport->act = [&kept](_Caldane_OutboundCall& call) {
        kept = call.info();
        const _Caldane_SystemException exception(8);
        EXPECT_NE(_Caldane_CallException::exception(kept, exception), _Caldane_FALSE);
        return 0;
    };
    EXPECT_EQ(error_of_take().kind(), _Caldane_SystemException::HTTP_STATUS);
    transport->act = nullptr;
}

TEST_F(Invocation, TimeLimitsComeFromTheThreadElseFromTheProperty) {
    double seen = -1;
    transport->act = [&seen](_Caldane_OutboundCall& call) {
        seen = _Caldane_CallDuration::time_limit(call.info());
        return 1;
    };
    const auto limit = [&] { return take(), seen; };
    EXPECT_EQ(limit(), 0);
    SOA::getProperties().set("call_timeout", "1.5");
    EXPECT_EQ(limit(), 1.5);
    {
        const Caldane::CallTimeout outer(3);
        {
            const Caldane::CallTimeout none(0);
            EXPECT_EQ(limit(), 0);
        }
        EXPECT_EQ(limit(), 3);
    }
    SOA::getProperties().set("call_timeout", "-1");
    EXPECT_EQ(limit(), 0);
    SOA::getProperties().remove("call_timeout");
}

TEST_F(Invocation, ThreadsShareAReferenceWhileItsClientsComeAndGo) {
    std::atomic<int> calls{0};
    transport->act = [&calls](_Caldane_OutboundCall& call) {
        // Every seventh call finds its connection to be of no more use.
        _IOP_Profile bound = call.target()._ior()->bound_profile();
        EXPECT_TRUE(bound.valid());
        if (++calls % 7 == 0) _Caldane_CallDiagnostics::not_delivered(call.info(), true);
        return 1;
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int n = 0; n < 500; ++n) {
                const Store own = store;
                own.ring();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(calls, 2000);
    EXPECT_GT(transport->binds, 100);
    EXPECT_EQ(FakeClient::alive, 1);
}

// The goodbye of a client goes over the network, and must not hold up whoever waits for a lock.
TEST(TransportClient, EndsBehindTheLockUnderWhichItLostItsLastReference) {
    const int before = FakeClient::alive;
    {
        const _Caldane_Transport_RPC_Client::EndsLater outer;
        {
            const _Caldane_Transport_RPC_Client::EndsLater inner;
            for (int i = 0; i < 3; ++i) (new FakeClient(succeed))->_release();
            std::thread([] { (new FakeClient(succeed))->_release(); }).join();
        }
        EXPECT_EQ(FakeClient::alive, before + 3) << "other threads' clients end at once";
    }
    EXPECT_EQ(FakeClient::alive, before);
    (new FakeClient(succeed))->_release();
    EXPECT_EQ(FakeClient::alive, before);
}
