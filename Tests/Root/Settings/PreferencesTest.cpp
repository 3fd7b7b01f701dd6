#include <Kestrel/Root/Settings/Preferences.h>

#include <Kestrel/Root/Text/String.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <string>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

class RootKey {
public:
    RootKey() : root(MuPref::OpenRootKey(MuPref::RootKeyDomain(1))) {}
    ~RootKey() { MuPref::CloseRootKey(&root); }
    MuPref::IRoot * operator->() const { return root; }
    explicit operator bool() const { return root != nullptr; }

private:
    MuPref::IRoot * root;
};

// The settings file of these tests.
class Preferences : public ::testing::Test {
protected:
    Preferences() { Tests::SetVariable("KESTREL_PREFERENCES", (folder / "kestrel.ini").string()); }
    ~Preferences() override { Tests::SetVariable("KESTREL_PREFERENCES", ""); }

    void Write(std::string const & content) const { folder.Write("kestrel.ini", content); }

    // The number in the file, or 4711 if it has none.
    static unsigned int GetCacheSize() {
        RootKey root;
        unsigned int value = 1;
        bool const there = root->GetUInt("Kestrel", "FileCacheSize", 4711, &value);
        EXPECT_EQ(there, value != 4711);
        return value;
    }

    static std::string GetText(char const * key, char const * name) {
        RootKey root;
        Mu::String text;
        root->GetText(key, name, "default", &text);
        return text.ToCStr();
    }

    Tests::TempFolder folder;
};

} // namespace

TEST_F(Preferences, ReadWhatAPersonWrote) {
    std::string full = "[Kestrel]\nFileCacheSize = 7\n";
    full.resize(1 << 20, '#');
    struct {
        std::string content;
        unsigned int value;
    } const rows[] = {
        {"[Kestrel]\nFileCacheSize = 16384\n", 16384},
        {"\xEF\xBB\xBF[Kestrel]\r\nFileCacheSize=0x4000\r\n", 16384},
        {"[ kestrel ]\n\tfilecachesize\t=\t0  # the default", 0},
        {"FileCacheSize = 1\n[Other]\nFileCacheSize = 2\n[Kestrel]\nFileCacheSize = 3\n"
         "FileCacheSize = 4\n",
         3},
        {"[Kestrel]\n[Other]\n[Kestrel]\n; FileCacheSize = 1\nFileCacheSize = 4294967295", ~0u},
        {full, 7},
        // From here on there is nothing that can be understood.
        {"", 4711},
        {"[Kestrel]\n#FileCacheSize = 1\n", 4711},
        {"[Kestrel]\nFileCacheSize\nFileCacheSize =\n", 4711},
        {"[Kestrel]\nFileCacheSize = 4294967296\n", 4711},
        {"[Kestrel]\nFileCacheSize = -1\n", 4711},
        {"[Kestrel]\nFileCacheSize = 12 345\n", 4711},
        {"[Kestrel\nFileCacheSize = 1\n", 4711},
        {"[Kestrel]\nFileCacheSize = 0x\n", 4711},
        {full + '#', 4711}, // too long
    };
    for (auto const & row : rows) {
        SCOPED_TRACE(row.content.substr(0, 80));
        Write(row.content);
        EXPECT_EQ(GetCacheSize(), row.value);
    }
}

TEST_F(Preferences, HoldTextsToo) {
    Write("[Kestrel]\n  Greeting =  Gr\xC3\xBC\xC3\x9F = [Gott] # 1 \n[Host]\nEmpty =\n");
    EXPECT_EQ(GetText("Kestrel", "Greeting"), "Gr\xC3\xBC\xC3\x9F = [Gott] # 1");
    EXPECT_EQ(GetText("Host", "Empty"), "");
    EXPECT_EQ(GetText("Host", "Missing"), "default");
}

TEST_F(Preferences, AreEmptyWithoutAFile) {
    EXPECT_EQ(GetCacheSize(), 4711u);
    std::filesystem::create_directory(folder / "kestrel.ini"); // a folder is in its place
    EXPECT_EQ(GetCacheSize(), 4711u);
    EXPECT_EQ(MuPref::OpenRootKey(static_cast<MuPref::RootKeyDomain>(7)), nullptr);
    MuPref::CloseRootKey(nullptr);
}

TEST_F(Preferences, MeetEveryFailedAllocation) {
    Write("[Kestrel]\nFileCacheSize = 1\n");
    SweepAllocations([](bool failed) {
        RootKey root;
        if (!root) {
            EXPECT_TRUE(failed);
            return;
        }
        unsigned int value = 0;
        EXPECT_TRUE(root->GetUInt("Kestrel", "FileCacheSize", 9, &value));
        EXPECT_EQ(value, 1u);
        Mu::String text("before");
        EXPECT_TRUE(root->GetText("Kestrel", "FileCacheSize", "", &text)) << "or it throws";
        EXPECT_TRUE(text == "1");
    });
}
