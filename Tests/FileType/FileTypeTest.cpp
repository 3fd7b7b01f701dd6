#include <Kestrel/FileType/FileType.h>

#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/FileType/GeneralID.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Text/UniString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

using FTM::FileType;

namespace {

std::vector<std::string> ExtensionsOf(FileType const & type) {
    std::vector<std::string> all;
    for (unsigned int i = 0; char const * const text = type.GetExtension(i); ++i)
        all.emplace_back(text);
    return all;
}

std::vector<std::string> MimesOf(FileType const & type) {
    std::vector<std::string> all;
    for (unsigned int i = 0; char const * const text = type.GetMime(i); ++i)
        all.emplace_back(text);
    return all;
}

} // namespace

TEST(GeneralID, TellsTypesFromGroupsByTheSign) {
    EXPECT_EQ(FTM::TypeID(FTM::GeneralID(-5)), FTM::UnknownType);
    EXPECT_EQ(FTM::GroupID(FTM::GeneralID(7)), FTM::UnknownGroup);
    EXPECT_EQ(FTM::GroupID("any text"), FTM::RootGroup);
    FTM::GeneralID id;
    id.Load(0x80000000u);
    EXPECT_TRUE(id.IsGroup());
    EXPECT_EQ(id, FTM::RootGroup);
    EXPECT_LT(FTM::RootGroup, FTM::UnknownGroup);
    EXPECT_LT(FTM::UnknownGroup, FTM::UnknownType);
}

TEST(FileType, LooksForAnExtensionBeforeItIsLowered) {
    FileType type(nullptr, "TXT", 0, 0, 0, nullptr, nullptr, true);
    type.AddSingleExtension("txt", true);
    EXPECT_EQ(ExtensionsOf(type), std::vector<std::string>{"txt"});
    type.AddSingleExtension("TXT", true);
    EXPECT_EQ(type.CountExtensions(), 2) << "kept: the spelling given was not there";
    EXPECT_TRUE(type.IsExtensionIncluded(Mu::UniString("txt")));
    FileType const list("t", "jpg;JPEG;;jpegx", 0, 0, 0, nullptr, nullptr, false);
    EXPECT_EQ(ExtensionsOf(list), (std::vector<std::string>{"jpg", "JPEG", "jpegx"}));
    EXPECT_FALSE(type.IsExtensionIncluded(static_cast<char const *>(nullptr)));
    EXPECT_EQ(FileType().GetMacType(0), 0u);
    IO::MemoryIChannel channel("BM", 2);
    EXPECT_FALSE(FileType().CheckTypeCallback(channel, nullptr));
}

TEST(FileType, RefusesAPieceThatNothingHas) {
    FileType type;
    std::string const longest(FileType::MaxPiece, 'x');
    EXPECT_EQ(type.AddMime((longest + ";a/b").c_str()), 0);
    EXPECT_EQ(type.AddMime((longest + "x;c/d").c_str()), Mu::Error);
    EXPECT_EQ(MimesOf(type), (std::vector<std::string>{longest, "a/b"}));
}

TEST(FileType, MergesWhatIsSetAndSubtractsWhatIsShared) {
    FileType a("first", "a;b", 1, 2, 3, nullptr, "m/a", true);
    FileType const b(nullptr, "B;C", 0, 4, -1, FTM::BMPTypeCallback, "m/b;m/a", false);
    EXPECT_EQ(a.Merge(b), 0);
    EXPECT_STREQ(a.GetDescription(), "first");
    EXPECT_EQ(a.GetIconID(), 3);
    EXPECT_EQ(a.GetMacCreator(), 1u);
    EXPECT_EQ(a.GetTypeCallback(), FTM::BMPTypeCallback);
    EXPECT_EQ(ExtensionsOf(a), (std::vector<std::string>{"a", "b", "b", "c"}));
    a.Subtract(b);
    EXPECT_EQ(MimesOf(a), std::vector<std::string>());
    EXPECT_EQ(a.CountMacTypes(), 1);
    EXPECT_EQ(a.GetMacType(1), 0u);
    a.Subtract(a);
    EXPECT_EQ(a.ExtIndexCount(), 0);
    EXPECT_TRUE(ExtensionsOf(a).empty() && MimesOf(a).empty());
}

TEST(FileType, ContentTestsReadTheirSignature) {
    struct {
        FTM::ContentTest & test;
        char const * content;
        bool passes;
        unsigned short depth;
    } const rows[] = {
        {FTM::BMPTypeCallback, "BMx", true, 16},      {FTM::BMPTypeCallback, "B", false, 9},
        {FTM::GIFTypeCallback, "GIF89a", true, 32},   {FTM::GIFTypeCallback, "GIF87a", false, 9},
        {FTM::EXETypeCallback, "MZ", true, 9},        {FTM::EXETypeCallback, "ZM", false, 9},
        {FTM::PDFTypeCallback, "%PDF-1.4", false, 9},
    };
    for (auto const & row : rows) {
        IO::MemoryIChannel channel(row.content, static_cast<unsigned int>(strlen(row.content)));
        FTM::ImageTypeCallbackInfo info{9, 9, 9};
        EXPECT_EQ(row.test(channel, &info), row.passes) << row.content;
        EXPECT_EQ(info.depth, row.depth) << row.content;
    }
    EXPECT_EQ(&FTM::TIFFTypeCallback, &FTM::TextTypeCallback);
}

// Whatever is added and removed, the lists are vectors without repetition; copies hold the same.
TEST(FileType, ListsAreVectors) {
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        FileType type;
        std::vector<std::string> extensions;
        std::vector<std::string> mimes;
        std::vector<unsigned int> codes;
        for (int step = 0; step < 80; ++step) {
            std::string const text(1 + random() % 40, static_cast<char>('a' + random() % 5));
            unsigned int const code = 1 + random() % 9;
            auto const change = [&](auto & model, auto const & value, bool adds) {
                auto const found = std::find(model.begin(), model.end(), value);
                if (adds && found == model.end())
                    model.push_back(value);
                if (!adds && found != model.end())
                    model.erase(found);
            };
            bool const adds = random() % 3 != 0;
            bool const isThere = std::find(mimes.begin(), mimes.end(), text) != mimes.end();
            change(extensions, text, adds);
            change(mimes, text, adds);
            change(codes, code, adds);
            if (adds) {
                ASSERT_EQ(type.AddSingleExtension(text.c_str(), true), 0);
                ASSERT_EQ(type.AddSingleMime(text.c_str()), 0);
                ASSERT_EQ(type.AddMacType(code), 0);
            } else {
                ASSERT_EQ(type.RemoveExtension(text.c_str()), isThere);
                ASSERT_EQ(type.RemoveMime(text.c_str()), isThere);
                type.RemoveMacType(static_cast<unsigned int>(type.FindMacType(code)));
            }
            FileType const copy = type;
            FileType moved(std::move(type));
            type = std::move(moved);
            for (FileType const * each : {&static_cast<FileType const &>(type), &copy}) {
                ASSERT_EQ(ExtensionsOf(*each), extensions);
                ASSERT_EQ(MimesOf(*each), mimes);
                ASSERT_EQ(std::vector<unsigned int>(each->GetMacTypeList(),
                                                    each->GetMacTypeList() + each->CountMacTypes()),
                          codes);
            }
        }
    }
}

TEST(FileType, OneExtensionCodeAndNameTakeNoMemory) {
    unsigned long long const before = Tests::CountAllocations();
    FileType const type("Bitmap File", "bmp", 1, 2, 3, nullptr, "image/bmp", true);
    FileType const copy(type);
    EXPECT_EQ(Tests::CountAllocations(), before);
}
