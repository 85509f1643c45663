// SPDX-License-Identifier: MIT
#include "marshal/base64.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/soap_text.h"

namespace {

using soap_test::SoapWriter;

std::string encoded(const std::string& bytes, bool chunked = false) {
    SoapWriter writer(true, chunked);
    writer.out.marshal_octets(reinterpret_cast<const unsigned char*>(bytes.data()),
                              static_cast<_Caldane_ULong>(bytes.size()));
    return writer.body();
}

std::string decoded(const std::string& text) {
    // A block of exactly the promised size, so that a sanitizer sees one byte too many.
    std::vector<unsigned char> bytes(base64_room(text.size()));
    unsigned char none = 0;
    unsigned char* out = bytes.empty() ? &none : bytes.data();
    const std::size_t count = base64_decode(text.data(), text.size(), out);
    EXPECT_LE(count, bytes.size());
    return std::string(reinterpret_cast<const char*>(out), count);
}

TEST(Base64, writes_groups_and_padding) {
    EXPECT_EQ(encoded("ABC"), "QUJD");
    EXPECT_EQ(encoded("AB"), "QUI=");
    EXPECT_EQ(encoded("A"), "QQ==");
    EXPECT_EQ(encoded(std::string("\0\xff\xfe\x80", 4)), "AP/+gA==");
}

TEST(Base64, one_line_however_long_and_back) {
    std::string bytes;
    for (int length = 0; length < 1500; ++length) {
        const std::string text = encoded(bytes);
        EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
        EXPECT_EQ(decoded(text), bytes) << length;
        bytes += static_cast<char>(length * 7);
    }
}

TEST(Base64, byte_by_byte_is_the_same_text) {
    std::string bytes(1000, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 31);
    SoapWriter writer;
    CBase64Writer coder(&writer.out);
    for (const char c : bytes) coder.put(static_cast<unsigned char>(c));
    coder.finish();
    EXPECT_EQ(writer.body(), encoded(bytes));
}

TEST(Base64, reads_damaged_text) {
    struct Row {
        const char* what;
        std::string text;
        std::string bytes;
    };
    const Row table[] = {
        {"empty", "", ""},
        {"line end behind", "QUJD\r\n", "ABC"},
        {"broken lines", "QU\nJD\nREVG", "ABCDEF"},
        {"foreign characters", "Q*U(J)D-", "ABC"},
        {"bytes above ASCII", "QU\xc3\xa9JD", "ABC"},
        {"last group short", "QUJDRE", "ABC"},
        {"one character", "Q", ""},
        {"three characters", "QUI", ""},
        {"one pad", "QUI=", "AB"},
        {"two pads", "QQ==", "A"},
        {"pads alone", "====", std::string(1, '\0')},
        {"one pad alone", "=", ""},
        {"two pads alone", "==", ""},
        {"pad behind whole groups", "QUJDQ=", "AB"},
    };
    for (const Row& row : table) EXPECT_EQ(decoded(row.text), row.bytes) << row.what;
    EXPECT_EQ(base64_decode("QUJD", 4, nullptr), 0U);
}

TEST(Base64, decodes_in_place) {
    std::string text = "QUJDREVGR0hJSktMTU5P";
    const std::size_t count =
        base64_decode(text.data(), text.size(), reinterpret_cast<unsigned char*>(text.data()));
    EXPECT_EQ(text.substr(0, count), "ABCDEFGHIJKLMNO");
}

}  // namespace
