// `kestrel inspect`, as a user meets it: on this process.

#include "Tests/Host/RunTool.h"

#include <Kestrel/Library.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Reflection/ReflectionService.h>
#include <Kestrel/Root/Threads/Process.h>
#include <Kestrel/Socket/ServerSocket.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <thread>

namespace {

using IO::Name;
using IO::RelativeLocation;
using Tests::Has;
using Tests::RunTool;
using Tests::ToolRun;

// A folder that goes on, and a file; names that separators are in.
struct Shown : IO::Reflectable {
    CustomEntryGroup * group = CreateCustomEntryGroup();
    Shown() {
        Connect(CreateRootEntry(), group);
        Connect(group, group);
        AddAttribute(group, "depth", Attribute::UnsignedInteger);
        AddAttribute(group, "text", Attribute::String);
        IO::ReflectionManager::Register(RelativeLocation("tool test"), this, false);
    }
    ~Shown() override { IO::ReflectionManager::Unregister(this); }
    bool GetEntries(CustomEntryGroup const *, Mu::Array<Entry const *> const &,
                    Mu::Array<Name> const & names, Mu::Array<Name> * folders,
                    Mu::Array<Name> * files) const override {
        if (!names.IsEmpty() && names[0] == "file")
            return true;
        if (names.GetSize() < 2)
            folders->Push("C:\\a");
        files->Push("file");
        return true;
    }
    bool GetEntryAttributeValues(CustomEntryGroup const *, Name const &,
                                 Mu::Array<Entry const *> const &, Mu::Array<Name> const & names,
                                 Mu::Array<AttributeValue> * values) const override {
        values->Push(names.GetSize());
        values->Push("two\nlines\x1b[31m");
        return true;
    }
};

class InspectTool : public ::testing::Test {
protected:
    InspectTool() {
        IO::ReflectionService::SetLoopbackOnly(true);
        EXPECT_EQ(IO::Init(true, "inspected"), IO::NoError);
        while (IO::ReflectionService::GetPort() == 0) { // another test has them all for a moment
            IO::End();
            EXPECT_EQ(IO::Init(true, "inspected"), IO::NoError);
        }
        port = std::to_string(IO::ReflectionService::GetPort());
    }
    ~InspectTool() override { IO::End(); }

    std::string port;
    Shown const shown;
};

TEST_F(InspectTool, ListsTheProcesses) {
    std::string const process = std::to_string(Mu::Process::GetCurrentProcessId());
    ToolRun const table = RunTool({"inspect"});
    EXPECT_TRUE(Has(table.out, "PORT")) << table.error;
    EXPECT_TRUE(Has(table.out, port + "  inspected ")) << table.out;
    EXPECT_TRUE(Has(table.out, "  WIN     " + process + "\n")) << table.out;
    EXPECT_TRUE(Has(RunTool({"inspect", "--json"}).out, "\"process\": " + process));
}

TEST_F(InspectTool, ShowsALevelAThingAndATree) {
    ToolRun const level = RunTool({"inspect", port, "tool test"});
    EXPECT_EQ(level.exitCode, 0) << level.error;
    EXPECT_EQ(level.out, "NAME   depth  text\n"
                         "C:\\a/  0      \"two\\nlines\\x1B[31m\"\n"
                         "file   0      \"two\\nlines\\x1B[31m\"\n");
    std::string const below = "rel:///tool%20test/C%3A%5Ca";
    ToolRun const thing = RunTool({"inspect", "127.0.0.1:" + port, below + "/file"});
    EXPECT_EQ(thing.out, "NAME  depth  text\n"
                         "file  1      \"two\\nlines\\x1B[31m\"\n")
        << thing.error;
    ToolRun const content = RunTool({"inspect", "-c", port, below + "/file"});
    EXPECT_EQ(content.out, "depth: 1\ntext:  two\nlines\x1b[31m\n") << content.error;
    ToolRun const tree = RunTool({"inspect", "-t", port, "tool test"});
    EXPECT_EQ(tree.out, "tool test\n"
                        "├── C:\\a/\n"
                        "│   ├── C:\\a/\n"
                        "│   │   └── file\n"
                        "│   └── file\n"
                        "└── file\n")
        << tree.error;
    ToolRun const json = RunTool({"inspect", "-tj", "-d", "1", port, "tool test"});
    EXPECT_TRUE(Has(json.out, "\"name\": \"C:\\\\a\",\n      \"folder\": true\n    }")) << json.out;
    EXPECT_TRUE(Has(RunTool({"inspect", port}).out, "tool test/\n"));
}

// By locations, by the commands of the shell, and by copies on the disk.
TEST_F(InspectTool, CopiesAndComparesAndLooksRound) {
    std::string const url = "reflect://127.0.0.1:" + port + "/tool%20test";
    EXPECT_EQ(RunTool({"ls", url}).out, "C%3A%5Ca/\nattributes.tsv\nfile\n");
    EXPECT_EQ(RunTool({"cat", url + "/attributes.tsv"}).out, "name\tdepth\ttext\n"
                                                             "C:\\\\a\t0\ttwo\\nlines\\u001B[31m\n"
                                                             "file\t0\ttwo\\nlines\\u001B[31m\n");
    for (std::string const command : {"snapshot", "cp"}) {
        std::filesystem::remove_all("inspect-copy");
        ToolRun const copied = RunTool({command, url, "inspect-copy"});
        EXPECT_EQ(copied.exitCode, 0) << copied.error;
        EXPECT_NE(RunTool({command, url, "inspect-copy/attributes.tsv"}).exitCode, 0);
        ToolRun const same = RunTool({"diff", "inspect-copy", url});
        EXPECT_EQ(same.out, "") << same.error;
    }
    std::ofstream("inspect-copy/attributes.tsv", std::ios::binary) << "name\tdepth\nfile\t7\n";
    std::filesystem::remove_all("inspect-copy/C%3A%5Ca");
    ToolRun const changed = RunTool({"diff", url, "inspect-copy"});
    EXPECT_TRUE(Has(changed.out, "- C%3A%5Ca/\n")) << changed.out << changed.error;
    EXPECT_TRUE(Has(changed.out, "~  +7  0 -> 7")) << changed.out;
    EXPECT_TRUE(Has(RunTool({"diff", "--json", url, "inspect-copy"}).out, "\"growth\": 7.0"));
    std::filesystem::remove_all("inspect-copy");
    auto const execute = [&](std::string const & command) {
        return RunTool({"inspect", "-j", "-e", command, port}).out;
    };
    EXPECT_TRUE(Has(execute("find FILE tool%20test"), "\"/tool%20test/C%3A%5Ca/file\""));
    EXPECT_TRUE(Has(execute("table tool%20test"), "\"two\\nlines\\u001b[31m\""));
    EXPECT_TRUE(Has(execute("tree tool%20test 1"), "\"folder\": true,\n      \"children\": []"));
    EXPECT_TRUE(Has(execute("cat tool%20test/file"), "depth: 0"));
    EXPECT_TRUE(Has(execute("watch tool%20test"), "\"mark\": \" \""));
    EXPECT_TRUE(Has(execute("snapshot inspect-copy"), "\"folder\": \"inspect-copy\""));
    EXPECT_TRUE(Has(execute("diff inspect-copy"), "\"came\": ["));
    std::filesystem::remove_all("inspect-copy");
    EXPECT_EQ(RunTool({"inspect", "-e", "ls none", port}).exitCode, 1);
    EXPECT_EQ(RunTool({"inspect", "-e", "none", port}).exitCode, 1);
}

// What is asked for stands in the address tree, too.
TEST_F(InspectTool, FindsNoEndOfItsOwnQuestions) {
    std::istringstream lines(
        RunTool({"find", "reflect://127.0.0.1:" + port + "/Kestrel/AddressTree"}).out);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_LT(std::count(line.begin(), line.end(), '/'), 40) << line;
    EXPECT_GT(count, 10);
}

TEST_F(InspectTool, SaysWhatFails) {
    ToolRun const nothing = RunTool({"inspect", port, "tool test/none"});
    EXPECT_EQ(nothing.exitCode, 1);
    EXPECT_TRUE(Has(nothing.error, "there is nothing of that name")) << nothing.error;
    EXPECT_EQ(RunTool({"inspect", "-c", port, "tool test"}).exitCode, 1);
    for (char const * target : {"x", ":1", "1:2:x", "65536"})
        EXPECT_EQ(RunTool({"inspect", target, "a"}).exitCode, 2) << target;
    IO::Socket::ServerSocket server(0, 1, IO::Socket::InternetAddress::Loopback);
    std::thread foreign([&] { server.Accept()->GetOutputChannel().Write("HTTP/1.1 400\r\n", 14); });
    ToolRun const wrong = RunTool({"inspect", std::to_string(server.GetLocalPort()), "a"});
    foreign.join();
    EXPECT_EQ(wrong.exitCode, 1);
    EXPECT_TRUE(Has(wrong.error, "not the answer of an inspectable process") ||
                Has(wrong.error, "does not answer") || Has(wrong.error, "closed"))
        << wrong.error;
}

} // namespace
