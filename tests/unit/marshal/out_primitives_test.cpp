// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

#include "support/soap_text.h"

namespace {

using soap_test::MemorySink;
using soap_test::SoapWriter;

std::string written(const std::function<void(_SOAP_OutStream&)>& write) {
    SoapWriter writer;
    write(writer.out);
    return writer.body();
}

TEST(OutPrimitives, texts) {
    struct Row {
        std::function<void(_SOAP_OutStream&)> write;
        const char* text;
    };
    const Row table[] = {
        {[](auto& out) { out.marshal(short{-1}); }, "-1"},
        {[](auto& out) { out.marshal(static_cast<unsigned short>(65535)); }, "65535"},
        {[](auto& out) { out.marshal(static_cast<unsigned char>(255)); }, "255"},
        {[](auto& out) { out.marshal(_Caldane_ULong{4294967295}); }, "4294967295"},
        {[](auto& out) { out.marshal(std::numeric_limits<_Caldane_Long>::min()); }, "-2147483648"},
        {[](auto& out) { out.marshal(0.5F); }, "0.5"},
        {[](auto& out) { out.marshal(0.1); }, "0.1000000000000000055511151231257827"},
        {[](auto& out) { out.marshal(_Caldane_TRUE); }, "true"},
        {[](auto& out) { out.marshal(static_cast<_Caldane_Boolean>(7)); }, "true"},
        {[](auto& out) { out.marshal(_Caldane_FALSE); }, "false"},
        {[](auto& out) { out.marshal(_Caldane_TypeRef::tk_except); }, "22"},
        {[](auto& out) { out.marshal_backptr(8); }, "-1</><>8"},
    };
    for (const Row& row : table) EXPECT_EQ(written(row.write), row.text);
    const std::pair<char, const char*> characters[] = {
        {'<', "&lt;"},    {'>', "&gt;"},    {'"', "&quot;"},      {'\'', "&apos;"},     {'&', "&amp;"},
        {'\x01', "\x01"}, {'\x7f', "\x7f"}, {'\x80', "\xc2\x80"}, {'\xe9', "\xc3\xa9"}, {'\xff', "\xc3\xbf"}};
    for (const auto& [c, text] : characters) EXPECT_EQ(written([c = c](auto& out) { out.marshal(c); }), text);
}

TEST(OutPrimitives, strings_escape_five_characters_and_nothing_else) {
    const auto string = [](const std::string& text) {
        return written([&text](auto& out) {
            out.put_char('[');
            out.marshal_string(text.data(), static_cast<_Caldane_ULong>(text.size()));
            out.put_char(']');
        });
    };
    EXPECT_EQ(string(""), "[]");
    EXPECT_EQ(string("a<b&c"), "[a&lt;b&amp;c]");
    EXPECT_EQ(string("<>\"'&"), "[&lt;&gt;&quot;&apos;&amp;]");
    EXPECT_EQ(string("\xe9\x01\r\n"), "[\xe9\x01\r\n]");
    EXPECT_EQ(string(std::string("a\0b", 3)), std::string("[a\0b]", 5));
    // Every place within the words that the scan for special characters reads, and around them.
    for (std::size_t length = 0; length < 40; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            std::string text(length, ';');
            text[at] = '<';
            EXPECT_EQ(string(text), std::string("[").append(at, ';') + "&lt;" + text.substr(at + 1) + "]");
        }
    }
    // Neighbours of the special characters, which differ from them in one bit or carry into them.
    std::string others;
    for (int c = 1; c < 256; ++c) {
        if (std::strchr("<>\"'&", c) == nullptr) others += static_cast<char>(c);
    }
    EXPECT_EQ(string(others), std::string("[").append(others) + "]");
}

TEST(OutPrimitives, long_texts_cross_the_gathering_buffer) {
    std::string expected;
    SoapWriter writer;
    for (int i = 0; i < 3000; ++i) {
        const std::string piece(static_cast<std::size_t>(i % 17), static_cast<char>('a' + i % 26));
        writer.out.put_bytes(piece.data(), piece.size());
        writer.out.marshal(_Caldane_Long{i});
        expected += piece + std::to_string(i);
    }
    const std::string large(100000, 'x');
    writer.out.put_bytes(large.data(), large.size());
    expected += large;
    EXPECT_EQ(writer.body(), expected);
}

TEST(OutPrimitives, a_chunked_body_has_a_chunk_for_each_piece) {
    SoapWriter writer(false, true);
    writer.out.put_text("<v>");
    writer.out.marshal_string("a<b", 3);
    writer.out.marshal(_Caldane_Long{17});
    writer.out.put_char('!');
    EXPECT_EQ(writer.body(), "3\r\n<v>\r\n1\r\na\r\n4\r\n&lt;\r\n1\r\nb\r\n2\r\n17\r\n1\r\n!\r\n0\r\n\r\n");
}

TEST(OutStream, a_second_open_or_close_does_nothing) {
    SoapWriter writer;
    EXPECT_TRUE(writer.out.body_open());
    EXPECT_EQ(writer.out.open_body(), 1);
    writer.out.put_text("once");
    EXPECT_EQ(writer.out.close_body(), 1);
    const std::string sent = writer.wire;
    EXPECT_EQ(writer.out.close_body(), 1);
    EXPECT_EQ(writer.wire, sent);
    EXPECT_FALSE(writer.out.body_open());
}

TEST(OutStream, text_with_no_body_open_goes_nowhere) {
    _SOAP_OutStream out;
    out.put_text("lost");
    out.marshal(_Caldane_Long{1});
    out.marshal_string("lost", 4);
    EXPECT_EQ(out.close_body(), 1);
}

TEST(OutStream, a_discarded_beginning_is_not_sent) {
    for (const std::size_t length : {std::size_t{10}, std::size_t{100000}}) {
        SoapWriter writer;
        writer.out.put_text(std::string(length, 'x').c_str());
        EXPECT_TRUE(writer.out.discard());
        writer.out.put_text("fault");
        EXPECT_EQ(writer.body(), "fault");
        EXPECT_NE(writer.wire.find("Content-Length: 5\r\n"), std::string::npos);
    }
}

TEST(OutStream, a_dropped_body_sends_nothing_more) {
    for (const bool chunked : {false, true}) {
        SoapWriter writer(false, chunked);
        writer.out.put_text(std::string(100000, 'x').c_str());
        const std::size_t sent = writer.wire.size();
        writer.out.put_text("more");
        writer.out.drop_body();
        EXPECT_EQ(writer.wire.size(), sent);
        EXPECT_FALSE(writer.out.body_open());
    }
}

TEST(OutStream, its_end_sends_nothing) {
    std::string wire;
    CHttpMessage message(HTTP_CLIENT_SIDE);
    {
        _SOAP_OutStream out;
        out.attach(&message, kVqNoSocket, nullptr);
        ASSERT_EQ(out.open_body_over(std::make_unique<MemorySink>(wire)), 1);
        out.put_text("half");
    }
    EXPECT_EQ(wire, "");
}

TEST(OutStream, the_status_reaches_the_head) {
    std::string wire;
    CHttpMessage message(HTTP_SERVER_SIDE);
    _SOAP_OutStream out;
    out.attach(&message, kVqNoSocket, nullptr);
    out.open_body_over(std::make_unique<MemorySink>(wire));
    out.put_text("x");
    out.set_status(500);
    out.close_body();
    EXPECT_EQ(wire.substr(0, wire.find('\r')), "HTTP/1.0 500 Internal Server Error");
}

TEST(OutStream, every_failed_allocation_leaves_it_usable) {
    for (long nth = 1;; ++nth) {
        std::string wire;
        CHttpMessage message(HTTP_CLIENT_SIDE);
        _SOAP_OutStream out;
        out.attach(&message, kVqNoSocket, nullptr);
        auto sink = std::make_unique<MemorySink>(wire);
        PEL_Fault::fail_allocation(nth);
        const int opened = out.open_body_over(std::move(sink));
        out.put_text("text");
        out.close_body();
        const bool happened = PEL_Fault::happened();
        PEL_Fault::fail_allocation(0);
        EXPECT_EQ(out.body_open(), false);
        if (!happened) {
            EXPECT_EQ(opened, 1);
            break;
        }
    }
}

}  // namespace
