#include <Kestrel/Reflection/RemoteReflectionVFS.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Reflection/DrawnTree.h"
#include "Tests/Support/Reflection/Level.h"
#include "Tests/Support/Reflection/Reads.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Comfort/Files.h>
#include <Kestrel/Comfort/Paths.h>
#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>
#include <Kestrel/FileSystem/NativeFileSystem.h>
#include <Kestrel/Location/LocationValidator.h>
#include <Kestrel/Reflection/Internal/RemoteTree.h>
#include <Kestrel/Reflection/ReflectRollingVFS.h>
#include <Kestrel/Root/Time/Time.h>

#include <gtest/gtest.h>

#include <deque>
#include <optional>

namespace {

using IO::Location;
using IO::Name;
using Tests::DrawnTree;
using Tests::LinkServer;
using Tests::Thing;
using Tests::Things;
using VFS = IO::RemoteReflectionVFS;

// Each byte over a socket takes long under Wine.
#if defined(_WIN32)
constexpr unsigned int Trees = 1;
constexpr unsigned int Links = 5;
constexpr unsigned int ManyNames = 2000;
#else
constexpr unsigned int Trees = 4;
constexpr unsigned int Links = 20;
constexpr unsigned int ManyNames = 20000;
#endif
constexpr char MountPoint[] = "C:\\Kestrel remote";

struct Mounted {
    explicit Mounted(unsigned short port, IO::RemoteReflectionLimits const & limits = {})
        : system("127.0.0.1", port, limits) {
        EXPECT_EQ(IO::fileSystem.Mount(system, top), IO::NoError);
    }
    ~Mounted() { EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError); }
    Location const top{MountPoint};
    VFS system;
};

// With regard to every unit, which names are not compared by everywhere.
bool IsForEveryDisk(Name const & name) {
    std::u16string_view const text = name.ToString();
    return IO::LocationValidator::Find(Mu::WindowsSign)->IsLegal(name) && text != u"." &&
           text != u"..";
}

/// What could be read below a folder, by the names of the process; `isWhole` becomes false otherwise.
void Read(Location const & place, std::vector<std::u16string> const & path, Things * found,
          bool * isWhole) {
    IO::Folder const folder(place);
    std::vector<std::pair<Name, bool>> entries;
    auto const collect = [](IO::Folder const &, Name const & name, bool isFolder, void * data) {
        static_cast<std::vector<std::pair<Name, bool>> *>(data)->push_back({name, isFolder});
        return true;
    };
    *isWhole &= folder.Enumerate(collect, &entries) == IO::NoError;
    for (auto const & [name, isFolder] : entries) {
        EXPECT_TRUE(IsForEveryDisk(name)) << name;
        Thing thing{path, isFolder, ""};
        bool const isTable = name == VFS::TableName && !isFolder;
        thing.path.emplace_back(std::u16string_view(VFS::UnescapeName(name).ToString()));
        Location const below(place, name);
        if (isFolder)
            Read(below, thing.path, found, isWhole);
        else if (auto const text = IO::ReadAll<std::string>(below); text)
            thing.content = *text;
        else {
            *isWhole = false;
            continue;
        }
        if (isTable)
            thing = {path, false, Tests::NormaliseTable(thing.content)};
        found->insert(thing);
    }
}

// Every character that a name may have, and beside it those that need care.
TEST(RemoteReflectionVFS, EscapesNamesOneToOneForEveryDisk) {
    for (std::u16string const stem :
         {u"con", u"PRN", u"aux", u"nul", u"conin$", u"Conout$", u"com", u"lpt"})
        for (char16_t unit = 1; unit < 0x100; ++unit) {
            std::u16string const ends =
                stem == u"com" || stem == u"lpt" ? u"0123456789\xB9\xB2\xB3" : u". ";
            Name const escaped = VFS::EscapeName(Name(stem + unit));
            EXPECT_EQ(ToUtf8(escaped)[0] == '%', ends.find(unit) != ends.npos) << escaped;
        }
    EXPECT_EQ(VFS::UnescapeName("%4a%4f%4g%`1"), "JO%4g%`1");
    for (char const * text : {"\\", "\\u", "\\u123", "\\u12g4", "\\x1234"})
        EXPECT_EQ(VFS::UnescapeCell(text), text) << "no escape";
    std::mt19937 random(1);
    std::map<std::u16string, std::u16string> plainOf;
    for (int round = 0; round < 3000; ++round) {
        std::u16string name;
        for (unsigned int i = 1 + random() % 4; i > 0; --i)
            name += Tests::DrawPiece(random);
        if (random() % 4 == 0)
            name += static_cast<char16_t>(random() % 2 == 0 ? 1 << random() % 16
                                                            : 1 + random() % 0xFFFF);
        if (random() % 4 == 0)
            name += {static_cast<char16_t>(0xD800 + random() % 4 * 0x155),
                     static_cast<char16_t>(0xDC00 + random() % 4 * 0x155)};
        Name const escaped = VFS::EscapeName(Name(name));
        ASSERT_TRUE(IsForEveryDisk(escaped)) << escaped;
        ASSERT_TRUE(VFS::UnescapeName(escaped).ToString() == Mu::UniString(name)) << escaped;
        Name const further = IO::EscapeRemoteName(Name(name), random() % 9);
        ASSERT_TRUE(VFS::UnescapeName(further).ToString() == Mu::UniString(name)) << further;
        auto const [at, isNew] =
            plainOf.try_emplace(std::u16string(std::u16string_view(escaped.ToString())), name);
        ASSERT_TRUE(isNew || at->second == name);
        Mu::UniString const cell = VFS::EscapeCell(Mu::UniString(name));
        ASSERT_TRUE(VFS::UnescapeCell(cell) == Mu::UniString(name)) << cell;
        ASSERT_TRUE(std::all_of(cell.begin(), cell.end(), [](unsigned int unit) {
            return unit >= 32 && (unit < 0x7F || unit >= 0xA0);
        }));
        // Bytes stand for a character if that is escaped as them, and else for themselves.
        std::string bytes;
        for (int left = -1; left != 0; --left) {
            unsigned int const byte = left < 0 ? 0xC0 + random() % 0x40 : 0x80 + random() % 0x42;
            bytes += {'%', "0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
            left = left > 0 ? left : byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
        }
        Name const plain = VFS::UnescapeName(U(bytes));
        ASSERT_TRUE(plain == U(bytes) || IO::EscapeRemoteName(plain, 2) == U(bytes)) << bytes;
    }
}

TEST(RemoteReflectionVFS, ShowsADrawnTreeByMountByUrlAndOnTheDisk) {
    Tests::LogCapture const log;
    for (unsigned int seed = 1; seed <= Trees; ++seed) {
        SCOPED_TRACE(seed);
        DrawnTree const tree(seed);
        LinkServer server;
        Things found;
        bool isWhole = true;
        IO::RemoteReflectionLimits limits;
        limits.keepTime = 600000;
        {
            Mounted const mounted(server.GetPort(), limits);
            Read(mounted.top, {}, &found, &isWhole);
            EXPECT_TRUE(isWhole);
            EXPECT_TRUE(found == tree.GetThings());
            // Nothing is asked twice: a level is two questions, a table and a content one.
            EXPECT_LE(server.CountQuestions(), 2 * tree.CountFolders() + found.size());
            Tests::TempFolder const disk;
            Location const copy(disk.GetPortable("copy"));
            EXPECT_EQ(IO::fileSystem.Copy(mounted.top / "drawn", copy), IO::NoError);
            Things copied;
            Read(copy, {u"drawn"}, &copied, &isWhole);
            found.erase(Thing{{u"drawn"}, true, ""});
            EXPECT_TRUE(copied == found);
        }
        IO::ReflectRollingVFS processes;
        EXPECT_EQ(IO::fileSystem.Mount(processes), IO::NoError);
        Things again;
        std::string const url = "reflect://127.0.0.1:" + std::to_string(server.GetPort()) + "/";
        Read(Location(url + "drawn"), {u"drawn"}, &again, &isWhole);
        EXPECT_TRUE(isWhole);
        EXPECT_TRUE(again == found);
        // The plain name leads there too.
        for (Thing const & thing : again) {
            Location place(url);
            bool isPlain = true;
            for (std::u16string const & name : thing.path)
                isPlain &= name.find(u'%') == name.npos && Name(name) != VFS::TableName;
            if (!isPlain)
                continue;
            for (std::u16string const & name : thing.path)
                EXPECT_EQ(place.AppendToLocal(Name(name)), IO::NoError);
            bool isThere = false;
            EXPECT_EQ(IO::fileSystem.Contains(place, &isThere), IO::NoError);
            EXPECT_TRUE(isThere);
        }
        EXPECT_EQ(IO::fileSystem.Unmount(processes), IO::NoError);
    }
}

// The link ends behind the n-th byte of its answers, or each time that so many came, or stands still.
TEST(RemoteReflectionVFS, ReadsWhatIsRightOrFailsOverABadLink) {
    Tests::LogCapture const log;
    DrawnTree const tree(5);
    for (unsigned int seed = 1; seed <= Links; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        LinkServer server;
        IO::RemoteReflectionLimits limits;
        limits.timeout = seed % 5 == 0 ? 40 : 5000;
        limits.keepTime = seed % 3 == 0 ? 0 : 2000;
        limits.keptSize = seed % 4 == 2 ? 300 : 1 << 20;
        limits.retryTime = seed % 2 == 0 ? 0 : 1000;
        std::optional<Mounted> mounted(std::in_place, server.GetPort(), limits);
        bool const isNobody = seed % 8 == 3;
        server.SetHarm({isNobody ? 0 : static_cast<unsigned int>(random() % 4000),
                        seed % 2 == 0 || isNobody, limits.timeout < 100});
        Things found;
        bool isWhole = true;
        Read(mounted->top, {}, &found, &isWhole);
        EXPECT_TRUE(std::includes(tree.GetThings().begin(), tree.GetThings().end(), found.begin(),
                                  found.end()));
        EXPECT_TRUE(!isWhole || found == tree.GetThings());
        server.SetHarm({});
        // A short limit is not met by a machine with much to do.
        if (limits.timeout < 100) {
            mounted.reset();
            mounted.emplace(server.GetPort());
        } else if (limits.retryTime > 0) { // who mounts anew need not wait
            EXPECT_EQ(IO::fileSystem.Unmount(mounted->system), IO::NoError);
            EXPECT_EQ(IO::fileSystem.Mount(mounted->system, mounted->top), IO::NoError);
        }
        Things again;
        Read(mounted->top, {}, &again, &isWhole);
        EXPECT_TRUE(again == tree.GetThings()); // the next use makes a new connection
    }
}

TEST(RemoteReflectionVFS, ReadsAndChangesNothing) {
    Tests::LogCapture const log;
    DrawnTree const tree(1, 3);
    LinkServer server;
    Tests::HandClock clock;
    Mounted mounted(server.GetPort());
    Location top = mounted.top / "drawn";
    IO::Folder folder(top);
    EXPECT_EQ(folder.CreateFolder("new"), IO::ErrFolderAccessDenied);
    EXPECT_EQ(IO::fileSystem.Delete(top, IO::DataSafety::IgnoreProtection,
                                    IO::AccessDeniedTreatment::Fail),
              IO::ErrFolderAccessDenied);
    EXPECT_FALSE(folder.IsWriteable());
    EXPECT_EQ(IO::Folder(top / "none").GetStatus(), IO::ErrFolderNotFound);
    EXPECT_EQ(IO::File(top).GetStatus(), IO::ErrNotAFile);
    IO::File table(top / VFS::TableName);
    EXPECT_EQ(IO::Folder(top / VFS::TableName).GetStatus(), IO::ErrNotAFolder);
    EXPECT_EQ(table.Open(IO::File::OpenMode::WriteOnly, IO::AccessDeniedTreatment::Fail),
              IO::ErrFileAccessDenied);
    ASSERT_EQ(table.Open(IO::File::OpenMode::ReadOnly), IO::NoError);
    // What was answered is good until its time is over.
    std::size_t const asked = server.CountQuestions();
    EXPECT_EQ(IO::Folder(top).GetStatus(), IO::NoError);
    EXPECT_EQ(server.CountQuestions(), asked);
    for (unsigned int const milliseconds : {1999, 1}) {
        clock.Advance(milliseconds);
        EXPECT_EQ(IO::Folder(top).GetStatus(), IO::NoError);
        EXPECT_EQ(server.CountQuestions(), milliseconds == 1 ? asked + 2 : asked);
    }
    for (unsigned int i = 1; i < VFS::DeepestLevel; ++i)
        top /= "deep";
    EXPECT_EQ(IO::Folder(top).GetStatus(), IO::ErrFolderNotFound);
    EXPECT_EQ(IO::Folder(top / "deep").GetStatus(), IO::Error);

    using Entry = IO::FileEntry;
    Location place = mounted.top / "drawn" / "1";
    Entry * file = nullptr;
    ASSERT_EQ(mounted.system.Connect(&place, &file), VFS::ConnectStatus::Connected);
    unsigned int count = 1;
    unsigned long long at = 0;
    EXPECT_EQ(file->Read(nullptr, 0, &count), Entry::ReadStatus::ReadError) << "not open";
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(file->Seek(Entry::SeekOrigin::End, 0, &at), Entry::SeekStatus::Other);
    std::string const content = *IO::ReadAll<std::string>(place);
    for (Entry::OpenMode mode : {Entry::OpenMode::Read, Entry::OpenMode::ReadShared}) {
        EXPECT_EQ(file->Open(mode), Entry::OpenStatus::Done);
        Tests::ExpectReads(*file, content);
    }
    mounted.system.Disconnect(file);
}

TEST(RemoteReflectionVFS, DropsWhatNobodyHolds) {
    Tests::LogCapture const log;
    constexpr unsigned int Things = 100;
    DrawnTree const tree(1, Things);
    LinkServer const server;
    IO::RemoteReflectionLimits limits;
    limits.keepTime = 600000;
    limits.keptSize = 0;
    std::optional<Mounted> mounted(std::in_place, server.GetPort(), limits);
    Location const top = mounted->top / "drawn";
    std::size_t asked = 0;
    auto const count = [&] {
        return server.CountQuestions() - std::exchange(asked, server.CountQuestions());
    };
    unsigned int entries = 0;
    {
        IO::Folder const held(top);
        EXPECT_EQ(held.CountEntries(&entries), IO::NoError);
        EXPECT_EQ(count(), 4u) << "two for each level";
        EXPECT_EQ(IO::Folder(top).GetStatus(), IO::NoError);
        EXPECT_EQ(count(), 2u) << "the one above";
        for (int round = 0; round < 2; ++round) {
            for (unsigned int i = 0; i < Things; ++i)
                EXPECT_TRUE(IO::ReadAll<std::string>(top / std::to_string(i)));
            std::size_t const questions = count();
            EXPECT_TRUE(questions == Things || (round > 0 && questions > 0)) << questions;
        }
        EXPECT_EQ(IO::File(held, "5").GetStatus(), IO::NoError);
        EXPECT_EQ(count(), 0u) << "what is held is not asked for";
    }
    limits.answerLimit = 100;
    mounted.reset();
    mounted.emplace(server.GetPort(), limits);
    EXPECT_EQ(IO::Folder(top).CountEntries(&entries), IO::Error);
}

// A node is known by its own name. What is asked for stands in the tree of the process itself: with
// all names above it, a walk there would find its own questions, without an end.
TEST(RemoteReflectionVFS, AsksForANodeOfTheAddressTreeByItsOwnName) {
    using IO::Reflectable;
    std::atomic<unsigned int> longest = 0;
    Tests::Level const nodes(
        "Kestrel/AddressTree", {},
        [&](auto const & above, auto & folders, auto &) {
            longest = std::max<unsigned int>(longest, above.GetSize());
            for (unsigned int node = 1; node < 6; ++node)
                if (above.IsEmpty() || Reflectable::ToULong(above[0]) + 1 == node)
                    folders.Push(Reflectable::ToName(node));
        },
        [](auto const &, auto &) {});
    Reflectable::Connect(nodes.group, nodes.group);
    LinkServer const server;
    Mounted const mounted(server.GetPort());
    Location place = mounted.top / "Kestrel" / "AddressTree";
    for (int node = 1; node < 6; ++node) {
        place /= std::to_string(node);
        EXPECT_EQ(IO::Folder(place).GetStatus(), IO::NoError) << node;
    }
    EXPECT_EQ(longest, 1u);
}

// A tree that takes three seconds of the clock for each list.
struct Slow : DrawnTree {
    Tests::HandClock & clock;
    mutable std::atomic<unsigned int> lists = 0;
    explicit Slow(Tests::HandClock & clock) : DrawnTree(3), clock(clock) {}
    bool GetChildren(IO::RelativeLocation const & place, Mu::Array<Name> * folders,
                     Mu::Array<Name> * files) const override {
        ++lists;
        clock.Advance(3000);
        return DrawnTree::GetChildren(place, folders, files);
    }
};

TEST(RemoteReflectionVFS, WaitsBetweenItsTriesAndKeepsWhatTookLong) {
    Tests::LogCapture const log;
    for (bool const stalls : {false, true}) {
        Tests::HandClock clock;
        Slow const tree(clock);
        LinkServer server;
        IO::RemoteReflectionLimits limits;
        limits.timeout = stalls ? 700 : 5000;
        Mounted const mounted(server.GetPort(), limits);
        Location const top = mounted.top / "drawn";
        auto const count = [&](unsigned int lists, unsigned int connections) {
            unsigned int entries = 0;
            EXPECT_EQ(IO::Folder(top).CountEntries(&entries), IO::NoError);
            EXPECT_EQ(tree.lists, lists);
            EXPECT_EQ(server.CountConnections(), connections);
        };
        server.SetHarm({0, true, stalls});
        EXPECT_EQ(IO::Folder(top).GetStatus(), IO::Error);
        server.SetHarm({});
        clock.Advance(999);
        EXPECT_EQ(IO::Folder(top).GetStatus(), IO::Error);
        EXPECT_EQ(server.CountConnections(), 1u);
        clock.Advance(1);
        count(1, 2);
        clock.Advance(29999);
        count(1, 2);
        clock.Advance(1);
        count(2, 2);
        // One that stood is tried again at once.
        clock.Advance(30000);
        server.SetHarm({0, false, stalls});
        EXPECT_EQ(IO::Folder(top).GetStatus(), IO::Error);
        count(3, 3);
    }
}

TEST(ReflectRollingVFS, ClaimsWhatTheDiskTurnsDown) {
    Tests::LogCapture const log;
    IO::ReflectRollingVFS processes;
    for (char const * text : {"reflect:///C:/x", "reflect://user@host/", "reflects://host/",
                              "lan://host/x", "C:\\x", "\\\\reflect\\x"})
        EXPECT_FALSE(processes.Serves(Location(text))) << text;
    for (char const * text : {"reflect://host/", "reflect://127.0.0.1:5/Kestrel/a%20b"}) {
        Location location(text);
        Mu::UniString path;
        IO::FileEntry * file = nullptr;
        EXPECT_TRUE(processes.Serves(location));
        EXPECT_NE(location.ToPath(&path), IO::NoError) << "no call of the system can name it";
        EXPECT_NE(IO::NativeFileSystem::Get()->Connect(&location, &file),
                  IO::BaseFileSystem::ConnectStatus::Connected);
    }
    // Of more processes than are kept, the one goes that was not asked for longest; and nobody is there.
    EXPECT_EQ(IO::fileSystem.Mount(processes), IO::NoError);
    DrawnTree const tree(1);
    std::vector<LinkServer> servers(IO::ReflectRollingVFS::MostProcesses + 3);
    std::vector<std::size_t> connections(servers.size());
    std::deque<std::size_t> kept;
    std::mt19937 random(1);
    for (int step = 0; step < 60; ++step) {
        std::size_t const index = random() % servers.size();
        std::string const port = std::to_string(servers[index].GetPort());
        EXPECT_EQ(IO::Folder(Location("reflect://127.0.0.1:" + port + "/drawn")).GetStatus(),
                  IO::NoError);
        connections[index] += std::erase(kept, index) == 0 ? 1 : 0;
        EXPECT_EQ(servers[index].CountConnections(), connections[index]);
        kept.push_back(index);
        if (kept.size() > IO::ReflectRollingVFS::MostProcesses)
            kept.pop_front();
    }
    unsigned short const nobody = LinkServer().GetPort(); // of no server that is there
    EXPECT_EQ(IO::Folder(Location("reflect://127.0.0.1:" + std::to_string(nobody))).GetStatus(),
              IO::Error);
    EXPECT_EQ(IO::fileSystem.Unmount(processes), IO::NoError);
}

TEST(RemoteReflectionVFS, ShowsALevelOfManyNames) {
    DrawnTree const tree(1, ManyNames);
    LinkServer server;
    IO::RemoteReflectionLimits limits;
    limits.keepTime = 600000;
    limits.timeout = 0; // a machine with much to do takes long
    Mounted const mounted(server.GetPort(), limits);
    IO::Folder const folder(mounted.top / "drawn");
    unsigned int entries = 0;
    EXPECT_EQ(folder.CountEntries(&entries), IO::NoError);
    EXPECT_EQ(entries, ManyNames + 1);
    auto const table = IO::ReadAll<std::string>(mounted.top / "drawn" / VFS::TableName);
    ASSERT_TRUE(table);
    EXPECT_EQ(std::count(table->begin(), table->end(), '\n'), ManyNames + 1);
    for (unsigned int i = 0; i < 1000; ++i) {
        IO::File const file(folder, Tests::DrawnTree::ToName(ManyNames - 1 - i));
        ASSERT_EQ(file.GetStatus(), IO::NoError);
    }
    EXPECT_LE(server.CountQuestions(), 4 + (ManyNames + 999) / 1000);
}

// In a copy by the same name, in the table and to who asks by the whole one.
TEST(RemoteReflectionVFS, CutsNamesThatAreTooLongForADisk) {
    constexpr unsigned int Count = 12; // so that their last units are different in number, too
    Tests::TempFolder const disk;
    for (unsigned int length = 50; length < 600; length = length * 5 / 4)
        for (char16_t const unit : {u'L', u'%', u'\x1b'}) {
            std::u16string const stem = std::u16string(length, unit) + u"n"; // no escape
            DrawnTree const tree(1, Count, stem);
            LinkServer server;
            Mounted const mounted(server.GetPort());
            Location const copy(
                disk.GetPortable(std::to_string(length) + "of" + std::to_string(unsigned{unit})));
            ASSERT_EQ(IO::fileSystem.Copy(mounted.top / "drawn", copy), IO::NoError) << length;
            Things shown;
            Things copied;
            bool isWhole = true;
            Read(mounted.top / "drawn", {}, &shown, &isWhole);
            Read(copy, {}, &copied, &isWhole);
            EXPECT_TRUE(isWhole && shown == copied && shown.size() == Count + 1) << length;
            std::set<std::string> contents;
            for (Thing const & thing : shown)
                contents.insert(thing.content);
            for (unsigned int i = 0; i < Count; ++i) {
                Name whole(stem);
                whole.Append(DrawnTree::ToName(i).ToString());
                auto const text = IO::ReadAll<std::string>(mounted.top / "drawn" / whole);
                EXPECT_EQ(text ? contents.erase(*text) : 0, 1u) << length;
            }
            ASSERT_EQ(contents.size(), 1u) << "the table";
            EXPECT_EQ(contents.begin()->find("%~"), std::string::npos) << "has the whole names";
        }
}

TEST(RemoteReflectionVFS, MeetsEveryFailedAllocation) {
    Tests::LogCapture const log;
    DrawnTree const tree(1, 3);
    SweepAllocations([&](bool failed) {
        LinkServer server;
        VFS system("127.0.0.1", server.GetPort(), {.timeout = 2000});
        if (IO::fileSystem.Mount(system, Location(MountPoint)) != IO::NoError)
            return;
        Things found;
        bool isWhole = true;
        try {
            Read(Location(MountPoint), {}, &found, &isWhole);
            // The process shares the memory, and lists less where it has none.
            EXPECT_LE(found.size(), 5u);
            EXPECT_TRUE(failed || (isWhole && found.size() == 5));
        } catch (Mu::OutOfMemoryException const &) {
            EXPECT_TRUE(failed);
        }
        static_cast<void>(IO::fileSystem.Unmount(system));
    });
}

} // namespace
