#include <Kestrel/FileType/SharedMimeTypes.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Internal/Absence.h>
#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/Internal/BulkAdding.h>
#include <Kestrel/FileType/Internal/ContentRuleSlots.h>
#include <Kestrel/FileType/Internal/ExtensionKey.h>
#include <Kestrel/FileType/Internal/SharedMimeFiles.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Errors/Exceptions.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace FTM {

namespace {

using Reason = SharedMimeResult::Reason;

// Above what any machine has, and small enough that no file of a catalogue can exhaust the memory
// or make queries about files slow.
constexpr unsigned int MostFileBytes = 4 << 20;
constexpr unsigned int MostTypes = 5000;
constexpr unsigned int MostAliases = 50000;
constexpr unsigned int MostTexts = 250; // extensions, names or parents of one type
constexpr unsigned int MostDepth = 16;

/// A missing file counts as empty where that is no failure.
MuErrCode ReadWholeFile(IO::Location const & folder, char const * name, bool mayBeMissing,
                        Mu::String & content) {
    IO::Location const location(folder, IO::Name(name));
    IO::File file(location,
                  mayBeMissing ? IO::File::OnNotFound::FailQuietly : IO::File::OnNotFound::Report);
    if (mayBeMissing && file.GetStatus() == IO::ErrFileNotFound)
        return IO::IsCertainlyAbsent(location) ? Mu::NoError : Mu::Error;
    MuErrCode status = file.Open(IO::File::OpenMode::ReadOnlySharedToReadWrite);
    unsigned long long length = 0;
    if (status == Mu::NoError)
        status = file.GetDataLength(&length);
    if (status != Mu::NoError || length == 0)
        return status;
    if (length > MostFileBytes)
        return Mu::Error;
    content.SetLength(static_cast<unsigned int>(length));
    unsigned int read = 0;
    status = file.ReadBin(&content[0], content.GetLength(), &read);
    content.SetLength(read);
    return status == Mu::EOI ? Mu::NoError : status; // it has been truncated meanwhile
}

/// Lines that belong together, in the order in which they were appended, by their indices: the last
/// of them, whose `next` is the first.
struct Chain {
    static constexpr unsigned int None = ~0u;

    unsigned int last = None;
};

/// Appends the line to `lines` and to the chain.
template <typename Line>
void Append(Chain & chain, Mu::Array<Line> & lines, Line line) {
    unsigned int const index = lines.GetSize();
    line.next = chain.last == Chain::None ? index : lines[chain.last].next;
    lines.Push(line);
    if (chain.last != Chain::None)
        lines[chain.last].next = index;
    chain.last = index;
}

template <typename Line, typename Visit>
void ForEach(Chain const & chain, Mu::Array<Line> const & lines, Visit const & visit) {
    for (unsigned int i = chain.last; i != Chain::None;) {
        i = lines[i].next;
        visit(lines[i]);
        if (i == chain.last)
            return;
    }
}

/// A name in a file, zero-terminated, for which IsMimeName holds.
struct Name {
    Name() = default;
    explicit Name(std::string_view name)
        : text(name.data()), length(static_cast<unsigned char>(name.size())) {}

    std::string_view Get() const { return {text, length}; }

    char const * text = nullptr;
    unsigned char length = 0;
};

/// The data of a type until it is added. A catalogue has many types: the texts are zero-terminated
/// ones in the files, and the rest is referenced by indices.
struct SharedType {
    Name name;
    Chain extensions;
    Chain sections;
    Chain aliases;
    Chain parents;
    GroupID group; // of its subclasses, if it has any
    TypeID id;
    unsigned char parentCount = 0;
    bool isParent = false;

    char const * GetMime() const { return name.text; }
};

struct Extension {
    char const * text; // in lower case
    unsigned char length;
    unsigned int weight;
    unsigned int next = 0;
};

struct Section {
    ContentRules::Test test;
    unsigned int next = 0;
};

struct Alias {
    Name name;
    unsigned int next = 0;
};

struct Parent {
    unsigned int type;
    unsigned int next = 0;
};

/// Numbers by names, which are stored elsewhere.
class NameIndex {
public:
    static constexpr unsigned int None = ~0u;

    explicit NameIndex(unsigned int slotCount) { slots.SetSize(slotCount); } // a power of two

    /// The slot of the name's number; `getName` returns the name of a number. Without a number the
    /// slot holds None.
    template <typename GetName>
    unsigned int & Find(std::string_view name, GetName const & getName) {
        unsigned int const mask = slots.GetSize() - 1;
        auto at = static_cast<unsigned int>(Hash(name)) & mask;
        while (slots[at].number != None && getName(slots[at].number) != name)
            at = (at + 1) & mask;
        return slots[at].number;
    }

    /// Grows the index if `count` names would fill it up.
    template <typename GetName>
    void MakeRoom(unsigned int count, GetName const & getName) {
        if (count < slots.GetSize() / 4 * 3)
            return;
        Mu::Array<Slot> old;
        old.SetSize(2 * slots.GetSize());
        std::swap(old, slots);
        for (Slot const & slot : old)
            if (slot.number != None)
                Find(getName(slot.number), getName) = slot.number;
    }

private:
    struct Slot {
        unsigned int number = None;
    };

    /// Eight bytes at a time. Starts with an address, which the author of a catalogue cannot know.
    unsigned long long Hash(std::string_view name) const {
        unsigned long long hash = reinterpret_cast<std::uintptr_t>(slots.GetData()) + name.size();
        auto const add = [&](char const * from, std::size_t count) {
            unsigned long long bytes = 0;
            std::memcpy(&bytes, from, count);
            hash = (hash ^ bytes) * 0x9E3779B97F4A7C15;
            hash ^= hash >> 32;
        };
        std::size_t at = 0;
        for (; name.size() - at >= 8; at += 8)
            add(name.data() + at, 8);
        if (name.size() >= 8)
            add(name.data() + name.size() - 8, 8); // overlapping the bytes before
        else
            add(name.data(), name.size());
        return hash;
    }

    Mu::Array<Slot> slots;
};

/// Builds a catalogue in memory, and then adds it.
class Loader {
public:
    Loader(FileTypeManager & manager, SharedMimeResult & result)
        : manager(manager), result(result) {}

    MuErrCode Read(IO::Location const & folder) {
        static constexpr char const * names[] = {"globs2", "aliases", "subclasses", "icons"};
        for (unsigned int i = 0; i < std::size(names); ++i)
            if (MuErrCode const status = ReadWholeFile(folder, names[i], i > 0, files[i]);
                status != Mu::NoError)
                return status;
        if (MuErrCode const status = ReadWholeFile(folder, "magic", true, magic->text);
            status != Mu::NoError)
            return status;
        // Upper bounds for well-formed files; unused capacity costs nothing.
        auto const guess = [](Mu::String const & text) {
            return std::min(text.GetLength() / 16, 1u << 14);
        };
        types.SetCapacity(std::min(guess(files[0]), MostTypes));
        extensions.SetCapacity(guess(files[0]));
        magic->rules.SetCapacity(guess(magic->text));
        return ReadGlobs() && ReadMagic() && ReadAliases() && ReadSubclasses() && ReadIcons()
                   ? Mu::NoError
                   : Mu::Error;
    }

    MuErrCode Add() {
        // Frees what is no longer referenced, to make room for the rest.
        files[2].Clear();
        files[3].Clear();
        index = NameIndex(0);
        BulkAdding bulk;
        hasOthers = bulk.HadNames();
        if (!bulk.MakeRoom(types.GetSize(), extensions.GetSize(),
                           types.GetSize() + aliases.GetSize(),
                           types.GetSize() + parents.GetSize()))
            return Mu::ErrMemoryFull;
        for (SharedType & type : types)
            if (MuErrCode const status = AddOne(type); status != Mu::NoError)
                return status;
        return Mu::NoError;
    }

    void TakeBack() {
        for (unsigned int i = types.GetSize(); i-- > 0;)
            if (types[i].id != UnknownType)
                manager.RemoveType(types[i].id);
        for (unsigned int i = groups.GetSize(); i-- > 0;)
            manager.RemoveGroup(groups[i]);
        result.typeCount = result.groupCount = result.testCount = 0;
    }

private:
    static constexpr unsigned int FirstAlias = MostTypes + 1; // the numbers of aliases

    struct MediaGroup {
        std::string_view name;
        GroupID id;
    };

    /// Drops the use of the creator.
    struct DropRules {
        void operator()(ContentRules * rules) const {
            BulkAdding const locked;
            ContentRules::Drop(rules);
        }
    };

    /// Keeps a use of a test until a record has one.
    struct TestHold {
        ~TestHold() { ContentRuleSlots::Drop(test); }
        ContentTest * test;
    };

    using Texts = Mu::ArrayFB<std::string_view, 16>;

    void LeaveOut(Reason reason, std::string_view mime, std::string_view text) {
        auto const make = [](std::string_view from) {
            return Mu::String(from.data(), static_cast<unsigned int>(from.size()));
        };
        result.leftOut.Push({reason, make(mime), make(text)});
    }

    std::string_view GetName(unsigned int number) const {
        Name const & name =
            number < FirstAlias ? types[number].name : aliases[number - FirstAlias].name;
        return name.Get();
    }

    unsigned int & FindName(std::string_view name) {
        return index.Find(name, [&](unsigned int number) { return GetName(number); });
    }

    void AddName(unsigned int & place, unsigned int number) {
        place = number;
        index.MakeRoom(types.GetSize() + aliases.GetSize(),
                       [&](unsigned int each) { return GetName(each); });
    }

    SharedType * Find(std::string_view mime) {
        unsigned int const found = FindName(mime);
        return found < types.GetSize() ? &types[found] : nullptr;
    }

    /// The type with this name, which may be a new one. Null: the name is invalid, or one too many.
    SharedType * Make(std::string_view mime) {
        unsigned int & found = FindName(mime);
        if (found != NameIndex::None)
            return &types[found];
        if (types.GetSize() == MostTypes || !IsMimeName(mime))
            return nullptr;
        SharedType & type = types.Emplace();
        type.name = Name(mime);
        AddName(found, types.GetSize() - 1);
        return &type;
    }

    bool ReadGlobs() {
        SharedMimeLines lines(files[0]);
        for (SharedMimeGlob glob; lines.ReadGlob(&glob);) {
            SharedType * const type = Make(glob.mime);
            if (type == nullptr || !TakeGlob(glob, *type))
                return false;
        }
        return lines.IsGood();
    }

    /// False: the pattern is invalid.
    bool TakeGlob(SharedMimeGlob const & glob, SharedType & type) {
        std::string_view const pattern = glob.pattern;
        std::string_view const extension = pattern.substr(std::min<std::size_t>(2, pattern.size()));
        bool isPlain = pattern.substr(0, 2) == "*." && !extension.empty() &&
                       extension.size() <= FileType::MaxPiece;
        bool hasPoint = false;
        for (char const c : extension) {
            if (c == 0)
                return false;
            isPlain &= c != '*' && c != '?' && c != '[' && c != ';';
            hasPoint |= c == '.';
        }
        if (!isPlain)
            LeaveOut(pattern.find_first_of("*?[") == std::string_view::npos ? Reason::Literal
                                                                            : Reason::Pattern,
                     glob.mime, pattern);
        else if (hasPoint)
            LeaveOut(Reason::Compound, glob.mime, pattern);
        else
            TakeExtension(glob, extension, type);
        return pattern.substr(0, 2).find('\0') == std::string_view::npos;
    }

    void TakeExtension(SharedMimeGlob const & glob, std::string_view extension, SharedType & type) {
        if (glob.respectsCase) {
            LeaveOut(Reason::CaseSensitive, glob.mime, glob.pattern);
            if (std::any_of(extension.begin(), extension.end(),
                            [](char c) { return c >= 'A' && c <= 'Z'; }))
                return; // it would match files with the extension in lower case
        }
        LowerCase(const_cast<char *>(extension.data())); // in the file's text, which is ours
        Append(
            type.extensions, extensions,
            Extension{extension.data(), static_cast<unsigned char>(extension.size()), glob.weight});
    }

    bool ReadMagic() {
        SharedMimeMagic reader(*magic);
        std::string_view mime;
        for (ContentRules::Test test; reader.ReadSection(&mime, &test);) {
            SharedType * const type = test.ruleCount > 0 ? Make(mime) : nullptr;
            if (type == nullptr && (test.ruleCount > 0 || !IsMimeName(mime)))
                return false;
            if (type != nullptr)
                Append(type->sections, sections, Section{test});
        }
        return reader.IsGood();
    }

    bool ReadAliases() {
        SharedMimeLines lines(files[1]);
        for (std::string_view name, mime; lines.ReadPair(' ', &name, &mime);) {
            SharedType * const type = Find(mime);
            if (type == nullptr) {
                LeaveOut(Reason::Unreachable, mime, name);
                continue;
            }
            unsigned int & found = FindName(name);
            if (found != NameIndex::None) {
                LeaveOut(Reason::Name, mime, name);
                continue;
            }
            if (aliases.GetSize() == MostAliases)
                return false;
            Append(type->aliases, aliases, Alias{Name(name)});
            AddName(found, FirstAlias + aliases.GetSize() - 1);
        }
        return lines.IsGood();
    }

    // Collects the parents of each type, and marks the types that are parents.
    bool ReadSubclasses() {
        SharedMimeLines lines(files[2]);
        for (std::string_view mime, name; lines.ReadPair(' ', &mime, &name);) {
            SharedType * const type = Find(mime);
            SharedType * const parent = Find(name);
            if (type == nullptr || parent == nullptr) {
                LeaveOut(Reason::Unreachable, mime, name);
                continue;
            }
            if (type->parentCount == MostTexts) {
                LeaveOut(Reason::TooMany, mime, name);
                continue;
            }
            ++type->parentCount;
            Append(type->parents, parents,
                   Parent{static_cast<unsigned int>(parent - types.GetData())});
            parent->isParent = true;
        }
        return lines.IsGood();
    }

    bool ReadIcons() {
        SharedMimeLines lines(files[3]);
        for (std::string_view mime, icon; lines.ReadPair(':', &mime, &icon);)
            LeaveOut(Reason::Icon, mime, icon);
        return lines.IsGood();
    }

    SharedType * GetFirstParent(SharedType const & type) {
        return type.parents.last == Chain::None
                   ? nullptr
                   : &types[parents[parents[type.parents.last].next].type];
    }

    // Groups are created when the first type needs them.

    GroupID AddGroup(char const * name, GroupID parent) {
        GroupID & group = groups.Emplace();
        group = manager.AddGroup(name, parent, nullptr);
        if (group == UnknownGroup) {
            groups.DeleteLast();
            Mu::ThrowOutOfMemory();
        }
        ++result.groupCount;
        return group;
    }

    GroupID GetMediaGroup(std::string_view mime) {
        auto const isOf = [&](MediaGroup const & group) {
            return mime.starts_with(group.name) && mime[group.name.size()] == '/';
        };
        if (lastMedia < mediaGroups.GetSize() && isOf(mediaGroups[lastMedia]))
            return mediaGroups[lastMedia].id;
        for (lastMedia = 0; lastMedia < mediaGroups.GetSize(); ++lastMedia)
            if (isOf(mediaGroups[lastMedia]))
                return mediaGroups[lastMedia].id;
        std::string_view const name = mime.substr(0, mime.find('/'));
        Mu::String const text(name.data(), static_cast<unsigned int>(name.size()));
        return mediaGroups.Emplace(MediaGroup{name, AddGroup(text.ToCStr(), RootGroup)}).id;
    }

    /// The group of a type with subclasses: below that of its own first parent.
    GroupID GetGroup(SharedType & type) {
        if (type.group != UnknownGroup)
            return type.group;
        Mu::ArrayFB<SharedType *, MostDepth> chain;
        SharedType * top = &type;
        while (top != nullptr && top->group == UnknownGroup) {
            if (chain.Contains(top) || chain.GetSize() == MostDepth) {
                LeaveOut(Reason::Circle, chain.GetLast()->GetMime(), top->GetMime());
                top = nullptr;
                break;
            }
            chain.Push(top);
            top = GetFirstParent(*top);
        }
        GroupID group = top == nullptr ? GetMediaGroup(chain.GetLast()->GetMime()) : top->group;
        for (; !chain.IsEmpty(); chain.DeleteLast())
            group = chain.GetLast()->group = AddGroup(chain.GetLast()->GetMime(), group);
        return group;
    }

    // Adding.

    MuErrCode AddOne(SharedType & type) {
        if (hasOthers && manager.CheckMimeExists(type.GetMime())) {
            LeaveOut(Reason::Name, type.GetMime(), type.GetMime());
            return Mu::NoError;
        }
        TestHold hold{MakeTest(type)};
        Texts texts;
        ForEach(type.extensions, extensions,
                [&](Extension const & each) { AddExtension(type, each, texts); });
        Texts names;
        names.Push(type.name.Get());
        ForEach(type.aliases, aliases,
                [&](Alias const & each) { AddAlias(type, each.name.Get(), names); });

        SharedType * const home = type.isParent ? &type : GetFirstParent(type);
        GroupID const media = GetMediaGroup(type.name.Get());
        GroupID const group = home != nullptr ? GetGroup(*home) : media;
        type.id = BulkAdding::Add(manager, {type.name.Get(), texts, names, hold.test}, group);
        if (type.id == UnknownType)
            return Mu::ErrMemoryFull;
        ++result.typeCount;
        result.testCount += std::exchange(hold.test, nullptr) != nullptr ? 1 : 0;
        auto const link = [&](GroupID other) {
            if (other != group && !BulkAdding::Link(type.id, other))
                Mu::ThrowOutOfMemory();
        };
        ForEach(type.parents, parents,
                [&](Parent const & each) { link(GetGroup(types[each.type])); });
        link(media);
        return Mu::NoError;
    }

    void AddExtension(SharedType const & type, Extension const & extension, Texts & texts) {
        static constexpr unsigned int UsualWeight = 50;
        std::string_view const text(extension.text, extension.length);
        if (texts.GetSize() == MostTexts) {
            LeaveOut(Reason::TooMany, type.GetMime(), text);
            return;
        }
        if (!texts.Contains(text))
            texts.Push(text);
        if (extension.weight != UsualWeight) {
            char number[16];
            auto const end = std::to_chars(number, std::end(number), extension.weight).ptr;
            LeaveOut(Reason::Weight, type.GetMime(),
                     {number, static_cast<std::size_t>(end - number)});
        }
    }

    void AddAlias(SharedType const & type, std::string_view alias, Texts & names) {
        if (hasOthers && manager.CheckMimeExists(alias.data()))
            LeaveOut(Reason::Name, type.GetMime(), alias);
        else if (names.GetSize() == MostTexts)
            LeaveOut(Reason::TooMany, type.GetMime(), alias);
        else
            names.Push(alias);
    }

    // A test with only some of its rules would be wrong, so it is left out as a whole.
    ContentTest * MakeTest(SharedType const & type) {
        if (type.sections.last == Chain::None)
            return nullptr;
        ContentRules::Test const rules = JoinSections(type);
        ContentTest * const test =
            magic->IsTooMuch(rules) ? nullptr : ContentRuleSlots::Take(*magic, rules);
        if (test == nullptr)
            LeaveOut(Reason::Test, type.GetMime(), "");
        return test;
    }

    /// The rules of the type as one range.
    ContentRules::Test JoinSections(SharedType const & type) {
        Section const & last = sections[type.sections.last];
        if (last.next == type.sections.last)
            return last.test;
        ContentRules::Test joined{magic->rules.GetSize(), 0};
        ForEach(type.sections, sections, [&](Section const & section) {
            for (unsigned int i = 0; i < section.test.ruleCount; ++i, ++joined.ruleCount)
                magic->rules.Push(magic->rules[section.test.firstRule + i]);
        });
        return joined;
    }

    FileTypeManager & manager;
    SharedMimeResult & result;
    Mu::String files[4];
    std::unique_ptr<ContentRules, DropRules> const magic{new ContentRules};
    NameIndex index{2048}; // twice the number on usual machines
    Mu::Array<SharedType> types;
    Mu::Array<Extension> extensions;
    Mu::Array<Section> sections;
    Mu::Array<Alias> aliases;
    Mu::Array<Parent> parents;
    Mu::Array<GroupID> groups; // all of them
    Mu::Array<MediaGroup> mediaGroups;
    unsigned int lastMedia = 0; // the one requested last
    bool hasOthers = false;     // the process had MIME names before
};

} // namespace

SharedMimeResult LoadSharedMimeTypes(FileTypeManager * manager, IO::Location const & folder) {
    SharedMimeResult result;
    if (manager == nullptr || Mu::IsNull(folder))
        return result;
    try {
        Loader loader(*manager, result);
        result.status = loader.Read(folder);
        if (result.status != Mu::NoError) {
            result.leftOut.Clear();
            return result;
        }
        try {
            result.status = loader.Add();
        } catch (Mu::OutOfMemoryException const &) {
            result.status = Mu::ErrMemoryFull;
        }
        if (result.status != Mu::NoError)
            loader.TakeBack();
    } catch (Mu::OutOfMemoryException const &) {
        result.status = Mu::ErrMemoryFull;
    }
    return result;
}

} // namespace FTM
