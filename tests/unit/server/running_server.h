// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/caldane.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "server/soap_server.h"
#include "support/raw_client.h"

namespace soap_test {

/// A servant that can be told to hold its calls.
class Counter final : public _Caldane_ImplBase {
public:
    /// Gives its argument; waits while `hold` is on.
    std::int32_t count(std::int32_t number) {
        std::unique_lock lock(mutex);
        ++inside;
        changed.notify_all();
        changed.wait(lock, [this] { return !held; });
        --inside;
        return number;
    }
    void ping() {}

    void hold(bool flag) {
        const std::lock_guard lock(mutex);
        held = flag;
        changed.notify_all();
    }
    bool await_call() {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), [this] { return inside > 0; });
    }

    const Caldane::OperationTable& _operations() const override {
        using enum _Caldane_Parameter::Direction;
        static const Caldane::OperationTable table(
            "IDL:Counter:1.0", {Caldane::method<&Counter::count>("count", {{"number", IN}}),
                                Caldane::method<&Counter::ping>("ping")});
        return table;
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    int inside = 0;
    bool held = false;
};

/// Gives the broker the server of the test.
class ServerTransport final : public _Caldane_Transport_Info {
public:
    _IOP_Profile bind_profile(const _Caldane_Object&, std::int32_t) override { return _IOP_Profile(); }
    const _Caldane_String& transport_name() override { return name; }
    _Caldane_CallInfo& default_call_info() override { return info; }
    _Caldane_Transport_RPC_Server* server() override { return current; }
    void ignored_notification(std::int32_t) override {}

    static inline _SOAP_Transport_Server* current = nullptr;

private:
    _Caldane_String name = "server only";
    _Caldane_CallInfo info;
};

/// Waits for what threads bring about, at most ten seconds.
template <typename Condition>
bool comes_true(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// A server that runs and has one object, at a path of its own and a port that the system chose.
class RunningServer : public testing::Test {
protected:
    RunningServer() : units(SOA::socketResource().in_use()), server(new _SOAP_Transport_Server) {
        static int number = 0;
        path = "object" + std::to_string(++number) + "x";
        ServerTransport::current = server;
        SOA::publish(servant, "key of " + path, "127.0.0.1:0/" + path);
        const std::string url(SOA::reference(servant).url());
        port = static_cast<std::uint16_t>(std::atoi(url.c_str() + url.rfind(':') + 1));
        loop = std::thread([this] { server->run(); });
    }
    ~RunningServer() override {
        end();
        EXPECT_TRUE(comes_true([this] { return SOA::socketResource().in_use() == units; }))
            << SOA::socketResource().in_use() - units << " units lost";
    }
    void end() {
        servant.hold(false);
        if (loop.joinable()) {
            server->shutdown();
            loop.join();
        }
        SOA::withdraw(servant);
    }

    static std::string envelope(const std::string& content) {
        return "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\"><e:Body>" + content +
               "</e:Body></e:Envelope>";
    }
    std::string post(const std::string& body, const std::string& headers = "",
                     const std::string& version = "1.1") const {
        return "POST /" + path + " HTTP/" + version + "\r\n" + headers +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    std::string call(int number, const std::string& headers = "") const {
        return post(envelope("<count><number>" + std::to_string(number) + "</number></count>"), headers);
    }
    static std::string result(int number) { return "<return>" + std::to_string(number) + "</return>"; }
    /// True if the server answers a call on a new connection.
    bool serves() const {
        RawClient client(port);
        return client.send(call(42)) && client.read_to_end().find(result(42)) != std::string::npos;
    }

    _Caldane_Transport_Info::Registration registration{new ServerTransport};
    std::int64_t units;
    Counter servant;
    std::string path;
    _SOAP_Transport_Server* server;
    std::uint16_t port = 0;
    std::thread loop;
};

inline constexpr char kKeep[] = "Connection: Keep-Alive\r\n";

}  // namespace soap_test
