// What the tool says of files, as a user meets it.

#include "Tests/Host/RunTool.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

using Tests::RunTool;
using Tests::ToolRun;

TEST(TypeTool, TellsWhatFilesAreAndWhy) {
    fs::create_directories("host-types");
    std::ofstream("host-types/a.txt") << "text";
    std::ofstream("host-types/b.xyz") << "?";
    std::ofstream("host-types/globs2", std::ios::binary)
        << "50:image/x-xyz:*.xyz\n50:image/x-zyx:*.xyz\n";
    auto const run = [](std::vector<std::string> const & arguments) {
        ToolRun result = RunTool(arguments);
        std::erase(result.out, '\r');
        return result;
    };
    EXPECT_EQ(run({"type", "--builtin", "host-types/a.txt", "host-types/b.xyz"}).out,
              "host-types/a.txt: Text File (text/plain)\nhost-types/b.xyz: unknown\n");
    EXPECT_EQ(run({"type", "-m", "--catalogue", "host-types", "-r", "host-types"}).out,
              "host-types/a.txt: text/plain\nhost-types/b.xyz: -\nhost-types/globs2: -\n");
    std::string const why =
        run({"type", "--why", "--catalogue", "host-types", "host-types/b.xyz"}).out;
    EXPECT_EQ(why, "host-types/b.xyz: one of image\n"
                   "  extension   \"xyz\", key 8026488\n"
                   "  type code   0\n"
                   "  candidate   image/x-zyx, by extension\n"
                   "  candidate   image/x-xyz, by extension\n"
                   "  candidate   image/x-zyx, by type code\n"
                   "  candidate   image/x-xyz, by type code\n"
                   "  content     image/x-zyx: no\n"
                   "  content     image/x-xyz: no\n"
                   "  group       image, 2 types\n"
                   "  match       image/x-zyx: yes, exactly: no\n"
                   "  match       image/x-xyz: yes, exactly: no\n");
    EXPECT_NE(run({"type", "--types", "--catalogue", "host-types"})
                  .out.find("image/\n  image/x-xyz  .xyz\n"),
              std::string::npos);
    EXPECT_EQ(run({"type", "--builtin"}).exitCode, 2);
    EXPECT_EQ(run({"type", "--types", "--json"}).exitCode, 2);
    EXPECT_EQ(run({"type", "--builtin", "host-types"}).exitCode, 1);
    EXPECT_EQ(run({"type", "--builtin", "host-types/none.txt"}).exitCode, 1);
    std::ofstream("host-types/globs2", std::ios::binary) << "no catalogue\n";
    EXPECT_EQ(run({"type", "--catalogue", "host-types", "--types"}).exitCode, 1);
    fs::remove_all("host-types");
}
