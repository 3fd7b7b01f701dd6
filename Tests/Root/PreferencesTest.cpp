#include <Kestrel/Root/Preferences.h>

#include <Kestrel/Root/Internal/PreferenceText.h>
#include <Kestrel/Root/Platform/SystemCalls.h>
#include <Kestrel/Root/String.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/TempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

class RootKey {
public:
    RootKey() : root(MuPref::OpenRootKey(MuPref::UserDomain)) {}
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
    std::string Read() const { return folder.Read("kestrel.ini"); }

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
    struct {
        char const * content;
        unsigned int value;
    } const rows[] = {
        {"[Kestrel]\nFileCacheSize = 16384\n", 16384},
        {"\xEF\xBB\xBF[Kestrel]\r\nFileCacheSize=0x4000\r\n", 16384},
        {"[ kestrel ]\n\tfilecachesize\t=\t0  # the default", 0},
        {"FileCacheSize = 1\n[Other]\nFileCacheSize = 2\n[Kestrel]\nFileCacheSize = 3\n"
         "FileCacheSize = 4\n",
         3},
        {"[Kestrel]\n[Other]\n[Kestrel]\n; FileCacheSize = 1\nFileCacheSize = 4294967295", ~0u},
        // From here on there is nothing that can be understood.
        {"", 4711},
        {"[Kestrel]\n#FileCacheSize = 1\n", 4711},
        {"[Kestrel]\nFileCacheSize\nFileCacheSize =\n", 4711},
        {"[Kestrel]\nFileCacheSize = 4294967296\n", 4711},
        {"[Kestrel]\nFileCacheSize = -1\n", 4711},
        {"[Kestrel]\nFileCacheSize = 12 345\n", 4711},
        {"[Kestrel\nFileCacheSize = 1\n", 4711},
        {"[Kestrel]\nFileCacheSize = 0x\n", 4711},
    };
    for (auto const & row : rows) {
        SCOPED_TRACE(row.content);
        Write(row.content);
        EXPECT_EQ(GetCacheSize(), row.value);
    }
}

TEST_F(Preferences, AreEmptyWithoutAFile) {
    EXPECT_EQ(GetCacheSize(), 4711u);
    EXPECT_EQ(MuPref::OpenRootKey(static_cast<MuPref::RootKeyDomain>(7)), nullptr);
    MuPref::CloseRootKey(nullptr);
}

TEST_F(Preferences, ComeBackAsTheyWereSet) {
    {
        RootKey root;
        EXPECT_EQ(root->SetUInt("Kestrel", "FileCacheSize", 65536), Mu::NoError);
        EXPECT_EQ(root->SetText("Kestrel", "Greeting", "Gr\xC3\xBC\xC3\x9F = [Gott] # 1"),
                  Mu::NoError);
        EXPECT_EQ(root->SetText("Host", "Empty", ""), Mu::NoError);
        EXPECT_EQ(root->SetUInt("kestrel", "filecachesize", 32768), Mu::NoError);
        unsigned int value = 0;
        EXPECT_TRUE(root->GetUInt("Kestrel", "FileCacheSize", 1, &value));
        EXPECT_EQ(value, 32768u);
    }
    EXPECT_EQ(GetCacheSize(), 32768u);
    EXPECT_EQ(GetText("Kestrel", "Greeting"), "Gr\xC3\xBC\xC3\x9F = [Gott] # 1");
    EXPECT_EQ(GetText("Host", "Empty"), "");
    EXPECT_EQ(GetText("Host", "Missing"), "default");
    RootKey root;
    EXPECT_EQ(root->Remove("Kestrel", "FileCacheSize"), Mu::NoError);
    EXPECT_EQ(root->Remove("Kestrel", "FileCacheSize"), Mu::NoError);
    EXPECT_EQ(GetCacheSize(), 4711u);
    EXPECT_EQ(GetText("Host", "Empty"), "");
}

TEST_F(Preferences, KeepWhatAPersonWroteRoundAValue) {
    Write("# mine\n[Kestrel]\n; a comment\nFileCacheSize = 1\ngarbage\n\n[Other]\nx=y");
    RootKey root;
    ASSERT_EQ(root->SetUInt("Kestrel", "FileCacheSize", 2), Mu::NoError);
    ASSERT_EQ(root->SetText("Kestrel", "New", "n"), Mu::NoError);
    ASSERT_EQ(root->SetText("Other", "z", "0"), Mu::NoError);
    ASSERT_EQ(root->SetText("Third", "t", "3"), Mu::NoError);
    EXPECT_EQ(Read(), "# mine\n[Kestrel]\n; a comment\nFileCacheSize = 2\ngarbage\nNew = n\n\n"
                      "[Other]\nx=y\nz = 0\n\n[Third]\nt = 3\n");
}

TEST_F(Preferences, KeepWhatAnotherProcessSetMeanwhile) {
    RootKey root;
    Write("[Other]\nx = 1\n");
    ASSERT_EQ(root->SetUInt("Kestrel", "FileCacheSize", 5), Mu::NoError);
    EXPECT_EQ(GetText("Other", "x"), "1");
    EXPECT_EQ(GetCacheSize(), 5u);
}

TEST_F(Preferences, RefuseWhatCouldNotBeReadBack) {
    RootKey root;
    for (char const * name : {"", " a", "a ", "a=b", "#a", ";a", "[a", "a\nb"})
        EXPECT_EQ(root->SetText("Kestrel", name, "x"), Mu::Error) << name;
    for (char const * key : {"", "a]", "[a", " a", "a\nb"})
        EXPECT_EQ(root->SetText(key, "name", "x"), Mu::Error) << key;
    for (char const * value : {"a\nb", "a\r", " a", "a\t"})
        EXPECT_EQ(root->SetText("Kestrel", "name", value), Mu::Error) << value;
    EXPECT_FALSE(std::filesystem::exists(folder / "kestrel.ini"));
}

TEST_F(Preferences, AnswerThatTheFileCannotBeWritten) {
    std::filesystem::create_directory(folder / "kestrel.ini"); // a folder is in its place
    EXPECT_EQ(GetCacheSize(), 4711u);
    RootKey root;
    EXPECT_EQ(root->SetUInt("Kestrel", "FileCacheSize", 5), Mu::OutputClosed);
    unsigned int value = 0;
    EXPECT_FALSE(root->GetUInt("Kestrel", "FileCacheSize", 1, &value)) << "nothing has changed";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.GetPath()), {}), 1)
        << "and nothing is left";
}

TEST_F(Preferences, NeitherReadNorReplaceAFileThatIsFarTooLong) {
    std::string const content = "[Kestrel]\nFileCacheSize = 1\n" + std::string(1 << 20, '#');
    Write(content);
    EXPECT_EQ(GetCacheSize(), 4711u);
    RootKey root;
    EXPECT_EQ(root->SetUInt("Kestrel", "FileCacheSize", 5), Mu::OutputClosed);
    EXPECT_EQ(Read(), content);
}

TEST_F(Preferences, MakeTheFolderTheyLieIn) {
    Tests::SetVariable("KESTREL_PREFERENCES", (folder / "a").append("b").append("c.ini").string());
    RootKey root;
    ASSERT_EQ(root->SetUInt("Kestrel", "FileCacheSize", 5), Mu::NoError);
    EXPECT_EQ(GetCacheSize(), 5u);
}

TEST_F(Preferences, KeepWhatSeveralThreadsSetAtOnce) {
    auto const set = [](std::string const & prefix) {
        for (int i = 0; i < 30; ++i) {
            RootKey root;
            EXPECT_EQ(root->SetText("Kestrel", (prefix + std::to_string(i)).c_str(), "x"),
                      Mu::NoError);
        }
    };
    std::thread first(set, "a"), second(set, "b");
    first.join();
    second.join();
    for (int i = 0; i < 30; ++i)
        for (std::string const prefix : {"a", "b"})
            EXPECT_EQ(GetText("Kestrel", (prefix + std::to_string(i)).c_str()), "x");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.GetPath()), {}), 1);
}

TEST_F(Preferences, AreNotHurtByRandomBytes) {
    std::mt19937 random(7);
    char const alphabet[] = "[]=#; \r\n\tKkEeSsTtRrLl0x\xEF\xBB\xBF\xFF";
    for (int round = 0; round < 2000; ++round) {
        std::string content(random() % 60, 0);
        for (char & c : content)
            c = alphabet[random() % sizeof alphabet];
        Mu::PreferencePlace const place = Mu::FindPreference(content, "kestrel", "x");
        ASSERT_LE(place.insertion, content.size());
        ASSERT_LE(place.lineBegin, place.lineEnd);
        ASSERT_LE(place.lineEnd, content.size());
        unsigned int number = 0;
        Mu::ParsePreference(content, &number);
    }
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
        MuErrCode const status = root->SetUInt("Kestrel", "FileCacheSize", value + 1);
        EXPECT_TRUE(status == Mu::NoError || status == Mu::ErrMemoryFull);
        unsigned int now = 0;
        EXPECT_TRUE(root->GetUInt("Kestrel", "FileCacheSize", 9, &now));
        EXPECT_EQ(now, status == Mu::NoError ? value + 1 : value);
        Mu::String text("before");
        EXPECT_TRUE(root->GetText("Kestrel", "FileCacheSize", "", &text)) << "or it throws";
        EXPECT_FALSE(text == "before");
    });
}
