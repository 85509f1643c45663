// SPDX-License-Identifier: MIT
#include "transport/soap_transport_info.h"

#include <caldane/invoke.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "addressing/soap_profile.h"
#include "client/soap_client.h"

extern "C" std::int32_t _SOAP_Info_Loader;

namespace {

class TransportInfo : public testing::Test {
protected:
    // The stages run as in a program: with the callbacks that loading the library has installed.
    TransportInfo() {
        EXPECT_EQ(_SOAP_Info_Loader, 0);
        SOA::getProperties().set("ZOLT_SSL", "");
        Caldane::runCallbacks(Caldane::STAGE_INIT);
    }
    ~TransportInfo() override {
        Caldane::runCallbacks(Caldane::STAGE_SHUTDOWN);
        SOA::getProperties().remove("ZOLT_SSL");
    }

    static _Caldane_Object with_profiles(const std::vector<_Caldane_ULong>& tags, bool secure = false) {
        _IOP_ProfileList list;
        for (const _Caldane_ULong tag : tags) {
            const std::string url = "http://h:1/" + std::to_string(tag);
            list.append(_IOP_Profile(tag, _IOP_OctetSeq(_Caldane_String(url))));
        }
        _Caldane_Object object(_IOP_IOR::generate("IDL:T:1.0", list));
        object._ior()->setSecurity(static_cast<_Caldane_Boolean>(secure));
        return object;
    }
    static _Caldane_Object at(const char* url) { return _Caldane_Object(_IOP_IOR::from_url(url)); }

    _SOAP_Transport_Info info;
};

TEST_F(TransportInfo, HasItsNameInAllStages) {
    EXPECT_EQ(info.transport_name(), "SOAP1.1");
    Caldane::runCallbacks(Caldane::STAGE_SHUTDOWN);
    EXPECT_EQ(info.transport_name(), "SOAP1.1");
}

TEST_F(TransportInfo, SetsTheRoundTripTimeOnce) {
    _Caldane_CallInfo& defaults = info.default_call_info();
    auto* const metric = _Caldane_PerformanceMetric::lookup_or_add(defaults);
    EXPECT_EQ(metric->rtt_magnitude(), -2);
    metric->rtt_magnitude(7);
    EXPECT_EQ(&info.default_call_info(), &defaults);
    EXPECT_EQ(metric->rtt_magnitude(), 7);
}

struct TagCase {
    const char* name;
    const char* encoder;  // value of the property; null: not set
    bool secure;
    std::vector<_Caldane_ULong> tags;
    _Caldane_ULong bound;  // 0: none
};

class TransportInfoTags : public TransportInfo, public testing::WithParamInterface<TagCase> {};

TEST_P(TransportInfoTags, AreChosenBySecurityAndEncoderWithoutAFallback) {
    const TagCase& c = GetParam();
    if (c.encoder != nullptr) SOA::getProperties().set("SOAP_ENABLE_RPC_ENCODER", c.encoder);
    const _IOP_Profile profile = info.bind_profile(with_profiles(c.tags, c.secure), 0);
    SOA::getProperties().remove("SOAP_ENABLE_RPC_ENCODER");
    EXPECT_EQ(profile.valid(), c.bound != 0);
    EXPECT_EQ(profile.tag(), c.bound);
}

INSTANTIATE_TEST_SUITE_P(All, TransportInfoTags,
                         testing::Values(TagCase{"PlainDocument", nullptr, false, {3, 4, 8, 9}, 4},
                                         TagCase{"PlainEncoded", "", false, {9, 8, 4, 3}, 3},
                                         TagCase{"SecureDocument", nullptr, true, {3, 4, 8, 9}, 9},
                                         TagCase{"SecureEncoded", "no", true, {3, 4, 8, 9}, 8},
                                         TagCase{"NoFallbackToPlain", nullptr, true, {4}, 0},
                                         TagCase{"NoFallbackToDocument", "", false, {4}, 0},
                                         TagCase{"NoFallbackToEncoder", nullptr, false, {3}, 0},
                                         TagCase{"NoProfiles", nullptr, false, {}, 0}),
                         [](const auto& test) { return test.param.name; });

TEST_F(TransportInfo, MakesOneClientForAnEndpoint) {
    _IOP_Profile first = info.bind_profile(with_profiles({4}), 0);
    _IOP_Profile second = info.bind_profile(with_profiles({3, 4}), 0);
    ASSERT_NE(first->binding(), nullptr);
    EXPECT_EQ(first->binding(), second->binding());
    EXPECT_EQ(first.data().view(), "http://h:1/4");
}

TEST_F(TransportInfo, TakesTheFirstOfItsTag) {
    _IOP_ProfileList list;
    for (const char* url : {"http://a:1/x", "http://b:1/x"})
        list.append(_IOP_Profile(TAG_INTERNET_SOAP_DOC, _IOP_OctetSeq(_Caldane_String(url))));
    const _IOP_Profile profile = info.bind_profile(_Caldane_Object(_IOP_IOR::generate("IDL:T:1.0", list)), 0);
    EXPECT_EQ(profile.data().view(), "http://a:1/x");
}

TEST_F(TransportInfo, MakesAProfileOfAUrl) {
    struct Case {
        const char* url;
        const char* host;
        std::uint16_t port;
        const char* address;
        const char* path;
        _Caldane_ULong tag;
    };
    const Case cases[] = {
        {"http://host:8080/a/b", "host", 8080, "host:8080", "a/b", TAG_INTERNET_SOAP_DOC},
        {"http://host/a", "host", 80, "host:80", "a", TAG_INTERNET_SOAP_DOC},
        {"https://host", "host", 443, "host:443", "", TAG_INTERNET_SOAPS_DOC},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url);
        _IOP_Profile handle = info.bind_profile(at(c.url), 0);
        const _SOAP_Profile* const profile = _SOAP_Profile::narrow(handle);
        ASSERT_NE(profile, nullptr);
        EXPECT_EQ(profile->host(), c.host);
        EXPECT_EQ(profile->port(), c.port);
        EXPECT_EQ(profile->impl_text(), c.address);
        EXPECT_EQ(profile->path_text(), c.path);
        EXPECT_EQ(profile->tag(), c.tag);
        EXPECT_NE(handle->binding(), nullptr);
    }
    EXPECT_FALSE(info.bind_profile(at("no url"), 0).valid());
    EXPECT_FALSE(info.bind_profile(_Caldane_Object(), 0).valid());
}

// It was called in the clear.
TEST_F(TransportInfo, TakesAnEndpointForSecureHoweverItIsSpelled) {
    for (const char* body : {"HTTPS://h:1/a", "hTTps://h:1/a"}) {
        _IOP_ProfileList list;
        for (const _Caldane_ULong tag : {TAG_INTERNET_SOAP_DOC, TAG_INTERNET_SOAPS_DOC})
            list.append(_IOP_Profile(tag, _IOP_OctetSeq(_Caldane_String(body))));
        const _Caldane_Object object(_IOP_IOR::generate("IDL:T:1.0", list));
        EXPECT_EQ(info.bind_profile(object, 0).tag(), TAG_INTERNET_SOAPS_DOC) << body;
        EXPECT_TRUE(object._ior()->isSecure()) << body;
    }
}

struct UnboundCase {
    const char* name;
    const char* property;  // that is set, or null
    std::vector<_Caldane_ULong> tags;
    const char* scheme;
    const char* told;  // a part of the reason; null: there is none
};

class Unbound : public testing::TestWithParam<UnboundCase> {};

// For all of these it was said that no transport can reach the object.
TEST_P(Unbound, NamesThePropertyThatIsInTheWay) {
    const UnboundCase& c = GetParam();
    if (c.property != nullptr) SOA::getProperties().set(c.property, "");
    Caldane::runCallbacks(Caldane::STAGE_INIT);
    _IOP_ProfileList list;
    for (const _Caldane_ULong tag : c.tags)
        list.append(_IOP_Profile(tag, _IOP_OctetSeq(_Caldane_String(std::string(c.scheme) + "://h:1/a"))));
    const _Caldane_Object object(_IOP_IOR::generate("IDL:T:1.0", list));
    object._ior()->setSecurity(static_cast<_Caldane_Boolean>(c.scheme == std::string("https")));
    static const Caldane::Operation go("go", "IDL:T:1.0");
    std::string told;
    try {
        Caldane::call<void>(object, go);
    } catch (const Caldane::SystemError& error) {
        EXPECT_EQ(error.kind(), _Caldane_SystemException::INV_OBJREF);
        told = error.message();
    }
    Caldane::runCallbacks(Caldane::STAGE_SHUTDOWN);
    if (c.property != nullptr) SOA::getProperties().remove(c.property);
    EXPECT_NE(told.find(c.told), std::string::npos) << told;
}

INSTANTIATE_TEST_SUITE_P(
    All, Unbound,
    testing::Values(
        UnboundCase{"SecureWithoutSsl", nullptr, {8, 9}, "https", "with the property ZOLT_SSL alone"},
        UnboundCase{"CapitalsWithoutSsl", nullptr, {9}, "HTTPS", "with the property ZOLT_SSL alone"},
        UnboundCase{"PlainUnderSslOnly", "ZOLT_SSL_ONLY", {3, 4}, "http", "ZOLT_SSL_ONLY rules those out"},
        UnboundCase{"EncodedAlone", nullptr, {3}, "http", "made with the property SOAP_ENABLE_RPC_ENCODER"},
        UnboundCase{"LiteralAlone", "SOAP_ENABLE_RPC_ENCODER", {4}, "http", "ENCODER rules those out"},
        UnboundCase{"OfAnotherTransport", nullptr, {70}, "http", "no transport can reach the object"}),
    [](const auto& test) { return test.param.name; });

TEST_F(TransportInfo, ReplacesTheEndpointsClientForAUrl) {
    _IOP_Profile first = info.bind_profile(at("http://h:1/a"), 0);
    _Caldane_Transport_RPC_Client* const before = first->binding();
    before->_add_ref();
    _IOP_Profile second = info.bind_profile(at("http://h:1/b"), 0);
    EXPECT_NE(first->binding(), before);
    EXPECT_EQ(first->binding(), second->binding());
    before->_release();
}

TEST_F(TransportInfo, SurvivesTheEndOfMemoryWhileItBinds) {
    const _Caldane_Object objects[] = {with_profiles({4}), at("http://other:1/a")};
    for (const _Caldane_Object& object : objects) {
        for (long nth = 1;; ++nth) {
            PEL_Fault::fail_allocation(nth);
            _IOP_Profile profile = info.bind_profile(object, 0);
            const bool happened = PEL_Fault::happened();
            PEL_Fault::fail_allocation(0);
            if (!happened) {
                EXPECT_NE(profile->binding(), nullptr);
                break;
            }
            ASSERT_LT(nth, 50);
        }
    }
}

TEST(Usage, IsToldAtItsStage) {
    testing::internal::CaptureStdout();
    Caldane::runCallbacks(Caldane::STAGE_USAGE);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "  SOAP Transport options\n"
              "    -Dproxy=<proxy host:port>\n"
              "                  to specify the proxy server\n"
              "    -DSOAP_CLIENT_CHUNKING\n"
              "                  to enable SOAP client side chunking\n"
              "    -DSOAP_ENABLE_RPC_ENCODER\n"
              "                  to enable the RPC encoder in the SOAP transport\n"
              "    -Ddefault_SOAPAction=<action>\n"
              "                  change the default value of the SOAP Action\n"
              "    -D<oper>_SOAPAction=<action>\n"
              "                  change the value of the SOAP Action for this <oper>\n"
              "\n");
}

}  // namespace
