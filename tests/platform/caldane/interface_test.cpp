// SPDX-License-Identifier: MIT
#include <caldane/interface.h>
#include <gtest/gtest.h>

#include "broker_fixtures.h"

namespace {

using Caldane::Interface;

// A diamond: Bottom inherits from Left and Right, and these from Top.
constexpr Interface kTop("IDL:Test/Top:1.0");
const Interface* const kTopAlone[] = {&kTop};
const Interface kLeft("IDL:Test/Left:1.0", kTopAlone);
const Interface kRight("IDL:Test/Right:1.0", kTopAlone);
const Interface* const kSides[] = {&kLeft, &kRight};
const Interface kBottom("IDL:Test/Bottom:1.0", kSides);
const Caldane::InterfaceRegistration registration(kTop, kLeft, kRight, kBottom);

_Caldane_Object of_type(const char* id) {
    return _Caldane_Object(_IOP_IOR::generate(_Caldane_String(id), _IOP_ProfileList()));
}

TEST(Interfaces, AreWhatTheyInheritFrom) {
    for (const char* id :
         {"IDL:Test/Top:1.0", "IDL:Test/Left:1.0", "IDL:Test/Right:1.0", "IDL:Test/Bottom:1.0"}) {
        EXPECT_TRUE(kBottom.is_a(id)) << id;
        EXPECT_NE(Interface::find(id), nullptr) << id;
    }
    EXPECT_FALSE(kLeft.is_a("IDL:Test/Right:1.0"));
    EXPECT_FALSE(kTop.is_a("IDL:Test/Left:1.0"));
    EXPECT_FALSE(kBottom.is_a("IDL:Test/Bot"));
    EXPECT_EQ(Interface::find("IDL:Test/Nowhere:1.0"), nullptr);
}

TEST(Interfaces, OfAReferenceAreKnownWithoutACallWhereItsTypeTells) {
    EXPECT_TRUE(of_type("IDL:Test/Bottom:1.0")._is_a("IDL:Test/Top:1.0"));
    EXPECT_TRUE(of_type("IDL:Unknown:1.0")._is_a("IDL:Unknown:1.0"));
    // Nothing else can say it: the object is asked, which no transport can reach.
    EXPECT_THROW((void)of_type("IDL:Test/Top:1.0")._is_a("IDL:Test/Left:1.0"), Caldane::SystemError);
    EXPECT_FALSE(_Caldane_Object()._is_a("IDL:Test/Top:1.0"));
    EXPECT_TRUE(_Caldane_Object()._may_be("IDL:Test/Top:1.0"));
    EXPECT_TRUE(of_type("")._may_be("IDL:Test/Top:1.0"));
}

}  // namespace
