// Every command of the tool while memory or the system's file calls fail: it says so and answers 1,
// or what it did and wrote is what it does and writes without a fault.

#include "Tools/kestrel/Commands.h" // first: the header stands on its own

#include "Tests/Support/DiskContent.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/Process/ScriptedProcessCalls.h"
#include "Tests/Support/TempFolder.h"
#include "Tools/kestrel/Arguments.h"
#include "Tools/kestrel/Console.h"

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/IPC/ApplicationList.h>
#include <Kestrel/IPC/Setup.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

#if defined(_WIN32)
constexpr char const * nothing = "NUL";
#else
constexpr char const * nothing = "/dev/null";
#endif

using Command = int (*)(Tool::Options const &, Tool::Console &);

/// A command with its arguments. In each text "@" stands for the test's folder and a separator.
struct Operation {
    char const * name;
    Command command;
    Tool::Options options;
    bool changes = false;     ///< the folder, which is made anew before each round
    bool losesNothing = true; ///< what files held is found somewhere behind it, done or not
    bool guesses = false;     ///< of what it cannot look at it shows less, and that is no failure
};

struct ToolRun {
    int result = 0;
    std::string out;
    std::string error;
};

Tool::Options Paths(std::vector<std::string> paths) {
    Tool::Options options;
    options.paths = std::move(paths);
    return options;
}

Tool::Options Ends(std::string source, std::string target) {
    Tool::Options options;
    options.source = std::move(source);
    options.target = std::move(target);
    return options;
}

template <typename Value>
Tool::Options With(Tool::Options options, Value Tool::Options::*field, Value value) {
    options.*field = std::move(value);
    return options;
}

std::vector<Operation> ListOperations() {
    using O = Tool::Options;
    O const tree = Paths({"@tree"});
    O const key = With(Ends("@tree/a", "@new"), &O::key, std::string("key"));
    O types = With(Paths({"@tree", "@note.p"}), &O::catalogue, std::string("@"));
    types.recursive = types.why = true;
    O const unlock = With(Ends("@locked", "-"), &O::keyFile, std::string("@key"));
    return {
        {"ls", Tool::List, tree, false, true, true},
        {"lsLong", Tool::List, With(tree, &O::longForm, true), false, true, true},
        {"stat", Tool::Stat, Paths({"@tree", "@tree/a", "@tree/link.lnk"}), false, true, true},
        {"special", Tool::Special, {}, false, true, true},
        {"mounts", Tool::Mounts, {}, false, true, true},
        {"tree", Tool::Tree, With(tree, &O::follow, true), false, true, true},
        {"treeJson", Tool::Tree, With(tree, &O::json, true), false, true, true},
        {"du", Tool::DiskUsage, tree, false, true, true},
        {"count", Tool::CountEntries, tree, false, true, true},
        {"cat", Tool::Cat, Paths({"@tree/a", "@tree/sub/b"})},
        {"md5", Tool::Digest, Paths({"@tree/a"})},
        {"type", Tool::ShowTypes, types, false, true, true},
        {"path", Tool::ShowPath, Ends("@tree/a", ""), false, true, true},
        {"write", Tool::Write, Ends("", "@new"), true},
        {"append", Tool::Write, With(Ends("", "@key"), &O::append, true), true},
        {"head", Tool::Head, Paths({"@tree/a"})},
        {"tail", Tool::Tail, Paths({"@tree/a"})},
        {"find", Tool::Find, With(tree, &O::size, std::string("-9k")), false, true, true},
        {"cpFile", Tool::Copy, Paths({"@tree/a", "@new"}), true},
        {"cpOver", Tool::Copy, Paths({"@tree/sub/b", "@globs2"}), true},
        {"cpFolder", Tool::Copy, With(Paths({"@tree", "@new"}), &O::recursive, true), true},
        {"mvFile", Tool::Move, Paths({"@tree/a", "@new"}), true},
        {"mvFolder", Tool::Move, Paths({"@tree/sub", "@new"}), true},
        {"mvInto", Tool::Move, Paths({"@key", "@tree"}), true},
        {"rmFile", Tool::Remove, Paths({"@tree/a"}), true, false},
        {"rmTree", Tool::Remove, With(tree, &O::recursive, true), true, false},
        {"mkdir", Tool::MakeFolder, With(Paths({"@x/y"}), &O::parents, true), true},
        {"ln", Tool::Link, Paths({"@tree/a", "@new.lnk"}), true},
        {"zip", Tool::Zip, Ends("@tree/a", "@new"), true},
        {"unzip", Tool::Unzip, Ends("@zipped", "@new"), true},
        {"unzipOut", Tool::Unzip, Ends("@zipped", "-")},
        {"encrypt", Tool::Encrypt, key, true},
        {"decrypt", Tool::Decrypt, unlock},
        {"ps", Tool::ShowProcesses, {}, false, true, true},
        {"services", Tool::ShowServices, With(O(), &O::json, true), false, true, true},
        {"apps", Tool::ShowApplications, {}, false, true, true},
    };
}

/// One process that serves, and the list of one application.
class Registered {
public:
    Registered() {
        IO::IPC::Setup::Instance().SetDataFolderLocation(
            IO::Location(folder.GetPortable().c_str()));
        folder.Write("7", std::string("\1\0\0\0\1\2\0\0\1\0\0\0\1\0\0\0s\0", 18));
        IO::IPC::ApplicationList list;
        IO::IPC::ApplicationInfo application;
        application.Set("app", 2, IO::Location(folder.GetPortable("app").c_str()));
        list["app"].Push(application);
        EXPECT_EQ(list.Write(), IO::NoError);
    }

private:
    Tests::HandClock clock; // nobody waits for a lock
    Tests::TempFolder folder;
    Tests::ScriptedProcessCalls calls{{{7, u"a", {u"a"}}, {8, u"b", {u"b"}}}};
};

class ToolSweep : public ::testing::TestWithParam<Operation> {
protected:
    ToolSweep() {
        Command const command = GetParam().command;
        if (command == Tool::ShowProcesses || command == Tool::ShowServices ||
            command == Tool::ShowApplications)
            registered.emplace();
        IO::Folder folder{IO::Location(links.GetPortable().c_str())};
        EXPECT_EQ(folder.CreateLink("link.lnk", IO::Location(disk.GetPortable("key").c_str())),
                  IO::NoError);
        MakeEntries();
        RunQuietly(Tool::Zip, Ends("@tree/a", "@zipped"));
        RunQuietly(Tool::Encrypt,
                   With(Ends("@tree/a", "@locked"), &Tool::Options::keyFile, std::string("@key")));
        zipped = disk.Read("zipped");
        locked = disk.Read("locked");
    }
    ~ToolSweep() override { EXPECT_NE(std::freopen(nothing, "rb", stdin), nullptr); }

    // Uses nothing of the library, where a fault may wait already.
    void MakeEntries() {
        for (char const * name : {"tree", "new", "new.lnk", "x", "zipped", "locked", "key"})
            fs::remove_all(disk / name);
        // What is made aside stays where nothing can be deleted any more.
        for (fs::directory_entry const & entry : fs::directory_iterator(disk.GetPath()))
            if (entry.path().filename().string().rfind("GeneratedName_", 0) == 0)
                fs::remove(entry);
        fs::create_directories(disk / "tree" / "sub");
        disk.Write("tree/a", "the first of them");
        disk.Write("tree/sub/b", std::string(9000, 'b'));
        disk.Write("key", "what nobody guesses");
        disk.Write("note.p", "one of two types");
        disk.Write("globs2", "50:a/b:*.p\n50:a/c:*.p\n");
        fs::copy(links / "link.lnk", disk / "tree" / "link.lnk", fs::copy_options::copy_symlinks);
    }

    void Prepare() {
        if (GetParam().changes || !isPrepared)
            MakeEntries();
        disk.Write("zipped", zipped);
        disk.Write("locked", locked);
        isPrepared = true;
    }

    /// As the program does it.
    ToolRun RunOnce(Command command, Tool::Options const & options) {
        ToolRun run;
        ::testing::internal::CaptureStdout();
        ::testing::internal::CaptureStderr();
        try {
            Tool::Console console(false);
            run.result = command(options, console);
        } catch (std::exception const & e) {
            std::cerr << "kestrel: " << e.what() << "\n";
            run.result = 1;
        }
        std::cout.flush().clear();
        run.error = ::testing::internal::GetCapturedStderr();
        run.out = ::testing::internal::GetCapturedStdout();
        return run;
    }

    void RunQuietly(Command command, Tool::Options const & options) {
        ToolRun const run = RunOnce(command, Place(options));
        ASSERT_EQ(run.result, 0) << run.error;
    }

    void Meet(bool failed) {
        Prepare();
        disk.Write("input", "what standard input gives");
        if (GetParam().command == Tool::Write) {
            ASSERT_NE(std::freopen((disk / "input").string().c_str(), "rb", stdin), nullptr);
        }
        ToolRun run = RunOnce(GetParam().command, Place(GetParam().options));
        run.out = WithoutFreeSpace(run.out);
        Tests::DiskContent const content = Tests::LookAt(disk);
        if (!expected) {
            ASSERT_EQ(run.result, 0) << run.error;
            expected = run;
            expectedContent = content;
        }
        Judge(failed, run, content);
    }

    void Judge(bool failed, ToolRun const & run, Tests::DiskContent const & content) const {
        if (run.result != 0) {
            EXPECT_EQ(run.result, 1);
            EXPECT_TRUE(failed) << run.error;
            EXPECT_NE(run.error, "") << "it failed without a word";
        } else if (run.error.empty() && !(failed && GetParam().guesses)) {
            EXPECT_EQ(run.out, expected->out);
        }
        if (run.result == 0) {
            EXPECT_EQ(content, expectedContent) << run.error;
        }
        if (!GetParam().losesNothing)
            return;
        for (char const * text : {"the first of them", "what nobody guesses"})
            EXPECT_TRUE(Tests::HasFileWith(content, text)) << text << " is lost\n" << run.error;
    }

    std::string Place(std::string text) const {
        if (text.rfind('@', 0) != 0)
            return text;
        return (disk.GetPath() / fs::path(text.substr(1))).make_preferred().string();
    }

    Tool::Options Place(Tool::Options options) const {
        for (std::string & path : options.paths)
            path = Place(path);
        options.source = Place(options.source);
        options.target = Place(options.target);
        options.keyFile = Place(options.keyFile);
        options.catalogue = Place(options.catalogue);
        return options;
    }

    // Other programs write to the volume meanwhile.
    static std::string WithoutFreeSpace(std::string const & text) {
        std::istringstream lines(text);
        std::string kept;
        for (std::string line; std::getline(lines, line);)
            if (line.find("free space") == std::string::npos)
                kept += line + "\n";
        return kept;
    }

    std::optional<Registered> registered;
    Tests::TempFolder disk;
    Tests::TempFolder links; // one that MakeEntries copies
    std::string zipped;
    std::string locked;
    bool isPrepared = false;
    std::optional<ToolRun> expected; // without a fault
    Tests::DiskContent expectedContent;
};

std::ostream & operator<<(std::ostream & stream, Operation const & operation) {
    return stream << operation.name;
}

std::string NameOperation(::testing::TestParamInfo<Operation> const & info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Command, ToolSweep, ::testing::ValuesIn(ListOperations()), NameOperation);

// Names that would colour, move, turn or break what a terminal shows. Windows allows some of them.
constexpr char const * hostile[] = {
    "c1\xC2\x9B"
    "31m",
    "turned\xE2\x80\xAE"
    "exe",
#if !defined(_WIN32)
    "red\x1B[31m",
    "two\nlines",
    "stray\x9B"
    "31m",
#endif
};

bool Steers(std::string const & text) {
    static std::regex const steering(
        "[\\x00-\\x09\\x0B-\\x1F\\x7F]|\xC2[\x80-\x9F]|\xE2\x80[\xAA-\xAE]|m\x9B|y\x9B");
    return std::regex_search(text, steering) || text.find("two\nlines") != text.npos;
}

TEST_P(ToolSweep, SteersNoTerminal) {
    MakeEntries();
    for (std::string const name : hostile)
        fs::copy(disk / "key", disk / "tree" / fs::path(std::u8string(name.begin(), name.end())));
    Tool::Out().SetTerminal(true);
    ToolRun run = RunOnce(GetParam().command, Place(GetParam().options));
    EXPECT_FALSE(Steers(run.out + run.error)) << run.out << run.error;
    for (std::string const name : hostile) {
        Tool::Options options = GetParam().options;
        options.source += name;
        options.target += name;
        for (std::string & path : options.paths)
            path += name;
        run = RunOnce(GetParam().command, Place(options));
        EXPECT_FALSE(Steers(run.out + run.error)) << run.out << run.error;
    }
    Tool::Out().SetTerminal(false);
    run = RunOnce(Tool::List, Place(Paths({"@tree"})));
    for (char const * name : hostile)
        EXPECT_TRUE(GetParam().changes || run.out.find(name) != run.out.npos) << name;
}

TEST_P(ToolSweep, MeetsEveryFailedAllocation) {
    SweepAllocations([this](bool failed) { Meet(failed); });
}

TEST_P(ToolSweep, MeetsEveryFileCallThatFails) {
    Tests::SweepFileCallsBriefly([this](bool failed) { Meet(failed); });
}

} // namespace
