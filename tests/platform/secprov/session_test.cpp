// SPDX-License-Identifier: MIT
#include "session.h"

#include <gtest/gtest.h>

namespace {

using soap_test::Acquired;
using soap_test::Provider;
using soap_test::RawSide;
using soap_test::Side;

constexpr int kVersions[] = {TLS1_2_VERSION, TLS1_3_VERSION};

/// The provider's server and OpenSSL's client; what is left for the client to read stays in `to_client`.
void shake_hands(RawSide& client, Side& server) {
    std::string to_server = client.step("");
    while (server.status == SEC_I_CONTINUE_NEEDED || server.status == SEC_E_INCOMPLETE_MESSAGE) {
        const std::string token = server.step(to_server);
        to_server += client.step(token);
        if (server.status < 0 || (token.empty() && to_server.empty())) break;
    }
    ASSERT_EQ(server.status, SEC_E_OK);
}

/// The provider's client and OpenSSL's server; what came behind the handshake stays in `to_client`.
void shake_hands(Side& client, RawSide& server, std::string& to_client) {
    while (client.status == SEC_I_CONTINUE_NEEDED || client.status == SEC_I_INCOMPLETE_CREDENTIALS) {
        const std::string token = client.step(to_client);
        if (!token.empty()) to_client += server.step(token);
        if (client.status < 0) break;
    }
    ASSERT_EQ(client.status, SEC_E_OK);
}

class Session : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        ASSERT_NE(Provider::instance().table, nullptr);
        before = Provider::instance().live();
    }
    long before = 0;
    Acquired servers{SECPKG_CRED_INBOUND, "bank.test"};
    Acquired clients{SECPKG_CRED_OUTBOUND};
};
INSTANTIATE_TEST_SUITE_P(Tls, Session, testing::ValuesIn(kVersions));

TEST_P(Session, StandsHoweverTheClientsTokensAreCut) {
    for (std::size_t piece : {1U, 2U, 7U, 100U}) {
        RawSide client(false, GetParam());
        Side server(servers, true);
        std::string all = client.step("");
        std::string arrived;
        for (int round = 0; round < 3 && server.status != SEC_E_OK; ++round) {
            std::string answer;
            for (std::size_t at = 0; at < all.size(); at += piece) {
                arrived += all.substr(at, piece);
                do {
                    answer += server.step(arrived);
                } while (server.status == SEC_I_CONTINUE_NEEDED && !arrived.empty());
                ASSERT_TRUE(server.status >= 0 || server.status == SEC_E_INCOMPLETE_MESSAGE);
            }
            all = client.step(answer);
        }
        ASSERT_EQ(server.status, SEC_E_OK) << piece;
        EXPECT_EQ(client.open(server.seal("hello")), "hello");
    }
}

TEST_P(Session, CarriesDataBothWaysAndReportsWhatIsLeftOver) {
    RawSide client(false, GetParam());
    Side server(servers, true);
    shake_hands(client, server);
    const std::string large(16384, 'x');
    EXPECT_EQ(client.open(server.seal("hello")), "hello");
    EXPECT_EQ(client.open(server.seal(large)), large);

    const std::string first = client.seal("one");
    const std::string second = client.seal(large);
    std::string input = first + second;
    EXPECT_EQ(server.open(input), "one");
    EXPECT_EQ(input, second);
    // Every shorter piece of it is incomplete, and takes no harm.
    for (const std::size_t size :
         {std::size_t{1}, std::size_t{4}, std::size_t{5}, std::size_t{100}, second.size() - 1}) {
        std::string part = second.substr(0, size);
        EXPECT_EQ(server.open(part), "");
        EXPECT_EQ(server.status, SEC_E_INCOMPLETE_MESSAGE);
    }
    EXPECT_EQ(server.open(input), large);
    EXPECT_EQ(input, "");
    server.seal(std::string(16385, 'x'));
    EXPECT_EQ(server.status, SEC_E_BUFFER_TOO_SMALL);
}

TEST_P(Session, EndsWithACloseNotifyFromEitherSide) {
    RawSide client(false, GetParam());
    Side server(servers, true);
    shake_hands(client, server);
    EXPECT_EQ(client.open(server.goodbye()), "");
    EXPECT_EQ(server.status, SEC_E_OK);
    EXPECT_NE(SSL_get_shutdown(client.ssl) & SSL_RECEIVED_SHUTDOWN, 0);

    RawSide other(false, GetParam());
    Side listening(servers, true);
    shake_hands(other, listening);
    SSL_shutdown(other.ssl);
    std::string input = other.output();
    EXPECT_EQ(listening.open(input), "");
    EXPECT_EQ(listening.status, SEC_I_CONTEXT_EXPIRED);
}

TEST_P(Session, RefusesRecordsThatWereChanged) {
    for (const std::size_t at : {std::size_t{0}, std::size_t{1}, std::size_t{6}, std::size_t{30}}) {
        RawSide client(false, GetParam());
        Side server(servers, true);
        shake_hands(client, server);
        std::string input = client.seal("a text of some length");
        input[at] = static_cast<char>(input[at] ^ 0x40);
        EXPECT_EQ(server.open(input), "");
        EXPECT_TRUE(server.status == SEC_E_MESSAGE_ALTERED || server.status == SEC_E_ILLEGAL_MESSAGE) << at;
        std::string good = client.seal("good");
        server.open(good);
        EXPECT_EQ(server.status, SEC_E_UNSUPPORTED_FUNCTION);  // it has failed for good
    }
}

TEST_P(Session, OfAClientTakesInWhatComesBetweenRecords) {
    RawSide server(true, GetParam());
    Side client(clients, false);
    std::string rest;
    shake_hands(client, server, rest);
    std::string input = rest + server.seal("hello");
    std::string plain;
    for (int i = 0; i < 5 && plain.empty(); ++i) plain = client.open(input);
    EXPECT_EQ(plain, "hello");
    EXPECT_EQ(server.open(client.seal("welcome")), "welcome");
}

TEST_P(Session, AsksForACertificateThatIsNotThereAndGoesOnWithout) {
    RawSide server(true, GetParam());
    SSL_set_verify(server.ssl, SSL_VERIFY_PEER, nullptr);
    Side client(clients, false);
    bool asked = false;
    std::string input;
    while (client.status == SEC_I_CONTINUE_NEEDED || client.status == SEC_I_INCOMPLETE_CREDENTIALS) {
        const std::string token = client.step(input);
        asked = asked || client.status == SEC_I_INCOMPLETE_CREDENTIALS;
        if (!token.empty()) input += server.step(token);
    }
    EXPECT_TRUE(asked);
    EXPECT_EQ(client.status, SEC_E_OK);
    EXPECT_EQ(SSL_get0_peer_certificate(server.ssl), nullptr);
}

TEST_P(Session, ValidatesTheServerItselfUnlessToldNotTo) {
    Acquired strict(SECPKG_CRED_OUTBOUND, nullptr, 0);
    for (const auto& [file, status] : {std::pair("/my/server.pem", SEC_E_OK),
                                       std::pair("/my/client.pem", security_status(CERT_E_WRONG_USAGE))}) {
        RawSide server(true, GetParam(), file);
        Side client(strict, false);
        std::string input;
        while (client.status == SEC_I_CONTINUE_NEEDED || client.status == SEC_I_INCOMPLETE_CREDENTIALS) {
            const std::string token = client.step(input);
            if (!token.empty()) input += server.step(token);
        }
        EXPECT_EQ(client.status, status) << file;
    }
}

TEST_P(Session, RefusesAPeerThatShowsACertificateWithoutItsKey) {
    for (const bool poses : {false, true}) {
        SCOPED_TRACE(poses ? "another key" : "the right key");
        const SECURITY_STATUS good = poses ? SEC_E_MESSAGE_ALTERED : SEC_E_OK;
        {
            RawSide server(true, GetParam());
            if (poses) server.pose_as("/my/server.pem");
            Side client(clients, false);
            std::string input;
            while (client.status == SEC_I_CONTINUE_NEEDED) {
                const std::string token = client.step(input);
                if (!token.empty()) input += server.step(token);
            }
            EXPECT_EQ(client.status, good);
        }
        RawSide client(false, GetParam());
        if (poses) {
            client.pose_as("/my/client.pem");
        } else {
            const std::string file = Provider::instance().file("/my/client.pem");
            SSL_use_certificate_file(client.ssl, file.c_str(), SSL_FILETYPE_PEM);
            SSL_use_PrivateKey_file(client.ssl, file.c_str(), SSL_FILETYPE_PEM);
        }
        Side server(servers, true, true);
        std::string input = client.step("");
        while (server.status == SEC_I_CONTINUE_NEEDED) {
            const std::string token = server.step(input);
            input += client.step(token);
        }
        EXPECT_EQ(server.status, good);
        if (poses) {
            EXPECT_EQ(server.attributes & ASC_RET_EXTENDED_ERROR, ASC_RET_EXTENDED_ERROR);
        }
    }
    EXPECT_EQ(Provider::instance().live(), before);
}

TEST_P(Session, LeavesNothingBehind) {
    {
        RawSide client(false, GetParam());
        Side server(servers, true);
        shake_hands(client, server);
    }
    for (int i = 0; i < 500; ++i) {
        Side server(servers, true);
        std::string random(60, static_cast<char>(i));
        random.replace(0, 5, std::string("\x16\x03\x01\0\x37", 5));
        server.step(random);
        EXPECT_NE(server.status, SEC_E_OK);
    }
    EXPECT_EQ(Provider::instance().live(), before);
}

TEST_P(Session, AnswersARequestForNewKeys) {
    if (GetParam() != TLS1_3_VERSION) return;  // earlier versions have none
    RawSide client(false, GetParam());
    Side server(servers, true);
    shake_hands(client, server);
    SSL_key_update(client.ssl, SSL_KEY_UPDATE_REQUESTED);
    SSL_do_handshake(client.ssl);
    std::string input = client.output();
    EXPECT_EQ(server.open(input), "");
    EXPECT_EQ(server.status, SEC_E_OK);
    EXPECT_EQ(input, "");
    for (const char* const text : {"first under new keys", "second"}) {
        EXPECT_EQ(client.open(server.seal(text)), text);
        input = client.seal(text);
        EXPECT_EQ(server.open(input), text);
    }
    const std::string large(16384, 'y');
    SSL_key_update(client.ssl, SSL_KEY_UPDATE_REQUESTED);
    input = client.seal("and at once");
    EXPECT_EQ(server.open(input), "and at once");
    EXPECT_EQ(client.open(server.seal(large)), large);
}

TEST_P(Session, RefusesANewHandshake) {
    if (GetParam() != TLS1_2_VERSION) return;  // later versions have none
    RawSide client(false, GetParam());
    Side server(servers, true);
    shake_hands(client, server);
    SSL_renegotiate(client.ssl);
    std::string input = client.step("");
    ASSERT_FALSE(input.empty());
    server.open(input);
    EXPECT_EQ(server.status, SEC_E_UNSUPPORTED_FUNCTION);

    RawSide asking(true, GetParam());
    Side asked(clients, false);
    std::string rest;
    shake_hands(asked, asking, rest);
    SSL_renegotiate(asking.ssl);
    input = asking.step("");
    ASSERT_FALSE(input.empty());
    asked.open(input);
    EXPECT_EQ(asked.status, SEC_I_RENEGOTIATE);
    asked.step(input);
    EXPECT_EQ(asked.status, SEC_E_UNSUPPORTED_FUNCTION);
}

struct CipherCase {
    const char* name;
    const char* offered;  ///< by a client of TLS 1.2, in its order
    DWORD flags;
    const char* chosen;  ///< null: the handshake fails
};
constexpr CipherCase kCiphers[] = {
    {"ServersOrder", "ECDHE-ECDSA-AES256-GCM-SHA384:ECDHE-ECDSA-AES128-GCM-SHA256", 0,
     "ECDHE-ECDSA-AES128-GCM-SHA256"},
    {"NoAuthenticatedEncryption", "ECDHE-ECDSA-AES128-SHA", 0, nullptr},
    {"AllowedAsWeak", "ECDHE-ECDSA-AES128-SHA", kCredWeakCiphers, "ECDHE-ECDSA-AES128-SHA"},
    {"WeakOnesComeLast", "ECDHE-ECDSA-AES128-SHA:ECDHE-ECDSA-AES256-GCM-SHA384", kCredWeakCiphers,
     "ECDHE-ECDSA-AES256-GCM-SHA384"},
};

TEST(Ciphers, AreStrongOnesInTheServersOrderUnlessMoreAreAllowed) {
    for (const CipherCase& c : kCiphers) {
        SCOPED_TRACE(c.name);
        Acquired credentials(SECPKG_CRED_INBOUND, "bank.test", c.flags);
        RawSide client(false, TLS1_2_VERSION);
        ASSERT_EQ(SSL_set_cipher_list(client.ssl, c.offered), 1);
        Side server(credentials, true);
        if (c.chosen == nullptr) {
            std::string hello = client.step("");
            server.step(hello);
            EXPECT_EQ(server.status, SEC_E_ALGORITHM_MISMATCH);
            continue;
        }
        shake_hands(client, server);
        EXPECT_STREQ(SSL_get_cipher_name(client.ssl), c.chosen);
    }
}

TEST(Provider, RefusesWhatItCannotDo) {
    SecurityFunctionTableA& table = *Provider::instance().table;
    CredHandle credentials;
    SCHANNEL_CRED wanted;
    EXPECT_EQ(table.AcquireCredentialsHandleA(nullptr, "Kerberos", 2, nullptr, &wanted, nullptr, nullptr,
                                              &credentials, nullptr),
              SEC_E_SECPKG_NOT_FOUND);
    const auto acquire = [&](ULONG use) {
        return table.AcquireCredentialsHandleA(nullptr, UNISP_NAME_A, use, nullptr, &wanted, nullptr, nullptr,
                                               &credentials, nullptr);
    };
    EXPECT_EQ(acquire(2), SEC_E_UNKNOWN_CREDENTIALS);  // no version
    wanted.dwVersion = SCHANNEL_CRED_VERSION;
    EXPECT_EQ(acquire(3), SEC_E_NOT_OWNER);
    wanted.grbitEnabledProtocols = SP_PROT_SSL3;
    EXPECT_EQ(acquire(2), SEC_E_ALGORITHM_MISMATCH);
    EXPECT_EQ(table.FreeCredentialsHandle(&credentials), SEC_E_INVALID_HANDLE);
    CtxtHandle none;
    EXPECT_EQ(table.DeleteSecurityContext(&none), SEC_E_INVALID_HANDLE);
    EXPECT_EQ(table.ApplyControlToken(&none, nullptr), SEC_E_INVALID_HANDLE);
    EXPECT_EQ(table.EncryptMessage(&none, 0, nullptr, 0), SEC_E_INVALID_HANDLE);
    EXPECT_EQ(table.DecryptMessage(&none, nullptr, 0, nullptr), SEC_E_INVALID_HANDLE);
}

struct NameCase {
    const char* text;
    const char* same_as;  ///< null: it is no name
};
constexpr NameCase kNames[] = {
    {"CN=a", "CN = a "},
    {"O=Acme, CN=bank.example", "O=Acme;CN=bank.example"},
    {"O=\"Acme, Inc.\", CN=\"say \"\"hi\"\"\"", "O = \"Acme, Inc.\" ,CN=\"say \"\"hi\"\"\""},
    {"S=Bavaria,E=a@b.example", "ST=Bavaria, emailAddress=a@b.example"},
    {"2.5.4.3=a", "OID.2.5.4.3=a"},
    {"CN=a+OU=b", "CN=a + OU=b"},
    {"", nullptr},
    {"bank.example", nullptr},
    {"CN=", nullptr},
    {"CN=a,", nullptr},
    {"CN=\"a", nullptr},
    {"CN=\"a\"b", nullptr},
    {"NOSUCH=a", nullptr},
    {"=a", nullptr},
};

TEST(CertStrToName, EncodesNamesAndRefusesOthers) {
    const auto convert = Provider::instance().find<CertStrToNameFunction>("CertStrToNameA");
    const auto encoded = [convert](const char* text) {
        DWORD size = 0;
        if (!convert(X509_ASN_ENCODING, text, CERT_X500_NAME_STR, nullptr, nullptr, &size, nullptr))
            return std::string();
        std::string der(size, '\0');
        auto* const room = reinterpret_cast<unsigned char*>(der.data());
        EXPECT_TRUE(convert(X509_ASN_ENCODING, text, CERT_X500_NAME_STR, nullptr, room, &size, nullptr));
        --size;
        EXPECT_FALSE(convert(X509_ASN_ENCODING, text, CERT_X500_NAME_STR, nullptr, room, &size, nullptr));
        return der;
    };
    for (const NameCase& c : kNames) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(encoded(c.text), c.same_as != nullptr ? encoded(c.same_as) : "");
        EXPECT_EQ(encoded(c.text).empty(), c.same_as == nullptr);
    }
}

TEST(CertFindCertificateInStore, GoesOnBehindTheLast) {
    const Provider& p = Provider::instance();
    const auto find = p.find<CertFindCertificateFunction>("CertFindCertificateInStore");
    HCERTSTORE const store = p.find<CertOpenStoreFunction>("CertOpenStore")(
        certificate_kind(CERT_STORE_PROV_SYSTEM_W), X509_ASN_ENCODING, nullptr,
        CERT_SYSTEM_STORE_LOCAL_MACHINE, u"My");
    ASSERT_NE(store, nullptr);
    int found = 0;
    const CERT_CONTEXT* last = nullptr;
    while ((last = find(store, 1, 0, CERT_FIND_SUBJECT_STR_A, "o=CALDANE", last)) != nullptr) ++found;
    EXPECT_EQ(found, 2);
    EXPECT_EQ(find(store, 1, 0, CERT_FIND_SUBJECT_STR_A, "nobody", nullptr), nullptr);
    p.find<CertCloseStoreFunction>("CertCloseStore")(store, 0);
    EXPECT_EQ(p.find<CertOpenSystemStoreFunction>("CertOpenSystemStoreA")(nullptr, "ROOT"), nullptr);
}

}  // namespace
