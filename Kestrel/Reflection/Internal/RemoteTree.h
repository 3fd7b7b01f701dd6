#pragma once

#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Reflection/ReflectionClient.h>
#include <Kestrel/Reflection/RemoteReflectionVFS.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Containers/HashTable.h>
#include <Kestrel/Root/Memory/Ref.h>
#include <Kestrel/Root/Text/String.h>
#include <Kestrel/Root/Threads/Lock.h>

namespace IO {

enum class RemoteKind : unsigned int { Folder, Thing, Table };

/// As RemoteReflectionVFS::EscapeName, with at least so many of the first units escaped.
Name EscapeRemoteName(Name const & name, unsigned int count);
/// Cuts an entry's name that is too long for a disk, and appends "%~" and a number that stands for the
/// whole name. False: it is short enough.
bool ShortenRemoteName(Name * shown, Name const & whole);

/// The content of another process, requested when needed and cached for a moment.
///
/// Places are given by the names of entries, see RemoteReflectionVFS::EscapeName.
///
/// Memory:  the cached answers. Those in use are not counted.
/// Threads: any; one request is sent at a time.
/// Failure: the statuses of ReflectionClient, and Mu::OutOfMemoryException. After a failure the
///          next request opens a new connection, unless one has just failed.
class RemoteTree : public Mu::Allocated {
public:
    // Answers, which are immutable.
    struct Level : Mu::Allocated {
        unsigned long long size = 0;             // approximate memory
        Mu::HashTable<Name, RemoteKind> entries; // by the names of entries
        Mu::HashTable<Name, Name> wholeNames;    // of those entries that have a shortened one

        /// The name that the process knows.
        Name ToRaw(Name const & entry) const;
        Mu::Array<Reflectable::Attribute> attributes;
    };
    struct Bytes : Mu::Allocated {
        unsigned long long size = 0;
        Mu::String text;
    };
    using LevelRef = Mu::Ref<Level>;
    using BytesRef = Mu::Ref<Bytes>;

    RemoteTree(Mu::String const & host, unsigned short port, RemoteReflectionLimits const & limits);

    MuErrCode GetLevel(RelativeLocation const & place, LevelRef * level);
    /// The values of a thing, or the table of the folder that contains the place.
    MuErrCode GetBytes(RelativeLocation const & place, RemoteKind kind, BytesRef * bytes);
    /// The kind of the entry. ErrEntryNotFound: there is none.
    MuErrCode Find(RelativeLocation const & place, RemoteKind * kind);
    void Disconnect();

    /// The entry of a level that a name denotes, or null.
    static RemoteKind const * Find(Level const & level, Name const & name);

private:
    template <typename Kind>
    struct Kept {
        Mu::Ref<Kind> answer;
        unsigned long long end; // microseconds of the clock, until which it is valid
    };
    template <typename Kind>
    using Table = Mu::HashTable<Mu::UniString, Kept<Kind>>;

    template <typename Question>
    MuErrCode Ask(Question const & question);
    template <typename Kind, typename Make>
    MuErrCode Get(Table<Kind> & table, Mu::UniString const & key, Mu::Ref<Kind> * answer,
                  Make const & make);
    template <typename Kind>
    void DropUnheld(Table<Kind> & table);
    MuErrCode ToRaw(RelativeLocation const & place, RelativeLocation * raw);
    MuErrCode GetRawLevel(RelativeLocation const & raw, LevelRef * level);
    MuErrCode AskLevel(RelativeLocation const & raw, Level * level);
    MuErrCode AskTable(RelativeLocation const & raw, Level const & level, Bytes * bytes);
    MuErrCode AskRows(RelativeLocation const & raw, Level const & level,
                      Mu::Array<Name> const & names, Bytes * bytes);

    Mu::String const host;
    unsigned short const port;
    RemoteReflectionLimits const limits;
    Mu::Lock clientLock; // may be held until the process responds
    ReflectionClient client;
    MuErrCode failure = NoError; // of the last connection, if it returned nothing
    unsigned long long failureTime = 0;
    Mu::Lock keptLock;
    Table<Level> levels;
    Table<Bytes> contents;
    unsigned long long keptSize = 0;
    unsigned long long mostKeptSize; // beyond this the tables drop what they can
};

} // namespace IO
