// SPDX-License-Identifier: MIT
#include <caldane/settings.h>

#include <gtest/gtest.h>

#include <caldane/exceptions.h>
#include <caldane/soa.h>

using Caldane::Setting;

namespace {

constexpr Setting kRows[] = {
    Setting::flag("t_flag", "a flag"),
    Setting::text("t_text", "form", "none", "a text"),
    Setting::number("t_number", "seconds", 2.5, 0, 10, "a number"),
    Setting::whole("t_whole", "bytes", 7, 1, Setting::kNoEnd, "a whole number"),
};

const Setting& row(std::string_view name) {
    for (const Setting& candidate : kRows) {
        if (candidate.name == name) return candidate;
    }
    throw std::out_of_range(std::string(name));
}

struct ValueCase {
    const char* name;
    const char* setting;
    const char* value;
    double number;  // what the setting then is
    const char* complaint;
};

constexpr char kNumber[] = "a number of seconds, from 0 to 10";
constexpr char kWhole[] = "a whole number of bytes, 1 or more";

class SettingValue : public testing::TestWithParam<ValueCase> {};

}  // namespace

TEST_P(SettingValue, IsTakenOrToldWhatItHasToBe) {
    const ValueCase& c = GetParam();
    const Caldane::SettingTable table(kRows);
    const Setting& setting = row(c.setting);
    EXPECT_EQ(setting.complaint(c.value), c.complaint);
    SOA::getProperties().set(c.setting, c.value);
    EXPECT_EQ(setting.number(), c.number);
    EXPECT_STREQ(setting.text(), c.value);
    std::string told;
    try {
        Caldane::SettingTable::check(SOA::getProperties());
    } catch (const Caldane::SetupError& error) {
        told = error.what();
    }
    SOA::getProperties().remove(c.setting);
    EXPECT_EQ(told, *c.complaint == '\0' ? ""
                                         : std::string("the property ") + c.setting + " is '" + c.value +
                                               "' and has to be " + c.complaint);
    EXPECT_FALSE(setting.is_set());
    EXPECT_EQ(setting.number(), setting.otherwise);
}

INSTANTIATE_TEST_SUITE_P(All, SettingValue,
                         testing::Values(ValueCase{"Least", "t_number", "0", 0, ""},
                                         ValueCase{"Most", "t_number", "10", 10, ""},
                                         ValueCase{"Fraction", "t_number", "0.25", 0.25, ""},
                                         ValueCase{"Above", "t_number", "10.001", 2.5, kNumber},
                                         ValueCase{"Below", "t_number", "-0.001", 2.5, kNumber},
                                         ValueCase{"NotANumber", "t_number", "nan", 2.5, kNumber},
                                         ValueCase{"Unit", "t_number", "5s", 2.5, kNumber},
                                         ValueCase{"Empty", "t_number", "", 2.5, kNumber},
                                         ValueCase{"Blank", "t_number", " 5", 2.5, kNumber},
                                         ValueCase{"WholeLeast", "t_whole", "1", 1, ""},
                                         ValueCase{"WholeLarge", "t_whole", "10000000000", 1e10, ""},
                                         ValueCase{"WholeBelow", "t_whole", "0", 7, kWhole},
                                         ValueCase{"WholeFraction", "t_whole", "1.5", 7, kWhole},
                                         ValueCase{"WholeUnit", "t_whole", "10MB", 7, kWhole},
                                         ValueCase{"WholeInfinite", "t_whole", "inf", 7, kWhole},
                                         ValueCase{"Text", "t_text", "", 0, ""},
                                         ValueCase{"Flag", "t_flag", "no", 0, ""}),
                         [](const auto& test) { return test.param.name; });

TEST(SettingTable, IsKnownAsLongAsItLives) {
    SOA::getProperties().set("t_whole", "x");
    {
        const Caldane::SettingTable table(kRows);
        { const Caldane::SettingTable another(kRows); }
        EXPECT_THROW(Caldane::SettingTable::check(SOA::getProperties()), Caldane::SetupError);
    }
    EXPECT_NO_THROW(Caldane::SettingTable::check(SOA::getProperties()));
    SOA::getProperties().remove("t_whole");
}
