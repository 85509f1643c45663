// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "certificate_files.h"
#include "session.h"
#include "ticket_keys.h"

namespace {

using soap_test::Acquired;
using soap_test::Provider;
using soap_test::RawSide;
using soap_test::Side;
using soap_test::TestFolder;
using soap_test::text_of;
using soap_test::write_file;

/// A client's certificate below an intermediate authority: the leaf, its chain and its key.
std::string below_an_intermediate(TestFolder& folder) {
    folder.issue("between", "basicConstraints=critical,CA:TRUE", "root/authority.pem", "authority.key");
    folder.issue("below", "extendedKeyUsage=clientAuth", "between.crt", "between.key");
    const std::string file = folder.file("/below.pem");
    write_file(file, text_of(folder.file("/below.crt")) + text_of(folder.file("/between.crt")) +
                         text_of(folder.file("/below.key")));
    return file;
}

/// What a server says of its client's certificate.
SECURITY_STATUS judged(Side& server) {
    const Provider& p = Provider::instance();
    const CERT_CONTEXT* peer = nullptr;
    server.table.QueryContextAttributesA(&server.context, SECPKG_ATTR_REMOTE_CERT_CONTEXT, &peer);
    if (peer == nullptr) return SEC_E_WRONG_PRINCIPAL;
    const char* usage[] = {"1.3.6.1.5.5.7.3.2"};
    CERT_CHAIN_PARA request;
    request.RequestedUsage.Usage = {1, usage};
    const CERT_CHAIN_CONTEXT* chain = nullptr;
    p.find<CertGetChainFunction>("CertGetCertificateChain")(nullptr, peer, nullptr, nullptr, &request, 0,
                                                            nullptr, &chain);
    HTTPSPolicyCallbackData wanted;
    wanted.dwAuthType = AUTHTYPE_CLIENT;
    CERT_CHAIN_POLICY_PARA parameter;
    parameter.pvExtraPolicyPara = &wanted;
    CERT_CHAIN_POLICY_STATUS result;
    p.find<CertVerifyPolicyFunction>("CertVerifyCertificateChainPolicy")(
        certificate_kind(CERT_CHAIN_POLICY_SSL), chain, &parameter, &result);
    p.find<CertFreeChainFunction>("CertFreeCertificateChain")(chain);
    p.find<CertFreeCertificateFunction>("CertFreeCertificateContext")(peer);
    return security_status(result.dwError);
}

/// A client of OpenSSL that keeps the session it was given last.
class ResumingClient {
public:
    explicit ResumingClient(int tls_version) : version(tls_version) {}
    ~ResumingClient() { SSL_SESSION_free(kept); }
    ResumingClient(const ResumingClient&) = delete;
    ResumingClient& operator=(const ResumingClient&) = delete;

    /// True if the handshake took up the session of before; `certificate` is a PEM file to show.
    bool resumes(Side& server, const std::string& certificate = "") {
        RawSide client(false, version);
        if (!certificate.empty()) {
            SSL_use_certificate_chain_file(client.ssl, certificate.c_str());
            SSL_use_PrivateKey_file(client.ssl, certificate.c_str(), SSL_FILETYPE_PEM);
        }
        if (kept != nullptr) SSL_set_session(client.ssl, kept);
        std::string to_server = client.step("");
        while (server.status == SEC_I_CONTINUE_NEEDED && !to_server.empty()) {
            const std::string token = server.step(to_server);
            to_server += client.step(token);
        }
        EXPECT_EQ(server.status, SEC_E_OK);
        client.open("");
        SSL_set_shutdown(client.ssl, SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
        SSL_SESSION_free(kept);
        kept = SSL_get1_session(client.ssl);
        return SSL_session_reused(client.ssl) == 1;
    }

private:
    int version;
    SSL_SESSION* kept = nullptr;
};

class Resumption : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Tls, Resumption, testing::Values(TLS1_2_VERSION, TLS1_3_VERSION),
                         [](const auto& version) { return version.param == TLS1_2_VERSION ? "V12" : "V13"; });

enum class Second { Same, WantsCertificate, OtherCredentials, TurnedOff };
struct SecondCase {
    const char* name;
    bool first_wants, first_shows;
    Second second;
    bool resumes;
};
constexpr SecondCase kSeconds[] = {
    {"SameServer", false, false, Second::Same, true},
    {"OneThatNowWantsACertificate", false, false, Second::WantsCertificate, false},
    {"CertificateBelowAnIntermediate", true, true, Second::WantsCertificate, true},
    {"CertificateWhereNoneIsWanted", true, true, Second::Same, false},
    {"NoCertificateTheFirstTime", true, false, Second::WantsCertificate, false},
    {"OtherCredentials", false, false, Second::OtherCredentials, false},
    {"TurnedOff", false, false, Second::TurnedOff, false},
};

TEST_P(Resumption, TakesUpASessionOfTheSameServerAlone) {
    TestFolder folder("bank.test");
    const std::string certificate = below_an_intermediate(folder);
    Acquired servers(SECPKG_CRED_INBOUND, "bank.test");
    Acquired others(SECPKG_CRED_INBOUND, "bank.test");
    Acquired off(SECPKG_CRED_INBOUND, "bank.test", SCH_CRED_DISABLE_RECONNECTS);
    for (const SecondCase& c : kSeconds) {
        SCOPED_TRACE(c.name);
        ResumingClient client(GetParam());
        Acquired& second_of = c.second == Second::OtherCredentials ? others : servers;
        Acquired& of = c.second == Second::TurnedOff ? off : second_of;
        Side first(c.second == Second::TurnedOff ? off : servers, true, c.first_wants);
        EXPECT_FALSE(client.resumes(first, c.first_shows ? certificate : ""));
        // A ticket that was made by a session which was taken up itself is as good.
        for (int i = 0; i < 3; ++i) {
            Side second(of, true, c.second == Second::WantsCertificate);
            const bool wants = c.second == Second::WantsCertificate;
            EXPECT_EQ(client.resumes(second, certificate),
                      i == 0 ? c.resumes : c.second != Second::TurnedOff);
            EXPECT_EQ(judged(second), wants ? SEC_E_OK : SEC_E_WRONG_PRINCIPAL);
        }
    }
}

/// One session of the provider's client with a server of OpenSSL's; true if it took up an earlier one.
bool client_resumes(Acquired& clients, RawSide& of, const char* target, SECURITY_STATUS expected = SEC_E_OK) {
    RawSide server(of.context);
    Side client(clients, false, false, target);
    std::string input;
    while (client.status == SEC_I_CONTINUE_NEEDED || client.status == SEC_I_INCOMPLETE_CREDENTIALS) {
        const std::string token = client.step(input);
        if (!token.empty()) input += server.step(token);
    }
    EXPECT_EQ(client.status, expected);
    input += server.seal("x");
    for (int i = 0; i < 4 && client.status == SEC_E_OK && !input.empty(); ++i) client.open(input);
    return SSL_session_reused(server.ssl) == 1;
}

TEST_P(Resumption, OfAClientIsForOneNameAndOneConfiguration) {
    constexpr DWORD kFlags = SCH_CRED_MANUAL_CRED_VALIDATION;
    Acquired clients(SECPKG_CRED_OUTBOUND, nullptr, kFlags);
    Acquired same(SECPKG_CRED_OUTBOUND, nullptr, kFlags);
    Acquired weak(SECPKG_CRED_OUTBOUND, nullptr, kFlags | kCredWeakCiphers);
    Acquired certified(SECPKG_CRED_OUTBOUND, "caldane client", kFlags);
    Acquired off(SECPKG_CRED_OUTBOUND, nullptr, kFlags | SCH_CRED_DISABLE_RECONNECTS);
    RawSide server(true, GetParam());
    EXPECT_FALSE(client_resumes(clients, server, "one.test"));
    EXPECT_TRUE(client_resumes(clients, server, "one.test"));
    EXPECT_TRUE(client_resumes(same, server, "one.test"));  // connections have credentials each
    EXPECT_FALSE(client_resumes(clients, server, "two.test"));
    EXPECT_FALSE(client_resumes(weak, server, "one.test"));
    EXPECT_FALSE(client_resumes(certified, server, "one.test"));
    EXPECT_TRUE(client_resumes(certified, server, "one.test"));
    for (int i = 0; i < 2; ++i) EXPECT_FALSE(client_resumes(off, server, "one.test"));
    // Another server under the name cannot open the ticket, and is met anew.
    RawSide other(true, GetParam());
    EXPECT_FALSE(client_resumes(clients, other, "one.test"));
    // The last of so many names is still known, the first is not.
    for (int i = 0; i < 300; ++i) client_resumes(clients, server, (std::to_string(i) + ".test").c_str());
    EXPECT_FALSE(client_resumes(clients, server, "0.test"));
    EXPECT_TRUE(client_resumes(clients, server, "299.test"));
    // A server that was refused is asked for its certificate again.
    Acquired strict(SECPKG_CRED_OUTBOUND, nullptr, 0);
    for (int i = 0; i < 2; ++i)
        EXPECT_FALSE(client_resumes(strict, server, "three.test", SEC_E_WRONG_PRINCIPAL));
}

TEST(TicketKeys, SealForOnePeriodAndOpenForTwo) {
    TicketKeys keys;
    const TicketKeys::Clock::time_point start{};
    constexpr auto kPeriod = TicketKeys::kPeriod;
    constexpr std::chrono::nanoseconds kTick(1);
    TicketKeys::Key first, key;
    ASSERT_TRUE(keys.current(start, first));
    ASSERT_TRUE(keys.current(start + kPeriod - kTick, key));
    EXPECT_EQ(key.name, first.name);
    EXPECT_EQ(keys.find(first.name.data(), start + kPeriod - kTick, key), TicketKeys::Found::current);
    EXPECT_EQ(keys.find(first.name.data(), start + kPeriod, key), TicketKeys::Found::old);
    ASSERT_TRUE(keys.current(start + kPeriod, key));
    EXPECT_NE(key.name, first.name);
    EXPECT_NE(key.cipher, first.cipher);
    EXPECT_NE(key.mac, first.mac);
    EXPECT_EQ(keys.find(first.name.data(), start + 2 * kPeriod - kTick, key), TicketKeys::Found::old);
    EXPECT_EQ(key.cipher, first.cipher);
    EXPECT_EQ(keys.find(first.name.data(), start + 2 * kPeriod, key), TicketKeys::Found::none);
    first.name[0] ^= 1;
    EXPECT_EQ(keys.find(first.name.data(), start, key), TicketKeys::Found::none);
}

}  // namespace
