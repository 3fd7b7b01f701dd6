#include <Kestrel/Reflection/MemoryVFS.h>

#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/HandClock.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/Reflection/Level.h"
#include "Tests/Support/Reflection/Reads.h"
#include "Tests/Support/Text.h"

#include <Kestrel/Comfort/Files.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/MemoryFolderEntry.h>
#include <Kestrel/Reflection/Internal/ReflectionFileEntry.h>
#include <Kestrel/Reflection/ReflectionFolderEntry.h>
#include <Kestrel/Root/Time/Time.h>

#include <gtest/gtest.h>

#include <memory>
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
    EXPECT_EQ(entry->Connect(RelativeLocation("goods/one"), &file), Connect::Other);
}

TEST(ReflectionFileEntry, SeeksWithinWhatItHolds) {
    using Entry = IO::FileEntry;
    IO::ReflectionFileEntry file("0123456789", 10);
    EXPECT_EQ(file.Open(Entry::OpenMode::ReadWrite), Entry::OpenStatus::AccessDenied);
    EXPECT_EQ(file.Open(Entry::OpenMode::Read), Entry::OpenStatus::Done);
    Tests::ExpectReads(file, "0123456789");
    unsigned long long position = 99;
    EXPECT_EQ(file.Seek(static_cast<Entry::SeekOrigin>(3), 1, &position), Entry::SeekStatus::Done);
    EXPECT_EQ(position, 99u) << "no such origin";
    bool isProtected = false;
    EXPECT_EQ(file.IsWriteProtected(&isProtected), IO::FSEntry::AttributeStatus::Done);
    EXPECT_TRUE(isProtected);
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
    }
    EXPECT_EQ(living, 0) << "what the root holds goes with the mount";
}

// Read-only or not, there or gone.
TEST(MemoryFolderEntry, RefusesByWhatItIs) {
    using Entry = IO::FolderEntry;
    using Time = IO::FSEntry::TimeStatus;
    using Attribute = IO::FSEntry::AttributeStatus;
    auto const & noName = Tests::NullReference<Name const>();
    Tests::HandClock const clock;
    for (bool const isWriteable : {false, true}) {
        IO::MemoryVFS system;
        IO::MemoryFolderEntry folder(isWriteable);
        folder.SetContext(system, Location("C:\\m"));
        for (int i = 0; i < 101; ++i)
            ASSERT_EQ(folder.AddFileEntry(IO::Reflectable::ToName(i), nullptr), Create::Done);
        for (bool const isValid : {true, false}) {
            auto const there = [&](auto status) {
                return isValid ? status : decltype(status)::Other;
            };
            auto const change = [&](auto status) {
                return there(isWriteable ? status : decltype(status)::AccessDenied);
            };
            EXPECT_EQ(folder.IsReadable(), isValid);
            EXPECT_EQ(folder.IsWriteable(), isValid && isWriteable);
            EXPECT_EQ(folder.AddFolderEntry("d", nullptr), there(Create::Done));
            EXPECT_EQ(folder.AddFolderEntry("100", nullptr), there(Create::AlreadyExists));
            EXPECT_EQ(folder.AddFileEntry(noName, nullptr), Create::Other);
            EXPECT_EQ(folder.CreateFolder("new", nullptr), change(Create::Done));
            EXPECT_EQ(folder.CreateFolder("d", nullptr), change(Create::AlreadyExists));
            EXPECT_EQ(folder.CreateFolder(noName, nullptr), Create::Other);
            EXPECT_EQ(folder.CreateFile("file", nullptr), Create::Other);
            EXPECT_EQ(folder.CreateLink("l", Location()), change(Create::Other));
            EXPECT_EQ(folder.Move("1", folder, "2", false), change(Entry::MoveStatus::Other));
            EXPECT_EQ(folder.Copy("1", folder, "2"), change(Entry::CopyStatus::Other));
            IO::VFSFolderEntry * entry = nullptr;
            for (auto const & [below, status] : {std::pair("d", Connect::AccessDenied),
                                                 {"d/e", Connect::AccessDenied},
                                                 {"1", Connect::NotAFolder},
                                                 {"1/e", Connect::NotFound},
                                                 {"none", Connect::NotFound},
                                                 {"", Connect::Other}})
                EXPECT_EQ(folder.Connect(RelativeLocation(below), &entry), there(status)) << below;
            EXPECT_EQ(folder.Connect(nullptr), Connect::Other);
            IO::EntryType type = IO::EntryType::Link;
            EXPECT_EQ(folder.GetType("100", &type), there(Entry::GetTypeStatus::Done));
            EXPECT_EQ(type, isValid ? IO::EntryType::File : IO::EntryType::Link);
            EXPECT_EQ(folder.GetType("none", &type), there(Entry::GetTypeStatus::EntryNotFound));
            EXPECT_EQ(folder.GetType("100", nullptr), Entry::GetTypeStatus::Other);
            EXPECT_EQ(folder.Delete("d", true), change(Entry::DeleteStatus::Done));
            EXPECT_EQ(folder.Delete("none", true), change(Entry::DeleteStatus::EntryNotFound));
            EXPECT_EQ(folder.Delete(noName, true), Entry::DeleteStatus::Other);
            int time = 0;
            EXPECT_EQ(folder.SetModificationTime(5), change(Time::Done));
            EXPECT_EQ(folder.GetModificationTime(&time), there(Time::Done));
            EXPECT_EQ(time, !isValid ? 0 : isWriteable ? 5 : TIGetTime());
            EXPECT_EQ(folder.GetCreationTime(&time), there(Time::Done));
            EXPECT_EQ(time, isValid ? TIGetTime() : 0);
            unsigned long long space = 0;
            EXPECT_EQ(folder.GetFreeSpace(&space), there(Attribute::Done));
            EXPECT_EQ(space, isValid ? 1024u : 0u);
            bool isLocal = !isValid;
            bool isFixed = isValid;
            EXPECT_EQ(folder.IsOnLocalVolume(&isLocal), there(Attribute::Done));
            EXPECT_EQ(folder.IsOnFixedVolume(&isFixed), there(Attribute::Done));
            EXPECT_TRUE(isLocal && !isFixed);
            folder.Invalidate();
        }
    }
}

TEST(MemoryVFS, MeetsEveryFailedAllocation) {
    SweepAllocations([](bool failed) {
        Shop const shop;
        IO::MemoryVFS system;
        Location const place("C:\\m");
        system.Mounted(place);
        IO::FolderEntry * root = nullptr;
        Location location(place);
        if (system.Connect(&location, &root) != IO::BaseFileSystem::ConnectStatus::Connected) {
            EXPECT_TRUE(failed);
            return;
        }
        std::unique_ptr<IO::ReflectionFolderEntry> entry(IO::ReflectionFolderEntry::New(shop));
        try {
            if (entry != nullptr && root->CreateFolder("shop", entry.get()) == Create::Done)
                static_cast<void>(entry.release());
        } catch (Mu::OutOfMemoryException const &) {
        }
        system.Disconnect(root);
        IO::FileEntry * file = nullptr;
        Location below("C:\\m\\shop\\goods\\one");
        if (system.Connect(&below, &file) == IO::BaseFileSystem::ConnectStatus::Connected)
            system.Disconnect(file);
        else
            EXPECT_TRUE(failed);
    });
}

} // namespace
