// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "encoder/soap_named_value.h"
#include "support/soap_text.h"

namespace {

using soap_test::SoapReader;
using soap_test::SoapWriter;

// Tags for which no factory is registered: their profiles hold the text as it is.
constexpr _Caldane_ULong kTag = 70;

_Caldane_Object object_with(std::initializer_list<const char*> texts) {
    _IOP_ProfileList profiles;
    _Caldane_ULong tag = kTag;
    for (const char* text : texts) profiles.append(_IOP_Profile(tag++, _IOP_OctetSeq(_Caldane_String(text))));
    return _Caldane_Object(_IOP_IOR::generate(_Caldane_String("IDL:Acme/Thing:1.0"), profiles));
}

std::string written(const _Caldane_Object& object, bool encoded) {
    SoapWriter writer(encoded);
    EXPECT_EQ(_SOAP_NamedValue("unused", _Caldane_AnyConstRef(object)).write(writer.out), _Caldane_TRUE);
    return writer.body();
}

TEST(ObjectReference, texts) {
    EXPECT_EQ(written(object_with({"http://h/<p>"}), false),
              "\r\n<type_id>IDL:Acme/Thing:1.0</type_id>\r\n<profiles>\r\n<ProfileId>70</ProfileId>"
              "\r\n<profile_data>http://h/&lt;p&gt;</profile_data>\r\n</profiles>");
    EXPECT_EQ(written(object_with({"a", "b"}), true),
              "\r\n<type_id xsi:type=\"xsd:string\">IDL:Acme/Thing:1.0</type_id>"
              "\r\n<profiles xsi:type=\"SOAP-ENC:Array\" xmlns:u=\"http://www.omg.org/IDL-WSDL/1.0/\""
              " SOAP-ENC:arrayType=\"u:Profile[2]\">"
              "\r\n<ProfileId xsi:type=\"xsd:unsignedInt\">70</ProfileId>"
              "\r\n<profile_data xsi:type=\"xsd:string\">a</profile_data>"
              "\r\n<ProfileId xsi:type=\"xsd:unsignedInt\">71</ProfileId>"
              "\r\n<profile_data xsi:type=\"xsd:string\">b</profile_data>\r\n</profiles>");
    EXPECT_EQ(written(object_with({}), false),
              "\r\n<type_id>IDL:Acme/Thing:1.0</type_id>\r\n<profiles>\r\n</profiles>");
    EXPECT_EQ(written(_Caldane_Object(), true), "");
}

TEST(ObjectReference, comes_back) {
    for (const bool encoded : {false, true}) {
        const _Caldane_Object sent = object_with({"http://h/<p>&", "https://secure/"});
        SoapReader reader;
        ASSERT_TRUE(reader.open_values(written(sent, encoded) + "<after>5</after>", encoded));
        _Caldane_Object got;
        EXPECT_NE(reader.in.demarshal(static_cast<_Caldane_TxType&>(got)), _Caldane_FALSE);
        EXPECT_EQ(got, sent);
        EXPECT_TRUE(got._ior()->isSecure());
        EXPECT_NE(got.getSecurity(), _Caldane_FALSE);
        _Caldane_Long after = 0;
        EXPECT_NE(reader.in.demarshal(after), _Caldane_FALSE);
        EXPECT_EQ(after, 5);
    }
}

const std::string& many(int count) {
    static std::string kept[2];
    std::string& text = kept[count % 2];
    text = "<profiles>";
    for (int i = 0; i < count; ++i) text += "<ProfileId>70</ProfileId><profile_data>t</profile_data>";
    return text += "</profiles>";
}

TEST(ObjectReference, what_is_read) {
    struct Row {
        const char* what;
        const char* text;
        bool good;
    };
    const std::string id = "<type_id>IDL:x:1.0</type_id>";
    const Row table[] = {
        {"no profiles", "<profiles></profiles>", true},
        {"names in any case", "<PROFILES><profileid>70</profileid><Profile_Data>t</Profile_Data></PROFILES>",
         true},
        {"tag beyond 32 bits",
         "<profiles><ProfileId>4294967366</ProfileId><profile_data>t</profile_data></profiles>", true},
        {"empty data", "<profiles><ProfileId>70</ProfileId><profile_data></profile_data></profiles>", false},
        {"no tag", "<profiles><ProfileId/><profile_data>t</profile_data></profiles>", false},
        {"no data", "<profiles><ProfileId>70</ProfileId></profiles>", false},
        {"data first", "<profiles><profile_data>t</profile_data><ProfileId>70</ProfileId></profiles>", false},
        {"another element", "<profile/>", false},
        {"another element inside", "<profiles><x/></profiles>", false},
        {"text inside", "<profiles>text</profiles>", false},
        {"as many profiles as may be", many(1024).c_str(), true},
        {"one more", many(1025).c_str(), false},
    };
    for (const Row& row : table) {
        SoapReader reader;
        ASSERT_TRUE(reader.open_values(id + row.text));
        _Caldane_Object got;
        EXPECT_EQ(reader.in.demarshal(static_cast<_Caldane_TxType&>(got)) != _Caldane_FALSE, row.good)
            << row.what;
        EXPECT_EQ(got._is_nil(), !row.good) << row.what;
    }
}

TEST(ObjectReference, only_lower_case_https_is_secure) {
    for (const char* text : {"HTTPS://h/", "http://h/https:", " https://h/"}) {
        SoapReader reader;
        ASSERT_TRUE(reader.open_values("<t>i</t><profiles><ProfileId>70</ProfileId><profile_data>" +
                                       std::string(text) + "</profile_data></profiles>"));
        _Caldane_Object got;
        ASSERT_NE(reader.in.demarshal(static_cast<_Caldane_TxType&>(got)), _Caldane_FALSE);
        EXPECT_EQ(got.getSecurity(), _Caldane_FALSE) << text;
    }
}

TEST(ObjectReference, a_missing_one_is_nil_in_literal_mode) {
    SoapReader reader;
    ASSERT_TRUE(reader.open_values("", false));
    // An inout parameter goes out with a reference and comes back without: it once kept the old one.
    _Caldane_Object got = object_with({"http://h/"});
    EXPECT_NE(reader.in.demarshal(static_cast<_Caldane_TxType&>(got)), _Caldane_FALSE);
    EXPECT_TRUE(got._is_nil());
    EXPECT_TRUE(got.is_nil());
}

}  // namespace
