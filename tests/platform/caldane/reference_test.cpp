// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include <caldane/cdr.h>

#include "broker_fixtures.h"

namespace {

std::string tags(_IOP_ProfileIter profiles) {
    std::string text;
    for (_IOP_Profile profile; profiles.current(profile); profiles.next())
        text += std::to_string(profile.tag()) + " ";
    EXPECT_FALSE(profiles.next()) << "stays at the end";
    EXPECT_EQ(profiles.current(), nullptr);
    return text;
}

_IOP_Profile profile(_Caldane_ULong tag, const char* body) {
    return {tag, _IOP_OctetSeq(_Caldane_String(body))};
}

/// Makes fake profiles, and nothing from an empty body.
class FakeFactory final : public _IOP_ProfileFactory {
public:
    _IOP_ProfileBase* create(_Caldane_ULong tag, const _IOP_OctetSeq& data) override {
        return data.length() == 0 ? nullptr : new FakeProfile(tag, data);
    }
};

std::string hex(const _IOP_OctetSeq& octets) {
    std::string text;
    for (const char c : octets.view()) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += kDigits[static_cast<unsigned char>(c) >> 4];
        text += kDigits[static_cast<unsigned char>(c) & 15];
    }
    return text;
}

}  // namespace

TEST(Profiles, AreMadeByTheFactoryOfTheirTagElseCarriedAlong) {
    EXPECT_TRUE(profile(77, "x").valid());
    EXPECT_EQ(profile(77, "x").data().as_string(), "x");
    {
        FakeFactory factory;
        _IOP_ProfileFactory::register_factory(77, &factory);
        const _IOP_Profile made = profile(77, "x");
        EXPECT_NE(dynamic_cast<const FakeProfile*>(made.operator->()), nullptr);
        EXPECT_FALSE(profile(77, "").valid());
        EXPECT_TRUE(profile(78, "").valid());
    }
    EXPECT_EQ(dynamic_cast<const FakeProfile*>(profile(77, "x").operator->()), nullptr);
}

TEST(Profiles, HandlesAreEqualByProfileOrByTagAndBody) {
    const _IOP_Profile a = profile(7, "x");
    _IOP_Profile copy;
    EXPECT_FALSE(copy.valid());
    EXPECT_EQ(copy.tag(), 0U);
    EXPECT_EQ(copy.data().length(), 0U);
    EXPECT_FALSE(copy == a);
    copy = a;
    EXPECT_TRUE(copy == a);
    EXPECT_TRUE(profile(7, "x") == a);
    EXPECT_FALSE(profile(8, "x") == a);
    EXPECT_FALSE(profile(7, "y") == a);
    EXPECT_EQ(a->_safe_cast("mark"), nullptr);
}

TEST(Reference, WalksItsProfilesInOrderAndByTag) {
    _IOP_ProfileList list;
    for (const _Caldane_ULong tag : {4U, 3U, 4U}) list.append(profile(tag, "http://h:1/p"));
    const _Caldane_Object object(_IOP_IOR::generate("IDL:Acme/Thing:1.0", list));
    const _IOP_IOR& ior = *object._ior();
    EXPECT_EQ(ior.type_id(), "IDL:Acme/Thing:1.0");
    EXPECT_TRUE(ior.url().is_null());
    EXPECT_EQ(object.url(), "http://h:1/p");
    EXPECT_EQ(tags(ior.profiles()), "4 3 4 ");
    EXPECT_EQ(tags(ior.profiles(4)), "4 4 ");
    EXPECT_EQ(tags(ior.profiles(3)), "3 ");
    EXPECT_EQ(tags(ior.profiles(9)), "");
    EXPECT_EQ(ior.getProfileList().count(), 3U);
    const _IOP_ProfileList copy(list);
    EXPECT_EQ(copy.count(), 3U);
    EXPECT_FALSE(ior.bound_profile().valid());
}

TEST(Reference, IsNilWhenMemoryEnds) {
    const _IOP_ProfileList empty;
    PEL_Fault::fail_allocation(1);
    EXPECT_EQ(_IOP_IOR::generate("IDL:Acme/Thing:1.0", empty), nullptr);
    PEL_Fault::fail_allocation(1);
    EXPECT_THROW(Caldane::string_to_object("http://h/"), Caldane::SystemError);
    PEL_Fault::fail_allocation(0);
}

TEST(Reference, IsAValueThatTheValueModelKnows) {
    const _Caldane_Object nil;
    _Caldane_Object object = Caldane::string_to_object("https://h:1/p");
    EXPECT_TRUE(object.getSecurity());
    EXPECT_TRUE(object._ior()->isSecure());
    EXPECT_EQ(object._get_typeref().kind(), _Caldane_TypeRef::tk_objref);
    EXPECT_EQ(_Caldane_Object::_down_cast(object), &object);
    const _Caldane_String text("x");
    EXPECT_EQ(_Caldane_Object::_down_cast_const(text), nullptr);
    const _Caldane_AnyRef clone = object._clone();
    const auto* copy = _Caldane_Object::_down_cast(clone);
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(*copy == object);
    EXPECT_FALSE(*copy == nil);
    copy->_release();
    _Caldane_Object other;
    EXPECT_FALSE(other._convert_from(text));
    EXPECT_TRUE(other._convert_from(object));
    EXPECT_TRUE(other._equals(Caldane::string_to_object("https://h:1/p")));
    EXPECT_TRUE(other._equals(Caldane::string_to_object("HTTPS://h:1/p")));
    EXPECT_FALSE(other._equals(Caldane::string_to_object("https://h:1/q")));
    const _Caldane_Object& itself = other;
    other = itself;
    EXPECT_EQ(Caldane::object_to_string(other), "https://h:1/p");
    EXPECT_EQ(Caldane::object_to_string(nil), "");
}

TEST(Reference, StringToObjectRefusesWhatIsNoUrl) {
    for (const char* good : {"http://h", "http://h/", "https://h:65535/a/b?c", "http://127.0.0.1:1/"}) {
        EXPECT_EQ(Caldane::string_to_object(good).url(), good);
    }
    for (const char* bad :
         {"", "h:1/p", "ftp://h/", "http:/h", "http://", "http:///p", "http://:1/p", "http://h:/p",
          "http://h:0/p", "http://h:65536/p", "http://h:1x/p", "http://h:-1/p", "http://u@h/",
          "http://[::1]/", "http://h/a b", "http://h/\n", "HTTP"}) {
        try {
            Caldane::string_to_object(bad);
            ADD_FAILURE() << bad;
        } catch (const Caldane::SystemError& error) {
            EXPECT_EQ(error.kind(), _Caldane_SystemException::INV_OBJREF);
            EXPECT_EQ(error.endpoint(), bad);
        }
    }
}

TEST(Reference, IsSharedByThreads) {
    _IOP_ProfileList list;
    list.append(profile(4, "http://h:1/p"));
    const _Caldane_Object object(_IOP_IOR::generate("IDL:Acme/Thing:1.0", list));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([object] {
            for (int n = 0; n < 2000; ++n) {
                const _Caldane_Object own = object;
                const _IOP_Profile first = *own._ior()->profiles().current();
                EXPECT_EQ(first.tag(), 4U);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(Cdr, AlignsAndWritesLittleEndian) {
    _IOP_SequenceOutStream out(256);
    CDR::OutStream& cdr = out;
    EXPECT_TRUE(cdr.marshal(_Caldane_String("ab")));
    EXPECT_TRUE(cdr.marshal(static_cast<unsigned char>(0xFF)));
    EXPECT_TRUE(cdr.marshal(static_cast<short>(-2)));
    EXPECT_TRUE(cdr.marshal(_Caldane_TRUE));
    EXPECT_TRUE(cdr.marshal(_Caldane_Long{1}));
    EXPECT_TRUE(cdr.marshal(1.0));
    EXPECT_TRUE(cdr.marshal_string(nullptr, 5));
    EXPECT_EQ(hex(out.octet_sequence()),
              "03000000616200ff"  // length with terminator, text; octet
              "feff010001000000"  // short, boolean, padding to 12, long
              "000000000000f03f"
              "0100000000");
}
