// SPDX-License-Identifier: MIT
#include "secure/sspi_credentials.h"

#include <pelthread/memory.h>

#include <thread>

#include "scripted_provider.h"
#include "secure/secure_channel.h"

namespace {

using soap_test::printed_by;
using soap_test::ScriptedProvider;

TEST(SecurityProvider, HasItsModuleNamedByTheSystem) {
    EXPECT_STREQ(SecurityProvider::module_name(VER_PLATFORM_WIN32_NT, 4), "Security.dll");
    EXPECT_STREQ(SecurityProvider::module_name(VER_PLATFORM_WIN32_NT, 5), "Secur32.dll");
    EXPECT_STREQ(SecurityProvider::module_name(VER_PLATFORM_WIN32_WINDOWS, 4), "Secur32.dll");
    EXPECT_EQ(SecurityProvider::module_name(3, 5), nullptr);
}

TEST(SecurityProvider, IsLoadedByNameAndHasAllItsFunctions) {
    HMODULE const module = LoadLibraryA("Secur32.dll");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(GetProcAddress(module, "EncryptEverything"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(LoadLibraryA("no_such_library.so"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);

    CSspiCredentials* const credentials = createCredentials(2, 0, "bank.test");
    ASSERT_NE(credentials, nullptr);
    EXPECT_EQ(credentials->acquireCredentials(nullptr, 1, 0), SEC_E_OK);
    destroyCredentials(credentials);
}

TEST(SecurityProvider, StaysWhileAnyOfManyThreadsUsesIt) {
    std::vector<std::thread> threads;
    std::atomic<int> failures = 0;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&failures] {
            for (int round = 0; round < 50; ++round) {
                CSspiCredentials* const own = createCredentials(2, 0, nullptr);
                if (own == nullptr || own->acquireCredentials(nullptr, 1, 0) != SEC_E_OK) ++failures;
                destroyCredentials(own);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
}

TEST(SspiCredentials, AreNotMadeForOtherVendors) {
    EXPECT_EQ(createCredentials(1, 0, nullptr), nullptr);
    destroyCredentials(nullptr);
}

TEST(SspiCredentials, AreNotMadeWithoutMemory) {
    ScriptedProvider provider;
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(createCredentials(2, 0, nullptr), nullptr);
    PEL_Fault::fail_allocation(0);
    CSspiCredentials* const credentials = createCredentials(2, 0, nullptr);
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(credentials->createChannel(kVqNoSocket), nullptr);
    PEL_Fault::fail_allocation(0);
    destroyCredentials(credentials);
}

struct MaskCase {
    std::int32_t selector;
    DWORD mask;
};
constexpr MaskCase kMasks[] = {{0, 0}, {2, 12}, {3, 48}, {4, 0xFFFFFFC0}, {5, 0}, {-1, 0}};

TEST(SspiCredentials, TellTheProviderTheProtocols) {
    ScriptedProvider provider;
    for (const MaskCase& c : kMasks) {
        CSspiCredentials* const credentials = createCredentials(2, c.selector, nullptr);
        EXPECT_EQ(credentials->acquireCredentials(nullptr, 0, 0), SEC_E_OK);
        EXPECT_EQ(provider.acquired.grbitEnabledProtocols, c.mask) << c.selector;
        destroyCredentials(credentials);
    }
}

TEST(SspiCredentials, DifferByTheSideThatTheyAreFor) {
    ScriptedProvider provider;
    CSspiCredentials* const credentials = createCredentials(2, 0, "host");
    EXPECT_STREQ(credentials->getTargetName(), "host");
    EXPECT_EQ(credentials->acquireCredentials(nullptr, 1, 0), SEC_E_OK);
    EXPECT_EQ(provider.acquired.dwVersion, 4U);
    EXPECT_EQ(provider.acquired.dwFlags, 0x18U);
    EXPECT_EQ(provider.acquired.cCreds, 0U);
    EXPECT_EQ(provider.acquired_use, 2U);
    destroyCredentials(credentials);

    CSspiCredentials* const servers = createCredentials(2, 0, nullptr);
    EXPECT_EQ(servers->acquireCredentials("part", 0, 0), SEC_E_OK);
    EXPECT_EQ(provider.wanted_subject, "part");
    EXPECT_EQ(provider.acquired.dwFlags, 0U);
    EXPECT_EQ(provider.acquired.cCreds, 1U);
    EXPECT_EQ(provider.acquired_use, 1U);
    EXPECT_EQ(servers->acquireCredentials("part", 0, 0), SEC_E_OK);
    destroyCredentials(servers);
    EXPECT_EQ(provider.stores_opened, (std::vector<std::string>{"MY", "machine"}));
    EXPECT_EQ(provider.stores_closed, 2);
    EXPECT_EQ(provider.certificates_freed, 2);
    EXPECT_EQ(provider.credentials_freed, 3);
}

struct AcquireCase {
    const char* name;
    void (*prepare)(ScriptedProvider&);
    const char* subject;
    int exact;
    SECURITY_STATUS status;
    const char* printed;
};

const AcquireCase kAcquireCases[] = {
    {"NoStore", [](ScriptedProvider& p) { p.has_store = false; }, nullptr, 0, SEC_E_NO_CREDENTIALS,
     "**** Error 0x5 returned by CertOpenSystemStore\n"},
    {"NoCertificate", [](ScriptedProvider& p) { p.has_certificate = false; }, "x", 0, SEC_E_NO_CREDENTIALS,
     "**** Error 0x7 returned by CertFindCertificateInStore\n"},
    {"ByExactName", [](ScriptedProvider&) {}, "CN=x", 1, SEC_E_OK, "CertStrToName created the BLOB.\n"},
    {"NoName", [](ScriptedProvider& p) { p.name_is_good = p.has_certificate = false; }, "x", 1,
     SEC_E_NO_CREDENTIALS,
     "Could not get the lenth of the BLOB==6\nCould not create the BLOB.\n"
     "**** Error 0x7 returned by CertFindCertificateInStore\n"},
    {"NoMemory", [](ScriptedProvider& p) { p.acquire_status = SEC_E_INSUFFICIENT_MEMORY; }, nullptr, 0,
     SEC_E_INSUFFICIENT_MEMORY,
     "Not enough memory is available to complete the request. \n"
     "**** Error 0x80090300 returned by AcquireCredentialsHandle\n"},
    {"Internal", [](ScriptedProvider& p) { p.acquire_status = SEC_E_INTERNAL_ERROR; }, nullptr, 0,
     SEC_E_INTERNAL_ERROR,
     "The Local Security Authority (LSA) cannot be contacted. \n"
     "**** Error 0x80090304 returned by AcquireCredentialsHandle\n"},
    {"NoPackage", [](ScriptedProvider& p) { p.acquire_status = SEC_E_SECPKG_NOT_FOUND; }, nullptr, 0,
     SEC_E_SECPKG_NOT_FOUND,
     "The requested security package does not exist\n"
     "**** Error 0x80090305 returned by AcquireCredentialsHandle\n"},
    {"NotOwner", [](ScriptedProvider& p) { p.acquire_status = SEC_E_NOT_OWNER; }, nullptr, 0, SEC_E_NOT_OWNER,
     "The caller of the function does not have the necessary credentials. \n"
     "**** Error 0x80090306 returned by AcquireCredentialsHandle\n"},
    {"Unknown", [](ScriptedProvider& p) { p.acquire_status = SEC_E_UNKNOWN_CREDENTIALS; }, "x", 0,
     SEC_E_UNKNOWN_CREDENTIALS,
     "The credentials supplied to the package were not recognized. \n"
     "**** Error 0x8009030d returned by AcquireCredentialsHandle\n"},
    {"WithoutWords", [](ScriptedProvider& p) { p.acquire_status = SEC_E_ALGORITHM_MISMATCH; }, nullptr, 0,
     SEC_E_ALGORITHM_MISMATCH, "**** Error 0x80090331 returned by AcquireCredentialsHandle\n"},
};

TEST(SspiCredentials, TellWhyTheyCannotBeHad) {
    for (const AcquireCase& c : kAcquireCases) {
        SCOPED_TRACE(c.name);
        ScriptedProvider provider;
        c.prepare(provider);
        CSspiCredentials* const credentials = createCredentials(2, 0, nullptr);
        const std::string printed =
            printed_by([&] { EXPECT_EQ(credentials->acquireCredentials(c.subject, 1, c.exact), c.status); });
        EXPECT_EQ(printed, c.printed);
        destroyCredentials(credentials);
        EXPECT_EQ(provider.credentials_freed, c.status == SEC_E_OK ? 1 : 0);
        EXPECT_EQ(provider.certificates_freed, c.subject != nullptr && provider.has_certificate ? 1 : 0);
    }
}

}  // namespace
