#include <Kestrel/FileType/FileTypeManager.h>

#include "Tests/FileType/CodedFS.h"
#include "Tests/FileType/PlainType.h"
#include "Tests/FileType/TablePeek.h"
#include "Tests/Support/FaultSweep.h"
#include "Tests/Support/LogCapture.h"

#include <Kestrel/FileType/Defaults.h>
#include <Kestrel/Root/Streams/IChannel.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace FTM;
using Manager = FileTypeManager;

namespace {

FileType Typed(char const * extensions, unsigned int code = 0, ContentTest * test = nullptr) {
    return FileType("a type", extensions, 0, code, -1, test, nullptr, true);
}

Tests::PlainType Get(TypeID id) {
    FileType type;
    EXPECT_EQ(Manager::GetType(id, &type), Mu::NoError);
    return Tests::PlainType(type);
}

/// The stages, restated on lists of types.
struct Model {
    using Found = std::vector<TypeID>;

    /// Types of the candidate rows, in order.
    Found Candidates(bool exact) const {
        Found found;
        TablePeek::VisitRows([&](unsigned int key, unsigned int rowCode, bool isLong, TypeID id) {
            auto const extensions = Get(id).extensions;
            bool const hasIt = extension.empty() ||
                               std::count(extensions.begin(), extensions.end(), extension) > 0;
            if (key == Tests::GetKey(extension) && (!exact || rowCode == code) && hasIt &&
                isLong == (extension.size() > 4) && Manager::IsTypeInGroup(id, scope))
                found.push_back(id);
        });
        return found;
    }
    static std::ptrdiff_t Count(Found const & found) {
        return found.empty() ? 0 : 1 + std::count_if(found.begin(), found.end(), [&](TypeID type) {
                                       return type != found[0];
                                   });
    }
    template <typename Wanted>
    static Found Pick(Found found, Wanted const & wanted) {
        std::erase_if(found, [&](TypeID type) { return !wanted(type); });
        return found;
    }
    bool IsOwn(TypeID type) const { return owner == nullptr || Manager::GetManager(type) == owner; }
    Found PickPassed(Found const & found) const {
        return Pick(found, [&](TypeID type) {
            ContentTest * const test = Get(type).test;
            return test != nullptr && content == (test == BMPTypeCallback ? "BM" : "GIF89");
        });
    }

    /// The candidates whose contents are tested; none when `settles` holds for those of a stage
    /// before, or no evidence is left.
    template <typename Settles>
    Found Judge(Settles const & settles) {
        for (bool const exact : {false, true}) {
            if (!exact && extension.empty())
                continue;
            Found const found = Candidates(exact);
            if (settles(found))
                return {};
            if (found.empty())
                exact ? void(code = 0) : extension.clear();
        }
        return extension.empty() && code == 0 ? Found() : Candidates(code != 0);
    }

    /// The types that are left, and whether that settles it.
    std::pair<Found, bool> Left() {
        auto const own = [&](TypeID type) { return IsOwn(type); };
        Found settled;
        Found const found = Judge([&](Found const & candidates) {
            auto const owns = Count(Pick(candidates, own));
            auto const others = Count(Pick(candidates, [&](TypeID type) { return !own(type); }));
            if (owns == 1 || owns + others == 1)
                settled = {candidates[0]};
            return !settled.empty();
        });
        if (found.empty())
            return {settled, true};
        Found const hits = PickPassed(found);
        Found const ownHits = Pick(hits, own);
        if (ownHits.size() == 1 || hits.size() == 1)
            return {ownHits.size() == 1 ? ownHits : hits, true};
        return {hits.empty() ? found : hits, false};
    }

    GeneralID Identify(std::vector<GroupID> const & groups) {
        auto const [left, isSettled] = Left();
        if (isSettled)
            return left.empty() ? UnknownType : left[0];
        GroupID best = RootGroup;
        for (GroupID const group : groups)
            if (Pick(left, [&](TypeID type) { return Manager::IsTypeInGroup(type, group); }) ==
                    left &&
                (best == RootGroup ||
                 Manager::CountTypeChild(group) < Manager::CountTypeChild(best)))
                best = group;
        return best;
    }

    bool Match(GeneralID target, bool exactly) {
        auto const isTarget = [&](TypeID type) {
            return target.IsGroup() ? Manager::IsTypeInGroup(type, target) : type == target;
        };
        bool isSettled = false;
        Found const found = Judge([&](Found const & candidates) {
            auto const count = [&](bool own, bool wanted) {
                return Pick(candidates,
                            [&](TypeID type) {
                                return IsOwn(type) == own && isTarget(type) == wanted;
                            })
                    .size();
            };
            std::size_t const hits = count(true, true) + count(false, true);
            std::size_t const others = count(true, false) + count(false, false);
            isSettled =
                (count(true, false) == 0 && count(true, true) > 0) || (others == 0 && hits > 0);
            return isSettled || (hits == 0 && others > 0);
        });
        Found const passed = PickPassed(found);
        if (found.empty())
            return isSettled;
        return exactly ? !passed.empty() && isTarget(passed[0]) : Pick(passed, isTarget) == passed;
    }

    std::string extension;
    unsigned int code;
    std::string content;
    GroupID scope;
    Manager const * owner; // null: nobody's types are preferred
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
    for (std::string const extension : {"a", "jpeg", "jpegx", "jpegy", ""})
        for (unsigned int code = 0; code < 3; ++code)
            for (std::string const content : {"", "BM", "GIF89"})
                files.Add(std::to_string(code) + "-" + content +
                              (extension.empty() ? "" : "." + extension),
                          code, content);
    for (unsigned int seed = 1; seed <= 10; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Manager managers[2] = {Manager("first"), Manager("second")};
        std::vector<GroupID> groups;
        for (unsigned int i = random() % 3; i > 0; --i)
            groups.push_back(managers[0].AddGroup("g", RootGroup, nullptr));
        std::vector<TypeID> types(1 + random() % 30);
        auto const drawGroup = [&] {
            return groups.empty() || random() % 3 == 0 ? RootGroup
                                                       : groups[random() % groups.size()];
        };
        for (TypeID & type : types) {
            Tests::PlainType is = Tests::PlainType::Draw(random);
            is.mimes.clear();
            Manager & owner = managers[random() % 2];
            type = owner.AddType(Typed("jpeg;b", 2), drawGroup());
            EXPECT_EQ(owner.ReinsertType(type, is.Make()), Mu::NoError);
        }
        for (Tests::CodedFS::Coded const & file : files.files) {
            SCOPED_TRACE(file.name.ToString().ToCStr().GetText());
            GroupID const scope = drawGroup();
            IO::Location const location = files / file.name;
            GeneralID target = types[random() % types.size()];
            if (GroupID const group = drawGroup(); group != RootGroup && random() % 2 == 0)
                target = group;
            for (Manager * const own :
                 {static_cast<Manager *>(nullptr), &managers[0], &managers[1]}) {
                Model const model{file.name.GetExtension().ToCStr().GetText(), file.code,
                                  file.content, scope, own};
                EXPECT_EQ(own == nullptr ? Manager::Identify(location, scope, nullptr)
                                         : own->IdentifyOwn(location, scope, nullptr),
                          Model(model).Identify(groups));
                EXPECT_EQ(own == nullptr ? Manager::Match(location, target, scope)
                                         : own->MatchOwn(location, target, scope),
                          Model(model).Match(target, false));
                EXPECT_EQ(own == nullptr ? Manager::ExactMatch(location, target, scope)
                                         : own->ExactMatchOwn(location, target, scope),
                          Model(model).Match(target, true));
                std::vector<TypeID> expected = Model(model).Left().first;
                std::vector<TypeID> list(random() % 3);
                TypeID * const to = list.empty() ? nullptr : list.data();
                auto const room = to == nullptr ? 1 : static_cast<unsigned int>(list.size());
                EXPECT_EQ(own == nullptr ? Manager::Identify(location, to, room, scope, nullptr)
                                         : own->IdentifyOwn(location, to, room, scope, nullptr),
                          expected.size());
                expected.resize(list.size());
                EXPECT_EQ(list, expected);
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
    for (char const * const name : {"j.jpg", ".j.jpg", "x_.jpg", "__.jpg"})
        EXPECT_EQ(Manager::Identify(files / name, RootGroup, nullptr), JPEGFileType) << name;
    EXPECT_EQ(Manager::Identify(files / "._x.jpg", RootGroup, nullptr), UnknownType);
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
    log.Clear();
    EXPECT_FALSE(Manager::Match(files / "none", BMPFileType, RootGroup));
    EXPECT_TRUE(log.GetLines().empty()) << "only here a missing file is none of the log's";
    EXPECT_FALSE(manager.MatchOwn(files / "none", BMPFileType, RootGroup));
    EXPECT_FALSE(Manager::ExactMatch(files / "none", BMPFileType, RootGroup));
    EXPECT_EQ(log.GetLines().size(), 2u);
}

TEST(Identification, AContentTestMayThrowOrChangeTheCatalogue) {
    Manager manager("m");
    auto * const guest = new Manager("guest");
    Tests::CodedFS files;
    files.Add("f.q", 0, "BM");
    TypeID const last = manager.AddType(Typed("q", 0, BMPTypeCallback), RootGroup);
    TypeID const calling = guest->AddType(Typed("q", 0, CallsBack), RootGroup);
    TypeID const first = manager.AddType(Typed("q", 0, GIFTypeCallback), RootGroup);
    inTheTest = [](Mu::IChannel &) -> bool { throw std::runtime_error("from the test"); };
    EXPECT_THROW(Manager::Identify(files / "f.q", RootGroup, nullptr), std::runtime_error);
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
    // What was thrown has come through, and the lock is free.
    std::thread([&] {
        EXPECT_EQ(Manager::Identify(files / "f.q", RootGroup, nullptr), last);
    }).join();
    EXPECT_EQ(Manager::GetType(calling, nullptr), ErrTypeNotFound);
    EXPECT_EQ(TablePeek::Check(), "");
}
