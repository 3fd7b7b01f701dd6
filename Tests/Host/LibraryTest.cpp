#include <Kestrel/Library.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Log/FileLogOutput.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionClient.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Reflection/ReflectionService.h>
#include <Kestrel/Root/Log/Logger.h>

#include "Tests/Support/OwnProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

class Lines final : private Mu::LogObserver {
public:
    Lines() { Mu::logger.Attach(*this); }
    ~Lines() override { Mu::logger.Detach(*this); }

    /// How many lines have both texts.
    long long Count(char const * first, char const * second) const {
        return std::count_if(lines.begin(), lines.end(), [=](std::string const & line) {
            return line.find(first) != line.npos && line.find(second) != line.npos;
        });
    }

private:
    void LineAppended(Mu::LogSeverity, char const *, char const * text) override {
        lines.push_back(text);
    }

    std::vector<std::string> lines;
};

IO::Location GetApplicationFolder() {
    IO::Location folder;
    EXPECT_EQ(IO::fileSystem.GetSpecialLocation(IO::SpecLocId::ApplicationFolder, &folder),
              IO::NoError);
    return folder;
}

/// The settings file of this program, for as long as it lives.
class Settings {
public:
    explicit Settings(std::string const & content) : folder(GetApplicationFolder()) {
        IO::File file(folder, "Kestrel.Config", IO::File::OnNotFound::Create);
        EXPECT_EQ(file.Open(IO::File::OpenMode::WriteOnlyEmpty), IO::NoError);
        EXPECT_EQ(file.WriteBin(content.data(), static_cast<unsigned int>(content.size()), nullptr),
                  IO::NoError);
    }
    ~Settings() {
        EXPECT_EQ(folder.Delete("Kestrel.Config", IO::DataSafety::KeepProtected), IO::NoError);
    }

private:
    IO::Folder folder;
};

} // namespace

TEST(Library, ReadsSettingsThatChangeNothing) {
    unsigned int const duration = IO::fileSystem.GetAccessDeniedRetryDuration();
    {
        Settings const settings("#IO#\r\n// fileSystem.SetMountFailureTimeOut(1)\r\n"
                                "FILESYSTEM.setAccessDeniedRetryDuration (5)\r\n"
                                "fileSystem.HostBeforeMountCheckTime(7)");
        Lines const lines;
        EXPECT_EQ(IO::Init(false, ""), IO::NoError);
        EXPECT_EQ(lines.Count("Opening file \"Kestrel.Config\"", "read-only mode"), 1);
        EXPECT_EQ(lines.Count("Closing file", "Kestrel.Config"), 1);
        EXPECT_EQ(IO::Init(true, "again"), IO::NoError);
        EXPECT_EQ(lines.Count("Opening file", "Kestrel.Config"), 1) << "once";
        IO::End();
        IO::End();
    }
    EXPECT_EQ(IO::fileSystem.GetAccessDeniedRetryDuration(), duration);
    Lines const lines;
    EXPECT_EQ(IO::Init(false, ""), IO::NoError);
    EXPECT_EQ(lines.Count("Connection to file \"Kestrel.Config\"", "file is not found"), 1);
    IO::End();
}

TEST(Library, TakesWhateverStandsInTheSettings) {
    for (std::string const & content :
         {std::string(), std::string("#IO"), std::string("#IO#"), std::string("#IO#//"),
          std::string("#io#fileSystem.SetAccessDeniedRetryDuration(5)"),
          std::string("#IO#fileSystem.SetAccessDeniedRetryDuration"),
          std::string("#IO#fileSystem.SetAccessDeniedRetryDuration("),
          std::string("#IO#fileSystem.SetAccessDeniedRetryDuration(99999999999999999999)"),
          std::string("#IO#)(\0//\xFF", 9), "#IO#" + std::string(200000, '/'),
          "#IO#" + std::string(99990, ' ') + "fileSystem.SetMountFailureTimeOut(1)"}) {
        Settings const settings(content);
        EXPECT_EQ(IO::Init(false, ""), IO::NoError);
        IO::End();
    }
    EXPECT_EQ(IO::fileSystem.GetAccessDeniedRetryDuration(), 1000u);
}

// The last End waits for the hook, and the hook for nothing.
TEST(Library, EndsWhileAHookBeginsAPair) {
    static std::atomic<bool> isIn = false;
    static std::atomic<bool> isEnding = false;
    struct Hook : IO::Reflectable {
        Hook() { IO::ReflectionManager::Register(IO::RelativeLocation("pair"), this, true); }
        ~Hook() override { IO::ReflectionManager::Unregister(this); }
        bool GetChildren(IO::RelativeLocation const &, Mu::Array<IO::Name> *,
                         Mu::Array<IO::Name> *) const override {
            isIn = true;
            while (!isEnding || IO::ReflectionService::GetPort() != 0)
                std::this_thread::yield();
            EXPECT_EQ(IO::Init(false, ""), IO::NoError);
            IO::End();
            return true;
        }
    } const hook;
    IO::ReflectionService::SetLoopbackOnly(true);
    unsigned short port = 0;
    while (port == 0) { // another test may have all of them
        EXPECT_EQ(IO::Init(true, "pair"), IO::NoError);
        port = IO::ReflectionService::GetPort();
        if (port == 0)
            IO::End();
    }
    IO::ReflectionClient idle;
    EXPECT_EQ(idle.Connect("localhost", port, 0), IO::NoError);
    std::thread inspector([port] {
        IO::ReflectionClient client;
        Mu::Array<IO::Name> folders;
        Mu::Array<IO::Name> files;
        EXPECT_EQ(client.Connect("localhost", port, 0), IO::NoError);
        static_cast<void>(client.GetChildren(IO::RelativeLocation("pair"), &folders, &files));
    });
    while (!isIn)
        std::this_thread::yield();
    isEnding = true;
    IO::End();
    inspector.join();
}

TEST(Library, CountsItsPairs) {
    IO::End(); // without an Init
    auto const work = [] {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(IO::Init(false, ""), IO::NoError);
            EXPECT_EQ(IO::Init(false, ""), IO::NoError);
            IO::End();
            IO::End();
        }
    };
    work(); // without threads first
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(work);
    for (std::thread & thread : threads)
        thread.join();
    Lines const lines;
    EXPECT_EQ(IO::Init(false, ""), IO::NoError);
    EXPECT_EQ(lines.Count("Connection to file", "Kestrel.Config"), 1) << "it had come to its end";
    IO::End();
}

namespace {

constexpr char const * LeftLog = "host-left-log";

} // namespace

// Not a test: a host that ends without a thought of its log.
TEST(Library, DISABLED_LeavesItsLog) {
    static IO::FileLogOutput & log = *new IO::FileLogOutput(
        IO::Location(IO::FromNativePath(std::filesystem::current_path() / LeftLog)), 1, 1, 1);
    static Mu::InfoLogLine line("the last word", "test", nullptr);
    Mu::logger.SetOutput(&log, &log);
    Mu::logger.Append(line);
}

TEST(Library, WritesAtTheEndWhatTheHostLeft) {
    std::filesystem::remove_all(LeftLog);
    EXPECT_EQ(Tests::RunAgain({"--gtest_also_run_disabled_tests",
                               "--gtest_filter=Library.DISABLED_LeavesItsLog",
                               "--gtest_output=", "--gtest_brief=1"}),
              0);
    std::string lines;
    for (auto const & entry : std::filesystem::directory_iterator(LeftLog))
        std::getline(std::ifstream(entry.path()) >> std::ws, lines);
    EXPECT_TRUE(lines.ends_with("the last word")) << lines;
    std::filesystem::remove_all(LeftLog);
}

namespace {

constexpr char const * LeftPort = "host-left-port";

} // namespace

// Not a test: a host that forgets to end the service while it is inspected.
TEST(Library, DISABLED_LeavesItsService) {
    IO::ReflectionService::SetLoopbackOnly(true);
    unsigned short port = 0;
    while (port == 0) {
        EXPECT_EQ(IO::Init(true, "left"), IO::NoError);
        port = IO::ReflectionService::GetPort();
    }
    std::ofstream(LeftPort) << port << "\n";
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // for inspectors to come
}

TEST(Library, EndsWithAServiceThatTheHostLeft) {
    std::filesystem::remove(LeftPort);
    std::atomic<bool> isOver = false;
    std::atomic<unsigned int> answers = 0;
    auto const inspect = [&] {
        while (!isOver) {
            unsigned short port = 0;
            if (!(std::ifstream(LeftPort) >> port)) {
                std::this_thread::yield();
                continue;
            }
            IO::ReflectionClient client;
            Mu::Array<IO::Name> folders;
            Mu::Array<IO::Name> files;
            // Limited, as Wine now and then keeps the socket of a process that has ended.
            if (client.Connect("localhost", port, 10000) == IO::NoError)
                while (client.GetChildren(IO::RelativeLocation("MuRoot/Memory/AddressSpace"),
                                          &folders, &files) == IO::NoError)
                    ++answers;
        }
    };
    std::vector<std::thread> inspectors;
    for (int i = 0; i < 3; ++i)
        inspectors.emplace_back(inspect);
    EXPECT_EQ(Tests::RunAgain({"--gtest_also_run_disabled_tests",
                               "--gtest_filter=Library.DISABLED_LeavesItsService",
                               "--gtest_output=", "--gtest_brief=1"}),
              0);
    isOver = true;
    for (std::thread & inspector : inspectors)
        inspector.join();
    EXPECT_GT(answers, 0u);
}
