#include <Kestrel/FileType/FileTypeManager.h>

#include "Tests/FileType/CodedFS.h"
#include "Tests/FileType/TablePeek.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/LogCapture.h"

#include <Kestrel/FileType/Defaults.h>
#include <Kestrel/Root/Streams/IChannel.h>

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace FTM;
using Manager = FileTypeManager;

namespace {

/// Passes when the letter stands in the content; counts itself in an info.
template <char letter>
bool Holds(Mu::IChannel & channel, void * info) {
    if (info != nullptr)
        ++*static_cast<int *>(info);
    char c;
    while (channel.ReadBin(&c, 1, nullptr) == Mu::NoError)
        if (c == letter)
            return true;
    return false;
}

FileType Typed(char const * extensions, unsigned int code = 0, ContentTest * test = nullptr) {
    return FileType("a type", extensions, 0, code, -1, test, nullptr, true);
}

/// The stages, restated on plain lists.
struct Model {
    struct Type {
        TypeID id;
        int owner;
        std::vector<std::string> extensions;
        std::vector<unsigned int> codes;
        char letter; // of the content test; 0: there is none
        int group;   // 0: none
    };
    struct Row {
        std::string key;
        unsigned int code;
        std::size_t type;
    };
    struct Asked {
        std::string extension;
        unsigned int code;
        std::string content;
        int group; // 0: all
        int owner; // -1: nobody's
    };

    void Add(Type const & type) {
        types.push_back(type);
        for (std::string const & extension : type.extensions)
            for (std::size_t i = 0; i < std::max<std::size_t>(type.codes.size(), 1); ++i)
                Insert({extension.substr(0, 4), type.codes.empty() ? 0 : type.codes[i],
                        types.size() - 1});
        for (unsigned int const code : type.codes)
            Insert({"", code, types.size() - 1});
    }
    void Insert(Row const & row) {
        auto const less = [](Row const & a, Row const & b) {
            std::string const x(a.key.rbegin(), a.key.rend());
            std::string const y(b.key.rbegin(), b.key.rend());
            // As numbers of four bytes, the last character first.
            return std::tuple(x.size(), x, a.code) < std::tuple(y.size(), y, b.code);
        };
        rows.insert(std::lower_bound(rows.begin(), rows.end(), row, less), row);
    }

    /// Types of the candidate rows, in order.
    std::vector<std::size_t> Candidates(Asked const & asked, std::string const & extension,
                                        unsigned int code, bool exact) const {
        std::vector<std::size_t> found;
        for (Row const & row : rows) {
            Type const & type = types[row.type];
            bool const hasIt =
                extension.empty() ||
                std::count(type.extensions.begin(), type.extensions.end(), extension) > 0;
            if (row.key == extension.substr(0, 4) && (!exact || row.code == code) && hasIt &&
                (asked.group == 0 || type.group == asked.group))
                found.push_back(row.type);
        }
        return found;
    }
    static std::size_t Count(std::vector<std::size_t> const & found) {
        return found.empty() ? 0
                             : 1 + static_cast<std::size_t>(std::count_if(
                                       found.begin(), found.end(),
                                       [&](std::size_t type) { return type != found[0]; }));
    }
    std::vector<std::size_t> Pick(std::vector<std::size_t> const & from,
                                  std::function<bool(Type const &)> const & wanted) const {
        std::vector<std::size_t> picked;
        for (std::size_t const type : from)
            if (wanted(types[type]))
                picked.push_back(type);
        return picked;
    }
    bool IsOwn(Type const & type, Asked const & asked) const {
        return asked.owner < 0 || type.owner == asked.owner;
    }
    bool Passes(Type const & type, Asked const & asked) const {
        return type.letter != 0 && asked.content.find(type.letter) != std::string::npos;
    }

    /// The types that are left, one if it is settled; and whether the contents were asked.
    std::vector<std::size_t> Left(Asked const & asked, bool * byContents) const {
        *byContents = false;
        auto const own = [&](Type const & type) { return IsOwn(type, asked); };
        auto const other = [&](Type const & type) { return !IsOwn(type, asked); };
        std::string extension = asked.extension;
        unsigned int code = asked.code;
        for (bool const exact : {false, true}) {
            if (!exact && extension.empty())
                continue;
            auto const found = Candidates(asked, extension, code, exact);
            std::size_t const owns = Count(Pick(found, own));
            if (owns == 1 || owns + Count(Pick(found, other)) == 1)
                return {found[0]};
            if (found.empty())
                exact ? void(code = 0) : extension.clear();
        }
        if (extension.empty() && code == 0)
            return {};
        *byContents = true;
        auto const found = Candidates(asked, extension, code, code != 0);
        auto const hits = Pick(found, [&](Type const & type) { return Passes(type, asked); });
        auto const ownHits = Pick(hits, own);
        if (ownHits.size() == 1)
            return ownHits;
        return hits.empty() ? found : hits;
    }

    GeneralID Identify(Asked const & asked, std::vector<GroupID> const & groups) const {
        bool byContents;
        auto const left = Left(asked, &byContents);
        if (left.size() == 1 && (!byContents || Passes(types[left[0]], asked)))
            return types[left[0]].id;
        if (!byContents)
            return UnknownType;
        GroupID best = RootGroup;
        long smallest = -1;
        for (std::size_t group = 1; group < groups.size(); ++group) {
            bool const holdsAll = std::all_of(left.begin(), left.end(), [&](std::size_t type) {
                return types[type].group == static_cast<int>(group);
            });
            long const size = std::count_if(types.begin(), types.end(), [&](Type const & type) {
                return type.group == static_cast<int>(group);
            });
            if (holdsAll && (smallest < 0 || size < smallest)) {
                smallest = size;
                best = groups[group];
            }
        }
        return best;
    }

    /// `group` is that of a type, or -1 where `id` is the target.
    bool Match(Asked const & asked, TypeID id, int group, bool exactly) const {
        auto const isTarget = [&](Type const & type) {
            return group < 0 ? type.id == id : type.group == group;
        };
        std::string extension = asked.extension;
        unsigned int code = asked.code;
        for (bool const exact : {false, true}) {
            if (!exact && extension.empty())
                continue;
            auto const found = Candidates(asked, extension, code, exact);
            auto const count = [&](bool own, bool target) {
                return Pick(found,
                            [&](Type const & type) {
                                return IsOwn(type, asked) == own && isTarget(type) == target;
                            })
                    .size();
            };
            std::size_t const hits = count(true, true) + count(false, true);
            std::size_t const others = count(true, false) + count(false, false);
            if (hits == 0 && others > 0)
                return false;
            if ((count(true, false) == 0 && count(true, true) > 0) || (others == 0 && hits > 0))
                return true;
            if (found.empty())
                exact ? void(code = 0) : extension.clear();
        }
        if (extension.empty() && code == 0)
            return false;
        auto const passed = Pick(Candidates(asked, extension, code, code != 0),
                                 [&](Type const & type) { return Passes(type, asked); });
        if (exactly)
            return !passed.empty() && isTarget(types[passed[0]]);
        return Pick(passed, isTarget).size() == passed.size();
    }

    std::vector<Type> types;
    std::vector<Row> rows;
};

/// Does something in the middle of a content test.
std::function<bool(Mu::IChannel &)> inTheTest;

bool CallsBack(Mu::IChannel & channel, void *) {
    auto const test = inTheTest; // it may take itself back
    return test != nullptr && test(channel);
}

} // namespace

// Catalogues, files and questions drawn at random.
TEST(Identification, FollowsTheStages) {
    Tests::CodedFS files;
    static constexpr char const * extensions[] = {"a", "ab", "jpegx", "jpegy", ""};
    static constexpr ContentTest * tests[] = {Holds<'x'>, Holds<'y'>, Holds<'z'>, nullptr};
    static constexpr char letters[] = {'x', 'y', 'z', 0};
    for (std::string const extension : extensions)
        for (unsigned int code = 0; code < 3; ++code)
            for (std::string const content : {"", "x", "yz", "xyz"})
                files.Add(std::to_string(code) + "-" + content +
                              (extension.empty() ? "" : "." + extension),
                          code, content);
    for (unsigned int seed = 1; seed <= 10; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Manager managers[2] = {Manager("first"), Manager("second")};
        std::vector<GroupID> groups{RootGroup};
        for (unsigned int i = random() % 3; i > 0; --i)
            groups.push_back(managers[0].AddGroup("g", RootGroup, nullptr));
        Model model;
        for (unsigned int i = 1 + random() % 6; i > 0; --i) {
            Model::Type type{{}, static_cast<int>(random() % 2), {}, {}, 0, 0};
            for (unsigned int e = 0; e < 4; ++e)
                if (random() % 3 == 0)
                    type.extensions.emplace_back(extensions[e]);
            for (unsigned int code = 1; code < 3; ++code)
                if (random() % 3 == 0)
                    type.codes.push_back(code);
            unsigned int const test = random() % 4;
            type.letter = letters[test];
            type.group = static_cast<int>(random() % groups.size());
            FileType record("t", nullptr, 0, 0, -1, tests[test], nullptr, true);
            for (std::string const & extension : type.extensions)
                record.AddSingleExtension(extension.c_str(), true);
            for (unsigned int const code : type.codes)
                record.AddMacType(code);
            type.id =
                managers[type.owner].AddType(record, groups[static_cast<unsigned int>(type.group)]);
            model.Add(type);
        }
        ASSERT_EQ(TablePeek::Check(), "");
        for (Tests::CodedFS::Coded const & file : files.files) {
            Model::Asked asked{file.name.GetExtension().ToCStr().GetText(), file.code, file.content,
                               static_cast<int>(random() % groups.size()), -1};
            SCOPED_TRACE(file.name.ToString().ToCStr().GetText());
            GroupID const scope = groups[static_cast<unsigned int>(asked.group)];
            IO::Location const location = files / file.name;
            Model::Type const & meant = model.types[random() % model.types.size()];
            int const group = random() % 4 == 0 && meant.group > 0 ? meant.group : -1;
            GeneralID const target =
                group < 0 ? GeneralID(meant.id) : groups[static_cast<unsigned int>(group)];
            for (asked.owner = -1; asked.owner < 2; ++asked.owner) {
                SCOPED_TRACE(asked.owner);
                Manager const * const own =
                    asked.owner < 0 ? nullptr : &managers[static_cast<unsigned int>(asked.owner)];
                EXPECT_EQ(own == nullptr ? Manager::Identify(location, scope, nullptr)
                                         : own->IdentifyOwn(location, scope, nullptr),
                          model.Identify(asked, groups));
                EXPECT_EQ(own == nullptr ? Manager::Match(location, target, scope)
                                         : own->MatchOwn(location, target, scope),
                          model.Match(asked, meant.id, group, false));
                EXPECT_EQ(own == nullptr ? Manager::ExactMatch(location, target, scope)
                                         : own->ExactMatchOwn(location, target, scope),
                          model.Match(asked, meant.id, group, true));
                bool byContents;
                std::vector<TypeID> expected;
                for (std::size_t const type : model.Left(asked, &byContents))
                    expected.push_back(model.types[type].id);
                TypeID list[2];
                EXPECT_EQ(own == nullptr ? Manager::Identify(location, list, 2, scope, nullptr)
                                         : own->IdentifyOwn(location, list, 2, scope, nullptr),
                          expected.size());
                expected.resize(2);
                EXPECT_EQ(list[0], expected[0]);
                EXPECT_EQ(list[1], expected[1]);
            }
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
}

TEST(Identification, AUniqueExtensionTouchesNoFileAndNoMemory) {
    Manager manager("m");
    LoadFTMDefaults(&manager);
    Tests::CodedFS files;
    IO::Location const location = files / "Picture.JPEG";
    EXPECT_EQ(Manager::Identify(location, RootGroup, nullptr), JPEGFileType);
    unsigned long long const before = Tests::CountAllocations();
    EXPECT_EQ(Manager::Identify(location, RootGroup, nullptr), JPEGFileType);
    EXPECT_EQ(Tests::CountAllocations(), before);
    EXPECT_EQ(files.connects, 0u);
    EXPECT_EQ(Manager::Identify(files / "._x.jpg", RootGroup, nullptr), UnknownType);
    EXPECT_FALSE(Manager::Match(files / "x.jpg", TextFileType, RootGroup));
    EXPECT_FALSE(Manager::Match(files / "x.jpg", JPEGFileType, UnknownGroup));
    EXPECT_EQ(files.connects, 0u);
}

TEST(Identification, FillsTheInfoOfATypeThatTheNameSettles) {
    Manager manager("m");
    LoadFTMDefaults(&manager);
    Tests::CodedFS files;
    files.Add("a.bmp", 0, "BM");
    files.Add("b.bmp", 0, "no");
    files.Add("picture", 0x50494354, "BM");
    files.Add("drawing", 0x50494354, "??");
    Tests::LogCapture log;
    for (auto const & [name, expected, depth] : {std::tuple("a.bmp", GeneralID(BMPFileType), 16),
                                                 {"b.bmp", GeneralID(BMPFileType), 0},
                                                 {"none.bmp", GeneralID(UnknownType), 0},
                                                 {"picture", GeneralID(BMPFileType), 16},
                                                 {"drawing", GeneralID(ImageGroup), 0}}) {
        ImageTypeCallbackInfo info{};
        EXPECT_EQ(Manager::Identify(files / name, RootGroup, &info), expected) << name;
        EXPECT_EQ(info.depth, depth) << name;
        TypeID list[1];
        void * infos[] = {&info};
        unsigned int const count = Manager::Identify(files / name, list, 1, RootGroup, infos);
        EXPECT_EQ(count, expected == UnknownType ? 0u : expected.IsGroup() ? 3u : 1u) << name;
    }
    EXPECT_EQ(Manager::Identify(files / "none.bmp", RootGroup, nullptr), BMPFileType);
    EXPECT_TRUE(Manager::ExactMatch(files / "picture", ImageGroup, RootGroup));
}

TEST(Identification, OnlyMatchKeepsAMissingFileOutOfTheLog) {
    Manager manager("m");
    TypeID const one = manager.AddType(Typed("q"), RootGroup);
    manager.AddType(Typed("q"), RootGroup);
    Tests::CodedFS files;
    IO::Location const location = files / "none.q";
    std::pair<std::function<bool()>, bool> const rows[] = {
        {[&] { return Manager::Match(location, one, RootGroup); }, false},
        {[&] { return manager.MatchOwn(location, one, RootGroup); }, true},
        {[&] { return Manager::ExactMatch(location, one, RootGroup); }, true},
        {[&] { return Manager::Identify(location, RootGroup, nullptr) != UnknownType; }, true},
    };
    for (auto const & [ask, isLogged] : rows) {
        Tests::LogCapture log;
        EXPECT_FALSE(ask());
        EXPECT_EQ(!log.GetLines().empty(), isLogged);
    }
}

TEST(Identification, AContentTestMayChangeTheCatalogue) {
    Manager manager("m");
    auto * const guest = new Manager("guest");
    Tests::CodedFS files;
    files.Add("f.q", 0, "x");
    TypeID const last = manager.AddType(Typed("q", 0, Holds<'x'>), RootGroup);
    TypeID const calling = guest->AddType(Typed("q", 0, CallsBack), RootGroup);
    TypeID const first = manager.AddType(Typed("q", 0, Holds<'y'>), RootGroup);
    inTheTest = [&](Mu::IChannel &) {
        inTheTest = nullptr;
        // The same question inside leaves the results of this one alone.
        EXPECT_EQ(Manager::Identify(files / "f.q", RootGroup, nullptr), last);
        delete guest;
        for (int i = 0; i < 50; ++i)
            manager.AddType(Typed("q;r;s"), RootGroup);
        manager.RemoveType(first);
        return true;
    };
    EXPECT_EQ(Manager::Identify(files / "f.q", RootGroup, nullptr), last);
    EXPECT_EQ(Manager::GetType(calling, nullptr), ErrTypeNotFound);
    EXPECT_EQ(TablePeek::Check(), "");
}

TEST(Identification, WhatAContentTestThrowsComesThrough) {
    Manager manager("m");
    Tests::CodedFS files;
    files.Add("f.q", 0, "x");
    TypeID const good = manager.AddType(Typed("q", 0, Holds<'x'>), RootGroup);
    manager.AddType(Typed("q", 0, CallsBack), RootGroup);
    inTheTest = [](Mu::IChannel &) -> bool { throw std::runtime_error("from the test"); };
    EXPECT_THROW(Manager::Identify(files / "f.q", RootGroup, nullptr), std::runtime_error);
    inTheTest = nullptr;
    std::thread([&] { // the lock is free
        EXPECT_EQ(Manager::Identify(files / "f.q", RootGroup, nullptr), good);
    })
        .join();
}

// Every stage once; an answer is right, or the negative one when something failed.
TEST(Identification, MeetsEveryFault) {
    Tests::TempFolder folder;
    for (auto const & [name, content] : {std::pair("x.q", "x"), {"none.q", "-"}, {"x.unique", "y"}})
        folder.Write(name, content);
    Manager manager("m");
    TypeID const one = manager.AddType(Typed("q", 0, Holds<'x'>), RootGroup);
    TypeID const other = manager.AddType(Typed("q;unique", 0, Holds<'y'>), RootGroup);
    auto const scenario = [&](bool failed) {
        Tests::LogCapture log;
        IO::Location root(folder.GetPortable().c_str());
        if (root.GetStatus() != Mu::NoError)
            return;
        auto const at = [&](char const * name) { return IO::Location(root, IO::Name(name)); };
        int info = 0;
        GeneralID const byContents = Manager::Identify(at("x.q"), RootGroup, nullptr);
        EXPECT_TRUE(byContents == one || (failed && byContents == UnknownType));
        GeneralID const byName = manager.IdentifyOwn(at("x.unique"), RootGroup, &info);
        EXPECT_TRUE(byName == other || (failed && byName == UnknownType));
        TypeID list[2];
        unsigned int const count = Manager::Identify(at("none.q"), list, 2, RootGroup, nullptr);
        EXPECT_TRUE((count == 2 && list[0] == other && list[1] == one) || (failed && count == 0));
        EXPECT_TRUE(Manager::ExactMatch(at("x.q"), one, RootGroup) || failed);
        EXPECT_FALSE(Manager::Match(at("x.q"), other, RootGroup));
    };
    SweepAllocations(scenario);
    Tests::SweepFileCallsBriefly(scenario);
}
