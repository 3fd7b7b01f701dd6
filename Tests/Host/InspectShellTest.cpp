// The shell of `kestrel inspect`, on a terminal.

#if !defined(_WIN32) // whose terminals are not files; it reads plain lines there

#include "Tests/Host/RunTool.h"

#include <Kestrel/Library.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Reflection/ReflectionService.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using IO::Name;

/// The tool on a terminal of its own.
class Terminal {
public:
    Terminal(std::string const & port, std::string const & stateFolder) {
        master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_EQ(grantpt(master), 0);
        EXPECT_EQ(unlockpt(master), 0);
        std::string const slave = ptsname(master);
        // The editor keeps the names of what is added to its commands.
        std::string own[] = {"TERM=dumb", "XDG_STATE_HOME=" + stateFolder,
                             "ASAN_OPTIONS=detect_leaks=0"};
        std::vector<char *> variables{own[0].data(), own[1].data(), own[2].data()};
        for (char ** one = environ; *one != nullptr; ++one)
            variables.push_back(*one);
        variables.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawnattr_t attributes;
        posix_spawn_file_actions_init(&files);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID); // whose terminal it opens
        posix_spawn_file_actions_addopen(&files, 0, slave.c_str(), O_RDWR, 0);
        posix_spawn_file_actions_adddup2(&files, 0, 1);
        posix_spawn_file_actions_adddup2(&files, 0, 2);
        std::string words[] = {KESTREL_TOOL, "inspect", port};
        char * const list[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
        EXPECT_EQ(
            posix_spawn(&child, "./" KESTREL_TOOL, &files, &attributes, list, variables.data()), 0);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&files);
    }
    ~Terminal() {
        close(master);
        waitpid(child, nullptr, 0);
    }
    Terminal(Terminal const &) = delete;
    Terminal & operator=(Terminal const &) = delete;

    void Type(std::string const & text) const {
        EXPECT_EQ(write(master, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    /// Whether that is shown, behind what was asked for before, within 20 seconds.
    bool Shows(std::string const & text) {
        auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < end) {
            std::size_t const found = shown.find(text, seen);
            if (found != shown.npos) {
                seen = found + text.size();
                return true;
            }
            pollfd ready{master, POLLIN, 0};
            char bytes[4096];
            ssize_t const count =
                poll(&ready, 1, 20000) > 0 ? read(master, bytes, sizeof bytes) : 0;
            if (count <= 0)
                return false;
            shown.append(bytes, static_cast<std::size_t>(count));
        }
        return false;
    }
    std::string const & GetShown() const { return shown; }

private:
    int master = -1;
    pid_t child = -1;
    std::string shown;
    std::size_t seen = 0;
};

/// A name that would steer a terminal, with a number that grows by looking at it.
struct Hostile : IO::Reflectable {
    mutable std::atomic<unsigned int> looks = 0;
    Hostile() { IO::ReflectionManager::Register(IO::RelativeLocation("hostile"), this, false); }
    ~Hostile() override { IO::ReflectionManager::Unregister(this); }
    bool GetChildren(IO::RelativeLocation const & place, Mu::Array<Name> *,
                     Mu::Array<Name> * files) const override {
        if (place.IsEmpty())
            files->Push("red\x1b[31m\x1b]0;taken\x07");
        return true;
    }
    bool GetAttributes(IO::RelativeLocation const &, Mu::Array<Attribute> * all) const override {
        all->Emplace("looks\x1b[32m", Attribute::UnsignedInteger);
        return true;
    }
    bool GetAttributeValues(IO::RelativeLocation const &,
                            Mu::Array<AttributeValue> * values) const override {
        values->Push(1000 + ++looks);
        return true;
    }
};

TEST(InspectShell, CompletesRemembersAndMarksOnATerminal) {
    IO::ReflectionService::SetLoopbackOnly(true);
    ASSERT_EQ(IO::Init(true, "on a terminal"), IO::NoError);
    {
        Hostile const hostile;
        std::string const state = std::filesystem::absolute("inspect-state").string();
        std::filesystem::remove_all(state);
        std::string const port = std::to_string(IO::ReflectionService::GetPort());
        {
            Terminal terminal(port, state);
            EXPECT_TRUE(terminal.Shows(port + "/> ")) << terminal.GetShown();
            terminal.Type("cd hos\t\n");
            EXPECT_TRUE(terminal.Shows(port + "/hostile> ")) << terminal.GetShown();
            terminal.Type("cat re\t\n");
            EXPECT_TRUE(terminal.Shows("red%1B[31m%1B]0;taken%07")) << terminal.GetShown();
            EXPECT_TRUE(terminal.Shows("hostile> "));
            terminal.Type("table\n");
            EXPECT_TRUE(terminal.Shows("looks\\x1B[32m"));
            EXPECT_TRUE(terminal.Shows("red\\x1B[31m\\x1B]0;taken\\x07"));
            terminal.Type("watch . 0.1\n");
            EXPECT_TRUE(terminal.Shows("\n*  \"red")) << terminal.GetShown();
            terminal.Type("\n");
            EXPECT_TRUE(terminal.Shows("hostile> ")) << terminal.GetShown();
            terminal.Type("quit\n");
            EXPECT_FALSE(terminal.Shows("there is no such text"));
            for (char const * steering : {"\x1b[31m", "\x1b[32m", "\x1b]0;", "\x07"})
                EXPECT_FALSE(Tests::Has(terminal.GetShown(), steering)) << terminal.GetShown();
        }
        Terminal again(port, state);
        EXPECT_TRUE(again.Shows(port + "/> "));
        again.Type("\x10\x10"); // to the line before the last one
        EXPECT_TRUE(again.Shows("watch . 0.1")) << again.GetShown();
        again.Type("\x03quit\n");
        EXPECT_FALSE(again.Shows("there is no such text"));
        std::filesystem::remove_all(state);
    }
    IO::End();
}

} // namespace

#endif
