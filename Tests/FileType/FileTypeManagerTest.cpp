#include <Kestrel/FileType/FileTypeManager.h>

#include "Tests/FileType/PlainType.h"
#include "Tests/FileType/TablePeek.h"
#include "Tests/Support/FaultSweep.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/FileType/Defaults.h>
#include <Kestrel/FileType/Internal/IdentifierCounters.h>
#include <Kestrel/FileType/Internal/Start.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using namespace FTM;
using Manager = FileTypeManager;
using Tests::PlainType;

namespace {

/// The catalogue in plain maps.
struct Model {
    static constexpr unsigned int NoOwner = 9;

    struct Type {
        unsigned int owner;
        PlainType is;
    };
    struct Group {
        unsigned int owner;
        std::string name;
        std::string mime;
        GroupID parent;
    };

    bool IsKnown(GroupID id) const { return id == RootGroup || groups.count(id) > 0; }
    bool IsUnder(GroupID child, GroupID parent) const {
        for (auto each = groups.find(child); each != groups.end();
             each = groups.find(each->second.parent))
            if (each->second.parent == parent || parent == RootGroup)
                return true;
        return false;
    }
    bool IsIn(TypeID type, GroupID group) const {
        if (group == RootGroup)
            return types.count(type) > 0;
        auto const [from, to] = links.equal_range(type);
        return std::any_of(from, to, [&](auto const & link) {
            return link.second == group || IsUnder(link.second, group);
        });
    }
    std::vector<GeneralID> Named(std::string const & mime) const {
        std::vector<GeneralID> all;
        for (auto const & [id, type] : types)
            if (std::count(type.is.mimes.begin(), type.is.mimes.end(), mime) > 0)
                all.push_back(id);
        for (auto const & [id, group] : groups)
            if (group.mime == mime)
                all.push_back(id);
        return all;
    }
    /// That of an unknown identifier is none of the managers.
    unsigned int GetOwner(GeneralID id) const {
        if (auto const type = types.find(id); type != types.end())
            return type->second.owner;
        auto const group = groups.find(id);
        return group == groups.end() ? NoOwner : group->second.owner;
    }
    void RemoveGroup(GroupID id) {
        GroupID const parent = groups.at(id).parent;
        groups.erase(id);
        for (auto & each : groups)
            if (each.second.parent == id)
                each.second.parent = parent;
        if (parent == RootGroup)
            std::erase_if(links, [&](auto const & link) { return link.second == id; });
        for (auto & link : links)
            if (link.second == id)
                link.second = parent;
    }
    void RemoveOwned(unsigned int owner) {
        std::erase_if(types, [&](auto const & each) {
            return each.second.owner == owner && (links.erase(each.first), true);
        });
        for (auto const & [id, group] : std::map(groups))
            if (group.owner == owner)
                RemoveGroup(id);
    }

    std::map<TypeID, Type> types;
    std::map<GroupID, Group> groups;
    std::multimap<TypeID, GroupID> links;
};

/// Draws an operation, applies it to both, and compares.
class Player {
public:
    explicit Player(unsigned int seed) : random(seed) {
        for (unsigned int i = 0; i < std::size(managers); ++i)
            managers[i].emplace(ids[i]);
    }

    void Step() {
        unsigned int const who = random() % std::size(managers);
        static constexpr void (Player::*steps[])(unsigned int) = {
            &Player::AddType,    &Player::AddType,     &Player::AddType,  &Player::AddGroup,
            &Player::AddGroup,   &Player::Link,        &Player::Link,     &Player::Unlink,
            &Player::RemoveType, &Player::RemoveGroup, &Player::Reinsert, &Player::Hide};
        (this->*steps[random() % std::size(steps)])(who);
        if (random() % 70 == 0) {
            managers[who].emplace(ids[who]); // ends the old one
            model.RemoveOwned(who);
        }
    }

    void Compare() {
        ASSERT_EQ(TablePeek::Check(), "");
        std::vector<GroupID> groups{RootGroup, GeneralID(-3)};
        for (auto const & [id, unused] : model.groups)
            groups.push_back(id);
        for (GroupID const id : groups)
            CompareGroup(id, groups);
        CompareType(DrawUnknown(), groups);
        for (auto const & [id, unused] : model.types)
            CompareType(id, groups);
        for (char const * mime : PlainType::Names)
            CompareName(mime);
        CompareSearches();
    }

private:
    static constexpr char const * ids[] = {
        "first", "a manager with a name that is longer than what it has room for inside of itself",
        "first"};

    TypeID DrawUnknown() { return GeneralID(1000000 + static_cast<int>(random() % 9)); }
    TypeID DrawType() {
        if (model.types.empty() || random() % 8 == 0)
            return DrawUnknown();
        return std::next(model.types.begin(), random() % model.types.size())->first;
    }
    GroupID DrawGroup() {
        unsigned int const draw = random() % 8;
        if (draw == 0)
            return GeneralID(-3);
        if (draw < 3 || model.groups.empty())
            return RootGroup;
        return std::next(model.groups.begin(), random() % model.groups.size())->first;
    }
    /// Calls it, at times without memory.
    template <typename Call>
    auto Try(Call const & call) {
        isShort = random() % 3 == 0;
        Tests::Shortage shortage(isShort ? 1 + random() % 6 : 0, random() % 2 == 0);
        return call();
    }
    /// Whether it was done; else nothing was changed.
    bool IsDone(MuErrCode status, MuErrCode expected) {
        EXPECT_TRUE(status == expected || (isShort && status == Mu::ErrMemoryFull)) << status;
        return status == Mu::NoError;
    }
    template <typename Id, typename Record>
    bool IsNext(Id id, bool works, std::map<Id, Record> const & all, unsigned int last) {
        if (!all.empty())
            all.rbegin()->first.Store(last);
        unsigned int raw;
        id.Store(raw);
        bool const isAdded = id != Id();
        EXPECT_TRUE(isAdded ? works && raw == last + 1 : !works || isShort);
        return isAdded;
    }
    MuErrCode CheckOwner(GeneralID id, unsigned int who) {
        unsigned int const owner = model.GetOwner(id);
        MuErrCode const notFound = id.IsGroup() ? ErrGroupNotFound : ErrTypeNotFound;
        return owner == Model::NoOwner ? notFound : owner == who ? Mu::NoError : ErrForeignRecord;
    }

    void AddType(unsigned int who) {
        PlainType const type = PlainType::Draw(random);
        FileType const made = type.Make();
        GroupID const group = DrawGroup();
        bool const isTaken =
            !model.types.empty() &&
            std::any_of(type.mimes.begin(), type.mimes.end(),
                        [&](std::string const & mime) { return !model.Named(mime).empty(); });
        TypeID const id = Try([&] { return managers[who]->AddType(made, group); });
        if (!IsNext(id, model.IsKnown(group) && !isTaken, model.types, 0))
            return;
        Store(id, who, type);
        if (group != RootGroup)
            model.links.emplace(id, group);
    }
    void Store(TypeID id, unsigned int who, PlainType type) {
        type.Lower();
        model.types[id] = {who, type};
    }

    void AddGroup(unsigned int who) {
        GroupID const parent = DrawGroup();
        std::string const name(1 + random() % 2 * 20, static_cast<char>('A' + random() % 3));
        std::string const mime = random() % 2 == 0 ? PlainType::Names[random() % 6] : "";
        bool const isTaken = !mime.empty() && !model.groups.empty() && !model.Named(mime).empty();
        GroupID const id = Try([&] {
            return managers[who]->AddGroup(name.c_str(), parent,
                                           mime.empty() ? nullptr : mime.c_str());
        });
        if (IsNext(id, model.IsKnown(parent) && !isTaken, model.groups, 0x80000001))
            model.groups[id] = {who, name, mime, parent};
    }

    void Link(unsigned int who) {
        TypeID const type = DrawType();
        GroupID const group = DrawGroup();
        MuErrCode const expected = model.types.count(type) == 0 ? ErrTypeNotFound
                                   : !model.IsKnown(group)      ? ErrGroupNotFound
                                                                : Mu::NoError;
        MuErrCode const status = Try([&] { return managers[who]->AddTypeToGroup(type, group); });
        if (IsDone(status, expected) && !model.IsIn(type, group))
            model.links.emplace(type, group);
    }

    void Unlink(unsigned int who) {
        TypeID const type = DrawType();
        GroupID const group = DrawGroup();
        auto const [from, to] = model.links.equal_range(type);
        auto const link = std::find_if(from, to, [&](auto const & l) { return l.second == group; });
        MuErrCode const status = managers[who]->RemoveTypeFromGroup(type, group);
        auto const isBehind = [&](auto const & l) { return l.second < group; };
        if (link != to) {
            ASSERT_EQ(status, Mu::NoError);
            model.links.erase(link);
        } else { // those of removed groups may be out of order
            ASSERT_TRUE(status == ErrTypeNotFound
                            ? from == to || std::any_of(from, to, isBehind)
                            : status == ErrGroupNotFound && !std::all_of(from, to, isBehind));
        }
    }

    void RemoveType(unsigned int who) {
        TypeID const id = DrawType();
        MuErrCode const expected = CheckOwner(id, who);
        ASSERT_EQ(managers[who]->RemoveType(id), expected);
        if (expected != Mu::NoError)
            return;
        model.types.erase(id);
        model.links.erase(id);
    }

    void RemoveGroup(unsigned int who) {
        GroupID const id = DrawGroup();
        MuErrCode const expected = CheckOwner(id, who);
        std::string const name(random() % 30, 'C');
        if (IsDone(Try([&] { return managers[who]->RenameGroup(id, name.c_str()); }), expected))
            model.groups[id].name = name;
        if (random() % 2 == 0)
            return;
        ASSERT_EQ(managers[who]->RemoveGroup(id), expected);
        if (expected == Mu::NoError)
            model.RemoveGroup(id);
    }

    void Reinsert(unsigned int who) {
        TypeID const id = DrawType();
        PlainType const type = PlainType::Draw(random);
        FileType const made = type.Make();
        MuErrCode expected = CheckOwner(id, who);
        for (std::string const & mime : type.mimes)
            if (auto const named = model.Named(mime);
                expected == Mu::NoError && !named.empty() &&
                std::count(named.begin(), named.end(), id) == 0)
                expected = Mu::Error;
        if (IsDone(Try([&] { return managers[who]->ReinsertType(id, made); }), expected))
            Store(id, who, type);
    }

    void Hide(unsigned int) {
        TypeID const id = DrawType();
        bool const isHidden = random() % 2 == 0;
        auto const found = model.types.find(id);
        ASSERT_EQ(Manager::SetModeFileType(id, isHidden), found != model.types.end());
        if (found != model.types.end())
            found->second.is.isHidden = isHidden;
    }

    void CompareOwner(GeneralID id) {
        unsigned int const owner = model.GetOwner(id);
        bool const isKnown = owner != Model::NoOwner;
        EXPECT_EQ(Manager::GetManager(id), isKnown ? &*managers[owner] : nullptr);
        EXPECT_STREQ(Manager::GetManagerId(id), isKnown ? ids[owner] : nullptr);
    }

    void CompareType(TypeID id, std::vector<GroupID> const & groups) {
        CompareOwner(id);
        auto const found = model.types.find(id);
        bool const isKnown = found != model.types.end();
        PlainType const expected = isKnown ? found->second.is : PlainType();
        MuErrCode const status = isKnown ? Mu::NoError : ErrTypeNotFound;
        FileType type;
        bool const isDone = IsDone(Try([&] { return Manager::GetType(id, &type); }), status);
        EXPECT_EQ(PlainType(type), isDone ? expected : PlainType());
        EXPECT_EQ(Manager::GetType(id, nullptr), status);
        EXPECT_EQ(Manager::IsHideFileType(id), expected.isHidden);
        for (GroupID const group : groups)
            EXPECT_EQ(Manager::IsTypeInGroup(id, group), model.IsIn(id, group));
        std::set<GroupID> parents;
        int count = 0;
        for (GroupID each = Manager::GetFirstParent(id); each != UnknownGroup;
             each = Manager::GetNextParent(id, each), ++count)
            EXPECT_TRUE(parents.insert(each).second) << "a walk comes to each once";
        std::set<GroupID> linked;
        auto const [from, to] = model.links.equal_range(id);
        for (auto link = from; link != to; ++link)
            linked.insert(link->second);
        if (isKnown && linked.empty())
            linked.insert(RootGroup);
        EXPECT_EQ(parents, linked);
        EXPECT_EQ(Manager::CountParent(id), isKnown ? count : ErrTypeNotFound);
    }

    /// A text that is cut to a size.
    void CompareText(unsigned int (*get)(GroupID, char *, unsigned int), GroupID group,
                     std::string const & expected) {
        unsigned int const size = random() % (static_cast<unsigned int>(expected.size()) + 3);
        bool const isAsked = random() % 4 == 0;
        std::string text(size + 1, '?');
        EXPECT_EQ(get(group, isAsked ? nullptr : text.data(), size), expected.size());
        EXPECT_EQ(text.c_str(),
                  isAsked || size == 0 ? std::string(size + 1, '?') : expected.substr(0, size - 1));
    }

    void CompareGroup(GroupID id, std::vector<GroupID> const & groups) {
        CompareOwner(id);
        auto const found = model.groups.find(id);
        Model::Group const expected =
            found == model.groups.end() ? Model::Group{0, "", "", UnknownGroup} : found->second;
        CompareText(Manager::GetGroupName, id, expected.name);
        CompareText(Manager::GetGroupMime, id, expected.mime);
        EXPECT_EQ(Manager::GetParent(id), expected.parent);
        std::vector<GroupID> children{UnknownGroup};
        int deepGroups = 0;
        GroupID next = UnknownGroup;
        for (GroupID const other : groups)
            EXPECT_EQ(Manager::IsGroupInGroup(other, id), model.IsUnder(other, id));
        for (auto const & [other, group] : model.groups) {
            deepGroups += model.IsUnder(other, id) ? 1 : 0;
            if (group.parent == id)
                children.insert(children.end() - 1, other);
            if (next == UnknownGroup && other > id && group.parent == expected.parent)
                next = other;
        }
        EXPECT_EQ(Manager::GetFirstGroupChild(id), children[0]);
        EXPECT_EQ(Manager::GetNextGroup(id), next);

        std::multiset<TypeID> types;
        std::vector<TypeID> deep;
        std::string extensionList;
        std::set<std::string> listed;
        for (auto const & [type, record] : model.types) {
            if (id == RootGroup && model.links.count(type) == 0)
                types.insert(type);
            if (!model.IsIn(type, id))
                continue;
            deep.push_back(type);
            for (std::string const & extension : record.is.extensions)
                if (listed.insert(extension).second)
                    extensionList += (extensionList.empty() ? "" : ";") + extension;
        }
        CompareText(Manager::GetGroupExtensionList, id, extensionList);
        for (auto const & link : model.links)
            if (link.second == id)
                types.insert(link.first);
        EXPECT_EQ(Manager::GetFirstTypeChild(id), types.empty() ? UnknownType : *types.begin());
        for (auto const & [type, unused] : model.types) {
            auto const after = types.upper_bound(type);
            bool const isIn = id == RootGroup || types.count(type) > 0;
            EXPECT_EQ(Manager::GetNextType(id, type),
                      isIn && after != types.end() ? *after : UnknownType);
        }
        EXPECT_EQ(Manager::GetNextType(id, DrawUnknown()), UnknownType);
        std::vector<TypeID> list(random() % (deep.size() + 2));
        auto const room = static_cast<int>(list.size());
        auto const expect = [&](int count, std::size_t wanted) {
            EXPECT_EQ(count, model.IsKnown(id) ? static_cast<int>(wanted) : ErrGroupNotFound);
        };
        expect(Manager::GetAllTypeChildList(id, list.data(), room), deep.size());
        expect(Manager::GetAllTypeChildList(id, nullptr, room), deep.size());
        expect(Manager::CountAllTypeChild(id), deep.size());
        expect(Manager::CountAllChild(id) - deepGroups, deep.size());
        expect(Manager::CountTypeChild(id), types.size());
        expect(Manager::CountGroupChild(id), children.size() - 1);
        deep.resize(list.size());
        EXPECT_EQ(list, deep);
    }

    void CompareName(char const * mime) {
        auto const named = model.Named(mime);
        EXPECT_EQ(managers[0]->CheckMimeExists(mime), !named.empty());
        EXPECT_EQ(Manager::SearchForMime(mime, nullptr),
                  named.size() == 1 ? named[0] : GeneralID(UnknownType));
        for (unsigned int who = 0; who < std::size(managers); ++who) {
            auto const isIn = [&](GeneralID found, auto const & isHis) {
                auto const count = std::count_if(named.begin(), named.end(), isHis);
                return count == 0
                           ? found == UnknownType
                           : isHis(found) && std::count(named.begin(), named.end(), found) > 0;
            };
            EXPECT_TRUE(isIn(managers[who]->SearchForMime(mime),
                             [&](GeneralID id) { return model.GetOwner(id) == who; }));
            GeneralID const byId = Manager::SearchForMime(mime, ids[who]);
            EXPECT_TRUE(isIn(byId, [&](GeneralID id) {
                return std::string(ids[model.GetOwner(id)]) == ids[who];
            }));
            EXPECT_EQ(Manager::IsMimeRegistered(mime, ids[who]), byId != UnknownType);
        }
    }

    /// Whether all that is set in the pattern is in the type, too.
    static bool Fits(PlainType const & pattern, PlainType const & type) {
        auto const has = [](auto const & all, auto const & wanted) {
            return std::count(all.begin(), all.end(), wanted) > 0;
        };
        return std::all_of(pattern.extensions.begin(), pattern.extensions.end(),
                           [&](auto const & each) { return has(type.extensions, each); }) &&
               (pattern.codes.empty() || has(type.codes, pattern.codes[0])) &&
               (pattern.mimes.empty() ||
                (!type.mimes.empty() && type.mimes[0] == pattern.mimes[0])) &&
               (pattern.creator == 0 || pattern.creator == type.creator) &&
               (pattern.icon == 0 || pattern.icon == -1 || pattern.icon == type.icon) &&
               (pattern.test == nullptr || pattern.test == type.test) &&
               (pattern.description.empty() || pattern.description == type.description);
    }

    void CompareSearches() {
        EXPECT_EQ(Manager::SearchForMime(nullptr, nullptr), UnknownType);
        EXPECT_EQ(managers[0]->SearchForMime(nullptr), UnknownType);
        EXPECT_FALSE(managers[0]->CheckMimeExists(nullptr));
        EXPECT_EQ(Manager::SearchForGroup(nullptr, RootGroup), UnknownGroup);
        PlainType pattern = PlainType::Draw(random, 3);
        if (random() % 3 != 0)
            pattern.extensions.clear();
        if (random() % 2 == 0)
            pattern.mimes.clear();
        FileType const made = pattern.Make();
        pattern.Lower();
        GroupID const scope = DrawGroup();
        bool const isNone = scope == RootGroup && Fits(pattern, PlainType());
        std::vector<TypeID> expected;
        for (auto const & [id, type] : model.types)
            if (!isNone && model.IsIn(id, scope) && Fits(pattern, type.is))
                expected.push_back(id);
        EXPECT_EQ(Manager::SearchForType(made, scope),
                  expected.empty() ? UnknownType : expected[0]);
        EXPECT_EQ(Manager::SearchForType(nullptr, 1, made, scope), expected.size());
        std::vector<TypeID> found(random() % 3);
        auto const room = static_cast<unsigned int>(found.size());
        unsigned int const count =
            Try([&] { return Manager::SearchForType(found.data(), room, made, scope); });
        EXPECT_TRUE(count == expected.size() || (isShort && count == 0));
        expected.resize(count);
        expected.resize(room);
        EXPECT_EQ(found, expected);

        std::vector<GroupID> groups;
        for (auto const & [id, group] : model.groups)
            if (group.name == "B" && model.IsUnder(id, scope))
                groups.push_back(id);
        EXPECT_EQ(Manager::SearchForGroup(nullptr, 1, "B", scope), groups.size());
        EXPECT_EQ(Manager::SearchForGroup("B", scope), groups.empty() ? UnknownGroup : groups[0]);
    }

    std::mt19937 random;
    std::optional<Manager> managers[3];
    Model model;
    bool isShort = false;
};

} // namespace

TEST(FileTypeManager, IsACatalogueInPlainMaps) {
    for (unsigned int seed = 1; seed <= 15; ++seed) {
        SCOPED_TRACE(seed);
        Player player(seed);
        for (int step = 0; step < 120 && !testing::Test::HasFatalFailure(); ++step) {
            SCOPED_TRACE(step);
            ASSERT_NO_FATAL_FAILURE(player.Step());
            ASSERT_NO_FATAL_FAILURE(player.Compare());
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
    EXPECT_EQ(TablePeek::Check(), "");
}

TEST(FileTypeManager, RunsOutOfIdentifiers) {
    Manager manager("m");
    IdentifierCounters::SetNext(TypeID(GeneralID(0x7FFFFFFD)));
    TypeID const last = manager.AddType(FileType("a", "a", 0, 0, 0, nullptr, "a/a"), RootGroup);
    EXPECT_EQ(last, TypeID(GeneralID(0x7FFFFFFE)));
    EXPECT_EQ(manager.AddType(FileType("b"), RootGroup), UnknownType);
    IdentifierCounters::SetNext(GroupID(GeneralID(-4)));
    GroupID const group = manager.AddGroup("a", RootGroup, "b/b");
    EXPECT_EQ(group, GroupID(GeneralID(-3)));
    EXPECT_EQ(manager.AddGroup("b", RootGroup, nullptr), UnknownGroup);
    EXPECT_TRUE(TypeID(group) == UnknownType && GroupID(last) == UnknownGroup);
    EXPECT_EQ(manager.AddTypeToGroup(last, group), Mu::NoError);
    EXPECT_EQ(TablePeek::Check(), "");
    StartFileType(); // what has started stays as it is
    EXPECT_EQ(Manager::CountAllChild(RootGroup), 2);
    EndFileType();
    EXPECT_EQ(TablePeek::Check(), "");
    EXPECT_EQ(manager.AddType(FileType("b", "b", 0, 0, 0, nullptr, "a/a"), RootGroup),
              TypeID(GeneralID(1)));
}

// Cut anywhere it is nothing; one that no channel can carry is not written.
TEST(FileTypeManager, AnIdentifierIsItsNameOnTheWire) {
    Manager manager("m");
    auto const add = [&](std::string const & mime) {
        FileType type;
        type.AddSingleMime(mime.c_str());
        return manager.AddType(type, RootGroup);
    };
    std::pair<GeneralID, std::string> const rows[] = {
        {add("a/b"), std::string("\1\0\3\0\0\0a/b", 9)},
        {manager.AddGroup("g", RootGroup, "g/g"), std::string("\1\0\3\0\0\0g/g", 9)},
        {add(std::string(255, 'x')), std::string("\1\0\xFF\0\0\0", 6) + std::string(255, 'x')},
        {UnknownType, std::string("\1\0\0\0\0\0", 6)},
        {add(""), ""},
        {add(std::string(256, 'x')), ""},
        {GeneralID(4711), ""},
        {RootGroup, ""}};
    auto const read = [](std::string const & bytes) {
        IO::MemoryIChannel in(bytes.data(), static_cast<unsigned int>(bytes.size()));
        return Manager::ReadID(in, "m");
    };
    for (auto const & [id, bytes] : rows) {
        IO::MemoryOChannel out;
        EXPECT_EQ(Manager::WriteID(id, out), bytes.empty() ? Mu::Error : Mu::NoError);
        EXPECT_EQ(std::string(out.GetDestination(), out.GetDataSize()), bytes);
        for (std::size_t size = 0; size <= bytes.size(); ++size)
            EXPECT_EQ(read(bytes.substr(0, size)),
                      size == bytes.size() && size > 0 ? id : UnknownType);
    }
    for (std::string const & bad :
         {std::string("\2\0\3\0\0\0a/b", 9), std::string("\1\0\4\0\0\0a/b\0", 10),
          std::string("\1\0\0\1\0\0", 6) + std::string(256, 'x')})
        EXPECT_EQ(read(bad), UnknownType);
}

TEST(FileTypeManager, LoadsTheBuiltInTypesOnce) {
    Manager manager("m");
    LoadFTMDefaults(&manager);
    EXPECT_EQ(Manager::SearchForMime("image/bmp", nullptr), BMPFileType);
    EXPECT_EQ(Manager::CountTypeChild(ImageGroup), 5);
    EXPECT_EQ(Manager::CountTypeChild(DocumentGroup), 3);
    std::ostringstream all;
    for (TypeID const id : {TextFileType, TIFFFileType, JPEGFileType, BMPFileType, EMFFileType,
                            WMFFileType, HTMFileType, PDFFileType}) {
        FileType type;
        EXPECT_EQ(Manager::GetType(id, &type), Mu::NoError);
        all << type.GetDescription() << type.GetMime(0) << type.GetMacCreator()
            << type.GetMacType(0) << type.GetIconID() << type.GetExtension(0)
            << PlainType(type).extensions.back();
    }
    EXPECT_EQ(TablePeek::GetHash(all.str()), 1511975021u) << all.str();
    LoadFTMDefaults(&manager);
    EXPECT_EQ(TextFileType, UnknownType);
    LoadFTMDefaults(nullptr);
}
