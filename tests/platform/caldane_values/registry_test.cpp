// SPDX-License-Identifier: MIT
#include <caldane/idl_types.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <caldane/basic.h>
#include <caldane/transport_stream.h>
#include <gtest/gtest.h>

#include "sample_types.h"

using namespace Sample;

TEST(Registry, FindsTypesByExactNameAndNamespace) {
    EXPECT_EQ(_Caldane_IDL_BaseType::search("Receipt", kNamespace), &Receipt::_type());
    EXPECT_EQ(_Caldane_IDL_BaseType::search("Mood", kNamespace), &Mood::_type());
    EXPECT_EQ(_Caldane_IDL_BaseType::search("receipt", kNamespace), nullptr);
    EXPECT_EQ(_Caldane_IDL_BaseType::search("Receipt", "http://other.example"), nullptr);
    EXPECT_EQ(_Caldane_IDL_BaseType::search("", ""), nullptr);
    EXPECT_EQ(_Caldane_IDL_BaseType::search(_Caldane_String(), _Caldane_String()), nullptr);
    EXPECT_EQ(_Caldane_IDL_BaseType::search("Nothing", ""), nullptr) << "never entered";
}

TEST(Registry, TypesMakeTheirValues) {
    _Caldane_TxType* const value = _Caldane_IDL_BaseType::search("Tree", kNamespace)->_new_value();
    ASSERT_NE(dynamic_cast<Tree*>(value), nullptr);
    value->_release();
    EXPECT_EQ(_Caldane_TypeRef::_of_kind(_Caldane_TypeRef::tk_long).type().kind(), _Caldane_TypeRef::tk_long);
}

TEST(Registry, EnumTypesKnowTheirNames) {
    const auto* const type = _Caldane_IDL_EnumType::narrow(Mood()._get_typeref().type());
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->member_count(), 3u);
    EXPECT_EQ(type->member_name(2), "ANGRY");
    EXPECT_EQ(&type->member_name(0), &type->member_name(0));
    EXPECT_EQ(type->member_name(3), "");
    EXPECT_EQ(_Caldane_IDL_EnumType::narrow(Receipt::_type()), nullptr);
    EXPECT_EQ(_Caldane_IDL_EnumType::narrow(_Caldane_TypeRef().type()), nullptr);
}

TEST(Registry, MappingHasATypeForEveryKindThatAMessageCanName) {
    const _Caldane_Mapping& mapping = _Caldane_Mapping::standard();
    for (int i = 0; i <= 22; ++i) {
        const auto kind = static_cast<_Caldane_TypeRef::_ENUM_TCKind>(i);
        const _Caldane_TypeRef type(mapping.type_for_kind(kind));
        const bool known =
            (i >= 2 && i <= 12) || kind == _Caldane_TypeRef::tk_string || kind == _Caldane_TypeRef::tk_array;
        EXPECT_EQ(type.kind(), known ? kind : _Caldane_TypeRef::tk_null) << i;
    }
    EXPECT_EQ(mapping.type_for_kind(static_cast<_Caldane_TypeRef::_ENUM_TCKind>(-1)), nullptr);
}

namespace {

constexpr _Caldane_TypeInfo kTwin{"IDL:Sample/Twin:1.0", "Twin", kNamespace};

}  // namespace

TEST(Registry, TheFirstOfTwoTypesOfOneNameCountsWhoeverSearchesMeanwhile) {
    static _Caldane_IDL_Type first(
        _Caldane_TypeRef::tk_struct, []() -> const _Caldane_TypeInfo& { return kTwin; }, nullptr);
    static _Caldane_IDL_Type second(
        _Caldane_TypeRef::tk_struct, []() -> const _Caldane_TypeInfo& { return kTwin; }, nullptr);
    std::atomic<bool> entered = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> searchers;
    for (int i = 0; i < 2; ++i) {
        searchers.emplace_back([&] {
            bool last_pass = false;
            while (!last_pass) {
                last_pass = entered;
                const auto* const found = _Caldane_IDL_BaseType::search("Twin", kNamespace);
                if (found != &first && (last_pass || found != nullptr)) ++wrong;
                if (_Caldane_IDL_BaseType::search("Mood", kNamespace) != &Mood::_type()) ++wrong;
                if (Mood::_type().member_name(1) != "NERVOUS") ++wrong;
            }
        });
    }
    _Caldane_IDL_BaseType::enter(first);
    _Caldane_IDL_BaseType::enter(second);
    entered = true;
    for (std::thread& searcher : searchers) searcher.join();
    EXPECT_EQ(wrong, 0);
}

namespace {

std::vector<std::string>* stage_log = nullptr;

void late_callback(Caldane::Stage) {
    if (stage_log != nullptr) stage_log->push_back("late");
}
void first_callback(Caldane::Stage stage) {
    if (stage_log == nullptr) return;
    stage_log->push_back("first " + std::to_string(stage));
    if (stage == Caldane::STAGE_INIT) Caldane::installCallback(late_callback);
}
void second_callback(Caldane::Stage stage) {
    if (stage_log != nullptr) stage_log->push_back("second " + std::to_string(stage));
}

}  // namespace

TEST(StageCallbacks, RunInTheOrderOfInstallingAndMayInstallMore) {
    std::vector<std::string> log;
    EXPECT_EQ(Caldane::installCallback(nullptr), 0);
    EXPECT_EQ(Caldane::installCallback(first_callback), 1);
    EXPECT_EQ(Caldane::installCallback(second_callback), 1);
    stage_log = &log;
    Caldane::runCallbacks(Caldane::STAGE_INIT);
    Caldane::runCallbacks(Caldane::STAGE_SHUTDOWN);
    stage_log = nullptr;
    EXPECT_EQ(log, (std::vector<std::string>{"first 0", "second 0", "late", "first 1", "second 1", "late"}));
}
