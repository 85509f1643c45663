// SPDX-License-Identifier: MIT
#include "addressing/soap_profile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "addressing/soap_profile_factory.h"
#include "support/counting_client.h"

namespace {

using soap_test::CountingClient;

class SoapProfile : public testing::Test {
protected:
    SoapProfile() { soap_binding_stage(Caldane::STAGE_INIT); }
    ~SoapProfile() override { soap_binding_stage(Caldane::STAGE_SHUTDOWN); }

    static _IOP_Profile make(const char* host, std::uint16_t port, const char* path = "p",
                             _Caldane_ULong tag = TAG_INTERNET_SOAP_DOC,
                             _Caldane_Transport_RPC_Client* client = nullptr) {
        return _SOAP_Profile::make_profile(path, "name", host, port, client, tag);
    }
    static int entries() { return soap_binding_table()->count(); }
};

TEST_F(SoapProfile, IsItsUrlAsText) {
    struct Case {
        _Caldane_ULong tag;
        std::uint16_t port;
        const char* path;
        const char* url;
    };
    const Case cases[] = {
        {TAG_INTERNET_SOAP_RPC, 80, "a", "http://h:80/a"},
        {TAG_INTERNET_SOAP_DOC, 65535, "a/b", "http://h:65535/a/b"},
        {TAG_INTERNET_SOAPS_RPC, 80, "", "https://h:80/"},
        {TAG_INTERNET_SOAPS_DOC, 443, "/x", "https://h:443//x"},
    };
    for (const Case& c : cases) {
        const _IOP_Profile profile = make("h", c.port, c.path, c.tag);
        EXPECT_EQ(profile.data().view(), c.url);
        EXPECT_EQ(profile.tag(), c.tag);
    }
}

TEST_F(SoapProfile, MadeFromPartsHasNameAndPathAsItsKey) {
    const _IOP_Profile handle = make("h", 1, "abc");
    const _SOAP_Profile* profile = _SOAP_Profile::narrow(handle);
    ASSERT_NE(profile, nullptr);
    EXPECT_EQ(profile->impl_text(), "name");
    EXPECT_EQ(profile->path_text(), "abc");
    constexpr char kKey[] = "\x05\0\0\0name\0\0\0\0\x04\0\0\0abc";
    EXPECT_EQ(profile->object_key().view(), std::string_view(kKey, sizeof kKey));
}

TEST_F(SoapProfile, FromAStoredBodyKeepsItByteForByte) {
    const std::string body("http://Host:8080/a/b?\xFFx y", 24);
    _SOAP_ProfileFactory factory;
    for (const _Caldane_ULong tag : {TAG_INTERNET_SOAP_RPC, TAG_INTERNET_SOAPS_DOC}) {
        const std::unique_ptr<_SOAP_Profile> profile(
            static_cast<_SOAP_Profile*>(factory.create(tag, _IOP_OctetSeq(_Caldane_String(body)))));
        ASSERT_NE(profile, nullptr);
        EXPECT_EQ(profile->data().view(), body);
        EXPECT_EQ(profile->object_key().view(), body);
        EXPECT_EQ(profile->host(), "Host");
        EXPECT_EQ(profile->port(), 8080);
        EXPECT_TRUE(profile->impl_text().is_null());
        EXPECT_TRUE(profile->path_text().is_null());
    }
    EXPECT_EQ(factory.create(TAG_INTERNET_SOAP_RPC, _IOP_OctetSeq(_Caldane_String("no url"))), nullptr);
    EXPECT_EQ(factory.create(TAG_INTERNET_SOAP_RPC, _IOP_OctetSeq()), nullptr);
    EXPECT_EQ(entries(), 0);
}

TEST_F(SoapProfile, NarrowsOnlyItsOwnKind) {
    _IOP_Profile own = make("h", 1);
    EXPECT_NE(_SOAP_Profile::narrow(own), nullptr);
    EXPECT_EQ(_SOAP_Profile::narrow(own), _SOAP_Profile::narrow(static_cast<const _IOP_Profile&>(own)));
    EXPECT_EQ(own->_safe_cast("another mark"), nullptr);
    _IOP_Profile foreign(99, _IOP_OctetSeq(_Caldane_String("http://h:1/")));
    EXPECT_EQ(_SOAP_Profile::narrow(foreign), nullptr);
    _IOP_Profile none;
    EXPECT_EQ(_SOAP_Profile::narrow(none), nullptr);
}

TEST_F(SoapProfile, SharesTheRecordOfItsEndpoint) {
    auto* const client = new CountingClient;
    std::vector<_IOP_Profile> profiles = {make("h", 1, "a", TAG_INTERNET_SOAP_RPC), make("h", 1, "b"),
                                          make("h", 1, "c", TAG_INTERNET_SOAPS_DOC, client)};
    EXPECT_EQ(entries(), 1);
    for (_IOP_Profile& profile : profiles) EXPECT_EQ(profile->binding(), client);
    _IOP_Profile other_port = make("h", 2);
    _IOP_Profile other_case = make("H", 1);
    EXPECT_EQ(entries(), 3);
    EXPECT_EQ(other_port->binding(), nullptr);
    EXPECT_EQ(other_case->binding(), nullptr);

    client->_add_ref();
    profiles.pop_back();
    profiles.pop_back();
    EXPECT_EQ(profiles[0]->binding(), client);
    EXPECT_TRUE(client->valid());
    EXPECT_EQ(client->references, 2);
    profiles.clear();
    EXPECT_EQ(entries(), 2);
    EXPECT_FALSE(client->valid());
    EXPECT_EQ(client->references, 1);
    EXPECT_EQ(make("h", 1)->binding(), nullptr);
    client->_release();
}

TEST_F(SoapProfile, HoldsOneReferenceOnItsClient) {
    auto* const first = new CountingClient;
    auto* const second = new CountingClient;
    first->_add_ref();
    second->_add_ref();
    _IOP_Profile handle = make("h", 1, "p", TAG_INTERNET_SOAP_DOC, first);
    _SOAP_Profile* const profile = _SOAP_Profile::narrow(handle);
    profile->set_binding(first);
    EXPECT_EQ(first->references, 2);
    profile->set_binding(second);
    EXPECT_EQ(first->references, 1);
    EXPECT_EQ(second->references, 2);
    profile->unbind();
    EXPECT_EQ(second->references, 1);
    EXPECT_EQ(profile->binding(), nullptr);
    EXPECT_EQ(entries(), 1);
    first->_release();
    second->_release();
}

TEST_F(SoapProfile, OutlivesTheShutdown) {
    auto* const client = new CountingClient;
    client->_add_ref();
    _IOP_Profile before = make("h", 1, "p", TAG_INTERNET_SOAP_DOC, client);
    soap_binding_stage(Caldane::STAGE_SHUTDOWN);
    {
        _IOP_Profile copy = before;
        _IOP_Profile after = make("h", 1);
        EXPECT_EQ(after->binding(), nullptr);  // nothing is shared any more
        EXPECT_EQ(copy->binding(), client);
        EXPECT_EQ(after.data().view(), "http://h:1/p");
    }
    before = _IOP_Profile();
    EXPECT_EQ(client->references, 1);
    client->_release();
    soap_binding_stage(Caldane::STAGE_INIT);
    EXPECT_EQ(entries(), 0);
}

TEST_F(SoapProfile, OfMemoryThatEndedIsInvalidAndLosesNothing) {
    for (long nth = 1;; ++nth) {
        auto* const client = new CountingClient;
        client->_add_ref();
        PEL_Fault::fail_allocation(nth);
        _IOP_Profile profile = make("host", 1, "p", TAG_INTERNET_SOAP_DOC, client);
        const bool happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        if (profile.valid()) {
            EXPECT_EQ(profile->binding(), client);
        }
        profile = _IOP_Profile();
        EXPECT_EQ(entries(), 0);
        EXPECT_EQ(client->references, 1);
        client->_release();
        if (!happened) break;
        ASSERT_LT(nth, 20);
    }
}

// Lists that did not grow, or one list for all the ways to write a host, took half a minute.
TEST_F(SoapProfile, OfManyEndpointsIsFoundQuickly) {
    constexpr std::uint32_t kEndpoints = 1 << 17;
    const auto host_of = [](std::uint32_t number) {
        std::string host = "abcdefghijklmnopqr.example";
        for (std::size_t bit = 0; bit < 18; ++bit) {
            if ((number >> bit & 1) != 0) host[bit] = static_cast<char>(host[bit] - 'a' + 'A');
        }
        return host;
    };
    std::vector<_IOP_Profile> profiles;
    const auto begin = std::chrono::steady_clock::now();
    for (std::uint32_t i = 0; i < kEndpoints; ++i) profiles.push_back(make(host_of(i).c_str(), 1));
    EXPECT_EQ(entries(), static_cast<int>(kEndpoints));
    for (std::uint32_t i = 0; i < kEndpoints; i += 999) {
        EXPECT_EQ(_SOAP_Profile::narrow(make(host_of(i).c_str(), 1))->host(), host_of(i).c_str());
    }
    EXPECT_EQ(entries(), static_cast<int>(kEndpoints));
    profiles.clear();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    EXPECT_EQ(entries(), 0);
}

TEST_F(SoapProfile, StaysFoundWhereTheTableCannotGrow) {
    constexpr std::uint16_t kBeforeGrowth = 64;
    bool happened = true;
    for (long nth = 1; happened; ++nth) {
        ASSERT_LT(nth, 20);
        std::vector<_IOP_Profile> profiles;
        for (std::uint16_t port = 1; port <= kBeforeGrowth; ++port) profiles.push_back(make("h", port));
        PEL_Fault::fail_allocation(nth);
        profiles.push_back(make("h", kBeforeGrowth + 1));
        happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        for (std::uint16_t port = 1; port <= 3 * kBeforeGrowth; ++port) profiles.push_back(make("h", port));
        EXPECT_EQ(entries(), 3 * kBeforeGrowth) << nth;
        profiles.clear();
        EXPECT_EQ(entries(), 0) << nth;
    }
}

TEST_F(SoapProfile, IsMadeAndDroppedByManyThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 500; ++i) {
                const _IOP_Profile profile = make("h", static_cast<std::uint16_t>((t + i) % 3));
                ASSERT_TRUE(profile.valid());
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(entries(), 0);
}

struct ModeCase {
    const char* name;
    std::vector<const char*> properties;
    bool plain;
    bool secure;
};

class SoapProfileFactory : public testing::TestWithParam<ModeCase> {};

TEST_P(SoapProfileFactory, TakesTheTagsThatTheConfigurationAllows) {
    for (const char* name : GetParam().properties) SOA::getProperties().set(name, "");
    soap_profile_factory_stage(Caldane::STAGE_INIT);
    const _IOP_OctetSeq body(_Caldane_String("http://h:1/a"));
    for (const _Caldane_ULong tag : {3U, 4U, 8U, 9U}) {
        _IOP_Profile profile(tag, body);
        EXPECT_EQ(_SOAP_Profile::narrow(profile) != nullptr, tag < 5 ? GetParam().plain : GetParam().secure)
            << tag;
    }
    soap_profile_factory_stage(Caldane::STAGE_SHUTDOWN);
    for (const char* name : GetParam().properties) SOA::getProperties().remove(name);
}

INSTANTIATE_TEST_SUITE_P(All, SoapProfileFactory,
                         testing::Values(ModeCase{"Neither", {}, true, false},
                                         ModeCase{"Ssl", {"ZOLT_SSL"}, true, true},
                                         ModeCase{"SslOnly", {"ZOLT_SSL_ONLY"}, false, true},
                                         ModeCase{"Both", {"ZOLT_SSL", "ZOLT_SSL_ONLY"}, false, true}),
                         [](const auto& test) { return test.param.name; });

}  // namespace
