#include <Kestrel/Process/Process.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Location/TestResolver.h"
#include "Tests/Support/Process/ScriptedProcessCalls.h"
#include "Tests/Support/Root/Persisted.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace Process = IO::Process;

/// Reads native paths too, without the drive that the real one finds for them.
class Resolver final : public Tests::TestResolver {
public:
    bool PathToLocation(Mu::UniString const & text, IO::Location * location) override {
        bool const isNative = text.GetLength() > 1 && text[0] == '/' && text[1] != '/';
        return TestResolver::PathToLocation(isNative ? Mu::UniString(text, 1) : text, location);
    }
};

std::string ToText(Process::Descriptor const & process) {
    IO::Name last;
    process.path.GetLastLocalName(&last);
    return std::to_string(process.processId) + "<" + std::to_string(process.parentProcessId) + " " +
           ToUtf8(process.name) + " " + ToUtf8(last.ToString());
}

/// A shortage of memory is passed over.
std::vector<std::string> Walk() {
    std::vector<std::string> all;
    Process::Descriptor process;
    int status = IO::NoError;
    for (bool isFirst = true; status == IO::NoError;) {
        try {
            status = std::exchange(isFirst, false) ? Process::GetFirstProcess(&process)
                                                   : Process::GetNextProcess(&process);
            if (status == IO::NoError)
                all.push_back(ToText(process));
        } catch (Mu::OutOfMemoryException const &) {
        }
    }
    return all;
}

std::vector<Tests::ScriptedProcessCalls::Running> MakeProcesses() {
    return {{1, u"System", {}},
            {2, u"SHELL.exe", {u"kernel32.dll", u"Shell.EXE", u"other.dll"}},
            {4, u"\u0130", {u"\u0130"}},
            {3, u"strange", {u"else.dll"}}};
}

} // namespace

TEST(Process, WalksOverWhatCanBeDescribed) {
    Resolver resolver;
    Tests::ScriptedProcessCalls calls(MakeProcesses());
    Mu::UniString dotted(u"\u0130");
    dotted.SetToLowerCase(); // itself on Windows
    std::vector<std::string> const expected{"2<1002 shell.exe Shell.EXE",
                                            "4<1004 " + ToUtf8(dotted) + " \xC4\xB0"};
    SweepAllocations([&](bool failed) {
        std::vector<std::string> const found = Walk();
        EXPECT_TRUE(failed || found == expected);
        EXPECT_EQ(calls.open, 0);
    });

    Process::Descriptor process;
    EXPECT_EQ(Process::GetActualProcess(nullptr), IO::Error);
    EXPECT_EQ(Process::GetFirstProcess(&process), IO::NoError);
    EXPECT_EQ(Process::GetFirstProcess(nullptr), IO::Error);
    EXPECT_EQ(Process::GetNextProcess(&process), IO::Error) << "given up";
    EXPECT_EQ(Process::GetFirstProcess(&process), IO::NoError) << "starts afresh";
    EXPECT_EQ(Process::GetNextProcess(nullptr), IO::Error);
    EXPECT_EQ(calls.open, 1);
    EXPECT_EQ(ToText(process), expected[0]);
    EXPECT_EQ(Process::GetNextProcess(&process), IO::NoError);
    EXPECT_EQ(Process::GetNextProcess(&process), IO::Error);
    EXPECT_EQ(Process::GetNextProcess(&process), IO::Error) << "behind the end";
    EXPECT_EQ(ToText(process), expected[1]) << "a failure changes nothing";
    EXPECT_EQ(calls.open, 0);

    EXPECT_EQ(Process::GetFirstProcess(&process), IO::NoError);
    calls.isRefused = true;
    EXPECT_EQ(Process::GetFirstProcess(&process), IO::Error);
    EXPECT_EQ(Process::GetNextProcess(&process), IO::Error) << "the walk before is given up";
    EXPECT_EQ(calls.open, 0);
}

TEST(Process, KnowsItself) {
    Resolver resolver;
    Process::Descriptor self;
    ASSERT_EQ(Process::GetActualProcess(&self), IO::NoError);
    EXPECT_EQ(self.processId, Process::GetPid());
    EXPECT_EQ(self.parentProcessId, 0);
    EXPECT_EQ(self.name, "KestrelProcessTests");
    bool isFound = false;
    Process::Descriptor process;
    for (int status = Process::GetFirstProcess(&process); status == IO::NoError;
         status = Process::GetNextProcess(&process)) {
        IO::Name last;
        EXPECT_EQ(process.path.GetLastLocalName(&last), IO::NoError);
        bool const isItself = !last.ToString().Contains(Mu::UniChar(':')); // to this resolver
        EXPECT_TRUE(last == process.name || !isItself) << process.name << " is at " << process.path;
        if (process.processId != self.processId)
            continue;
        isFound = true;
#if !defined(_WIN32) // a program that Wine did not start itself has no parent there
        EXPECT_NE(process.parentProcessId, 0);
#endif
        EXPECT_TRUE(process.path == self.path) << process.path << " " << self.path;
        EXPECT_TRUE(ToUtf8(process.name).starts_with("kestrelprocesstests"));
    }
    EXPECT_TRUE(isFound);

    // Behind the last is no error, whatever a call before has left in errno.
    Process::ProcessCalls & calls = Process::GetPlatformProcessCalls();
    Process::SnapshotHandle snapshot;
    Process::ProcessEntry entry;
    ASSERT_EQ(calls.CreateProcessSnapshot(&snapshot), 0u);
    unsigned int error = calls.FirstProcess(snapshot, &entry);
    for (; error == 0; error = calls.NextProcess(snapshot, &entry))
        errno = EIO;
    EXPECT_EQ(error, IO::FileError::NoMoreFiles);
    calls.CloseSnapshot(snapshot);
}

TEST(Process, TravelsAsFourFields) {
    Resolver resolver;
    Process::Descriptor process;
    process.processId = 0x01020304;
    process.parentProcessId = -2;
    process.name = "ab";
    process.path = IO::Location("C:\\Bin\\ab");
    std::string const start("\4\3\2\1\xFE\xFF\xFF\xFF\2\0\0\0a\0b\0KFrm", 20);
    EXPECT_TRUE(Tests::ToBytes(process).starts_with(start));
    Tests::ExpectSafeReading(process);
}
