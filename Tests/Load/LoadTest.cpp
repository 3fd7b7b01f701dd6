// The library in the hands of a host that loads and unloads it at will: this program is not linked
// with it. It loads a plugin, which brings the library along, and both must go without a trace.

#include "Tests/Load/Plugin.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/Gate.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace fs = std::filesystem;

namespace {

using Use = int (*)(char const * folder, int pairs, unsigned int cycle);

/// The plugin for the length of its life.
class Plugin {
public:
#if defined(_WIN32)
    Plugin() : handle(LoadLibraryA(KESTREL_PLUGIN)) {}
    ~Plugin() {
        FreeLibrary(handle);
    }
    Use GetUse() const {
        return reinterpret_cast<Use>(reinterpret_cast<void *>(GetProcAddress(handle, "UsePlugin")));
    }
    static bool IsLibraryLoaded() {
        return GetModuleHandleA(KESTREL_LIBRARY) != nullptr;
    }
#else
    Plugin() : handle(dlopen("./" KESTREL_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {}
    ~Plugin() {
        if (handle != nullptr)
            dlclose(handle);
    }
    Use GetUse() const {
        return reinterpret_cast<Use>(dlsym(handle, "UsePlugin"));
    }
    static bool IsLibraryLoaded() {
        void * const found = dlopen(KESTREL_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
        if (found != nullptr)
            dlclose(found);
        return found != nullptr;
    }
#endif
    Plugin(Plugin const &) = delete;
    Plugin & operator=(Plugin const &) = delete;

    bool IsLoaded() const {
        return handle != nullptr;
    }

private:
#if defined(_WIN32)
    HMODULE handle;
#else
    void * handle;
#endif
};

/// A folder for the plugin, in this program's own.
class PluginFolder {
public:
    explicit PluginFolder(char const * name) : path(fs::current_path() / name) {
        fs::remove_all(path);
        fs::create_directory(path);
        std::u8string const text = path.u8string();
        portable.assign(text.begin(), text.end());
#if !defined(_WIN32)
        for (char & c : portable)
            c = c == '/' ? '\\' : c;
        portable = "C:" + portable;
#endif
    }
    ~PluginFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }

    char const * GetPortable() const {
        return portable.c_str();
    }

    /// How often each text stands behind the words "of cycle " in the logs.
    std::map<std::string, int> CountCycles() const {
        std::map<std::string, int> found;
        for (auto const & entry : fs::directory_iterator(path)) {
            std::ifstream log(entry.path());
            for (std::string line; std::getline(log, line);)
                if (std::size_t const at = line.find("of cycle "); at != std::string::npos)
                    ++found[line.substr(at + 9)];
        }
        return found;
    }

private:
    fs::path path;
    std::string portable;
};

} // namespace

namespace {

/// What stays in the process of so many lives of something, the first few of which are not counted:
/// the system keeps something of its own for the first of a kind.
struct Growth {
    static constexpr unsigned int Warm = 5;
    static constexpr unsigned int Cycles = 60;

    template <typename Cycle>
    explicit Growth(Cycle const & live) {
        for (unsigned int cycle = 0; cycle < Cycles; ++cycle) {
            if (cycle == Warm)
                Count(-1);
            live(cycle);
        }
        Count(1);
    }

    void Count(int sign) {
        handles += sign * Tests::CountHandles();
        threads += sign * Tests::CountThreads();
    }

    long long handles = 0;
    long long threads = 0;
};

} // namespace

TEST(Load, LeavesNothingBehind) {
    PluginFolder const folder("load-cycles");
    Growth const growth([&](unsigned int cycle) {
        SCOPED_TRACE(cycle);
        {
            Plugin const plugin;
            ASSERT_TRUE(plugin.IsLoaded());
            ASSERT_TRUE(Plugin::IsLibraryLoaded());
            ASSERT_EQ(plugin.GetUse()(folder.GetPortable(), static_cast<int>(cycle % 4), cycle), 0);
        }
        ASSERT_FALSE(Plugin::IsLibraryLoaded()) << "it stayed";
    });
    EXPECT_LE(growth.threads, 0);
    EXPECT_LE(growth.handles, 0);
    EXPECT_EQ(folder.CountCycles().size(), Growth::Cycles) << "each cycle has a log of its own";
    for (auto const & [cycle, count] : folder.CountCycles())
        EXPECT_EQ(count, 2) << cycle;
}

// What the library keeps for a thread must not be called upon when the thread ends later.
TEST(Load, GoesBeforeAThreadThatUsedIt) {
    PluginFolder const folder("load-threads");
    for (unsigned int cycle = 0; cycle < 5; ++cycle) {
        Tests::Gate used, unloaded;
        std::thread thread;
        {
            Plugin const plugin;
            ASSERT_TRUE(plugin.IsLoaded());
            thread = std::thread([&, use = plugin.GetUse()] {
                EXPECT_EQ(use(folder.GetPortable(), 1, cycle), 0);
                used.Open();
                unloaded.Wait();
            });
            used.Wait();
        }
        EXPECT_FALSE(Plugin::IsLibraryLoaded());
        unloaded.Open();
        thread.join();
    }
}

// Beside the plugins, wherever this program was started from.
int main(int argc, char ** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    std::filesystem::current_path(std::filesystem::canonical(argv[0]).parent_path());
    return RUN_ALL_TESTS();
}
