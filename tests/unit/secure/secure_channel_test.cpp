// SPDX-License-Identifier: MIT
#include "secure/secure_channel.h"

#include <pelthread/thread.h>
#include <vqsys/net.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "scripted_provider.h"
#include "secure/peer_validation.h"
#include "secure/sspi_credentials.h"
#include "support/piecewise_stream.h"

namespace {

using soap_test::printed_by;
using soap_test::ScriptedProvider;
using Step = ScriptedProvider::Step;

constexpr char kHello[] = "\x16hello";

/// A channel over a pair of sockets, with a provider that does what it is told.
class SecureChannel : public testing::Test {
protected:
    SecureChannel()
        : credentials(createCredentials(2, 0, "bank.test")), channel(credentials->createChannel(pair.near)) {}
    ~SecureChannel() override {
        if (channel) {
            channel->closeServer();
            channel->closeClient();
        }
        channel.reset();
        destroyCredentials(credentials);
        EXPECT_EQ(provider.contexts, 0);
        EXPECT_EQ(provider.tokens_given, provider.tokens_freed);
    }

    /// A client's session that stands.
    void connect() {
        provider.steps = {{SEC_I_CONTINUE_NEEDED, "hello"}, {SEC_E_OK}};
        ASSERT_TRUE(pair.send("welcome"));
        ASSERT_EQ(channel->clientHandshake(), 0);
        EXPECT_EQ(pair.received(), "hello");
        provider.inputs.clear();
    }

    std::string read(int length) {
        std::string text(static_cast<std::size_t>(length), '?');
        text.resize(static_cast<std::size_t>(channel->read(text.data(), length)));
        return text;
    }

    /// Sends from the far end as soon as what was sent before has been read.
    std::jthread send_when_read(std::string text) {
        return std::jthread([this, text = std::move(text)] {
            while (vqNetPeek(pair.near) == vqNetState::readable) std::this_thread::yield();
            static_cast<void>(pair.send(text));
        });
    }

    ScriptedProvider provider;
    SocketPair pair;
    CSspiCredentials* credentials;
    std::unique_ptr<CSecureChannel> channel;
};

TEST_F(SecureChannel, TakesATokenInPiecesAndTheNextOneFromTheSameSegment) {
    provider.steps = {{SEC_I_CONTINUE_NEEDED, "hello"},
                      {SEC_E_INCOMPLETE_MESSAGE},
                      {SEC_I_CONTINUE_NEEDED, "more", 3},
                      {SEC_E_OK, "done", 2}};
    ASSERT_TRUE(pair.send("ab"));
    const std::jthread later = send_when_read("cdefg");
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->clientHandshake(), 0); }), "");
    EXPECT_EQ(provider.target, "bank.test");
    EXPECT_EQ(provider.requirements, 0xC11CU);
    EXPECT_EQ(pair.received(), "hellomoredone");
    ASSERT_EQ(provider.inputs.size(), 4U);
    EXPECT_EQ(provider.inputs[2], "abcdefg");
    EXPECT_EQ(provider.inputs[3], "efg");  // without another receive
    // What came behind the handshake is the first record.
    provider.steps = {{.status = SEC_E_OK, .plain = 2}};
    EXPECT_EQ(read(10), "fg");
    EXPECT_EQ(provider.inputs.back(), "fg");
}

TEST_F(SecureChannel, AnswersWithoutReadingWhereTheServerAsksForACertificateThatIsNotThere) {
    provider.steps = {{SEC_I_CONTINUE_NEEDED, "hello"}, {SEC_I_INCOMPLETE_CREDENTIALS}, {SEC_E_OK, "none"}};
    ASSERT_TRUE(pair.send("give"));
    EXPECT_EQ(channel->clientHandshake(), 0);
    EXPECT_EQ(provider.inputs, (std::vector<std::string>{"", "give", "give"}));
    EXPECT_EQ(pair.received(), "hellonone");
}

struct ClientFailure {
    const char* name;
    std::deque<Step> steps;
    const char* from_server;
    const char* printed;
    const char* sent;
};

const ClientFailure kClientFailures[] = {
    {"First",
     {{SEC_E_INTERNAL_ERROR}},
     "",
     "**** Error -2146893052 returned by InitializeSecurityContext (1)\n",
     ""},
    {"Refused",
     {{SEC_I_CONTINUE_NEEDED, "hello"}, {SEC_E_ILLEGAL_MESSAGE, "alert"}},
     "x",
     "**** Error 0x80090326 returned by InitializeSecurityContext (2)\n",
     "hello"},
    {"RefusedAndTold",
     {{SEC_I_CONTINUE_NEEDED, "hello"}, {SEC_E_ILLEGAL_MESSAGE, "alert", 0, 0x4000}},
     "x",
     "**** Error 0x80090326 returned by InitializeSecurityContext (2)\n",
     "helloalert"},
    {"Closed", {{SEC_I_CONTINUE_NEEDED, "hello"}, {SEC_I_CONTINUE_NEEDED}}, "x", "", "hello"},
};

TEST_F(SecureChannel, LeavesNothingOfAClientsHandshakeThatFails) {
    for (const ClientFailure& c : kClientFailures) {
        SCOPED_TRACE(c.name);
        SocketPair other;
        CSecureChannel own(other.near, credentials);
        provider.steps = c.steps;
        ASSERT_TRUE(other.send(c.from_server));
        vqNetShutdownWrite(other.far);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(own.clientHandshake(), -1); }), c.printed);
        EXPECT_EQ(other.received(), c.sent);
        EXPECT_EQ(provider.contexts, 0);
        EXPECT_EQ(own.closeClient(), SEC_E_OK);
    }
}

TEST_F(SecureChannel, FailsWhereATokenFillsTheBuffer) {
    provider.steps = {{SEC_I_CONTINUE_NEEDED, "hello"}};
    for (int i = 0; i < 40000; ++i) provider.steps.push_back({SEC_E_INCOMPLETE_MESSAGE});
    ASSERT_TRUE(pair.send(std::string(40000, 'x')));
    EXPECT_EQ(channel->clientHandshake(), -1);
    EXPECT_EQ(provider.inputs.back().size(), static_cast<std::size_t>(CSecureChannel::kBufferSize));
}

TEST_F(SecureChannel, GivesUpWhenTimeIsUp) {
    provider.steps = {{SEC_I_CONTINUE_NEEDED, "hello"}};
    channel->limitHandshake(0.05);
    EXPECT_EQ(channel->clientHandshake(), -1);
    channel->limitHandshake(0.05);
    EXPECT_EQ(channel->serverHandshake(), 0);
}

TEST_F(SecureChannel, AcceptsAClientAndKeepsWhatCameBehind) {
    provider.steps = {
        {SEC_I_CONTINUE_NEEDED, "welcome", 2}, {SEC_E_OK, "done", 1}, {.status = SEC_E_OK, .plain = 1}};
    ASSERT_TRUE(pair.send(kHello));
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->serverHandshake(), 1); }), "");
    EXPECT_EQ(provider.requirements, 0x1811CU);
    EXPECT_EQ(pair.received(), "welcomedone");
    EXPECT_EQ(provider.inputs, (std::vector<std::string>{kHello, "lo"}));
    EXPECT_TRUE(channel->hasUnread());
    EXPECT_EQ(read(10), "o");
    EXPECT_FALSE(channel->hasUnread());
}

TEST_F(SecureChannel, AsksNoProviderAboutWhatIsNoHello) {
    ASSERT_TRUE(pair.send("GET / HTTP/1.1\r\n"));
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->serverHandshake(), 0); }),
              "not a correct ClientHello Message\nSSL handshake fail, Couldn't connect\n");
    EXPECT_TRUE(provider.inputs.empty());
    provider.steps = {{SEC_E_OK}};
    ASSERT_TRUE(pair.send("\x80"));
    EXPECT_EQ(channel->serverHandshake(), 1);
}

TEST_F(SecureChannel, DeletesAServersContextThatFailed) {
    provider.steps = {{SEC_E_ILLEGAL_MESSAGE, "alert", 0, 0x4000}};
    ASSERT_TRUE(pair.send(kHello));
    EXPECT_EQ(
        printed_by([&] { EXPECT_EQ(channel->serverHandshake(), 0); }),
        "Accept Security Context Failed with error code 80090326\nSSL handshake fail, Couldn't connect\n");
    EXPECT_EQ(provider.contexts, 0);
    EXPECT_EQ(pair.received(), "alert");
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->closeServer(), 1); }), "");

    // One whose peer leaves in the middle ends with its channel.
    provider.steps = {{SEC_I_CONTINUE_NEEDED, "more", 0, 0x4000}};
    ByteQueue out;
    EXPECT_EQ(channel->stepServerHandshake(kHello, out), TlsState::wants_input);
    EXPECT_EQ(provider.contexts, 1);
    channel.reset();
    EXPECT_EQ(provider.contexts, 0);
}

TEST_F(SecureChannel, DemandsAClientsCertificateWhereItWasTold) {
    channel->setClientAuthRequired(1);
    ASSERT_TRUE(pair.send(kHello));
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->serverHandshake(), 1); }),
              "\nAuth succeeded, ready for command\n");
    EXPECT_EQ(provider.requirements, 0x1811EU);
    EXPECT_EQ(provider.usages, (std::vector<std::string>{"1.3.6.1.5.5.7.3.2"}));
    EXPECT_EQ(provider.policy.dwAuthType, 1U);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->closeServer(), 1); }), "");

    provider.peer = nullptr;
    ASSERT_TRUE(pair.send(kHello));
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->serverHandshake(), 0); }),
              "Error 0x80090322 authenticating client credentials\n");
}

TEST_F(SecureChannel, ServesSmallReadsFromOneRecordAndTheNextFromTheSameSegment) {
    connect();
    provider.steps = {{.status = SEC_E_OK, .extra = 4, .plain = 6}, {.status = SEC_E_OK, .plain = 4}};
    ASSERT_TRUE(pair.send("abcdefWXYZ"));
    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(read(3), "cde");
    EXPECT_EQ(read(3), "f");  // of one record at most
    EXPECT_EQ(provider.inputs.size(), 1U);
    EXPECT_EQ(read(9), "WXYZ");
    EXPECT_EQ(provider.inputs, (std::vector<std::string>{"abcdefWXYZ", "WXYZ"}));
}

TEST_F(SecureChannel, ReadsOnBehindRecordsWithoutData) {
    connect();
    provider.steps = {
        {.status = SEC_E_OK, .extra = 3}, {SEC_E_INCOMPLETE_MESSAGE}, {.status = SEC_E_OK, .plain = 5}};
    ASSERT_TRUE(pair.send("..abc"));
    const std::jthread later = send_when_read("de");
    EXPECT_EQ(read(9), "abcde");
}

TEST_F(SecureChannel, KeepsWhatWasNotReadWhileItWrites) {
    connect();
    provider.steps = {{.status = SEC_E_OK, .extra = 4, .plain = 6}, {.status = SEC_E_OK, .plain = 4}};
    ASSERT_TRUE(pair.send("abcdefWXYZ"));
    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(channel->write("reply", 5), 11);
    EXPECT_EQ(channel->write("more", 4), 10);
    EXPECT_EQ(pair.received(), "<<<<<reply><<<<<more>");
    EXPECT_TRUE(channel->hasUnread());
    EXPECT_EQ(read(9), "cdef");
    EXPECT_EQ(read(9), "WXYZ");

    provider.steps = {{.status = SEC_E_OK, .plain = 2}};
    ASSERT_TRUE(pair.send("xy"));
    EXPECT_EQ(read(1), "x");
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(channel->write("reply", 5), 0);
    PEL_Fault::fail_allocation(0);
    EXPECT_EQ(read(1), "y");
}

TEST_F(SecureChannel, EndsWithoutAWordWhereThePeerDoes) {
    connect();
    provider.steps = {{SEC_I_CONTEXT_EXPIRED}};
    ASSERT_TRUE(pair.send("bye"));
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(read(9), ""); }), "");
    pair.close_far();
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(read(9), ""); }), "");
}

TEST_F(SecureChannel, SaysThatARecordIsNoGood) {
    connect();
    provider.steps = {{SEC_E_MESSAGE_ALTERED}};
    ASSERT_TRUE(pair.send("spoilt"));
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(read(9), ""); }), "*** Error Decrypting Message\n");
}

TEST_F(SecureChannel, GoesOnBehindARenegotiationWithWhatItLeftOver) {
    connect();
    provider.steps = {{SEC_I_RENEGOTIATE},
                      {SEC_I_CONTINUE_NEEDED, "again"},
                      {SEC_E_OK, "done", 3},
                      {.status = SEC_E_OK, .plain = 3}};
    ASSERT_TRUE(pair.send("please"));
    const std::jthread later = send_when_read("welcomeabc");
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(read(9), "abc"); }), "Server requested renegotiate!\n");
    EXPECT_EQ(provider.inputs, (std::vector<std::string>{"please", "", "welcomeabc", "abc"}));
    EXPECT_EQ(pair.received(), "againdone");

    provider.steps = {{SEC_I_RENEGOTIATE}, {SEC_E_UNSUPPORTED_FUNCTION}};
    ASSERT_TRUE(pair.send("please"));
    EXPECT_EQ(
        printed_by([&] { EXPECT_EQ(read(9), ""); }),
        "Server requested renegotiate!\n**** Error 0x80090302 returned by InitializeSecurityContext (2)\n"
        "*** Error Decrypting Message\n");
    EXPECT_EQ(channel->write("x", 1), 0);
}

TEST_F(SecureChannel, SplitsWhatIsLargerThanARecord) {
    connect();
    EXPECT_EQ(channel->write(std::string(40, 'x').c_str(), 40), 40 + 3 * 6);
    const std::string full = "<<<<<" + std::string(16, 'x') + ">";
    EXPECT_EQ(pair.received(), full + full + "<<<<<xxxxxxxx>");
    EXPECT_EQ(channel->write("", 0), 0);
    provider.encrypt_status = SEC_E_INTERNAL_ERROR;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->write("x", 1), 0); }),
              " EncryptMessage failed with 0x80090304\n");
    provider.encrypt_status = SEC_E_OK;
    pair.close_far();
    static_cast<void>(channel->write("x", 1));  // the first may still be taken by the system
    EXPECT_EQ(channel->write("x", 1), -1);
}

TEST_F(SecureChannel, SendsNothingMoreWhenItsTimeIsUp) {
    using Clock = std::chrono::steady_clock;
    connect();
    ASSERT_EQ(vqNetSetTimeout(pair.near, 5), VQOK);
    const auto start = Clock::now();
    channel->limitSends(start + std::chrono::milliseconds(200));
    const std::string large(4'000'000, 'x');  // more than the system takes while nobody reads
    EXPECT_EQ(channel->write(large.data(), static_cast<int>(large.size())), -1);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
    EXPECT_EQ(channel->write("x", 1), -1);
}

TEST_F(SecureChannel, WaitsForTheRestOfARecordOnlyWhileThereIsTime) {
    using Clock = std::chrono::steady_clock;
    connect();
    for (const bool exactly : {true, false}) {
        // Each byte comes long before the socket's own limit.
        ASSERT_EQ(vqNetSetTimeout(pair.near, exactly ? 5 : 0.3), VQOK);
        std::atomic<bool> done = false;
        std::thread peer([&] {
            for (int i = 0; i < 150 && !done; ++i, PEL_Thread::delay(0.02)) static_cast<void>(pair.send("<"));
        });
        const auto start = Clock::now();
        channel->limitReads(start + std::chrono::milliseconds(200), exactly);
        EXPECT_EQ(read(10), "");
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
        done = true;
        peer.join();
    }
}

TEST_F(SecureChannel, LetsAWriteWaitForTheOneThatFollows) {
    connect();
    channel->moreFollows();
    EXPECT_EQ(channel->write("head", 4), 4);
    EXPECT_EQ(pair.received(), "");
    EXPECT_EQ(channel->write("and a long body", 15), 4 + 15 + 2 * 6);
    EXPECT_EQ(pair.received(), "<<<<<headand a long b><<<<<ody>");
    channel->moreFollows();
    EXPECT_EQ(channel->write("too long to wait", 17), 17 + 2 * 6);
    pair.received();
    channel->moreFollows();
    EXPECT_EQ(channel->write("held", 4), 4);
    pair.finish_far();
    EXPECT_EQ(read(1), "");
    EXPECT_EQ(pair.received(), "<<<<<held>");
    channel->moreFollows();
    EXPECT_EQ(channel->write("last", 4), 4);
    channel->closeClient();
    EXPECT_EQ(pair.received(), "<<<<<last>");
}

TEST_F(SecureChannel, TellsItsSizes) {
    connect();
    int header = 0;
    int trailer = 0;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->getStreamSizes(&header, &trailer), 16); }),
              "\nHeader: 5, Trailer: 3, MaxMessage: 16\n");
    EXPECT_EQ(header, 5);
    EXPECT_EQ(trailer, 3);
    provider.sizes_status = SEC_E_INVALID_HANDLE;
    EXPECT_EQ(channel->getStreamSizes(&header, &trailer), -1);
}

TEST_F(SecureChannel, SaysGoodbyeOnce) {
    connect();
    provider.steps = {{SEC_E_OK, "bye"}};
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->closeClient(), SEC_E_OK); }), "");
    EXPECT_EQ(channel->closeClient(), SEC_E_OK);
    EXPECT_EQ(pair.received(), "bye");
    EXPECT_EQ(provider.contexts, 0);

    ASSERT_TRUE(pair.send(kHello));
    ASSERT_EQ(channel->serverHandshake(), 1);
    provider.steps = {{SEC_E_OK, "bye"}};
    EXPECT_EQ(channel->closeServer(), 1);
    EXPECT_EQ(channel->closeServer(), 1);
    EXPECT_EQ(pair.received(), "bye");
    EXPECT_EQ(provider.requirements, 0x1811CU);
}

TEST_F(SecureChannel, SaysWhyItsGoodbyeFails) {
    connect();
    provider.apply_status = SEC_E_INVALID_HANDLE;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->closeClient(), SEC_E_INVALID_HANDLE); }),
              "**** Error 0x80090301 returned by ApplyControlToken\n");
    provider.apply_status = SEC_E_OK;
    connect();
    provider.steps = {{SEC_E_INTERNAL_ERROR}};
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->closeClient(), SEC_E_INTERNAL_ERROR); }),
              "**** Error 0x80090304 returned by InitializeSecurityContext\n");

    ASSERT_TRUE(pair.send(kHello));
    ASSERT_EQ(channel->serverHandshake(), 1);
    provider.steps = {{SEC_E_INTERNAL_ERROR}};
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->closeServer(), 1); }),
              "The Local Security Authority (LSA) cannot be contacted. \n"
              "**** Error 0x80090304 returned by AcceptSecurityContext\nError disconnecting from client\n");

    ASSERT_TRUE(pair.send(kHello));
    ASSERT_EQ(channel->serverHandshake(), 1);
    vqNetShutdownWrite(pair.near);
    provider.steps = {{SEC_E_OK, "bye"}};
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(channel->closeServer(), 1); }),
              "**** Error 32 sending close notify\nError disconnecting from client\n");
}

struct ValidationCase {
    const char* name;
    void (*prepare)(ScriptedProvider&);
    const char* host;
    SECURITY_STATUS status;
    const char* printed;
};

const ValidationCase kValidationCases[] = {
    {"Good", [](ScriptedProvider&) {}, "bank.test", SEC_E_OK, ""},
    {"NoName", [](ScriptedProvider&) {}, nullptr, SEC_E_WRONG_PRINCIPAL, ""},
    {"EmptyName", [](ScriptedProvider&) {}, "", SEC_E_WRONG_PRINCIPAL, ""},
    {"MalformedName", [](ScriptedProvider&) {}, "b\xFF", SEC_E_WRONG_PRINCIPAL, ""},
    {"NoCertificate", [](ScriptedProvider& p) { p.peer = nullptr; }, "x", SEC_E_WRONG_PRINCIPAL, ""},
    {"Query", [](ScriptedProvider& p) { p.peer_status = SEC_E_INVALID_HANDLE; }, "x", SEC_E_INVALID_HANDLE,
     "Error 0x80090301 querying remote certificate\n"},
    {"NoChain", [](ScriptedProvider& p) { p.has_chain = false; }, "x", 8,
     "Error 0x8 returned by CertGetCertificateChain!\n"},
    {"NoPolicy", [](ScriptedProvider& p) { p.verify_result = FALSE; }, "x", 9,
     "Error 0x9 returned by CertVerifyCertificateChainPolicy!\n"},
    {"Refused", [](ScriptedProvider& p) { p.policy_error = CERT_E_CN_NO_MATCH; }, "x",
     security_status(CERT_E_CN_NO_MATCH), ""},
};

TEST(PeerValidation, GivesWhatTheProviderSaysAndLetsGoOfAll) {
    for (const ValidationCase& c : kValidationCases) {
        SCOPED_TRACE(c.name);
        ScriptedProvider provider;
        c.prepare(provider);
        CtxtHandle context;
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(validatePeer(&context, 0, 1, c.host), c.status); }), c.printed);
        const bool has_peer = provider.peer != nullptr && provider.peer_status == SEC_E_OK;
        EXPECT_EQ(provider.certificates_freed, has_peer ? 1 : 0);
        EXPECT_EQ(provider.chains_freed, provider.usages.empty() || !provider.has_chain ? 0 : 1);
    }
}

TEST(PeerValidation, AsksForAServerOfThatName) {
    ScriptedProvider provider;
    CtxtHandle context;
    EXPECT_EQ(validatePeer(&context, 5, 1, "b\xC3\xBC\xF0\x9F\x98\x80"), SEC_E_OK);
    EXPECT_EQ(provider.usages, (std::vector<std::string>{"1.3.6.1.5.5.7.3.1", "1.3.6.1.4.1.311.10.3.3",
                                                         "2.16.840.1.113730.4.1"}));
    EXPECT_EQ(provider.policy.cbSize, 16U);
    EXPECT_EQ(provider.policy.dwAuthType, 2U);
    EXPECT_EQ(provider.policy.fdwChecks, 5U);
    EXPECT_EQ(provider.policy_name, u"b\u00FC\U0001F600");
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(validatePeer(&context, 0, 1, "x"), SEC_E_INSUFFICIENT_MEMORY);
    PEL_Fault::fail_allocation(0);
}

}  // namespace
