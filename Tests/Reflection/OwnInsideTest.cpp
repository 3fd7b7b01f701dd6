// What the library shows of itself.

#include <Kestrel/Reflection/Internal/Start.h>

#include "Tests/Support/LogCapture.h"
#include "Tests/Support/OwnProcess.h"
#include "Tests/Support/Reflection/Level.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileType/Defaults.h>
#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/Internal/ReflectableUse.h>
#include <Kestrel/Reflection/MemoryVFS.h>
#include <Kestrel/Reflection/Platform/MemoryRegions.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Reflection/ReflectionManager.h>
#include <Kestrel/Root/Memory/AllocationTree.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Values/Guid.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using IO::Name;
using IO::Reflectable;
using IO::RelativeLocation;
using Tests::Texts;
using Tests::ToTexts;

struct Lists {
    bool isThere = false;
    Texts folders;
    Texts files;
};

Lists List(RelativeLocation const & location) {
    IO::ReflectableUse const use(location);
    Mu::Array<Name> folders;
    Mu::Array<Name> files;
    bool const isThere =
        use.Get() != nullptr && use.Get()->GetChildren(use.GetRest(), &folders, &files);
    return {isThere, ToTexts(folders), ToTexts(files)};
}

Texts GetValues(RelativeLocation const & location, bool isThere = true) {
    IO::ReflectableUse const use(location);
    Mu::Array<Reflectable::AttributeValue> values;
    EXPECT_EQ(use.Get() != nullptr && use.Get()->GetAttributeValues(use.GetRest(), &values),
              isThere);
    return ToTexts(values);
}

Texts GetColumns(RelativeLocation const & location) {
    IO::ReflectableUse const use(location);
    Mu::Array<Reflectable::Attribute> attributes;
    EXPECT_TRUE(use.Get() != nullptr && use.Get()->GetAttributes(use.GetRest(), &attributes));
    return ToTexts(attributes);
}

RelativeLocation Below(RelativeLocation const & location, std::string const & name) {
    return RelativeLocation(location, Name(U(name)));
}

class OwnInside : public ::testing::Test {
protected:
    OwnInside() { IO::StartReflection(); }
    ~OwnInside() override { IO::EndReflection(); }

    RelativeLocation const root{"MuRoot"};
    RelativeLocation const space{"MuRoot/Memory/AddressSpace"};
    RelativeLocation const allocations{"MuRoot/Memory/AllocationTree (complete)"};
};

TEST_F(OwnInside, ListsTheClasses) {
    struct Colour : Mu::CustomClassProperty {
        Colour() : CustomClassProperty("colour") {}
        char const * GetValueName(unsigned int value) const override {
            return value == 0 ? nullptr : "red";
        }
    };
    static Colour const colour;
    static Mu::CustomClassProperty const other("not shown", 1);
    Mu::ClassInfo const base("Test::Base", Mu::ClassVersion(1, 2));
    Mu::ClassInfo const info("Test::Class", Mu::ClassVersion(3, 4), base, Mu::ObjectDefaults(9),
                             Mu::ClassProperty(colour, Mu::CustomClassPropertyValue(1)));
    EXPECT_EQ(List(root).folders, (Texts{"ClassInfos", "Memory"}));
    RelativeLocation const classes = Below(root, "ClassInfos");
    Texts const columns = GetColumns(classes);
    ASSERT_GE(columns.size(), 10u);
    EXPECT_EQ(Texts(columns.begin(), columns.begin() + 10),
              (Texts{"name", "type", "guid", "version", "oldVersion", "base classes",
                     "has constructor", "object defaults", "colour", "not shown"}));
    EXPECT_EQ(GetColumns(classes), columns) << "added once";
    std::string const name = ToUtf8(Reflectable::ToName(&info));
    Texts const files = List(classes).files;
    EXPECT_NE(std::find(files.begin(), files.end(), name), files.end());
    Texts values = GetValues(Below(classes, name));
    ASSERT_EQ(values.size(), 9u);
    char guid[37];
    info.GetId().ConvertToString(guid);
    EXPECT_EQ(values[2], guid);
    EXPECT_EQ(values[1].size(), 18u);
    values.erase(values.begin() + 1, values.begin() + 3);
    EXPECT_EQ(values, (Texts{"Test::Class", "3.4", "0.0", "Test::Base", "false", "9", "red"}));
    values = GetValues(Below(classes, ToUtf8(Reflectable::ToName(&base))));
    values.erase(values.begin() + 1, values.begin() + 3);
    EXPECT_EQ(values, (Texts{"Test::Base", "1.2", "0.0", "", "false", "0", "0"}));
    EXPECT_TRUE(GetValues(Below(classes, "0x00000000DEADBEEF")).empty()) << "no class is there";
}

TEST_F(OwnInside, RefusesNulls) {
    struct Asker : IO::ReflectionManager::Enumerator {
        bool Visit(RelativeLocation const &, Reflectable * reflectable) override {
            Tests::ExpectRefusesNulls(*reflectable);
            return true;
        }
    } asker;
    EXPECT_TRUE(IO::ReflectionManager::Enumerate(&asker));
}

TEST_F(OwnInside, ListsTheAddressSpaceWithoutAGap) {
    Lists const regions = List(space);
    ASSERT_TRUE(regions.isThere);
    EXPECT_TRUE(regions.files.empty());
    ASSERT_GT(regions.folders.size(), 10u);
    static constexpr char readOnly[] = "in a region that cannot be written";
    struct Gapless : IO::MemoryRegionVisitor {
        unsigned long long next = 0;
        unsigned int left = ~0u;
        bool Visit(IO::MemoryRegion const & region) override {
            EXPECT_EQ(region.base, next);
            next = region.base + region.size;
            auto const place = reinterpret_cast<std::uintptr_t>(readOnly);
            EXPECT_TRUE(place < region.base || place >= next ||
                        region.state == IO::MemoryRegion::State::Committed);
            return --left != 0;
        }
    } gapless;
    IO::EnumerateMemoryRegions(gapless);
    for (unsigned int const most : {1, 2, 3, 4}) {
        gapless.next = 0;
        gapless.left = most;
        IO::EnumerateMemoryRegions(gapless);
        EXPECT_EQ(gapless.left, 0u) << "goes on behind its end";
    }
    std::set<std::string> names;
    for (std::string const & name : regions.folders) {
        EXPECT_TRUE(names.insert(name).second) << name << " is there twice";
        unsigned int base = 0;
        int size = 0;
        char letter[2];
        ASSERT_EQ(U(name).Scanf("0x%x,%d,%s", &base, &size, &letter), 3) << name;
        Texts const values = GetValues(Below(space, name));
        ASSERT_EQ(values.size(), 5u);
        EXPECT_TRUE(letter[0] == 'C' || values.back() == "0.0") << name;
    }
    EXPECT_EQ(GetColumns(space), (Texts{"begin address", "address space size", "status",
                                        "used size", "percentage of usage"}));
}

// Nobody's walk down all regions would end otherwise: the process takes and frees memory meanwhile.
TEST_F(OwnInside, KnowsTheLastThousandsOfRegionsThatHaveGone) {
    IO::ReflectableUse const use(space);
    Reflectable const & inside = *use.Get();
    RelativeLocation const space("Memory/AddressSpace");
    Mu::Array<Name> folders;
    Mu::Array<Name> things;
    Mu::Array<Name> regions[2];
    for (unsigned int round = 0; round < 2; ++round) {
        std::vector<std::unique_ptr<Tests::Region>> made;
        for (unsigned int i = 0; i < 2 * 4200; ++i)
            made.push_back(std::make_unique<Tests::Region>((round + 1) * 0x13000));
        for (unsigned int i = 0; i < made.size(); i += 2) // so that none lies beside another one
            made[i] = nullptr;
        ASSERT_TRUE(inside.GetChildren(space, &regions[round], &things));
        made.clear();
        ASSERT_TRUE(inside.GetChildren(space, &folders, &things));
        for (unsigned int listed = 0; listed <= round; ++listed)
            for (unsigned int i = 0; i < regions[listed].GetSize(); i += 1000) {
                RelativeLocation const place(space, regions[listed][i]);
                EXPECT_TRUE(folders.Contains(regions[listed][i]) ||
                            inside.GetChildren(place, &things, &things) == (listed == round));
            }
    }
    EXPECT_FALSE(
        inside.GetChildren(RelativeLocation("Memory/AddressSpace/0x1,1,C"), &folders, &things));
    RelativeLocation const elsewhere(RelativeLocation("Memory/Space"), regions[1][0]);
    EXPECT_FALSE(inside.GetChildren(elsewhere, &folders, &things));
    EXPECT_FALSE(inside.GetEntries(nullptr, {}, {}, &folders, &things));
    Mu::Array<Reflectable::AttributeValue> values;
    EXPECT_FALSE(inside.GetEntryAttributeValues(nullptr, "x", {}, {}, &values));
}

TEST_F(OwnInside, ShowsZerosWhileNothingIsCounted) {
    EXPECT_EQ(List(allocations).folders.size(), 3u);
    for (std::string const & name : List(allocations).folders) {
        EXPECT_EQ(GetValues(Below(allocations, name)), (Texts{"0", "0"}));
        EXPECT_FALSE(List(Below(allocations, name)).files.empty());
    }
    EXPECT_EQ(GetValues(Below(allocations, "any {0x0000000000000001}")), (Texts{"0", "0"}));
    EXPECT_EQ(GetValues(Below(allocations, "any")), (Texts{"0", "0"}));
}

TEST_F(OwnInside, FindsACountedBlockInItsRegion) {
    ASSERT_TRUE(AllocationTree::Start());
    // So many that no other region which looks like theirs holds more.
    char * blocks[50];
    for (char *& block : blocks)
        block = BMAllocatePtr(8000, 0, 0);
    unsigned int const address =
        static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(blocks[25]));
    // A region may grow, and be another one by name, before its blocks are listed.
    RelativeLocation at;
    unsigned long long size = 0;
    for (int tries = 0; tries < 20 && size < 8000; ++tries) {
        std::string found;
        unsigned long long most = 7999;
        for (std::string const & name : List(space).folders) {
            unsigned int base = 0;
            unsigned int extent = 0;
            static_cast<void>(U(name).Scanf("0x%x,%u", &base, &extent));
            if (name.back() != 'C' || address - base >= extent)
                continue;
            Texts const values = GetValues(Below(space, name));
            unsigned long long const used = std::stoull(values[3]);
            if (used <= most)
                continue;
            EXPECT_TRUE(std::stod(values[4]) > 0 && std::stod(values[4]) <= 100) << values[4];
            found = name;
            most = used;
        }
        Texts const roots = List(Below(space, found)).folders;
        if (roots.empty())
            continue;
        EXPECT_TRUE(roots[0].starts_with("Root {0x"));
        at = Below(Below(space, found), roots[0]);
        size = std::stoull(GetValues(at)[0]);
        EXPECT_LE(std::stoull(GetValues(at)[1]), size) << "a byte or more for each";
    }
    ASSERT_GE(size, 8000u);
    auto const findLeaf = [](RelativeLocation * place) {
        std::string leaf;
        for (std::string next("all"); leaf.empty() && !next.empty();) {
            Lists const lists = List(*place);
            for (std::string const & file : lists.files)
                leaf = file.starts_with("up to 8 KiB") ? file : leaf;
            next.clear();
            for (std::string const & folder : lists.folders)
                if (folder.starts_with("all blocks") || folder.starts_with("medium"))
                    next = folder;
            *place = leaf.empty() ? Below(*place, next) : *place;
        }
        return GetValues(Below(*place, leaf));
    };
    EXPECT_TRUE(findLeaf(&at).empty()) << "a leaf of a region has none";
    RelativeLocation all(allocations);
    Texts const values = findLeaf(&all);
    EXPECT_GE(std::stoull(values[0]), 50 * 8000u);
    EXPECT_TRUE(std::stoul(values[1]) >= 50 && std::stoul(values[1]) < 8000);
    // A region without blocks takes the place of this one: of its pointers none shows anything then, but
    // for one that the new root may have by now.
    std::string free;
    for (std::string const & name : List(space).folders)
        if (free.empty() && name.back() == 'C' && GetValues(Below(space, name))[3] == "0")
            free = name;
    Texts const roots = List(Below(space, free)).folders;
    ASSERT_EQ(roots.size(), 1u);
    auto const getPointer = [](std::string const & name) { return name.substr(name.find('{')); };
    bool const isTaken = getPointer(roots[0]) == getPointer(ToUtf8(Reflectable::GetLastName(at)));
    EXPECT_EQ(GetValues(at), isTaken ? (Texts{"0", "0"}) : Texts());
    for (char *& block : blocks)
        BMKillPtr(&block);
    EXPECT_TRUE(AllocationTree::Stop());
}

TEST_F(OwnInside, ShowsTheAddressTree) {
    RelativeLocation const held("an unlikely name/below it");
    RelativeLocation const second("an unlikely name/beside it");
    RelativeLocation const tree("Kestrel/AddressTree");
    EXPECT_EQ(GetColumns(tree),
              (Texts{"name", "parent", "next", "left child", "reference counter"}));
    Lists const root = List(tree);
    ASSERT_EQ(root.folders.size(), 1u);
    Texts const level = List(Below(tree, root.folders[0])).folders;
    std::string found;
    for (std::string const & node : level)
        if (GetValues(Below(tree, node))[0] == "an unlikely name")
            found = node;
    ASSERT_FALSE(found.empty());
    EXPECT_EQ(GetValues(Below(tree, found))[1], root.folders[0]);
    Texts const below = List(Below(tree, found)).files;
    ASSERT_EQ(below.size(), 2u);
    EXPECT_EQ(GetValues(Below(tree, found))[3], below[0]);
    Texts const child = GetValues(Below(tree, below[0]));
    EXPECT_EQ(child[0].substr(0, 2), "be");
    EXPECT_EQ(child[2], below[1]);
    RelativeLocation const copies[] = {held, second, held, second};
    EXPECT_EQ(std::stoi(GetValues(Below(tree, below[0]))[4]), std::stoi(child[4]) + 2);
    RelativeLocation deep(tree);
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(deep.Append(Name(U(found))), IO::NoError);
    EXPECT_EQ(List(deep).files, below) << "only the last name counts";
    EXPECT_FALSE(List(Below(deep, found)).isThere);
    EXPECT_FALSE(List(Below(tree, "4000000000")).isThere);
}

TEST_F(OwnInside, ShowsTheMounts) {
    Tests::LogCapture const log;
    IO::MemoryVFS system;
    IO::Location const place("C:\\Kestrel mounted");
    ASSERT_EQ(IO::fileSystem.Mount(system, place), IO::NoError);
    EXPECT_EQ(IO::fileSystem.CreateFolder(IO::Location("C:\\Kestrel mounted\\in")), IO::NoError);
    RelativeLocation const mounts("Kestrel/Virtual file systems");
    EXPECT_EQ(List(mounts).folders, (Texts{"C:\\Kestrel mounted"}));
    EXPECT_EQ(List(Below(mounts, "C:\\Kestrel mounted")).folders, (Texts{"in"}));
    EXPECT_TRUE(List(Below(Below(mounts, "C:\\Kestrel mounted"), "in")).isThere);
    EXPECT_FALSE(List(Below(mounts, "C:\\Kestrel of nowhere")).isThere);
    EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError);
    EXPECT_TRUE(List(mounts).folders.empty());
}

// A host deletes its file system when Unmount has returned; it does not know of inspectors.
TEST_F(OwnInside, HasNoFolderOfWhatIsUnmounted) {
    Tests::LogCapture const log;
    IO::MemoryVFS system;
    ASSERT_EQ(IO::fileSystem.Mount(system, IO::Location("C:\\Kestrel left")), IO::NoError);
    Tests::ExpectWaits("Kestrel/Virtual file systems",
                       [&] { EXPECT_EQ(IO::fileSystem.Unmount(system), IO::NoError); });
}

TEST_F(OwnInside, ShowsTheFileTypes) {
    FTM::FileTypeManager manager("own inside");
    FTM::LoadFTMDefaults(&manager);
    unsigned int images = 0;
    unsigned int pdf = 0;
    FTM::ImageGroup.Store(images);
    FTM::PDFFileType.Store(pdf);
    RelativeLocation const types("Kestrel/FileTypeManager");
    EXPECT_EQ(GetColumns(types),
              (Texts{"name / description", "extensions", "type", "creator", "icon"}));
    EXPECT_TRUE(List(types).files.empty());
    ASSERT_EQ(List(types).folders.size(), 2u);
    RelativeLocation const image = Below(types, std::to_string(images));
    EXPECT_EQ(GetValues(image), (Texts{"Images"}));
    EXPECT_TRUE(List(image).folders.empty());
    ASSERT_EQ(List(image).files.size(), 5u);
    RelativeLocation const tiff = Below(image, List(image).files[0]);
    EXPECT_EQ(GetValues(tiff), (Texts{"TIFF File", "tif;tiff", "TIFF", "MUPM", "206"}));
    EXPECT_EQ(GetValues(Below(tiff, "one more")), GetValues(tiff));
    EXPECT_TRUE(List(tiff).isThere);
    GetValues(Below(Below(tiff, "one more"), "and more"), false);
    GetValues(Below(image, std::to_string(pdf)), false);
    EXPECT_FALSE(List(Below(tiff, "one more")).isThere);
    EXPECT_FALSE(List(Below(image, std::to_string(pdf))).isThere) << "it is a document";
    EXPECT_FALSE(List(Below(types, "0")).isThere);
    RelativeLocation const document = Below(types, List(types).folders[1]);
    EXPECT_EQ(GetValues(Below(document, std::to_string(pdf)))[2], "PDF ");
}

} // namespace
