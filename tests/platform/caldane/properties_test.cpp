// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <caldane/caldane.h>

namespace {

/// A file of the given text that goes with the object.
class TextFile {
public:
    explicit TextFile(const std::string& text) {
        char pattern[] = "caldane_properties_XXXXXX";
        const int handle = mkstemp(pattern);
        name = pattern;
        EXPECT_EQ(write(handle, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        close(handle);
    }
    ~TextFile() { unlink(name.c_str()); }
    std::string name;
};

/// An argument vector as `main` gets it.
struct Arguments {
    explicit Arguments(std::vector<std::string> given) : words(std::move(given)) {
        for (std::string& word : words) pointers.push_back(word.data());
        pointers.push_back(nullptr);
        count = static_cast<int>(words.size());
    }
    std::vector<std::string> left() const { return {pointers.begin(), pointers.begin() + count}; }

    std::vector<std::string> words;
    std::vector<char*> pointers;
    int count = 0;
};

}  // namespace

TEST(Properties, TellUnsetFromEmptyAndFallBack) {
    _Caldane_Properties properties;
    properties.set("empty", "");
    properties.set("text", "a=b");
    EXPECT_EQ(properties.get("none"), nullptr);
    EXPECT_STREQ(properties.get("empty"), "");
    EXPECT_STREQ(properties.get("text", "other"), "a=b");
    const _Caldane_String fallback("the operation's name");
    EXPECT_EQ(properties.get("none", fallback), fallback.c_str());
    properties.remove("text");
    EXPECT_EQ(properties.get("text"), nullptr);
}

TEST(Properties, KeepManyNamesApartThroughGrowthAndReplacement) {
    _Caldane_Properties properties;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 300; ++i) properties.set("name" + std::to_string(i), std::to_string(i + round));
    }
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(properties.number("name" + std::to_string(i), -1), i + 1);
    }
    EXPECT_EQ(properties.get("name300"), nullptr);
}

TEST(Properties, NumbersThatAreNoneGiveTheFallback) {
    _Caldane_Properties properties;
    properties.set("bad", "12x");
    properties.set("empty", "");
    properties.set("good", "2.5");
    EXPECT_EQ(properties.number("bad", 7), 7);
    EXPECT_EQ(properties.number("empty", 7), 7);
    EXPECT_EQ(properties.number("good", 7), 2.5);
}

TEST(Properties, ReadersSeeOldOrNewWhileAWriterWrites) {
    _Caldane_Properties properties;
    properties.set("key", "aaaa");
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 0; i < 500; ++i) properties.set("key", i % 2 == 0 ? "bbbb" : "aaaa");
        done = true;
    });
    while (!done) {
        const std::string seen = properties.get("key");
        EXPECT_TRUE(seen == "aaaa" || seen == "bbbb") << seen;
    }
    writer.join();
}

TEST(Properties, FileLinesAreCutAndBadOnesNamed) {
    _Caldane_Properties properties;
    const TextFile good("# comment\n\n name = value with blanks \nempty=\r\n  # another\nlast=1");
    EXPECT_EQ(properties.read_file(good.name), "");
    EXPECT_STREQ(properties.get("name"), "value with blanks");
    EXPECT_STREQ(properties.get("empty"), "");
    EXPECT_STREQ(properties.get("last"), "1");
    const TextFile bad("a=1\nno equals sign\n");
    EXPECT_NE(properties.read_file(bad.name).find(bad.name + " line 2"), std::string::npos);
    const TextFile nameless("=1\n");
    EXPECT_NE(properties.read_file(nameless.name).find("line 1"), std::string::npos);
    EXPECT_NE(properties.read_file("/nowhere/at all").find("/nowhere/at all"), std::string::npos);
    EXPECT_NE(properties.read_file("."), "");
}

TEST(Init, ArgumentsWinOverTheFileAndTheFileOverTheEnvironment) {
    setenv("CALDANE_t_env", "environment", 1);
    setenv("CALDANE_t_file", "environment", 1);
    setenv("CALDANE_t_argument", "environment", 1);
    const TextFile file("t_file=file\nt_argument=file\n");
    Arguments arguments({"program", "-Dt_argument=argument", "--listen", "-Dproperties=" + file.name,
                         "-Dt_flag", "x", "-Dsocket_limit=17", "--", "-Dt_no"});
    ASSERT_TRUE(Caldane::init(arguments.count, arguments.pointers.data()));
    Caldane::shutdown();
    EXPECT_EQ(arguments.left(), (std::vector<std::string>{"program", "--listen", "x", "--", "-Dt_no"}));
    EXPECT_EQ(arguments.pointers[static_cast<std::size_t>(arguments.count)], nullptr);
    const _Caldane_Properties& properties = SOA::getProperties();
    EXPECT_STREQ(properties.get("t_env"), "environment");
    EXPECT_STREQ(properties.get("t_file"), "file");
    EXPECT_STREQ(properties.get("t_argument"), "argument");
    EXPECT_STREQ(properties.get("t_flag"), "");
    EXPECT_EQ(properties.get("t_no"), nullptr);
    EXPECT_EQ(SOA::socketResource().limit(), 17) << "read by init";
    SOA::getProperties().remove("socket_limit");
}

TEST(Init, RefusesMalformedOptionsAndUnreadableFilesByName) {
    for (const char* option :
         {"-D", "-D=value", "-Dtwo words=1", "-Dproperties", "-Dproperties=/nowhere/file"}) {
        Arguments arguments({"program", option});
        try {
            Caldane::init(arguments.count, arguments.pointers.data());
            ADD_FAILURE() << option;
            Caldane::shutdown();
        } catch (const Caldane::SetupError& error) {
            const std::string text = error.what();
            EXPECT_TRUE(text.find(option) != std::string::npos ||
                        text.find("/nowhere/file") != std::string::npos)
                << text;
        }
    }
}

namespace {
std::vector<Caldane::Stage> stages;
}

TEST(Init, RunsTheStagesAndOnlyUsageForHelp) {
    static const int installed =
        Caldane::installCallback([](Caldane::Stage stage) { stages.push_back(stage); });
    ASSERT_NE(installed, 0);
    stages.clear();
    Arguments help({"program", "-help"});
    EXPECT_FALSE(Caldane::init(help.count, help.pointers.data()));
    EXPECT_EQ(help.count, 1);
    Caldane::shutdown();  // nothing was started
    EXPECT_EQ(stages, std::vector<Caldane::Stage>{Caldane::STAGE_USAGE});
    Arguments plain({"program"});
    EXPECT_TRUE(Caldane::init(plain.count, plain.pointers.data()));
    EXPECT_THROW(Caldane::init(plain.count, plain.pointers.data()), Caldane::SetupError);
    Caldane::shutdown();
    EXPECT_EQ(stages, (std::vector<Caldane::Stage>{Caldane::STAGE_USAGE, Caldane::STAGE_INIT,
                                                   Caldane::STAGE_SHUTDOWN}));
}
