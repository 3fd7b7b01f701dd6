#include <Kestrel/FileType/SharedMimeTypes.h>

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileType/FileTypeManager.h>
#include <Kestrel/FileType/Internal/ContentRuleSlots.h>
#include <Kestrel/FileType/Internal/SharedMimeFiles.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Exceptions.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>

namespace FTM {

namespace {

using Reason = SharedMimeResult::Reason;

// Beyond what any machine has, and small enough that no file of a catalogue can fill the memory or
// keep questions about files busy.
constexpr unsigned int MostFileBytes = 4 << 20;
constexpr unsigned int MostTypes = 5000;
constexpr int MostTexts = 250; // extensions or names of one type
constexpr unsigned int MostDepth = 16;

/// A missing file is an empty one, where that is no failure.
MuErrCode ReadWholeFile(IO::Location const & folder, char const * name, bool mayBeMissing,
                        Mu::Array<char> & content) {
    IO::File file(IO::Location(folder, IO::Name(name)),
                  mayBeMissing ? IO::File::OnNotFound::FailQuietly : IO::File::OnNotFound::Report);
    if (mayBeMissing && file.GetStatus() == IO::ErrFileNotFound)
        return Mu::NoError;
    MuErrCode status = file.Open(IO::File::OpenMode::ReadOnlySharedToReadWrite);
    while (status == Mu::NoError) {
        static constexpr unsigned int Piece = 1 << 16;
        unsigned int const before = content.GetSize();
        if (before > MostFileBytes)
            return Mu::Error;
        unsigned int read = 0;
        content.SetSize(before + Piece);
        status = file.ReadBin(content.GetData() + before, Piece, &read);
        content.Truncate(before + read);
    }
    return status == Mu::EOI ? Mu::NoError : status;
}

std::string_view ViewOf(Mu::Array<char> const & content) {
    return {content.GetData(), content.GetSize()};
}

/// A text for an interface that wants it zero-terminated; cut at what is longer than any name.
struct Name {
    explicit Name(std::string_view from) { text[from.copy(text, sizeof text - 1)] = 0; }
    char text[FileType::MaxPiece + 1];
};

/// What is known of a type until it is added.
struct SharedType {
    std::string_view mime;
    FileType type;
    std::unique_ptr<ContentRules> rules;
    bool hasBrokenRules = false;
    unsigned int firstParent = 0; // in the list of parents, with those behind it
    unsigned int parentCount = 0;
    bool isParent = false;
    GroupID group; // with the subclasses, where there are some
    TypeID id;
};

/// Puts a catalogue together in memory, and then adds it.
class Loader {
public:
    Loader(FileTypeManager & manager, SharedMimeResult & result)
        : manager(manager), result(result) {}

    MuErrCode Read(IO::Location const & folder) {
        static constexpr char const * names[FileCount] = {"globs2", "magic", "aliases",
                                                          "subclasses", "icons"};
        for (unsigned int i = 0; i < FileCount; ++i)
            if (MuErrCode const status = ReadWholeFile(folder, names[i], i > 0, files[i]);
                status != Mu::NoError)
                return status;
        bool const isCatalogue =
            ReadSharedMimeGlobs(ViewOf(files[0]), globs) &&
            (files[1].IsEmpty() ||
             ReadSharedMimeMagic(files[1].GetData(), files[1].GetSize(), magic)) &&
            ReadSharedMimePairs(ViewOf(files[2]), ' ', aliases) &&
            ReadSharedMimePairs(ViewOf(files[3]), ' ', subclasses) &&
            ReadSharedMimePairs(ViewOf(files[4]), ':', icons);
        return isCatalogue && ListTypes() ? Mu::NoError : Mu::Error;
    }

    void Fill() {
        for (SharedMimeGlob const & glob : globs)
            TakeGlob(glob);
        for (SharedMimeRule const & rule : magic)
            TakeRule(rule);
        TakeAliases();
        for (SharedMimePair const & pair : icons)
            LeaveOut(Reason::Icon, pair.first, pair.second);
        TakeSubclasses();
    }

    MuErrCode Add() {
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
            manager.RemoveGroup(groups[i].id);
        result.typeCount = result.groupCount = result.testCount = 0;
    }

private:
    static constexpr unsigned int FileCount = 5;

    struct MediaGroup {
        std::string_view name;
        GroupID id;
    };

    /// Keeps a test until a record does.
    struct TestHold {
        ~TestHold() { ContentRuleSlots::Drop(test); }
        ContentTest * test;
    };

    static void Check(short status) {
        if (status != 0)
            Mu::ThrowOutOfMemory();
    }

    void LeaveOut(Reason reason, std::string_view mime, std::string_view text) {
        auto const make = [](std::string_view from) {
            return Mu::String(from.data(), static_cast<unsigned int>(from.size()));
        };
        result.leftOut.Push({reason, make(mime), make(text)});
    }

    // All types that can be recognised, by name.
    bool ListTypes() {
        Mu::Array<std::string_view> names;
        for (SharedMimeGlob const & glob : globs)
            names.Push(glob.mime);
        for (SharedMimeRule const & rule : magic)
            if (names.IsEmpty() || names.GetLast() != rule.mime)
                names.Push(rule.mime);
        std::sort(names.begin(), names.end());
        names.Truncate(
            static_cast<unsigned int>(std::unique(names.begin(), names.end()) - names.begin()));
        if (names.GetSize() > MostTypes)
            return false;
        types.SetCapacity(names.GetSize());
        for (std::string_view const name : names) {
            SharedType & type = types.Emplace();
            type.mime = name;
            Name const text(name);
            type.type = FileType(text.text, nullptr, 0, 0, -1, nullptr, text.text, true);
            if (type.type.GetMime(0) == nullptr)
                Mu::ThrowOutOfMemory();
        }
        return true;
    }

    SharedType * Find(std::string_view mime) {
        SharedType * const found = std::partition_point(
            types.begin(), types.end(), [&](SharedType const & type) { return type.mime < mime; });
        return found != types.end() && found->mime == mime ? found : nullptr;
    }

    void TakeGlob(SharedMimeGlob const & glob) {
        std::string_view const pattern = glob.pattern;
        bool const isPlain = pattern.find_first_of("*?[") == std::string_view::npos;
        std::string_view const extension = pattern.substr(std::min<std::size_t>(2, pattern.size()));
        bool const isExtension = pattern.substr(0, 2) == "*." && !extension.empty() &&
                                 extension.find_first_of("*?[;") == std::string_view::npos &&
                                 extension.size() <= FileType::MaxPiece;
        if (isPlain)
            LeaveOut(Reason::Literal, glob.mime, pattern);
        else if (!isExtension)
            LeaveOut(Reason::Pattern, glob.mime, pattern);
        else if (extension.find('.') != std::string_view::npos)
            LeaveOut(Reason::Compound, glob.mime, pattern);
        else
            TakeExtension(glob, extension);
    }

    void TakeExtension(SharedMimeGlob const & glob, std::string_view extension) {
        static constexpr unsigned int UsualWeight = 50;
        if (glob.respectsCase) {
            LeaveOut(Reason::CaseSensitive, glob.mime, glob.pattern);
            if (std::any_of(extension.begin(), extension.end(),
                            [](char c) { return c >= 'A' && c <= 'Z'; }))
                return; // it would claim the files of its lower case
        }
        FileType & type = Find(glob.mime)->type;
        if (type.CountExtensions() == MostTexts) {
            LeaveOut(Reason::TooMany, glob.mime, glob.pattern);
            return;
        }
        Check(type.AddSingleExtension(Name(extension).text, true));
        if (glob.weight != UsualWeight) {
            char text[16];
            auto const end = std::to_chars(text, text + sizeof text, glob.weight).ptr;
            LeaveOut(Reason::Weight, glob.mime, {text, static_cast<std::size_t>(end - text)});
        }
    }

    // A test that could not be whole would be wrong, so it is left out as a whole.
    void TakeRule(SharedMimeRule const & rule) {
        if (lastRuled == nullptr || lastRuled->mime != rule.mime)
            lastRuled = Find(rule.mime);
        SharedType & type = *lastRuled;
        if (type.hasBrokenRules)
            return;
        if (type.rules == nullptr)
            type.rules = std::make_unique<ContentRules>();
        if (type.rules->Add(rule.rule))
            return;
        type.rules.reset();
        type.hasBrokenRules = true;
        LeaveOut(Reason::Test, rule.mime, "");
    }

    void TakeAliases() {
        SortByFirst(aliases);
        std::string_view before;
        for (SharedMimePair const & pair : aliases) {
            TakeAlias(pair, pair.first == before);
            before = pair.first;
        }
    }

    void TakeAlias(SharedMimePair const & pair, bool isTaken) {
        SharedType * const type = Find(pair.second);
        Name const alias(pair.first);
        if (type == nullptr)
            LeaveOut(Reason::Unreachable, pair.second, pair.first);
        else if (isTaken || Find(pair.first) != nullptr || manager.CheckMimeExists(alias.text))
            LeaveOut(Reason::Name, pair.second, pair.first);
        else if (type->type.CountMimeTypes() == MostTexts)
            LeaveOut(Reason::TooMany, pair.second, pair.first);
        else
            Check(type->type.AddSingleMime(alias.text));
    }

    // Lines of one name keep their order.
    static void SortByFirst(Mu::Array<SharedMimePair> & pairs) {
        auto const isBefore = [](SharedMimePair const & a, SharedMimePair const & b) {
            return a.first < b.first || (a.first == b.first && a.first.data() < b.first.data());
        };
        std::sort(pairs.begin(), pairs.end(), isBefore);
    }

    // Puts the parents of each type together, and notes who is one.
    void TakeSubclasses() {
        SortByFirst(subclasses);
        for (SharedMimePair const & pair : subclasses) {
            SharedType * const type = Find(pair.first);
            SharedType * const parent = Find(pair.second);
            if (type == nullptr || parent == nullptr) {
                LeaveOut(Reason::Unreachable, pair.first, pair.second);
                continue;
            }
            if (type->parentCount++ == 0)
                type->firstParent = parents.GetSize();
            parents.Push(parent);
            parent->isParent = true;
        }
    }

    SharedType * GetParent(SharedType const & type, unsigned int i) {
        return i < type.parentCount ? parents[type.firstParent + i] : nullptr;
    }

    // Groups are made when the first type asks for them.

    GroupID AddGroup(std::string_view name, GroupID parent) {
        Name const text(name);
        MediaGroup & group = groups.Emplace();
        group.name = name;
        group.id = manager.AddGroup(text.text, parent, nullptr);
        if (group.id == UnknownGroup) {
            groups.DeleteLast();
            Mu::ThrowOutOfMemory();
        }
        ++result.groupCount;
        return group.id;
    }

    GroupID GetMediaGroup(std::string_view mime) {
        std::string_view const name = mime.substr(0, mime.find('/'));
        for (MediaGroup const & group : groups)
            if (group.name == name) // those of types have a "/" in theirs
                return group.id;
        return AddGroup(name, RootGroup);
    }

    /// The group of a type with subclasses: below that of its own first parent.
    GroupID GetGroup(SharedType & type) {
        Mu::ArrayFB<SharedType *, MostDepth> chain;
        SharedType * top = &type;
        while (top != nullptr && top->group == UnknownGroup) {
            if (chain.Contains(top) || chain.GetSize() == MostDepth) {
                LeaveOut(Reason::Circle, chain.GetLast()->mime, top->mime);
                top = nullptr;
                break;
            }
            chain.Push(top);
            top = GetParent(*top, 0);
        }
        GroupID group = top == nullptr ? GetMediaGroup(chain.GetLast()->mime) : top->group;
        for (; !chain.IsEmpty(); chain.DeleteLast())
            group = chain.GetLast()->group = AddGroup(chain.GetLast()->mime, group);
        return group;
    }

    // Adding.

    MuErrCode AddOne(SharedType & type) {
        if (manager.CheckMimeExists(Name(type.mime).text)) {
            LeaveOut(Reason::Name, type.mime, type.mime);
            return Mu::NoError;
        }
        TestHold const hold{MakeTest(type)};
        if (hold.test != nullptr)
            Check(type.type.Merge(FileType(nullptr, nullptr, 0, 0, -1, hold.test, nullptr, false)));
        SharedType & home = type.isParent || type.parentCount == 0 ? type : *GetParent(type, 0);
        bool const hasGroup = type.isParent || type.parentCount > 0;
        type.id = manager.AddType(type.type, hasGroup ? GetGroup(home) : GetMediaGroup(type.mime));
        if (type.id == UnknownType)
            return Mu::ErrMemoryFull;
        for (unsigned int i = 0; i < type.parentCount; ++i)
            Link(type.id, GetGroup(*GetParent(type, i)));
        Link(type.id, GetMediaGroup(type.mime));
        ++result.typeCount;
        result.testCount += hold.test != nullptr ? 1 : 0;
        return Mu::NoError;
    }

    void Link(TypeID type, GroupID group) {
        if (manager.AddTypeToGroup(type, group) != Mu::NoError)
            Mu::ThrowOutOfMemory();
    }

    ContentTest * MakeTest(SharedType & type) {
        if (type.rules == nullptr)
            return nullptr;
        ContentTest * const test = ContentRuleSlots::Take(type.rules.get());
        if (test == nullptr)
            LeaveOut(Reason::Test, type.mime, "");
        else
            static_cast<void>(type.rules.release());
        return test;
    }

    FileTypeManager & manager;
    SharedMimeResult & result;
    Mu::Array<char> files[FileCount];
    Mu::Array<SharedMimeGlob> globs;
    Mu::Array<SharedMimeRule> magic;
    Mu::Array<SharedMimePair> aliases;
    Mu::Array<SharedMimePair> subclasses;
    Mu::Array<SharedMimePair> icons;
    Mu::Array<SharedType> types; // by name; none is added behind ListTypes
    Mu::Array<SharedType *> parents;
    Mu::Array<MediaGroup> groups;
    SharedType * lastRuled = nullptr;
};

} // namespace

SharedMimeResult LoadSharedMimeTypes(FileTypeManager * manager, IO::Location const & folder) {
    SharedMimeResult result;
    if (manager == nullptr || Mu::IsNull(folder))
        return result;
    try {
        Loader loader(*manager, result);
        result.status = loader.Read(folder);
        if (result.status != Mu::NoError)
            return result;
        loader.Fill();
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
