// What only a host of the shared library can show.

#include <Kestrel/Kestrel.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

TEST(Host, CatchesWhatTheLibraryThrows) {
    Mu::UniString text;
    EXPECT_THROW(text.SetLength(Mu::UniString::MaxLength + 1), Mu::OutOfMemoryException);
    try {
        text.SetLength(0xFFFFFFFFu);
        ADD_FAILURE();
    } catch (std::exception const & e) {
        EXPECT_STRNE(e.what(), "");
    }
}

namespace {

class NameCollector : public Mu::ClassInfoEnumerator {
public:
    bool ClassInfoFound(Mu::ClassInfo const & info) override {
        names += std::string(info.GetName()) + "\n";
        return true;
    }
    std::string names;
};

// Before any code of the host has used a class.
std::string const recordsAtStart = [] {
    NameCollector collector;
    Mu::classManager.EnumerateClassInfos(&collector);
    return collector.names;
}();

} // namespace

TEST(Host, FindsTheRecordsOfAllClassesFromTheStart) {
    for (char const * name : {"Mu::String", "Mu::UniString", "IO::Name", "IO::Address",
                              "IO::RelativeLocation", "IO::Location", "IO::Process::Descriptor"})
        EXPECT_NE(("\n" + recordsAtStart).find(std::string("\n") + name + "\n"), std::string::npos)
            << name;
}

TEST(Host, AnswersReferencesMadeFromNull) {
    IO::Name const & nothing = *static_cast<IO::Name const *>(nullptr);
    IO::Name const name("x");
    EXPECT_FALSE(name == nothing);
    EXPECT_FALSE(name != nothing);
    IO::Folder folder{IO::localRoot};
    EXPECT_EQ(folder.CreateFile(nothing), IO::Error);
}

#if !defined(_WIN32) // its command interpreter passes on no exit code that could be told here

namespace {

int RunTool(std::string const & arguments) {
    return std::system(("./" KESTREL_TOOL " " + arguments + " >host-tool.log 2>&1").c_str()) >> 8;
}

} // namespace

// What a system's own tools do is compared with theirs.
TEST(Tool, SaysByItsExitCodeHowItWent) {
    for (char const * const arguments : {"special", "mounts", "path host-tool", "stat .", "ls -l"})
        EXPECT_EQ(RunTool(arguments), 0) << arguments;
    EXPECT_EQ(RunTool("path lan://host:99999/"), 1);
}

TEST(Tool, WritesALog) {
    RunTool("rm -rf host-log");
    ASSERT_EQ(RunTool("mkdir host-log"), 0);
    EXPECT_EQ(RunTool("--log host-log/logs mkdir host-log/a"), 0);
    EXPECT_EQ(RunTool("mkdir --log host-log/logs host-log/a"), 1) << "it is there";
    EXPECT_EQ(RunTool("--log host-log/missing/logs ls host-log"), 1) << "no log, no work";
    std::string lines;
    for (auto const & entry : std::filesystem::directory_iterator("host-log/logs/kestrel.logs")) {
        std::ostringstream content;
        content << std::ifstream(entry.path()).rdbuf();
        lines += content.str();
    }
    EXPECT_NE(lines.find(" INFO IO "), lines.npos) << lines;
    EXPECT_NE(lines.find(" WARNING IO "), lines.npos) << lines;
    EXPECT_EQ(lines.find(" ERROR IO "), lines.npos) << lines;
    EXPECT_EQ(RunTool("rm -r host-log"), 0);
}

TEST(Tool, TellsBrokenStreamsFromWholeOnes) {
    RunTool("rm -rf host-streams");
    ASSERT_EQ(RunTool("mkdir host-streams"), 0);
    ASSERT_EQ(RunTool("cp " KESTREL_TOOL " host-streams/plain"), 0);
    EXPECT_EQ(RunTool("zip host-streams/plain host-streams/zipped"), 0);
    EXPECT_EQ(RunTool("zip host-streams/plain host-streams/zipped"), 1) << "it is there";
    EXPECT_EQ(RunTool("unzip host-streams/zipped host-streams/unzipped"), 0);
    EXPECT_EQ(std::system("cmp host-streams/plain host-streams/unzipped"), 0);
    EXPECT_EQ(RunTool("encrypt -k key host-streams/plain host-streams/secret"), 0);
    EXPECT_EQ(RunTool("decrypt -k key host-streams/secret host-streams/open"), 0);
    EXPECT_EQ(std::system("cmp host-streams/plain host-streams/open"), 0);
    for (char const * const command : {"unzip", "decrypt -k key"}) {
        std::string const whole = command[0] == 'u' ? "zipped" : "secret";
        ASSERT_EQ(
            std::system(("head -c 50000 host-streams/" + whole + " >host-streams/cut").c_str()), 0);
        EXPECT_EQ(RunTool(std::string(command) + " host-streams/cut host-streams/saved"), 1);
        EXPECT_EQ(RunTool("stat host-streams/saved"), 1) << "half a result is none";
        EXPECT_EQ(RunTool(std::string(command) + " --recover host-streams/cut host-streams/saved"),
                  1);
        EXPECT_EQ(RunTool("rm host-streams/saved"), 0) << "unless it was asked for";
    }
    std::ofstream("host-streams/rubbish") << "no stream at all";
    EXPECT_EQ(RunTool("unzip -f host-streams/rubbish host-streams/plain"), 1);
    EXPECT_EQ(RunTool("stat host-streams/plain"), 0) << "what was there stays";
    EXPECT_EQ(RunTool("rm -r host-streams"), 0);
}

// Every second name here is one that Linux has, but not in this spelling.
TEST(Tool, DestroysOnlyWhatIsSpeltSo) {
    std::filesystem::create_directories("host-spelt/Folder");
    std::ofstream("host-spelt/File") << "content";
    for (char const * const arguments :
         {"rm host-spelt/FILE", "rm -r HOST-spelt", "mv host-spelt/file host-spelt/other",
          "zip -f KESTREL_missing host-spelt/FILE", "write host-spelt/FILE </dev/null"})
        EXPECT_EQ(RunTool(arguments), 1) << arguments;
    EXPECT_EQ(std::filesystem::file_size("host-spelt/File"), 7u);
    EXPECT_EQ(RunTool("mv host-spelt/File host-spelt/fILE"), 0) << "another spelling for it";
    EXPECT_TRUE(std::filesystem::exists("host-spelt/fILE"));
    EXPECT_EQ(RunTool("rm -r host-spelt"), 0);
}

TEST(Tool, TakesBackWhatItWasMaking) {
    std::filesystem::remove("host-half");
    ASSERT_EQ(std::system("rm -f host-pipe && mkfifo host-pipe"), 0);
    for (char const * const command : {"write host-half", "zip - host-half"})
        EXPECT_EQ(
            std::system((std::string("./" KESTREL_TOOL " ") + command +
                         " <host-pipe 2>host-error.log & tool=$!; exec 9>host-pipe; echo x >&9;"
                         "until [ -e host-half ]; do :; done; kill -TERM $tool; wait $tool;"
                         "[ $? = 143 ] && [ ! -e host-half ]")
                            .c_str()),
            0)
            << command;
}

#endif

// The preference is asked for once a process, by the first File; so it is set before any test runs.
TEST(Preferences, TellHowFarAFileReadsAhead) {
    std::ofstream("host-read.bin", std::ios::binary) << std::string(50000, 'x');
    IO::File file{
        IO::Location(IO::FromNativePath(std::filesystem::current_path() / "host-read.bin"))};
    ASSERT_EQ(file.Open(IO::File::OpenMode::ReadOnly), IO::NoError);
    char * data = nullptr;
    unsigned int available = 0;
    EXPECT_EQ(file.DirectInputAccess(0, &data, &available), IO::NoError);
    EXPECT_EQ(available, 20000u);
}

static void SetPreferences() {
    std::ofstream("host.ini") << "# by hand\n[Kestrel]\nFileCacheSize = 20000\n";
#if defined(_WIN32)
    _putenv_s("KESTREL_PREFERENCES", "host.ini");
#else
    setenv("KESTREL_PREFERENCES", "host.ini", 1);
#endif
}

// Beside the tool, wherever this program was started from.
int main(int argc, char ** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    std::filesystem::current_path(std::filesystem::canonical(argv[0]).parent_path());
    SetPreferences();
    return RUN_ALL_TESTS();
}
