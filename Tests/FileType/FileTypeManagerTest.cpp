#include <Kestrel/FileType/FileTypeManager.h>

#include "Tests/FileType/TablePeek.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/FileType/Defaults.h>
#include <Kestrel/FileType/Internal/IdentifierCounters.h>

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

namespace {

FileType Typed(char const * extensions, char const * mime, unsigned int code = 0) {
    return FileType("a type", extensions, 0, code, -1, nullptr, mime, true);
}

/// The catalogue in plain maps.
struct Model {
    struct Type {
        unsigned int owner;
        std::set<std::string> extensions;
        std::vector<unsigned int> codes;
        std::vector<std::string> mimes;
        bool isHidden = false;
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
    std::vector<std::pair<GeneralID, unsigned int>> Named(std::string const & mime) const {
        std::vector<std::pair<GeneralID, unsigned int>> all;
        for (auto const & [id, type] : types)
            if (std::count(type.mimes.begin(), type.mimes.end(), mime) > 0)
                all.emplace_back(id, type.owner);
        for (auto const & [id, group] : groups)
            if (group.mime == mime && !mime.empty())
                all.emplace_back(id, group.owner);
        return all;
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
        auto const isOwned = [&](auto const & each) { return each.second.owner == owner; };
        for (auto each = groups.begin(); each != groups.end();
             each = std::find_if(groups.begin(), groups.end(), isOwned))
            if (isOwned(*each))
                RemoveGroup(each->first);
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
        switch (random() % 12) {
        case 0:
        case 1:
        case 2: return AddType(who);
        case 3:
        case 4: return AddGroup(who);
        case 5:
        case 6: return Link();
        case 7: return RemoveType(who);
        case 8: return RemoveGroup(who);
        case 9: return Reinsert(who);
        case 10: return Unlink();
        default:
            if (random() % 6 != 0)
                return Hide();
            managers[who].emplace(ids[who]); // ends the old one
            model.RemoveOwned(who);
        }
    }

    void Compare() {
        ASSERT_EQ(TablePeek::Check(), "");
        for (auto const & [id, type] : model.types)
            CompareType(id, type);
        for (auto const & [id, group] : model.groups)
            CompareGroup(id, group);
        CompareWalks(RootGroup);
        for (char const * mime : mimes)
            CompareName(mime);
        CompareSearches();
        EXPECT_EQ(Manager::GetType(DrawUnknown(), nullptr), ErrTypeNotFound);
    }

private:
    static constexpr char const * ids[] = {"first", "second", "third"};
    static constexpr char const * mimes[] = {"a/a", "a/b", "b/b", "c/c", "c/d", "d/d", ""};
    static constexpr char const * extensions[] = {"a", "bb", "jpeg", "jpegx", "jpegy", "ccc"};

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
    template <typename T>
    T const & Draw(T const (&from)[6]) {
        return from[random() % 6];
    }

    Model::Type DrawContents(unsigned int owner) {
        Model::Type type{owner, {}, {}, {}};
        for (unsigned int i = random() % 4; i > 0; --i)
            type.extensions.insert(extensions[random() % std::size(extensions)]);
        for (unsigned int code = 1; code < 4; ++code)
            if (random() % 3 == 0)
                type.codes.push_back(code);
        for (unsigned int i = random() % 3; i > 0; --i) {
            std::string const mime = mimes[random() % (std::size(mimes) - 1)];
            if (std::count(type.mimes.begin(), type.mimes.end(), mime) == 0)
                type.mimes.push_back(mime);
        }
        return type;
    }
    static FileType Make(Model::Type const & from) {
        FileType type;
        for (std::string const & extension : from.extensions)
            type.AddSingleExtension(extension.c_str(), true);
        for (unsigned int const code : from.codes)
            type.AddMacType(code);
        for (std::string const & mime : from.mimes)
            type.AddSingleMime(mime.c_str());
        return type;
    }

    void AddType(unsigned int who) {
        Model::Type const type = DrawContents(who);
        GroupID const group = DrawGroup();
        bool const isTaken =
            !model.types.empty() &&
            std::any_of(type.mimes.begin(), type.mimes.end(),
                        [&](std::string const & mime) { return !model.Named(mime).empty(); });
        bool const works = model.IsKnown(group) && !isTaken;
        TypeID const id = managers[who]->AddType(Make(type), group);
        ASSERT_EQ(id != UnknownType, works);
        if (!works)
            return;
        unsigned int raw;
        id.Store(raw);
        unsigned int last = 0;
        if (!model.types.empty())
            model.types.rbegin()->first.Store(last);
        ASSERT_EQ(raw, last + 1) << "the counter goes back to the highest one left";
        model.types[id] = type;
        if (group != RootGroup)
            model.links.emplace(id, group);
    }

    void AddGroup(unsigned int who) {
        GroupID const parent = DrawGroup();
        std::string const name(1, static_cast<char>('A' + random() % 4));
        std::string const mime = random() % 2 == 0 ? mimes[random() % std::size(mimes)] : "";
        bool const isTaken = !mime.empty() && !model.groups.empty() && !model.Named(mime).empty();
        GroupID const id = managers[who]->AddGroup(name.c_str(), parent, mime.c_str());
        ASSERT_EQ(id != UnknownGroup, model.IsKnown(parent) && !isTaken);
        if (id != UnknownGroup)
            model.groups[id] = {who, name, mime, parent};
    }

    void Link() {
        TypeID const type = DrawType();
        GroupID const group = DrawGroup();
        MuErrCode const expected = model.types.count(type) == 0 ? ErrTypeNotFound
                                   : !model.IsKnown(group)      ? ErrGroupNotFound
                                                                : Mu::NoError;
        ASSERT_EQ(managers[0]->AddTypeToGroup(type, group), expected);
        if (expected == Mu::NoError && !model.IsIn(type, group))
            model.links.emplace(type, group);
    }

    void Unlink() {
        TypeID const type = DrawType();
        GroupID const group = DrawGroup();
        auto const [from, to] = model.links.equal_range(type);
        auto const link = std::find_if(from, to, [&](auto const & l) { return l.second == group; });
        MuErrCode const status = managers[0]->RemoveTypeFromGroup(type, group);
        if (link != to) {
            ASSERT_EQ(status, Mu::NoError);
            model.links.erase(link);
        } else {
            ASSERT_TRUE(status == ErrTypeNotFound || (from != to && status == ErrGroupNotFound));
        }
    }

    void RemoveType(unsigned int who) {
        TypeID const id = DrawType();
        auto const found = model.types.find(id);
        MuErrCode const expected = found == model.types.end()   ? ErrTypeNotFound
                                   : found->second.owner != who ? ErrForeignRecord
                                                                : Mu::NoError;
        ASSERT_EQ(managers[who]->RemoveType(id), expected);
        if (expected != Mu::NoError)
            return;
        model.types.erase(id);
        model.links.erase(id);
    }

    void RemoveGroup(unsigned int who) {
        GroupID const id = DrawGroup();
        auto const found = model.groups.find(id);
        MuErrCode const expected = found == model.groups.end()  ? ErrGroupNotFound
                                   : found->second.owner != who ? ErrForeignRecord
                                                                : Mu::NoError;
        ASSERT_EQ(managers[who]->RenameGroup(id, "a longer name than usual"), expected);
        if (expected == Mu::NoError)
            found->second.name = "a longer name than usual";
        if (random() % 2 == 0)
            return;
        ASSERT_EQ(managers[who]->RemoveGroup(id), expected);
        if (expected == Mu::NoError)
            model.RemoveGroup(id);
    }

    void Reinsert(unsigned int who) {
        TypeID const id = DrawType();
        Model::Type const type = DrawContents(who);
        auto const found = model.types.find(id);
        MuErrCode expected = found == model.types.end()   ? ErrTypeNotFound
                             : found->second.owner != who ? ErrForeignRecord
                                                          : Mu::NoError;
        for (std::string const & mime : type.mimes)
            if (expected == Mu::NoError && !model.Named(mime).empty() &&
                std::count(found->second.mimes.begin(), found->second.mimes.end(), mime) == 0)
                expected = Mu::Error;
        ASSERT_EQ(managers[who]->ReinsertType(id, Make(type)), expected);
        if (expected == Mu::NoError)
            found->second = type;
    }

    void Hide() {
        TypeID const id = DrawType();
        bool const isHidden = random() % 2 == 0;
        auto const found = model.types.find(id);
        ASSERT_EQ(Manager::SetModeFileType(id, isHidden), found != model.types.end());
        if (found != model.types.end())
            found->second.isHidden = isHidden;
    }

    void CompareType(TypeID id, Model::Type const & expected) {
        FileType type;
        ASSERT_EQ(Manager::GetType(id, &type), Mu::NoError);
        std::set<std::string> stored;
        for (unsigned int i = 0; char const * const text = type.GetExtension(i); ++i)
            stored.insert(text);
        EXPECT_EQ(stored, expected.extensions);
        EXPECT_EQ(type.CountMimeTypes(), static_cast<int>(expected.mimes.size()));
        EXPECT_EQ(type.CountMacTypes(), static_cast<int>(expected.codes.size()));
        EXPECT_EQ(Manager::IsHideFileType(id), expected.isHidden);
        EXPECT_EQ(Manager::GetManager(id), &*managers[expected.owner]);
        EXPECT_STREQ(Manager::GetManagerId(id), ids[expected.owner]);
        for (auto const & [group, unused] : model.groups)
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
        EXPECT_EQ(parents, linked.empty() ? std::set<GroupID>{RootGroup} : linked);
        EXPECT_EQ(Manager::CountParent(id), count);
    }

    void CompareGroup(GroupID id, Model::Group const & expected) {
        char text[40];
        EXPECT_EQ(Manager::GetGroupName(id, text, sizeof text), expected.name.size());
        EXPECT_EQ(text, expected.name);
        EXPECT_EQ(Manager::GetGroupMime(id, text, 3), expected.mime.size());
        EXPECT_EQ(text, expected.mime.substr(0, 2));
        EXPECT_EQ(Manager::GetParent(id), expected.parent);
        EXPECT_FALSE(Manager::IsGroupInGroup(id, id));
        CompareWalks(id);
    }

    void CompareWalks(GroupID group) {
        std::set<GroupID> children;
        for (GroupID each = Manager::GetFirstGroupChild(group); each != UnknownGroup;
             each = Manager::GetNextGroup(each))
            ASSERT_TRUE(children.insert(each).second);
        std::set<GroupID> expectedChildren;
        int deepGroups = 0;
        for (auto const & [id, each] : model.groups) {
            if (each.parent == group)
                expectedChildren.insert(id);
            deepGroups += model.IsUnder(id, group) ? 1 : 0;
        }
        EXPECT_EQ(children, expectedChildren);
        EXPECT_EQ(Manager::CountGroupChild(group), static_cast<int>(children.size()));

        std::set<TypeID> types;
        for (TypeID each = Manager::GetFirstTypeChild(group); each != UnknownType;
             each = Manager::GetNextType(group, each))
            ASSERT_TRUE(types.insert(each).second);
        std::set<TypeID> expectedTypes;
        std::vector<TypeID> deep;
        int links = 0;
        std::set<std::string> deepExtensions;
        for (auto const & [id, type] : model.types) {
            if (group == RootGroup && model.links.count(id) == 0)
                expectedTypes.insert(id);
            if (model.IsIn(id, group)) {
                deep.push_back(id);
                deepExtensions.insert(type.extensions.begin(), type.extensions.end());
            }
        }
        for (auto const & link : model.links)
            if (link.second == group) {
                expectedTypes.insert(link.first);
                ++links;
            }
        EXPECT_EQ(types, expectedTypes);
        EXPECT_EQ(Manager::CountTypeChild(group),
                  group == RootGroup ? static_cast<int>(types.size()) : links);
        std::vector<TypeID> list(deep.size() + 1);
        EXPECT_EQ(Manager::GetAllTypeChildList(group, list.data(), static_cast<int>(list.size())),
                  static_cast<int>(deep.size()));
        deep.push_back(UnknownType);
        EXPECT_EQ(list, deep);
        EXPECT_EQ(Manager::CountAllChild(group), static_cast<int>(deep.size()) - 1 + deepGroups);
        for (auto const count : {Manager::CountAllTypeChild, Manager::CountTypeChild,
                                 Manager::CountGroupChild, Manager::CountAllChild})
            EXPECT_EQ(count(UnknownGroup), ErrGroupNotFound);

        std::string all(Manager::GetGroupExtensionList(group, nullptr, 0), 'x');
        Manager::GetGroupExtensionList(group, all.data(),
                                       static_cast<unsigned int>(all.size()) + 1);
        std::multiset<std::string> listed;
        std::istringstream each(all);
        for (std::string extension; std::getline(each, extension, ';');)
            listed.insert(extension);
        EXPECT_EQ(listed, std::multiset<std::string>(deepExtensions.begin(), deepExtensions.end()));
    }

    void CompareName(std::string const & mime) {
        auto const named = model.Named(mime);
        EXPECT_EQ(managers[0]->CheckMimeExists(mime.c_str()), !named.empty());
        GeneralID const any = named.size() == 1 ? named[0].first : GeneralID(UnknownType);
        EXPECT_EQ(Manager::SearchForMime(mime.c_str(), nullptr), any);
        for (unsigned int who = 0; who < std::size(managers); ++who) {
            auto const isHis = [&](auto const & each) { return each.second == who; };
            auto const count = std::count_if(named.begin(), named.end(), isHis);
            GeneralID const found = Manager::SearchForMime(mime.c_str(), ids[who]);
            EXPECT_EQ(found, managers[who]->SearchForMime(mime.c_str()));
            EXPECT_EQ(Manager::IsMimeRegistered(mime.c_str(), ids[who]), count > 0);
            if (count == 1) {
                EXPECT_EQ(found, std::find_if(named.begin(), named.end(), isHis)->first);
            }
        }
    }

    void CompareSearches() {
        Model::Type const pattern = DrawContents(0);
        GroupID const scope = DrawGroup();
        std::vector<TypeID> expected;
        bool const isEmpty =
            pattern.extensions.empty() && pattern.codes.empty() && pattern.mimes.empty();
        for (auto const & [id, type] : model.types) {
            bool fits = model.IsIn(id, scope) && !(isEmpty && scope == RootGroup);
            fits = fits && std::includes(type.extensions.begin(), type.extensions.end(),
                                         pattern.extensions.begin(), pattern.extensions.end());
            if (!pattern.codes.empty())
                fits =
                    fits && std::count(type.codes.begin(), type.codes.end(), pattern.codes[0]) > 0;
            if (!pattern.mimes.empty())
                fits = fits && !type.mimes.empty() && type.mimes[0] == pattern.mimes[0];
            if (fits)
                expected.push_back(id);
        }
        std::vector<TypeID> found(model.types.size() + 1);
        unsigned int const count = Manager::SearchForType(
            found.data(), static_cast<unsigned int>(found.size()), Make(pattern), scope);
        ASSERT_EQ(count, expected.size());
        EXPECT_EQ(Manager::SearchForType(Make(pattern), scope),
                  expected.empty() ? UnknownType : expected[0]);
        expected.resize(found.size());
        EXPECT_EQ(found, expected);

        std::vector<GroupID> groups;
        for (auto const & [id, group] : model.groups)
            if (group.name == "B" && model.IsUnder(id, scope))
                groups.push_back(id);
        GroupID list[2];
        EXPECT_EQ(Manager::SearchForGroup(list, 2, "B", scope), groups.size());
        groups.resize(2);
        EXPECT_EQ(list[0], groups[0]);
        EXPECT_EQ(list[1], groups[1]);
    }

    std::mt19937 random;
    std::optional<Manager> managers[3];
    Model model;
};

} // namespace

TEST(FileTypeManager, IsACatalogueInPlainMaps) {
    for (unsigned int seed = 1; seed <= 5; ++seed) {
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
    EXPECT_EQ(manager.AddType(Typed("a", nullptr), RootGroup), TypeID(GeneralID(0x7FFFFFFE)));
    EXPECT_EQ(manager.AddType(Typed("b", nullptr), RootGroup), UnknownType);
    IdentifierCounters::SetNext(GroupID(GeneralID(-4)));
    EXPECT_EQ(manager.AddGroup("a", RootGroup, nullptr), GroupID(GeneralID(-3)));
    EXPECT_EQ(manager.AddGroup("b", RootGroup, nullptr), UnknownGroup);
    EXPECT_EQ(TablePeek::Check(), "");
}

TEST(FileTypeManager, AnIdentifierIsItsNameOnTheWire) {
    Manager manager("m");
    TypeID const type = manager.AddType(Typed("a", "a/b;c/d"), RootGroup);
    GroupID const group = manager.AddGroup("g", RootGroup, "g/g");
    TypeID const bare = manager.AddType(Typed("a", nullptr), RootGroup);
    struct {
        GeneralID id;
        std::string bytes;
    } const rows[] = {{type, std::string("\1\0\3\0\0\0a/b", 9)},
                      {group, std::string("\1\0\3\0\0\0g/g", 9)},
                      {UnknownType, std::string("\1\0\0\0\0\0", 6)}};
    for (auto const & row : rows) {
        IO::MemoryOChannel out;
        EXPECT_EQ(Manager::WriteID(row.id, out), Mu::NoError);
        EXPECT_EQ(std::string(out.GetDestination(), out.GetDataSize()), row.bytes);
        IO::MemoryIChannel in(row.bytes.data(), static_cast<unsigned int>(row.bytes.size()));
        EXPECT_EQ(Manager::ReadID(in, "m"), row.id);
    }
    for (GeneralID const id : {GeneralID(bare), GeneralID(4711), GeneralID(RootGroup)}) {
        IO::MemoryOChannel out;
        EXPECT_EQ(Manager::WriteID(id, out), Mu::Error);
        EXPECT_EQ(out.GetDataSize(), 0u);
    }
    for (std::string const & bad :
         {std::string("\2\0\3\0\0\0a/b", 9), std::string("\1\0\4\0\0\0a/b\0", 10),
          std::string("\1\0\0\1\0\0a/b", 9), std::string("\1\0\3\0\0\0a/", 8)}) {
        IO::MemoryIChannel in(bad.data(), static_cast<unsigned int>(bad.size()));
        EXPECT_EQ(Manager::ReadID(in, nullptr), UnknownType);
    }
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
        all << type.GetDescription() << ' ' << type.GetExtension(0) << ' ' << type.GetMime(0) << ' '
            << std::hex << type.GetMacCreator() << ' ' << type.GetMacType(0) << ' ' << std::dec
            << type.GetIconID() << '\n';
    }
    EXPECT_EQ(all.str(), "Text File txt text/plain 4d55504d 54455854 -1\n"
                         "TIFF File tif image/tiff 4d55504d 54494646 206\n"
                         "JPEG File jpg image/jpeg 4d55504d 4a504547 207\n"
                         "Bitmap File bmp image/bmp 4d55504d 50494354 -1\n"
                         "Windows Enhanced Metafile emf image/emf 3f213f21 50494354 -1\n"
                         "Windows Metafile wmf image/wmf 3f213f21 50494354 -1\n"
                         "HTML File htm text/html 20202020 48544d4c -1\n"
                         "PDF File pdf application/pdf 20202020 50444620 -1\n");
    GroupID const images = ImageGroup;
    Manager second("n");
    LoadFTMDefaults(&second);
    EXPECT_EQ(TextFileType, UnknownType);
    EXPECT_NE(ImageGroup, images);
    EXPECT_EQ(Manager::SearchForGroup("Images", RootGroup), images);
    LoadFTMDefaults(nullptr);
}
