// SPDX-License-Identifier: MIT
#include <caldane/soa.h>

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "running_server.h"

using namespace soap_test;

namespace {

/// A servant that tells which one it is.
class Numbered final : public _Caldane_ImplBase {
public:
    explicit Numbered(std::int32_t own_number) : number(own_number) {}
    std::int32_t which() { return number; }
    const Caldane::OperationTable& _operations() const override {
        static const Caldane::OperationTable table("IDL:Numbered:1.0",
                                                   {Caldane::method<&Numbered::which>("which")});
        return table;
    }

private:
    std::int32_t number;
};

/// Somebody else's socket at a port of the system's choice.
class Occupied {
public:
    Occupied() : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        socklen_t size = sizeof address;
        bind(socket, reinterpret_cast<const sockaddr*>(&address), size);
        listen(socket, 1);
        getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
    }
    ~Occupied() { ::close(socket); }
    Occupied(const Occupied&) = delete;
    Occupied& operator=(const Occupied&) = delete;

    int socket;
    std::uint16_t port = 0;
};

class PublishAgain : public RunningServer {
protected:
    static std::string at(std::uint16_t number, const std::string& own_path) {
        return "127.0.0.1:" + std::to_string(number) + "/" + own_path;
    }
    /// The number of the servant that answers there; the whole reply if none does.
    static std::string who(std::uint16_t number, const std::string& own_path) {
        const std::string body = envelope("<which/>");
        RawClient client(number);
        client.send("POST /" + own_path + " HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
                    "\r\n\r\n" + body);
        const std::string reply = client.read_to_end();
        const std::size_t found = reply.find("<return>");
        return found == std::string::npos ? reply : reply.substr(found + 8, 1);
    }

    Numbered first{1};
    Numbered second{2};
};

}  // namespace

TEST_F(PublishAgain, APortThatWasInUseCanBeTriedAgain) {
    std::uint16_t taken = 0;
    {
        const Occupied other;
        taken = other.port;
        for (int attempt = 0; attempt < 2; ++attempt) {
            try {
                SOA::publish(first, "first", at(taken, path + "/again"));
                ADD_FAILURE() << "the port is in use";
            } catch (const Caldane::SetupError& error) {
                EXPECT_NE(std::string(error.what()).find("it is in use"), std::string::npos) << error.what();
            }
        }
    }
    SOA::publish(second, "second", at(taken, path + "/again"));
    EXPECT_EQ(who(taken, path + "/again"), "2");
    SOA::withdraw(second);
    SOA::publish(first, "second", at(taken, path + "/again"));
    EXPECT_EQ(who(taken, path + "/again"), "1") << "the address is free for another object";
}

TEST_F(PublishAgain, OnePathOnTwoPortsIsTwoObjects) {
    std::uint16_t other = 0;
    {
        const Occupied soon_free;
        other = soon_free.port;
    }
    SOA::publish(first, "first", at(port, path + "/same"));
    SOA::publish(second, "second", at(other, path + "/same"));
    EXPECT_EQ(who(port, path + "/same"), "1");
    EXPECT_EQ(who(other, path + "/same"), "2");
}
