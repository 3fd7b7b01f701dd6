#include <Kestrel/Reflection/Internal/RemoteTree.h>

#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/Location/Internal/OSErrors.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace IO {

namespace {

using VFS = RemoteReflectionVFS;

constexpr unsigned int NamesOfARequest = 1000;
constexpr unsigned int LongestTable = 1u << 30;

// The texts that a service returns when it has no content.
constexpr char const * NoContents[] = {"No content is available.",
                                       "Error in the GetContent method!"};

unsigned long long GetNow() {
    return Mu::GetClock().GetMonotonicMicroseconds();
}

MuErrCode Checked(MuErrCode status) {
    if (status == ErrMemoryFull)
        Mu::ThrowOutOfMemory();
    return status;
}

// The location to request. It is itself in the address tree of the process during the request, so
// nodes of that tree are requested by their last name alone: with all names above it, a walk down
// that tree would find its own requests, and below them the next ones, without end.
RelativeLocation ToQuestion(RelativeLocation const & raw) {
    static constexpr char const * Tree[] = {"Kestrel", "AddressTree"};
    constexpr unsigned int Length = 2;
    RelativeLocation question;
    Name name;
    if (raw.GetLength() <= Length + 1)
        return raw;
    for (unsigned int i = 0; i < Length; ++i)
        if (Checked(raw.GetName(i, &name)) != NoError || name != Name(Tree[i]) ||
            Checked(question.Append(name)) != NoError)
            return raw;
    bool const isAsked = Checked(raw.GetName(raw.GetLength() - 1, &name)) == NoError &&
                         Checked(question.Append(name)) == NoError;
    return isAsked ? question : raw;
}

// One text for each place, for all spellings of its names.
Mu::UniString ToKey(RelativeLocation const & raw) {
    Mu::UniString key;
    Name name;
    for (unsigned int i = 0; i < raw.GetLength(); ++i) {
        key.Append(Mu::UniChar(u'/'));
        if (Checked(raw.GetName(i, &name)) == NoError)
            key.Append(VFS::EscapeName(name).ToString());
    }
    return key;
}

} // namespace

RemoteTree::RemoteTree(Mu::String const & host, unsigned short port,
                       RemoteReflectionLimits const & limits)
    : host(host), port(port), limits(limits), mostKeptSize(limits.keptSize) {}

void RemoteTree::Disconnect() {
    Mu::LockGuard const guard(clientLock);
    client.Disconnect();
    failure = NoError;
}

namespace {

// No status of an entry has the cause, but the log line of what fails.
MuErrCode Reported(MuErrCode status) {
    if (status == EOI)
        AddOSError("reflection = \"the process closed the connection\"");
    else if (status == InputFailure)
        AddOSError("reflection = \"the process does not answer\"");
    else if (status != NoError)
        AddOSError("reflection = \"what came is not the answer of an inspectable process\"");
    return Checked(status);
}

} // namespace

// A failing earlier connection may be that of a process that has ended, and another one may listen
// there now; if a new one returns nothing, there is no service.
template <typename Question>
MuErrCode RemoteTree::Ask(Question const & question) {
    Mu::LockGuard const guard(clientLock);
    bool const isNew = !client.IsConnected();
    if (isNew && failure != NoError && GetNow() - failureTime < limits.retryTime * 1000ull)
        return Reported(failure);
    MuErrCode status = NoError;
    if (isNew) {
        client.SetAnswerLimit(limits.answerLimit);
        status = client.Connect(host.ToCStr(), port, limits.timeout);
    }
    if (status == NoError)
        status = question();
    bool const isNobody = isNew && (status == InputFailure || status == EOI);
    failure = isNobody ? status : NoError;
    failureTime = isNobody ? GetNow() : 0;
    return Reported(status);
}

// Returns the cached answer, or else the result of `make`.
template <typename Kind, typename Make>
MuErrCode RemoteTree::Get(Table<Kind> & table, Mu::UniString const & key, Mu::Ref<Kind> * answer,
                          Make const & make) {
    constexpr unsigned long long KeptForItsTime = 10;
    unsigned long long const begin = GetNow();
    {
        Mu::LockGuard const guard(keptLock);
        Kept<Kind> const * const found = table.Find(key);
        if (found != nullptr && begin < found->end) {
            *answer = found->answer;
            return NoError;
        }
    }
    Mu::Ref<Kind> const made(new Kind);
    if (MuErrCode const status = make(made.Get()); status != NoError)
        return status;
    *answer = made;
    if (limits.keepTime == 0)
        return NoError;
    Mu::LockGuard const guard(keptLock);
    unsigned long long const now = GetNow();
    table.Set(key,
              {made, now + std::max(limits.keepTime * 1000ull, (now - begin) * KeptForItsTime)});
    keptSize += made->size;
    if (keptSize > mostKeptSize) {
        keptSize = 0;
        DropUnheld(levels);
        DropUnheld(contents);
        mostKeptSize = std::max<unsigned long long>(limits.keptSize, 2 * keptSize);
    }
    return NoError;
}

// An answer in use is in memory in any case.
template <typename Kind>
void RemoteTree::DropUnheld(Table<Kind> & table) {
    for (auto it = table.begin(); it != table.end();) {
        auto const & entry = *it;
        ++it;
        if (entry.value.answer.GetCount() > 1)
            keptSize += entry.value.answer->size;
        else
            table.Delete(Mu::UniString(entry.key));
    }
}

// Entries.

RemoteKind const * RemoteTree::Find(Level const & level, Name const & name) {
    RemoteKind const * found = level.entries.Find(name);
    if (found == nullptr) // the plain name
        found = level.entries.Find(VFS::EscapeName(name));
    if (found == nullptr) // one with more escapes than it needs
        found = level.entries.Find(VFS::EscapeName(VFS::UnescapeName(name)));
    if (Name shown = VFS::EscapeName(name); found == nullptr && ShortenRemoteName(&shown, name))
        found = level.entries.Find(shown);
    return found;
}

MuErrCode RemoteTree::Find(RelativeLocation const & place, RemoteKind * kind) {
    LevelRef level;
    Name last;
    RelativeLocation above(place);
    *kind = RemoteKind::Folder;
    if (place.GetLength() > VFS::DeepestLevel)
        return Error;
    if (place.IsEmpty())
        return GetLevel(place, &level);
    MuErrCode status = Checked(above.MoveLastName(&last));
    if (status == NoError)
        status = GetLevel(above, &level);
    if (status != NoError)
        return status;
    RemoteKind const * const found = Find(*level, last);
    if (found == nullptr)
        return ErrEntryNotFound;
    *kind = *found;
    return NoError;
}

// Levels.

Name RemoteTree::Level::ToRaw(Name const & entry) const {
    Name const * const whole = wholeNames.Find(entry);
    return whole != nullptr ? *whole : VFS::UnescapeName(entry);
}

// The names as they are in the process. Of a shortened one only the level that it stands in knows the
// whole.
MuErrCode RemoteTree::ToRaw(RelativeLocation const & place, RelativeLocation * raw) {
    Name name;
    for (unsigned int i = 0; i < place.GetLength(); ++i) {
        MuErrCode status = Checked(place.GetName(i, &name));
        LevelRef level;
        if (status == NoError && name.ToString().FindFirst("%~") != Mu::NotFound)
            status = GetRawLevel(*raw, &level);
        if (status == NoError)
            status = Checked(raw->Append(level ? level->ToRaw(name) : VFS::UnescapeName(name)));
        if (status != NoError)
            return status;
    }
    return Checked(place.GetStatus());
}

MuErrCode RemoteTree::GetLevel(RelativeLocation const & place, LevelRef * level) {
    RelativeLocation raw;
    MuErrCode const status = ToRaw(place, &raw);
    return status == NoError ? GetRawLevel(raw, level) : status;
}

MuErrCode RemoteTree::GetRawLevel(RelativeLocation const & raw, LevelRef * level) {
    return Get(levels, ToKey(raw), level, [&](Level * made) { return AskLevel(raw, made); });
}

namespace {

// Under a name that no entry has in any spelling: with more and more of its units escaped, and then
// followed by "%", which has no meaning. A name that is listed too often is left out.
void AddEntry(RemoteTree::Level & level, Name const & name, RemoteKind kind) {
    constexpr unsigned int MostMarks = 3;
    unsigned int const length = name.GetLength();
    unsigned int count = 0;
    for (unsigned int marks = 0;
         length > 0 && marks <= MostMarks;) { // no location has an empty name
        Name shown = EscapeRemoteName(name, std::min(count, length));
        bool const isShortened = ShortenRemoteName(&shown, name);
        for (unsigned int i = 0; i < marks; ++i)
            shown.Append("%");
        if (level.entries.Insert(shown, kind)) {
            level.size += 100 + 2 * shown.GetLength();
            if (isShortened && level.wholeNames.Insert(shown, name))
                level.size += 100 + 2 * length;
            return;
        }
        marks += count >= length ? 1 : 0;
        count = count == 0 ? 1 : 2 * count;
    }
}

} // namespace

MuErrCode RemoteTree::AskLevel(RelativeLocation const & raw, Level * level) {
    Mu::Array<Name> folders;
    Mu::Array<Name> things;
    RelativeLocation const place = ToQuestion(raw);
    MuErrCode const status = Ask([&] {
        MuErrCode const asked = client.GetChildren(place, &folders, &things);
        bool const isEmpty = folders.IsEmpty() && things.IsEmpty();
        return asked != NoError || isEmpty ? asked
                                           : client.GetAttributes(place, &level->attributes);
    });
    if (status != NoError)
        return status;
    level->size = 200;
    level->entries.SetCapacity(folders.GetSize() + things.GetSize() + 1);
    if (!level->attributes.IsEmpty())
        AddEntry(*level, VFS::TableName, RemoteKind::Table);
    for (Name const & name : folders)
        AddEntry(*level, name, RemoteKind::Folder);
    for (Name const & name : things)
        AddEntry(*level, name, RemoteKind::Thing);
    for (Reflectable::Attribute const & attribute : level->attributes)
        level->size += 100 + 2 * attribute.name.GetLength();
    return NoError;
}

// Content.

namespace {

void AppendUtf8(Mu::String & text, Mu::UniString const & more) {
    Mu::CStr const bytes = more.ToCStr(0, Mu::UniString::All, MuLogCharCode);
    text.Append(bytes.GetText(), bytes.GetLength());
}

} // namespace

MuErrCode RemoteTree::GetBytes(RelativeLocation const & place, RemoteKind kind, BytesRef * bytes) {
    RelativeLocation raw;
    if (MuErrCode const status = ToRaw(place, &raw); status != NoError)
        return status;
    if (kind == RemoteKind::Thing)
        return Get(contents, ToKey(raw), bytes, [&](Bytes * made) {
            Mu::UniString content;
            MuErrCode const status =
                Ask([&] { return client.GetContent(ToQuestion(raw), &content); });
            bool const isNone = std::any_of(std::begin(NoContents), std::end(NoContents),
                                            [&](char const * text) { return content == text; });
            if (!isNone)
                AppendUtf8(made->text, content);
            made->size = 100 + made->text.GetLength();
            return status;
        });
    LevelRef level;
    RelativeLocation above(place);
    MuErrCode status = Checked(above.DeleteLastName());
    if (status == NoError)
        status = Checked(raw.DeleteLastName());
    if (status == NoError)
        status = GetLevel(above, &level);
    if (status != NoError)
        return status;
    Mu::UniString key = ToKey(raw);
    key.Append("|"); // unlike the key of a thing
    return Get(contents, key, bytes, [&](Bytes * made) { return AskTable(raw, *level, made); });
}

MuErrCode RemoteTree::AskTable(RelativeLocation const & raw, Level const & level, Bytes * bytes) {
    Mu::UniString line("name");
    for (Reflectable::Attribute const & attribute : level.attributes) {
        line.Append("\t");
        line.Append(VFS::EscapeCell(attribute.name));
    }
    line.Append("\n");
    AppendUtf8(bytes->text, line);
    Mu::Array<Name> names;
    for (auto const & entry : level.entries) {
        if (entry.value != RemoteKind::Table)
            names.Push(level.ToRaw(entry.key));
        if (names.GetSize() < NamesOfARequest)
            continue;
        if (MuErrCode const status = AskRows(raw, level, names, bytes); status != NoError)
            return status;
        names.Clear();
    }
    MuErrCode const status = AskRows(raw, level, names, bytes);
    bytes->size = 100 + bytes->text.GetLength();
    return status;
}

// A thing that no longer exists has a line without values.
MuErrCode RemoteTree::AskRows(RelativeLocation const & raw, Level const & level,
                              Mu::Array<Name> const & names, Bytes * bytes) {
    Mu::Array<Mu::Array<Reflectable::AttributeValue>> values;
    if (names.IsEmpty())
        return NoError;
    if (MuErrCode const status =
            Ask([&] { return client.GetAttributeValues(ToQuestion(raw), names, &values); });
        status != NoError)
        return status;
    Mu::UniString lines;
    for (unsigned int i = 0; i < names.GetSize() && i < values.GetSize(); ++i) {
        lines.Append(VFS::EscapeCell(names[i].ToString()));
        for (unsigned int k = 0; k < level.attributes.GetSize(); ++k) {
            lines.Append("\t");
            if (k < values[i].GetSize())
                lines.Append(VFS::EscapeCell(values[i][k].ToString()));
        }
        lines.Append("\n");
    }
    AppendUtf8(bytes->text, lines);
    return bytes->text.GetLength() > LongestTable ? Error : NoError;
}

} // namespace IO
