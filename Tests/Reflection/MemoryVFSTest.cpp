#include <Kestrel/Reflection/MemoryVFS.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/Reflection/Level.h"
#include "Tests/Support/TempFolder.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Comfort/Files.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/MemoryFolderEntry.h>
#include <Kestrel/Reflection/Internal/MuReflection.h>
#include <Kestrel/Reflection/Internal/ReflectionFileEntry.h>
#include <Kestrel/Reflection/ReflectionFolderEntry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using IO::File;
using IO::Folder;
using IO::Location;
using IO::Name;
using IO::RelativeLocation;
using Create = IO::FolderEntry::CreateStatus;
using Connect = IO::VFSFolderEntry::ConnectStatus;

// A file system of its own place, gone with the test.
struct Mounted {
    IO::MemoryVFS system;
    Location const place{"C:\\Kestrel test of memory"};
    Mounted() { EXPECT_EQ(IO::fileSystem.Mount(system, place), IO::NoError); }
    ~Mounted() { EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError); }
    Location At(char const * below) const {
        Location location(place);
        EXPECT_EQ(location.AppendToLocal(RelativeLocation(below)), IO::NoError);
        return location;
    }
};

// A shop of two departments, each with goods: more goods than departments below "goods".
struct Shop : Tests::Level {
    int sold = 0;
    Shop()
        : Level(
              nullptr, {{"price", Attribute::Integer}, {"name", Attribute::String}},
              [](Names const & above, Names & folders, Names & files) {
                  if (above.IsEmpty())
                      folders = {"fruit", "bread"};
                  else if (above[0] == "fruit")
                      folders = {"apples"};
                  files = {"one", "two", "three"};
              },
              [this](Name const & name, Values & values) {
                  values.Push(sold);
                  values.Push(name.ToString());
              },
              "goods") {
        Connect(group, group);
    }
};

// Names everything that it meets. What a folder in memory calls a folder may be a file.
struct Lister : IO::TreeEnumerator {
    using TreeEnumerator::TreeEnumerator;
    std::vector<std::string> found;
    bool EntryFound(Name const & name, bool) override {
        IO::EntryType type = IO::EntryType::Link;
        EXPECT_EQ(GetParent()->GetType(name, &type), IO::NoError);
        if (type != IO::EntryType::File)
            return true;
        found.push_back(ToUtf8(name));
        return false;
    }
    bool FolderFound(Name const & name) override {
        found.push_back(ToUtf8(name) + "/");
        return true;
    }
};

TEST(ReflectionFolderEntry, ShowsAnObjectAsFoldersAndFiles) {
    Shop shop;
    Mounted const mounted;
    Folder root(mounted.place);
    ASSERT_EQ(root.CreateFolder("shop", IO::ReflectionFolderEntry::New(shop)), IO::NoError);
    EXPECT_EQ(root.CreateFolder("empty"), IO::NoError);
    Lister lister(root);
    EXPECT_EQ(lister.Do(), IO::NoError);
    EXPECT_EQ(lister.found, (std::vector<std::string>{"shop/", "goods/", "one", "two", "fruit/",
                                                      "one", "apples/", "bread/", "empty/"}))
        << "no more files than folders";

    EXPECT_EQ(*IO::ReadAll<std::string>(mounted.At("shop/goods/fruit")),
              "price: 0\r\nname:  fruit\r\n");
    shop.sold = 5;
    File first(mounted.At("shop/goods/three"));
    shop.sold = 6;
    File second(mounted.At("shop/goods/three"));
    char text[8] = {};
    for (File * file : {&first, &second}) {
        ASSERT_EQ(file->Open(File::OpenMode::ReadOnly), IO::NoError);
        ASSERT_EQ(file->ReadBin(text, 8, nullptr), IO::NoError);
        EXPECT_EQ(std::string(text, 8), file == &first ? "price: 5" : "price: 6");
    }

    Tests::TempFolder const disk;
    Folder target(Location(disk.GetPortable().c_str()));
    Folder const goods(mounted.At("shop/goods"));
    EXPECT_EQ(goods.Copy("one", target, "copy"), IO::NoError);
    EXPECT_EQ(disk.Read("copy"), "price: 6\r\nname:  one\r\n");
}

// The root's own view, whole, while this process allocates: a region that goes between list and look
// is an empty folder.
TEST(ReflectionFolderEntry, ShowsTheRoot) {
    Tests::LogCapture const log;
    Mu::Reflection const inside;
    Mounted const mounted;
    Folder root(mounted.place);
    ASSERT_EQ(root.CreateFolder("root", IO::ReflectionFolderEntry::New(inside)), IO::NoError);
    Lister lister(root);
    EXPECT_EQ(lister.Do(), IO::NoError);
    EXPECT_EQ(std::count(lister.found.begin(), lister.found.end(), "AddressSpace/"), 1);
    Tests::TempFolder const disk;
    Folder target(Location(disk.GetPortable().c_str()));
    EXPECT_EQ(root.Copy("root", target, "copy"), IO::NoError);
    EXPECT_TRUE(std::filesystem::exists(disk.GetPath() / "copy/Memory/AddressSpace"));
    // No folder lists the classes, since there is none among them; each can be read all the same.
    Mu::Array<Name> folders;
    Mu::Array<Name> classes;
    ASSERT_TRUE(inside.GetChildren(RelativeLocation("ClassInfos"), &folders, &classes));
    ASSERT_FALSE(classes.IsEmpty());
    for (Name const & name : classes) {
        std::string const way = "root/ClassInfos/" + ToUtf8(name);
        EXPECT_EQ(IO::ReadAll<std::string>(mounted.At(way.c_str()))->substr(0, 5), "name:") << way;
    }

    auto const listRegions = [&] {
        Mu::Array<Name> regions;
        EXPECT_TRUE(
            inside.GetChildren(RelativeLocation("Memory/AddressSpace"), &regions, &classes));
        return regions;
    };
    auto region = std::make_unique<Tests::Region>(64 << 20);
    Mu::Array<Name> const regions = listRegions();
    region = nullptr;
    Mu::Array<Name> const left = listRegions();
    unsigned int gone = 0;
    for (Name const & name : regions)
        if (!left.Contains(name)) {
            ++gone;
            Folder const region(mounted.At(("root/Memory/AddressSpace/" + ToUtf8(name)).c_str()));
            bool isEmpty = false;
            EXPECT_EQ(region.IsEmpty(&isEmpty), IO::NoError) << ToUtf8(name);
        }
    EXPECT_GT(gone, 0u);
    EXPECT_NE(Folder(mounted.At("root/Memory/AddressSpace/0x1,1,C")).GetStatus(), IO::NoError);
}

TEST(ReflectionFolderEntry, RefusesWhatIsNotThere) {
    Shop const shop;
    std::unique_ptr<IO::ReflectionFolderEntry> const entry(IO::ReflectionFolderEntry::New(shop));
    IO::MemoryVFS system;
    entry->SetContext(system, Location("C:\\a"));
    entry->SetContext(system, Location("C:\\b"));
    IO::VFSFileEntry * file = nullptr;
    IO::VFSFolderEntry * folder = nullptr;
    EXPECT_EQ(entry->Connect(RelativeLocation(), &file), Connect::Other);
    EXPECT_EQ(entry->Connect(RelativeLocation(), &folder), Connect::Other);
    EXPECT_EQ(entry->Connect(RelativeLocation("none"), &folder), Connect::Other);
    ASSERT_EQ(entry->Connect(&folder), Connect::Connected);
    Location where;
    folder->GetLocation(&where);
    EXPECT_TRUE(where == Location("C:\\a"));
    IO::VFSFolderEntry * below = nullptr;
    EXPECT_EQ(folder->Connect(RelativeLocation("goods"), &below), Connect::AccessDenied);
    EXPECT_EQ(folder->CreateFolder("new", nullptr), Create::AccessDenied);
    entry->Disconnect(RelativeLocation("x"), folder);
    entry->Invalidate();
    EXPECT_EQ(entry->GetStatus(), IO::Error);
    EXPECT_EQ(entry->Connect(&folder), Connect::Other);
}

// As a position between the ends.
TEST(ReflectionFileEntry, SeeksWithinWhatItHolds) {
    using Entry = IO::FileEntry;
    std::string const content = "0123456789";
    IO::ReflectionFileEntry file(content.data(), 10);
    EXPECT_EQ(file.Open(Entry::OpenMode::ReadWrite), Entry::OpenStatus::AccessDenied);
    EXPECT_EQ(file.Open(Entry::OpenMode::Read), Entry::OpenStatus::Done);
    std::mt19937 random(1);
    long long at = 0;
    for (int step = 0; step < 2000; ++step) {
        unsigned int const origin = random() % 4;
        long long const offset = static_cast<long long>(random() % 32) - 16;
        long long const starts[] = {0, at, 10};
        unsigned long long position = 99;
        Entry::SeekStatus const status =
            file.Seek(static_cast<Entry::SeekOrigin>(origin), offset, &position);
        if (origin < 3) {
            long long const target = starts[origin] + offset;
            bool const isIn = target >= 0 && target <= 10;
            ASSERT_EQ(status, isIn ? Entry::SeekStatus::Done : Entry::SeekStatus::IllegalPosition);
            at = isIn ? target : at;
        }
        ASSERT_EQ(position, origin < 3 && status == Entry::SeekStatus::Done ? at : 99);
        char bytes[4];
        unsigned int read = 9;
        unsigned int const count = random() % 4;
        ASSERT_EQ(file.Read(bytes, count, &read),
                  at + count <= 10 ? Entry::ReadStatus::Done : Entry::ReadStatus::EndOfFile);
        ASSERT_EQ(std::string(bytes, read), content.substr(at, count));
        at += read;
    }
}

// A file that tells when it goes, and denies itself where it is asked to.
struct Counted : IO::ReflectionFileEntry {
    int * living;
    bool denies = false;
    explicit Counted(int * living) : ReflectionFileEntry("x", 1), living(living) { ++*living; }
    ~Counted() override { --*living; }
    ConnectStatus Connect(IO::VFSFileEntry ** entry) override {
        return denies ? ConnectStatus::AccessDenied : ReflectionFileEntry::Connect(entry);
    }
};

TEST(MemoryVFS, KeepsWhatIsHeldUntilItComesBack) {
    Tests::LogCapture const log;
    int living = 0;
    std::unique_ptr<File> held;
    {
        Mounted const mounted;
        Folder root(mounted.place);
        ASSERT_EQ(root.CreateFolder("a"), IO::NoError);
        Folder a(mounted.At("a"));
        ASSERT_EQ(a.CreateFolder("deep"), IO::NoError);
        Folder deep(mounted.At("a/deep"));
        Counted * const entry = new Counted(&living);
        ASSERT_EQ(a.CreateFile("file", entry), IO::NoError);
        EXPECT_EQ(a.CreateFile("none"), IO::Error) << "a file needs an entry";
        EXPECT_EQ(a.CreateFolder("file"), IO::ErrTargetExists);
        EXPECT_EQ(Folder(mounted.At("a/file")).GetStatus(), IO::ErrNotAFolder);
        EXPECT_EQ(File(mounted.At("a")).GetStatus(), IO::ErrNotAFile);
        EXPECT_EQ(File(mounted.place).GetStatus(), IO::ErrNotAFile);
        EXPECT_EQ(File(mounted.At("b/file")).GetStatus(), IO::ErrFileNotFound);
        entry->denies = true;
        EXPECT_EQ(File(mounted.At("a/file")).GetStatus(), IO::ErrFileAccessDenied);
        entry->denies = false;
        { File const once(mounted.At("a/file")); }
        EXPECT_EQ(living, 1);
        held = std::make_unique<File>(mounted.At("a/file"));
        ASSERT_EQ(root.Delete("a", IO::DataSafety::KeepProtected), IO::NoError);
        EXPECT_EQ(living, 1);
        EXPECT_EQ(a.CreateFolder("late"), IO::Error) << "its folder went";
        EXPECT_EQ(deep.CreateFolder("late"), IO::Error) << "and that above it";
        held.reset();
        EXPECT_EQ(living, 0);
        ASSERT_EQ(root.CreateFile("last", new Counted(&living)), IO::NoError);
        held = std::make_unique<File>(mounted.At("last"));
        ASSERT_EQ(root.Delete("last", IO::DataSafety::KeepProtected), IO::NoError);
        ASSERT_EQ(root.CreateFile("last", new Counted(&living)), IO::NoError);
        held.reset();
        EXPECT_EQ(living, 1) << "another one has its place";
        unsigned long long space = 0;
        EXPECT_EQ(root.GetFreeSpace(&space), IO::NoError);
        EXPECT_EQ(space, 1024u);
    }
    EXPECT_EQ(living, 0) << "what the root holds goes with the mount";
}

TEST(MemoryFolderEntry, TakesNamesInStepsOfAHundred) {
    IO::MemoryFolderEntry folder(false);
    for (int i = 0; i < 101; ++i)
        ASSERT_EQ(folder.AddFileEntry(IO::Reflectable::ToName(i), nullptr), Create::Done);
    EXPECT_EQ(folder.AddFolderEntry("100", nullptr), Create::AlreadyExists);
    EXPECT_EQ(folder.Delete("1", true), IO::FolderEntry::DeleteStatus::AccessDenied);
    IO::EntryType type = IO::EntryType::Link;
    EXPECT_EQ(folder.GetType("100", &type), IO::FolderEntry::GetTypeStatus::Done);
    EXPECT_EQ(type, IO::EntryType::File);
    int time = 0;
    EXPECT_EQ(folder.SetCreationTime(5), IO::FSEntry::TimeStatus::AccessDenied);
    EXPECT_EQ(folder.GetCreationTime(&time), IO::FSEntry::TimeStatus::Done);
    IO::MemoryFolderEntry other(true);
    EXPECT_EQ(folder.Move("1", other, "1", false), IO::FolderEntry::MoveStatus::AccessDenied);
    EXPECT_EQ(folder.Copy("1", other, "1"), IO::FolderEntry::CopyStatus::Other);
    EXPECT_EQ(other.CreateLink("l", Location()), Create::Other);
    folder.Invalidate();
    EXPECT_EQ(folder.AddFileEntry("x", nullptr), Create::Other);
    EXPECT_EQ(folder.GetType("1", &type), IO::FolderEntry::GetTypeStatus::Other);
}

TEST(MemoryVFS, MeetsEveryFailedAllocation) {
    SweepAllocations([](bool failed) {
        Shop const shop;
        IO::MemoryVFS system;
        Location const place("C:\\m");
        struct Unmounting {
            IO::MemoryVFS & system;
            ~Unmounting() { system.Unmounted(); }
        } const unmounting{system};
        system.Mounted(place);
        IO::FolderEntry * root = nullptr;
        Location location(place);
        if (system.Connect(&location, &root) != IO::BaseFileSystem::ConnectStatus::Connected) {
            EXPECT_TRUE(failed);
            return;
        }
        std::unique_ptr<IO::ReflectionFolderEntry> entry(IO::ReflectionFolderEntry::New(shop));
        bool isIn = false;
        try {
            isIn = entry != nullptr && root->CreateFolder("shop", entry.get()) == Create::Done;
        } catch (Mu::OutOfMemoryException const &) {
        }
        if (isIn)
            static_cast<void>(entry.release());
        system.Disconnect(root);
        EXPECT_TRUE(isIn || failed);
        IO::FileEntry * file = nullptr;
        Location below("C:\\m\\shop\\goods\\one");
        if (system.Connect(&below, &file) == IO::BaseFileSystem::ConnectStatus::Connected)
            system.Disconnect(file);
        else
            EXPECT_TRUE(failed);
    });
}

} // namespace
