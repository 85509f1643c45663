// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <caldane/caldane.h>

/// An interface in the shape that generated code has, with exceptions of one and of several name components.
namespace Depot {

class Empty final : public _Caldane_UserException<Empty> {
public:
    Empty() = default;
    explicit Empty(std::int32_t shelf_number) : shelf(shelf_number) {}
    std::int32_t shelf = 0;
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {_Caldane_member<&Empty::shelf>("shelf")};
        static constexpr _Caldane_StructInfo kInfo(
            {"IDL:Acme/Depot/Empty:1.0", "Empty", "http://acme.example/d"}, kMembers);
        return kInfo;
    }
};

class Failure final : public _Caldane_UserException<Failure> {
public:
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_StructInfo kInfo(_Caldane_TypeInfo{"IDL:Failure:1.0", "Failure", "urn:f"});
        return kInfo;
    }
};

inline constexpr char kStore[] = "IDL:Acme/Depot/Store:1.0";

class Store : public Caldane::Reference<Store> {
public:
    std::int32_t take(const _Caldane_String& item, bool force, std::int32_t& left,
                      _Caldane_String& note) const {
        static const Caldane::Operation operation("take", kStore, Caldane::raises<Empty, Failure>);
        return Caldane::call<std::int32_t>(*this, operation, Caldane::in("item", item),
                                           Caldane::in("force", force), Caldane::inout("left", left),
                                           Caldane::out("note", note));
    }
    void ring() const {
        static const Caldane::Operation operation("ring", kStore, {}, Caldane::Operation::ONE_WAY);
        Caldane::call<void>(*this, operation);
    }
};

class POA_Store : public _Caldane_ImplBase {
public:
    virtual std::int32_t take(const _Caldane_String& item, bool force, std::int32_t& left,
                              _Caldane_String& note) = 0;
    virtual void ring() = 0;

    const Caldane::OperationTable& _operations() const override {
        using enum _Caldane_Parameter::Direction;
        static const Caldane::OperationTable table(
            kStore, {Caldane::method<&POA_Store::take>(
                         "take", {{"item", IN}, {"force", IN}, {"left", INOUT}, {"note", OUT}},
                         Caldane::raises<Empty>),
                     Caldane::method<&POA_Store::ring>("ring")});
        return table;
    }
};

}  // namespace Depot

/// A transport's client that does what the test says; counts what is asked of it.
class FakeClient final : public _Caldane_Transport_RPC_Client {
public:
    using Act = std::function<int(_Caldane_OutboundCall&)>;

    explicit FakeClient(Act what_to_do) : act(std::move(what_to_do)) { ++alive; }
    ~FakeClient() override { --alive; }

    _Caldane_Boolean invoke(_Caldane_OutboundCall& call) override {
        return static_cast<_Caldane_Boolean>(act(call));
    }
    bool usable() override { return is_usable; }

    Act act;
    std::atomic<bool> is_usable{true};
    static inline std::atomic<int> alive{0};
};

/// The profile of the fake transport: holds one client.
class FakeProfile final : public _IOP_ProfileBase {
public:
    FakeProfile(_Caldane_ULong tag, _IOP_OctetSeq body) : _IOP_ProfileBase(tag), body_(std::move(body)) {}
    ~FakeProfile() override { FakeProfile::unbind(); }

    _IOP_OctetSeq data() const override { return body_; }
    _Caldane_Transport_RPC_Client* binding() override { return client_; }
    void unbind() override { bind(nullptr); }
    void bind(_Caldane_Transport_RPC_Client* client) {
        if (client_ != nullptr) client_->_release();
        client_ = client;
    }

private:
    _IOP_OctetSeq body_;
    _Caldane_Transport_RPC_Client* client_ = nullptr;
};

/// The fake transport's server: `run` waits for `shutdown`. It keeps the addresses that it was told, as a
/// real one does, and listens on a port once.
class FakeServer final : public _Caldane_Transport_RPC_Server {
public:
    ~FakeServer() override = default;
    std::int32_t server_state() override { return 0; }
    void run() override {
        ran = true;
        ran.notify_one();
        ended.wait(false);
        left = true;
        left.notify_one();
    }
    void idle_operation_1() override {}
    void idle_operation_2() override {}
    void shutdown() override {
        ended = true;
        ended.notify_one();
        if (ran) left.wait(false);
        ++shutdowns;
    }
    std::int32_t ready() override { return 1; }
    std::int32_t add_endpoint(const _Caldane_String& key, const _Caldane_String& address,
                              _Caldane_Boolean secure) override {
        const std::string text(address.view());
        const std::string route = text.substr(text.find(':') + 1);
        if (answer > 0 || answer == -6) return answer;
        return endpoints.emplace(route, key.view()).second ? listen_at(address, secure) : 2;
    }
    std::int32_t listen_at(const _Caldane_String& address, _Caldane_Boolean) override {
        if (answer != 0) return answer;
        const int port = std::atoi(std::string(address.view()).c_str() + address.view().find(':') + 1);
        return port == 0 || ports.insert(port).second ? 0 : -3;
    }
    void add_profiles(_Caldane_ImplBase&, const _Caldane_String& path, const _Caldane_String&,
                      _IOP_ProfileList& list) override {
        paths.emplace_back(path.view());
        const std::string url = "http://10.0.0.9:4711/" + paths.back();
        list.append((new FakeProfile(3, _IOP_OctetSeq(_Caldane_String(url))))->create_handle());
    }
    void release_security(const _Caldane_String&, const _Caldane_String&) override {}

    std::int32_t answer = 0;                       // 0: as it is; else why nothing can be opened
    std::map<std::string, std::string> endpoints;  // port and path, to the key that the broker is told
    std::set<int> ports;
    std::vector<std::string> paths;  // of profiles
    std::atomic<bool> ran{false};
    std::atomic<bool> ended{false};
    std::atomic<bool> left{false};
    int shutdowns = 0;
};

/// Makes the call of an operation without parameters; true if the servant was reached.
inline bool call_in(const std::string& key, const char* operation) {
    struct Frame final : _Caldane_Transport_ServerFrame {
        _Caldane_Boolean demarshal_args(_SOA_Call&, _Caldane_ArgList&) override { return _Caldane_TRUE; }
        _Caldane_Boolean marshal_reply(_SOA_Call&, _Caldane_ArgList&) override { return _Caldane_TRUE; }
        _Caldane_Boolean marshal_exception(_SOA_Call&, _Caldane_ExceptionBase&) override {
            return _Caldane_TRUE;
        }
    } frame;
    _Caldane_CallInfo info;
    return _SOA_IncomingCall(frame, _Caldane_String(key), "", operation, "", "", info, nullptr).invoke() !=
           _Caldane_FALSE;
}

/// A new server, which lives on: the adapter knows it until it has ended it.
inline FakeServer& fake_server() {
    static std::vector<std::unique_ptr<FakeServer>> servers;
    return *servers.emplace_back(std::make_unique<FakeServer>());
}

/// The fake transport: every reference gets a profile with a client of the test's making.
class FakeTransport final : public _Caldane_Transport_Info {
public:
    explicit FakeTransport(FakeServer* its_server = nullptr) : server_(its_server) {}

    _IOP_Profile bind_profile(const _Caldane_Object& object, std::int32_t) override {
        ++binds;
        if (refuse) return {};
        auto* profile = new FakeProfile(3, _IOP_OctetSeq(object_ior(object)->url()));
        profile->bind(new FakeClient(act));
        return profile->create_handle();
    }
    const _Caldane_String& transport_name() override { return name; }
    _Caldane_CallInfo& default_call_info() override { return info; }
    _Caldane_Transport_RPC_Server* server() override { return server_; }
    void ignored_notification(std::int32_t) override {}

    FakeClient::Act act;
    bool refuse = false;
    std::atomic<int> binds{0};

private:
    _Caldane_String name{"fake"};
    _Caldane_CallInfo info;
    FakeServer* server_;
};
