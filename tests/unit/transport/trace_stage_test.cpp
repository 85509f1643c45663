// SPDX-License-Identifier: MIT
#include "transport/trace_stage.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "streams/wire_trace.h"

TEST(TraceStage, OnlyStartAndEndOfTheProcessAndReopeningTouchTheTrace) {
    std::string folder = testing::TempDir() + "trace-XXXXXX";
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    const std::string path = folder + "/trace";
    SOA::getProperties().set("SOAP_TRACE", path);
    const struct {
        const char* name;
        Caldane::Stage stage;
        bool on;    // afterwards
        bool made;  // a new file, since the old one was moved away
    } steps[] = {
        {"usage", Caldane::STAGE_USAGE, false, false},
        {"start", Caldane::STAGE_INIT, true, true},
        {"unknown", static_cast<Caldane::Stage>(77), true, false},
        {"usage again", Caldane::STAGE_USAGE, true, false},
        {"reopen", Caldane::STAGE_REOPEN, true, true},
        {"end", Caldane::STAGE_SHUTDOWN, false, false},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.name);
        std::filesystem::remove(path);
        testing::internal::CaptureStderr();
        soap_trace_stage(step.stage);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ(wire_trace::on(), step.on);
        EXPECT_EQ(std::filesystem::exists(path), step.made);
    }
    SOA::getProperties().set("SOAP_TRACE", "/nowhere/at/all");
    testing::internal::CaptureStderr();
    soap_trace_stage(Caldane::STAGE_INIT);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "SOAP_TRACE: cannot write to /nowhere/at/all: No such file or directory; there is no trace\n");
    SOA::getProperties().remove("SOAP_TRACE");
    std::filesystem::remove_all(folder);
}
