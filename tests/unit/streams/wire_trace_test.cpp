// SPDX-License-Identifier: MIT
#include "streams/wire_trace.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "streams/socket_streams.h"
#include "support/piecewise_stream.h"

namespace {

TEST(WireTrace, CopiesWhatConnectionsCarryWhileItIsOpen) {
    std::string path = testing::TempDir() + "trace-XXXXXX";
    ASSERT_NE(::mkstemp(path.data()), -1);
    SocketPair pair;
    CSocketOutputStream out(pair.near, nullptr);
    CSocketInputStream in(pair.far, nullptr);
    char bytes[16];
    EXPECT_FALSE(wire_trace::open("/nowhere/at/all"));
    EXPECT_FALSE(wire_trace::on());
    out.write("quiet", 5);
    in.read(bytes, sizeof bytes);
    ASSERT_TRUE(wire_trace::open(path.c_str()));
    out.write("a\nb", 3);
    in.read(bytes, sizeof bytes);
    ASSERT_TRUE(wire_trace::open(nullptr));
    out.write("quiet", 5);
    std::ostringstream written;
    written << std::ifstream(path).rdbuf();
    std::remove(path.c_str());
    const std::string time = R"(\[\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z #)";
    EXPECT_TRUE(std::regex_match(written.str(),
                                 std::regex(time + std::to_string(pair.near) + " sent 3\\]\na\nb\n" + time +
                                            std::to_string(pair.far) + " received 3\\]\na\nb\n")))
        << written.str();
}

}  // namespace
