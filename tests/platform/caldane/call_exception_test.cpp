// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>

#include "broker_fixtures.h"

using namespace Depot;

namespace {

struct FindCase {
    const char* what;
    const char* name_space;
    const char* name;
    std::int32_t kind;
    const char* found;  // repository id, null for nothing
};

constexpr char kEmpty[] = "IDL:Acme/Depot/Empty:1.0";
constexpr char kFailure[] = "IDL:Failure:1.0";
constexpr char kSpace[] = "http://acme.example/d";

constexpr FindCase kFindCases[] = {
    {"WithoutItsPrefix", kSpace, "Depot:Empty", 1, kEmpty},
    {"WithItsPrefix", kSpace, "Acme:Depot:Empty", 1, kEmpty},
    {"LastComponentAlone", kSpace, "Empty", 1, kEmpty},
    {"WithoutNamespace", "", "Empty", 1, kEmpty},
    {"IgnoringCase", "HTTP://acme.example/D", "depot:empty", 1, kEmpty},
    {"OtherNamespace", "urn:other", "Depot:Empty", 1, nullptr},
    {"MiddleComponent", kSpace, "Depot", 1, nullptr},
    {"TailOfAComponent", kSpace, "mpty", 1, nullptr},
    {"SingleComponentInWhateverSurrounds", "http://schemas.xmlsoap.org/soap/envelope/", "Failure", 1,
     kFailure},
    {"SystemKind", kSpace, "Depot:Empty", 0, nullptr},
    {"EmptyName", kSpace, "", 1, nullptr},
};

class FindException : public testing::TestWithParam<FindCase> {};

}  // namespace

TEST_P(FindException, TakesTheNamesThatPeersSend) {
    const FindCase& c = GetParam();
    _Caldane_CallInfo info;
    auto* holder = _Caldane_CallException::lookup_or_add(info);
    EXPECT_EQ(holder->find_exception(c.name_space, c.name, c.kind), nullptr) << "nothing is declared yet";
    constexpr Caldane::Raises kRaises = Caldane::raises<Failure, Empty>;
    holder->declare(kRaises.table, kRaises.count);
    const std::unique_ptr<_Caldane_ExceptionBase> found(holder->find_exception(c.name_space, c.name, c.kind));
    if (c.found == nullptr) {
        EXPECT_EQ(found, nullptr);
    } else {
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->repository_id(), c.found);
    }
}

INSTANTIATE_TEST_SUITE_P(Names, FindException, testing::ValuesIn(kFindCases),
                         [](const auto& row) { return std::string(row.param.what); });

TEST(CallException, CopiesTakesOverAndReplaces) {
    _Caldane_CallInfo info;
    auto* holder = _Caldane_CallException::lookup_or_add(info);
    {
        Empty on_stack(4);
        on_stack._put_message("first");
        holder->exception(&on_stack, Caldane::OWNERSHIP_COPY);
    }
    ASSERT_NE(holder->stored(), nullptr);
    EXPECT_EQ(dynamic_cast<const Empty&>(*holder->stored()).shelf, 4);
    EXPECT_EQ(holder->stored()->message_text(), "first");
    auto* heap = new Empty(5);
    holder->exception(heap, Caldane::OWNERSHIP_TAKE);
    EXPECT_EQ(holder->stored(), heap);
    _Caldane_SystemException system(7, _Caldane_CompletionStatus(1), 6);
    holder->exception(system);
    const auto& stored = dynamic_cast<const _Caldane_SystemException&>(*holder->stored());
    EXPECT_EQ(stored.kind(), 6);
    EXPECT_EQ(stored.minor_code(), 7U);
    EXPECT_EQ(stored.completed(), 1);
    EXPECT_EQ(stored.repository_id(), "IDL:Caldane/BAD_RESPONSE:1.0");
    EXPECT_EQ(stored.namespace_text(), "http://caldane.example/exceptions");
}

TEST(CallInfo, CopiesShareWhatIsAttachedLaterAndMemoryMayEnd) {
    _Caldane_CallInfo original;
    EXPECT_FALSE(_Caldane_CallDuration::is_oneway(original));
    EXPECT_EQ(_Caldane_CallDuration::time_limit(original), 0);
    EXPECT_TRUE(_Caldane_CallDiagnostics::text(original).is_null());
    _Caldane_CallInfo copy;
    copy = original;
    _Caldane_CallDiagnostics::describe(copy, "seen through the copy");
    EXPECT_EQ(_Caldane_CallDiagnostics::text(original), "seen through the copy");
    _Caldane_PerformanceMetric::lookup_or_add(original)->rtt_magnitude(-2);
    EXPECT_EQ(_Caldane_PerformanceMetric::lookup_or_add(copy)->rtt_magnitude(), -2);

    const _Caldane_CallInfo starved;
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(_Caldane_CallException::lookup_or_add(starved), nullptr);
    EXPECT_TRUE(PEL_Fault::happened());
    PEL_Fault::fail_allocation(0);
    EXPECT_NE(_Caldane_CallException::lookup_or_add(starved), nullptr);
}
