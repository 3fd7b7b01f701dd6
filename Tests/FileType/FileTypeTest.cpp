#include <Kestrel/FileType/FileType.h>

#include "Tests/FileType/PlainType.h"
#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Text/UniString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using FTM::FileType;
using Tests::PlainType;

TEST(FileType, MergesWhatIsSetAndSubtractsWhatIsShared) {
    auto const update = [](auto & all, auto const & with, bool adds) {
        for (auto const & each : with) {
            auto const found = std::find(all.begin(), all.end(), each);
            if (adds && found == all.end())
                all.push_back(each);
            else if (!adds && found != all.end())
                all.erase(found);
        }
    };
    constexpr short MemoryFull = static_cast<short>(Mu::ErrMemoryFull);
    std::mt19937 random(1);
    long long const blocks = Tests::CountLiveBlocks();
    for (int round = 0; round < 1000; ++round) {
        SCOPED_TRACE(round);
        PlainType model = PlainType::Draw(random);
        PlainType other = PlainType::Draw(random);
        model.Lower();
        other.Lower();
        FileType type = model.Make();
        FileType const made = other.Make();
        for (bool const adds : {true, false}) {
            update(model.extensions, other.extensions, adds);
            update(model.codes, other.codes, adds);
            update(model.mimes, other.mimes, adds);
            if (adds) {
                model.description = (other.description.empty() ? model : other).description;
                model.creator = (other.creator == 0 ? model : other).creator;
                model.icon = (other.icon == 0 || other.icon == -1 ? model : other).icon;
                model.test = (other.test == nullptr ? model : other).test;
                // What is merged again after a shortage is whole.
                for (unsigned int n = random() % 6; n < 6; n = n == 0 ? 6 : 0) {
                    Tests::Shortage const shortage(n);
                    short const status = type.Merge(made);
                    EXPECT_TRUE(status == 0 || (n > 0 && status == MemoryFull));
                    PlainType const copy{FileType(made)};
                    EXPECT_TRUE(copy == other || (n > 0 && copy == PlainType()));
                }
            } else {
                type.Subtract(made);
            }
            FileType moved(std::move(type));
            EXPECT_EQ(PlainType(type), PlainType());
            type.AddExtension("a name;that takes memory", true);
            EXPECT_EQ(type.FindExtension("that takes memory"), 1);
            type = std::move(moved);
            EXPECT_EQ(type.Copy(type), 0);
            EXPECT_EQ(PlainType(type), model);
        }
        type.Subtract(type);
        EXPECT_EQ(type.ExtIndexCount() + type.CountMimeTypes(), 0);
    }
    EXPECT_EQ(Tests::CountLiveBlocks(), blocks);
}

TEST(FileType, AddsTheListsThatItIsGiven) {
    FileType type;
    std::string const longest(FileType::MaxPiece, 'x');
    EXPECT_EQ(type.AddExtension((longest + "x;never").c_str(), true), Mu::Error);
    EXPECT_EQ(type.AddExtension("TXT;txt;;\xC3\x84;TXT", true), 0);
    EXPECT_EQ(type.AddExtension("JPEG;jpegx", false), 0);
    EXPECT_EQ(type.AddMime((longest + ";a/b").c_str()), 0);
    EXPECT_EQ(PlainType(type).mimes, (std::vector<std::string>{longest, "a/b"}));
    EXPECT_EQ(type.FindExtension(nullptr), -1);
    EXPECT_TRUE(type.IsExtensionIncluded(Mu::UniString("JPEG")));
    EXPECT_FALSE(type.IsExtensionIncluded(Mu::UniString("jpeg")));
    // Different bytes are one text where they decode to the same, up to 128 of them.
    char const * const ends[] = {"\xFF", "\xEF\xBF\xBD"};
    bool const areSame = Mu::UniString(ends[0]) == Mu::UniString(ends[1]);
    for (unsigned int const size : {125u, 126u})
        for (int const i : {0, 1}) {
            std::string const text(size, 'x');
            FileType const one(nullptr, nullptr, 0, 0, 0, nullptr, (text + ends[i]).c_str());
            EXPECT_EQ(one.IsMimeIncluded((text + ends[1 - i]).c_str()), areSame && size < 126);
        }
    bool isLong[5];
    EXPECT_EQ(type.GetExtensionIDs(nullptr, isLong), 5);
    EXPECT_TRUE(isLong[4] && !isLong[3]);
    EXPECT_FALSE(type.RemoveExtension(5) || type.RemoveMime(2) || type.RemoveMacType(0));
    EXPECT_FALSE(type.RemoveExtension("none") || type.RemoveMime("none"));
    EXPECT_TRUE(type.GetMacType(0) == 0 && FileType("d").GetIconID() == -1);
    PlainType lowered(FileType(nullptr, "txt;\xC3\x84", 0, 0, 0, nullptr, nullptr, true));
    // Kept: what is lowered is looked for as it is spelled.
    lowered.extensions.insert(lowered.extensions.end(), {"txt", "JPEG", "jpegx"});
    EXPECT_EQ(PlainType(type).extensions, lowered.extensions);
}

TEST(FileType, ContentTestsReadTheirSignature) {
    struct {
        FTM::ContentTest & test;
        std::string content;
        bool passes;
        unsigned short info[3];
    } const rows[] = {
        {FTM::BMPTypeCallback, "BMx", true, {16, 640, 480}},
        {FTM::BMPTypeCallback, "B", false, {}},
        {FTM::GIFTypeCallback, "GIF89a", true, {32, 320, 200}},
        {FTM::GIFTypeCallback, "GIF87a", false, {}},
        {FTM::EXETypeCallback, "MZ", true, {}},
        {FTM::PDFTypeCallback, "%PDF-1.4", false, {}},
    };
    for (auto const & row : rows) {
        FTM::ImageTypeCallbackInfo info{};
        IO::MemoryIChannel channel(row.content.data(),
                                   static_cast<unsigned int>(row.content.size()));
        FileType const type(nullptr, nullptr, 0, 0, 0, &row.test);
        EXPECT_EQ(type.CheckTypeCallback(channel, &info), row.passes) << row.content;
        EXPECT_EQ(std::memcmp(&info, row.info, sizeof info), 0) << row.content;
        EXPECT_FALSE(FileType("no test").CheckTypeCallback(channel, nullptr));
    }
    EXPECT_EQ(&FTM::TIFFTypeCallback, &FTM::TextTypeCallback);
}

TEST(FileType, WhatFitsInsideTakesNoMemory) {
    unsigned long long const before = Tests::CountAllocations();
    FileType const type(std::string(31, 'd').c_str(), std::string(15, 'e').c_str(), 1, 2, 3,
                        nullptr, std::string(31, 'm').c_str(), true);
    FileType const copy(type);
    EXPECT_EQ(Tests::CountAllocations(), before);
}
