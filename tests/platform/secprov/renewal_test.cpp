// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "certificate_files.h"
#include "session.h"

namespace {

using soap_test::Acquired;
using soap_test::Provider;
using soap_test::RawSide;
using soap_test::Side;
using soap_test::TestFolder;
using soap_test::text_of;
using soap_test::write_file;

/// What the server shows to a new client, as DER; "" if the handshake fails.
std::string shown_by(Acquired& servers) {
    RawSide client(false, TLS1_3_VERSION);
    Side server(servers, true);
    std::string to_server = client.step("");
    while (server.status == SEC_I_CONTINUE_NEEDED) {
        const std::string token = server.step(to_server);
        to_server += client.step(token);
    }
    unsigned char* der = nullptr;
    const int size = i2d_X509(SSL_get0_peer_certificate(client.ssl), &der);
    const std::string all(reinterpret_cast<char*>(der), size > 0 ? static_cast<std::size_t>(size) : 0);
    OPENSSL_free(der);
    return server.status == SEC_E_OK ? all : "";
}

/// Files are looked at once a second: true if the condition comes true in a few.
template <class Condition>
bool soon(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

TEST(Renewal, CountsForTheNextHandshakeAndABrokenFileDoesNot) {
    TestFolder folder("renewed.test");
    const std::string file = folder.file("/my/server.pem");
    Acquired servers(SECPKG_CRED_INBOUND, "renewed.test");
    const std::string first = shown_by(servers);
    ASSERT_NE(first, "");
    RawSide client(false, TLS1_3_VERSION);
    Side standing(servers, true);
    std::string to_server = client.step("");
    while (standing.status == SEC_I_CONTINUE_NEEDED) {
        const std::string token = standing.step(to_server);
        to_server += client.step(token);
    }

    folder.make("renewed.test");
    EXPECT_TRUE(soon([&] { return shown_by(servers) != first; }));
    EXPECT_EQ(client.open(standing.seal("goes on")), "goes on");
    const std::string second = shown_by(servers);
    const std::string good = text_of(file);

    const std::string key = good.substr(good.find("-----BEGIN PRIVATE"));
    const std::string stranger = text_of(folder.file("/my/client.pem"));
    const std::string broken[] = {
        "", good.substr(0, good.size() / 2), good.substr(0, good.size() - key.size()),
        good.substr(0, good.size() - key.size()) + stranger.substr(stranger.find("-----BEGIN PRIVATE"))};
    for (const std::string& text : broken) {
        testing::internal::CaptureStderr();
        write_file(file, text);
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1200);
        while (std::chrono::steady_clock::now() < end) EXPECT_EQ(shown_by(servers), second);
        const std::string said = testing::internal::GetCapturedStderr();
        const std::string::size_type at = said.find("stays in force");
        if (&text == broken) {
            EXPECT_NE(at, std::string::npos) << said;
        }
        EXPECT_EQ(said.find("stays in force", at == std::string::npos ? 0 : at + 1), std::string::npos)
            << said;
    }
    folder.make("renewed.test");
    EXPECT_TRUE(soon([&] { return shown_by(servers) != second; }));
}

TEST(Renewal, GoesOnWhileManyShakeHands) {
    TestFolder folder("renewed.test");
    Acquired servers(SECPKG_CRED_INBOUND, "renewed.test");
    std::atomic<bool> done = false;
    std::atomic<int> failed = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            while (!done) failed += shown_by(servers).empty() ? 1 : 0;
        });
    const std::string first = shown_by(servers);
    for (int i = 0; i < 2; ++i) {
        const std::string before = shown_by(servers);
        folder.make("renewed.test");
        EXPECT_TRUE(soon([&] { return shown_by(servers) != before; }));
    }
    done = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failed, 0);
}

/// What is found wrong with the folder's certificate for a server.
SECURITY_STATUS judged(const char* subject) {
    const Provider& p = Provider::instance();
    HCERTSTORE const store = p.find<CertOpenSystemStoreFunction>("CertOpenSystemStoreA")(nullptr, "MY");
    const CERT_CONTEXT* const found = p.find<CertFindCertificateFunction>("CertFindCertificateInStore")(
        store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_A, subject, nullptr);
    p.find<CertCloseStoreFunction>("CertCloseStore")(store, 0);
    if (found == nullptr) return SEC_E_NO_CREDENTIALS;
    const CERT_CHAIN_CONTEXT* chain = nullptr;
    p.find<CertGetChainFunction>("CertGetCertificateChain")(nullptr, found, nullptr, nullptr, nullptr, 0,
                                                            nullptr, &chain);
    char16_t name[] = u"trust.test";
    HTTPSPolicyCallbackData wanted;
    wanted.dwAuthType = AUTHTYPE_SERVER;
    wanted.pwszServerName = name;
    CERT_CHAIN_POLICY_PARA parameter;
    parameter.pvExtraPolicyPara = &wanted;
    CERT_CHAIN_POLICY_STATUS result;
    p.find<CertVerifyPolicyFunction>("CertVerifyCertificateChainPolicy")(
        certificate_kind(CERT_CHAIN_POLICY_SSL), chain, &parameter, &result);
    p.find<CertFreeChainFunction>("CertFreeCertificateChain")(chain);
    p.find<CertFreeCertificateFunction>("CertFreeCertificateContext")(found);
    return security_status(result.dwError);
}

constexpr char kDamaged[] = "-----BEGIN CERTIFICATE-----\nMIIBdamaged\n-----END CERTIFICATE-----\n";

struct RootCase {
    const char* name;
    bool trusted;  ///< turns with each row, so that it is seen when the files have been read
    std::function<void(TestFolder&)> change;
};
const RootCase kRoots[] = {
    {"AsMade", true, [](TestFolder&) {}},
    {"Empty", false, [](TestFolder& f) { std::filesystem::remove(f.file("/root/authority.pem")); }},
    {"BehindADamagedOne", true,
     [](TestFolder& f) { write_file(f.file("/root/a.pem"), kDamaged + f.authority + kDamaged); }},
    {"FileThatAnybodyWrites", false,
     [](TestFolder& f) {
         std::filesystem::permissions(f.file("/root/a.pem"), std::filesystem::perms{0666});
     }},
    {"ThatNobodyElseWrites", true,
     [](TestFolder& f) {
         std::filesystem::permissions(f.file("/root/a.pem"), std::filesystem::perms{0644});
     }},
    {"FolderThatAnybodyWrites", false,
     [](TestFolder& f) { std::filesystem::permissions(f.file("/root"), std::filesystem::perms{01777}); }},
    {"ThatOnlyTheOwnerWrites", true,
     [](TestFolder& f) { std::filesystem::permissions(f.file("/root"), std::filesystem::perms{0755}); }},
};

TEST(Authorities, AreThoseThatStandInTheFolderNow) {
    TestFolder folder("trust.test");
    testing::internal::CaptureStderr();
    for (const RootCase& c : kRoots) {
        SCOPED_TRACE(c.name);
        c.change(folder);
        const SECURITY_STATUS wanted = c.trusted ? SEC_E_OK : security_status(CERT_E_UNTRUSTEDROOT);
        EXPECT_TRUE(soon([&] { return judged("trust.test") == wanted; })) << std::hex << judged("trust.test");
    }
    const std::string said = testing::internal::GetCapturedStderr();
    for (const char* const part : {"a.pem: 2 certificates in it are damaged", "a.pem: everybody can write",
                                   "root: everybody can write"})
        EXPECT_NE(said.find(part), std::string::npos) << said;
}

TEST(Authorities, NeedNotStandAtTheTop) {
    TestFolder folder("trust.test");
    folder.issue("between", "basicConstraints=critical,CA:TRUE", "root/authority.pem", "authority.key");
    folder.issue("below", "subjectAltName=DNS:trust.test\nextendedKeyUsage=serverAuth", "between.crt",
                 "between.key");
    write_file(folder.file("/my/below.pem"), text_of(folder.file("/below.crt")));
    EXPECT_TRUE(soon([&] { return judged("below") == security_status(CERT_E_UNTRUSTEDROOT); }));
    std::filesystem::remove(folder.file("/root/authority.pem"));
    write_file(folder.file("/root/between.pem"), text_of(folder.file("/between.crt")));
    EXPECT_TRUE(soon([&] { return judged("below") == SEC_E_OK; }));
}

TEST(CertFindCertificateInStore, PrefersACertificateThatIsInDate) {
    TestFolder folder("trust.test");
    folder.issue("old", "subjectAltName=DNS:trust.test", "root/authority.pem", "authority.key", -1);
    folder.issue("new", "subjectAltName=DNS:trust.test", "root/authority.pem", "authority.key", 2);
    write_file(folder.file("/my/a.pem"), text_of(folder.file("/old.crt")));
    // Better than none.
    EXPECT_TRUE(soon([] { return judged("CN=issued") == security_status(CERT_E_EXPIRED); }));
    write_file(folder.file("/my/b.pem"), text_of(folder.file("/new.crt")));
    EXPECT_EQ(judged("CN=issued"), SEC_E_OK);
}

struct ModeCase {
    const char* file;
    unsigned before, after;
};
constexpr ModeCase kModes[] = {{"/root", 0700, 0700},
                               {"/root", 01777, 01777},
                               {"/my/server.pem", 0644, 0600},
                               {"/my/client.pem", 0640, 0600}};

TEST(CertificateTool, KeepsTheModesOfFoldersAndKeysToTheOwner) {
    TestFolder folder("trust.test");
    const auto mode = [&folder](const char* file) {
        return static_cast<unsigned>(std::filesystem::status(folder.file(file)).permissions());
    };
    EXPECT_EQ(mode("/root"), 0755U);
    for (const ModeCase& c : kModes) {
        SCOPED_TRACE(c.file);
        std::filesystem::permissions(folder.file(c.file), std::filesystem::perms{c.before});
        folder.make("trust.test");
        EXPECT_EQ(mode(c.file), c.after);
    }
}

TEST(PrivateKeys, ThatEverybodyCanReadAreTold) {
    TestFolder folder("trust.test");
    const std::string file = folder.file("/my/server.pem");
    testing::internal::CaptureStderr();
    judged("trust.test");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    std::filesystem::permissions(file, std::filesystem::perms{0644});
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) judged("trust.test");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "certificates: " + file +
                  ": everybody can read the private key in it; chmod 600 it, and think of a new key\n");
}

}  // namespace
