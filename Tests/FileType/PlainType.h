#pragma once

#include <Kestrel/FileType/FileType.h>
#include <Kestrel/Root/Text/NarrowText.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace Tests {

/// The key of an extension in the index.
inline unsigned int GetKey(std::string const & extension) {
    unsigned int key = 0;
    for (unsigned int i = 0; i < 4 && i < extension.size(); ++i)
        key += static_cast<unsigned int>(static_cast<unsigned char>(extension[i])) << 8 * i;
    return key;
}

/// What a file type holds, in plain containers.
struct PlainType {
    PlainType() = default;
    explicit PlainType(FTM::FileType const & type)
        : codes(type.GetMacTypeList(), type.GetMacTypeList() + type.CountMacTypes()),
          description(type.GetDescription()), creator(type.GetMacCreator()), icon(type.GetIconID()),
          test(type.GetTypeCallback()), isHidden(type.GetMode()) {
        for (unsigned int i = 0; char const * const text = type.GetExtension(i); ++i)
            extensions.emplace_back(text);
        for (unsigned int i = 0; char const * const text = type.GetMime(i); ++i)
            mimes.emplace_back(text);
        EXPECT_EQ(type.CountExtensions(), static_cast<int>(extensions.size()));
        EXPECT_EQ(type.CountMimeTypes(), static_cast<int>(mimes.size()));
    }

    /// Texts must not be empty, and have no ";".
    FTM::FileType Make() const {
        auto const join = [](std::vector<std::string> const & texts) {
            std::string all;
            for (std::string const & text : texts)
                all += text + ";";
            return all;
        };
        FTM::FileType type(description.c_str(), join(extensions).c_str(), creator,
                           codes.empty() ? 0 : codes[0], icon, test, join(mimes).c_str(), false);
        for (std::size_t i = 1; i < codes.size(); ++i)
            type.AddMacType(codes[i]);
        type.SetMode(isHidden);
        return type;
    }

    void Lower() {
        for (std::string & extension : extensions)
            CHtoLower(extension.data(), -1, MuMachineCharCode);
    }

    /// One that shares some of its parts with others, which it has the less the rarer they are.
    static PlainType Draw(std::mt19937 & random, unsigned int rarity = 1) {
        static constexpr FTM::ContentTest * tests[] = {nullptr, FTM::BMPTypeCallback,
                                                       FTM::GIFTypeCallback};
        PlainType type;
        for (char const * const text : {"a", "BB", "jpeg", "jpegx", "jpegy", "@Z[\xC3\x84"})
            if (random() % 4 == 0)
                type.extensions.insert(type.extensions.begin(), text);
        for (char const * const text : Names)
            if (random() % 6 == 0)
                type.mimes.emplace_back(text);
        for (unsigned int code = 1; code < 7; ++code)
            if (random() % (3 * rarity) == 0)
                type.codes.push_back(code);
        auto const draw = [&](unsigned int count) {
            return random() % rarity == 0 ? random() % count : 0;
        };
        type.description = std::string(draw(3) * 20, 'd');
        type.creator = draw(3);
        type.icon = static_cast<int>(draw(4)) - 1;
        type.test = tests[draw(3)];
        return type;
    }
    static constexpr char const * Names[] = {"a/a",         "a/b",         "longer/name",
                                             "longer/game", "c/d\xE4\xE4", "d/d"};

    friend bool operator==(PlainType const &, PlainType const &) = default;

    std::vector<std::string> extensions;
    std::vector<unsigned int> codes;
    std::vector<std::string> mimes;
    std::string description;
    unsigned int creator = 0;
    int icon = 0;
    FTM::ContentTest * test = nullptr;
    bool isHidden = false;
};

} // namespace Tests
