// The tool's walks through trees, as a user meets them.

#include "Tests/Host/RunTool.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

using Tests::Has;
using Tests::RunTool;
using Tests::ToolRun;

namespace {

/// A tree of two levels in the working folder.
class TreeTool : public ::testing::Test {
protected:
    TreeTool() {
        fs::remove_all("host-tree");
        fs::create_directories("host-tree/b/inner");
        Write("host-tree/a.txt", 5);
        Write("host-tree/b/inner/deep", 3000);
        Write("host-tree/b/some", 100);
    }
    ~TreeTool() override { fs::remove_all("host-tree"); }

    static void Write(char const * path, std::size_t size) {
        std::ofstream(path, std::ios::binary) << std::string(size, 'x');
    }
    static void Link(char const * target, char const * link) {
        ASSERT_EQ(RunTool({"ln", target, link}).exitCode, 0) << link;
    }
};

/// Line ends as on the other platform.
std::string Plain(std::string text) {
    std::erase(text, '\r');
    return text;
}

} // namespace

TEST_F(TreeTool, DrawsLinesSizesAndASum) {
    ToolRun const run = RunTool({"tree", "host-tree"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.error, "");
    EXPECT_EQ(Plain(run.out), "host-tree\n"
                              "├── a.txt  5 B\n"
                              "└── b/\n"
                              "    ├── inner/\n"
                              "    │   └── deep  2.9 KiB\n"
                              "    └── some  100 B\n"
                              "\n"
                              "2 folders, 3 files, 3.0 KiB\n");
    EXPECT_EQ(Plain(RunTool({"tree", "-d", "1", "host-tree"}).out), "host-tree\n"
                                                                    "├── a.txt  5 B\n"
                                                                    "└── b/\n"
                                                                    "\n"
                                                                    "1 folder, 1 file, 5 B\n");
}

TEST_F(TreeTool, ShowsWhereLinksLeadAndFollowsThemOnceWhenAsked) {
    Link("host-tree/b", "host-tree/to b.lnk");
    Link("host-tree", "host-tree/up.lnk");
    Link("host-tree/a.txt", "host-tree/file.lnk");
    Link("host-tree/gone", "host-tree/broken.lnk");
    ToolRun const plain = RunTool({"tree", "host-tree"});
    EXPECT_EQ(plain.exitCode, 0);
    EXPECT_EQ(plain.error, "");
    EXPECT_TRUE(Has(plain.out, "to b.lnk -> "));
    EXPECT_TRUE(Has(plain.out, "gone (broken)"));
    EXPECT_TRUE(Has(plain.out, "2 folders, 3 files, 4 links, 3.0 KiB"));
    ToolRun const followed = RunTool({"tree", "--follow", "host-tree"});
    EXPECT_EQ(followed.exitCode, 0);
    EXPECT_TRUE(Has(followed.error, "Recursive link")) << followed.error;
    EXPECT_TRUE(Has(followed.out, "3 folders, 5 files, 4 links")) << followed.out;
}

TEST_F(TreeTool, WritesJson) {
    Link("host-tree/gone", "host-tree/b/broken.lnk");
    ToolRun const run = RunTool({"tree", "--json", "host-tree", "host-tree/a.txt"});
    EXPECT_EQ(run.exitCode, 0);
    std::string packed = run.out;
    std::erase_if(packed, [](char c) { return c == ' ' || c == '\n' || c == '\r'; });
    for (char const * const part :
         {"[{\"name\":\"host-tree\",\"type\":\"folder\",\"size\":3105,\"children\":[",
          "{\"name\":\"a.txt\",\"type\":\"file\",\"size\":5},",
          "\"name\":\"broken.lnk\",\"type\":\"link\",\"target\":", "\"broken\":true",
          "],\"path\":\"host-tree\"},{\"name\":\"a.txt\""})
        EXPECT_TRUE(Has(packed, part)) << part << "\n" << packed;
}

TEST_F(TreeTool, AddsUpSizesAndCounts) {
    ToolRun const bytes = RunTool({"du", "-b", "host-tree"});
    EXPECT_LT(bytes.out.find("3000  "), bytes.out.find("3100  ")) << bytes.out;
    EXPECT_LT(bytes.out.find("3100  "), bytes.out.find("3105  host-tree")) << bytes.out;
    EXPECT_EQ(Plain(RunTool({"du", "-s", "--apparent-size", "host-tree", "host-tree/a.txt"}).out),
              "   3.0 KiB  host-tree\n       5 B  host-tree/a.txt\n");
    EXPECT_EQ(Plain(RunTool({"count", "host-tree"}).out), "2 folders, 3 files  host-tree\n");
}

TEST_F(TreeTool, TellsFailuresAndShowsTheRest) {
    for (char const * const command : {"tree", "du", "count"}) {
        SCOPED_TRACE(command);
        ToolRun const run = RunTool({command, "host-tree/absent", "host-tree"});
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_TRUE(Has(run.error, "kestrel: ")) << run.error;
        EXPECT_TRUE(Has(run.error, "absent")) << run.error;
        EXPECT_TRUE(Has(run.out, "host-tree")) << run.out;
        EXPECT_FALSE(Has(run.out, "absent")) << run.out;
    }
    EXPECT_EQ(RunTool({"tree", "--depth", "-1", "host-tree"}).exitCode, 2);
}

TEST(Tool, ExplainsItself) {
    ToolRun const help = RunTool({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (char const * const command : {"tree", "du", "count", "ls", "zip", "path"}) {
        EXPECT_TRUE(Has(help.out, std::string("  ") + command + " ")) << command;
        EXPECT_TRUE(Has(RunTool({command, "--help"}).out, "Usage: kestrel")) << command;
    }
    EXPECT_EQ(RunTool({"--version"}).out.rfind("kestrel ", 0), 0u);
    std::string const range = RunTool({"tree", "-d", "-1"}).error;
    EXPECT_TRUE(Has(range, "0") && !Has(range, "000000.0")) << range;
    EXPECT_EQ(RunTool({}).exitCode, 2);
    ToolRun const misspelt = RunTool({"nonsense", "-x"});
    EXPECT_EQ(misspelt.exitCode, 2);
    EXPECT_TRUE(Has(misspelt.error, "no command \"nonsense\"")) << misspelt.error;
    for (ToolRun const & run : {RunTool({"x\x1B[31m"}), RunTool({"ls", "--x\x1B[31m"})})
        EXPECT_TRUE(Has(run.error, "x\\x1B[31m")) << run.error;
}

TEST_F(TreeTool, DeletesNothingRoundTheCurrentFolder) {
    for (char const * const path : {".", "..", "", "./", "host-tree/..", "host-tree/b/.", "../."}) {
        EXPECT_EQ(RunTool({"rm", "-r", "-f", path}).exitCode, 1) << path;
        EXPECT_EQ(RunTool({"mv", path, "host-tree/x"}).exitCode, 1) << path;
    }
    EXPECT_EQ(RunTool({"rm", "-r", fs::current_path().string()}).exitCode, 1);
    EXPECT_TRUE(fs::exists("host-tree/b/inner/deep"));
}

TEST_F(TreeTool, LeavesTheLogsOfOthersAlone) {
    std::ofstream("host-tree/theirs.log") << "x";
    fs::resize_file("host-tree/theirs.log", 100u << 20);
    EXPECT_EQ(RunTool({"--log", "host-tree", "mkdir", "host-tree/new"}).exitCode, 0);
    EXPECT_TRUE(fs::exists("host-tree/theirs.log"));
    EXPECT_FALSE(fs::is_empty("host-tree/kestrel.logs"));
}

TEST_F(TreeTool, KnowsAWrongKeyWhereItCanBeKnown) {
    ASSERT_EQ(RunTool({"encrypt", "-k", "right", "host-tree/a.txt", "host-tree/secret"}).exitCode,
              0);
    EXPECT_EQ(RunTool({"decrypt", "-k", "wrong", "host-tree/secret", "host-tree/open"}).exitCode,
              1);
    EXPECT_FALSE(fs::exists("host-tree/open"));
    EXPECT_EQ(RunTool({"decrypt", "-k", "right", "host-tree/secret", "host-tree/open"}).exitCode,
              0);
    EXPECT_EQ(Tests::ReadAll("host-tree/open"), "xxxxx");
}

#if defined(__linux__)

TEST(Tool, FailsWhenItsOutputDoes) {
    for (char const * const command : {"ls", "tree", "special", "mounts", "count"})
        EXPECT_EQ(std::system((std::string("./" KESTREL_TOOL " ") + command +
                               " >/dev/full 2>host-error.log")
                                  .c_str()) >>
                      8,
                  1)
            << command;
}

#endif
