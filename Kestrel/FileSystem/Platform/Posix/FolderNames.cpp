#include <Kestrel/FileSystem/Platform/Posix/FolderNames.h>

#include <Kestrel/FileSystem/Platform/Posix/FolderReader.h>
#include <Kestrel/Location/Platform/Posix/ErrorMapping.h>

#include <algorithm>
#include <cstring>
#include <ctime>

namespace IO {
namespace {

constexpr unsigned int FolderCount = 8;
constexpr unsigned int TableSize = 1u << 20; // a power of two
constexpr unsigned int FirstCapacity = 1024;
constexpr long long Second = 1'000'000'000;
constexpr long long ClockTick = 5 * Second / 2; // longer than that of any file system

long long ToNanoseconds(timespec const & time) {
    return time.tv_sec * Second + time.tv_nsec;
}

long long GetNow(clockid_t clock) {
    timespec now;
    ::clock_gettime(clock, &now);
    return ToNanoseconds(now);
}

/// The hashes of a folder's names, each as often as it occurs: open addressing over the first
/// `capacity` places. A hash of 0 is stored as 1; 0 is a free place.
class HashBag {
public:
    void Clear(unsigned int newCapacity) {
        std::memset(places, 0, newCapacity * sizeof(places[0]));
        capacity = newCapacity;
        count = 0;
    }

    /// False: it is three quarters full.
    bool Add(unsigned int hash) {
        if (count >= capacity / 4 * 3)
            return false;
        unsigned int place = FindFrom(Home(hash), 0);
        places[place] = Stored(hash);
        ++count;
        return true;
    }

    bool Contains(unsigned int hash) const {
        return places[FindFrom(Home(hash), Stored(hash))] != 0;
    }

    void Remove(unsigned int hash) {
        unsigned int hole = FindFrom(Home(hash), Stored(hash));
        if (places[hole] == 0)
            return;
        places[hole] = 0;
        --count;
        // Entries displaced by the collision move back, so that no search ends at the hole.
        for (unsigned int i = Next(hole); places[i] != 0; i = Next(i)) {
            unsigned int const home = Home(places[i]);
            bool const mayStay = hole <= i ? hole < home && home <= i : hole < home || home <= i;
            if (mayStay)
                continue;
            std::swap(places[hole], places[i]);
            hole = i;
        }
    }

    unsigned int GetCapacity() const { return capacity; }

private:
    static unsigned int Stored(unsigned int hash) { return hash == 0 ? 1 : hash; }
    unsigned int Home(unsigned int hash) const {
        return static_cast<unsigned int>(Stored(hash) * 0x9E3779B97F4A7C15u >> 40) & (capacity - 1);
    }
    unsigned int Next(unsigned int place) const { return (place + 1) & (capacity - 1); }
    /// The first place from `place` on that holds the value or is free.
    unsigned int FindFrom(unsigned int place, unsigned int value) const {
        while (places[place] != 0 && places[place] != value)
            place = Next(place);
        return place;
    }

    unsigned int capacity; // a power of two; some place is always free
    unsigned int count;
    unsigned int places[TableSize];
};

} // namespace

struct FolderNames::Folder {
    bool isUsed;
    bool isUncertain; // the change time may conceal another process's change
    dev_t device;
    ino_t inode;
    long long changeTime;
    long long readAt;
    long long trust; // how long uncertain data is used, in ns
    unsigned int lastUse;
    HashBag hashes;

    bool Is(struct stat const & info) const {
        return inode == info.st_ino && device == info.st_dev;
    }
    bool Read(int at, char const * path, unsigned int capacity);
};

namespace {

/// Truncates a path for its own lifetime.
class Cut {
public:
    Cut(BytePath * path, unsigned int at)
        : path(path), length(path->length), at(at), kept(path->text[at]) {
        path->Truncate(at);
    }
    ~Cut() {
        path->text[at] = kept;
        path->length = length;
    }
    Cut(Cut const &) = delete;
    Cut & operator=(Cut const &) = delete;

private:
    BytePath * path;
    unsigned int length;
    unsigned int at;
    char kept;
};

bool IsFolder(BytePath * path, unsigned int length, struct stat * info) {
    Cut const cut(path, length);
    return ::stat(path->text, info) == 0 && S_ISDIR(info->st_mode);
}

unsigned int FindLastName(BytePath const & path) {
    return static_cast<unsigned int>(path.GetText().rfind('/')) + 1;
}

// The folder of a name that begins at `name`: up to the "/" before it, or the root "/".
unsigned int GetFolderLength(unsigned int name) {
    return std::max(name - 1, 1u);
}

void Copy(std::string_view text, BytePath * path) {
    path->Truncate(0);
    path->Append(text);
}

} // namespace

FolderNames & FolderNames::Get() {
    static FolderNames names;
    return names;
}

std::span<FolderNames::Folder> FolderNames::GetFolders() {
    // No constructor, and all zero: the system allocates the pages when they are written.
    static Folder folders[FolderCount];
    return folders;
}

bool FolderNames::IsInUse() const {
    for (Folder const & folder : GetFolders())
        if (folder.isUsed)
            return true;
    return false;
}

FolderNames::Folder * FolderNames::Find(struct stat const & info) const {
    for (Folder & folder : GetFolders())
        if (folder.isUsed && folder.Is(info))
            return &folder;
    return nullptr;
}

FolderNames::Folder * FolderNames::FindCurrent(struct stat const & info) const {
    Folder * const folder = Find(info);
    if (folder == nullptr || folder->changeTime != ToNanoseconds(info.st_ctim))
        return nullptr;
    if (folder->isUncertain && GetNow(CLOCK_MONOTONIC) - folder->readAt > folder->trust)
        return nullptr;
    return folder;
}

// The record of the folder, or else the least recently used one.
FolderNames::Folder & FolderNames::Choose(struct stat const & info) const {
    Folder * oldest = nullptr;
    for (Folder & folder : GetFolders()) {
        if (folder.Is(info))
            return folder;
        if (oldest == nullptr || folder.lastUse < oldest->lastUse)
            oldest = &folder;
    }
    return *oldest;
}

bool FolderNames::IsCurrent(struct stat const & info) const {
    return FindCurrent(info) != nullptr;
}

void FolderNames::Enter(struct stat const & info, std::string_view name, bool added) {
    Folder * const folder = Find(info);
    if (folder == nullptr)
        return;
    unsigned int const hash = HashNameUpperCased(name);
    if (!added)
        folder->hashes.Remove(hash);
    else if (!folder->hashes.Add(hash))
        folder->isUsed = false; // the next query reads the folder again, into more places
    folder->changeTime = ToNanoseconds(info.st_ctim);
    folder->isUncertain = true;
}

// False: it cannot be read, it changed meanwhile, or, with errno at 0, it does not fit.
bool FolderNames::Folder::Read(int at, char const * path, unsigned int capacity) {
    hashes.Clear(capacity);
    FolderReader reader(OpenFolder(at, path));
    struct stat before;
    if (!reader.IsOpen() || ::fstat(reader.GetDescriptor(), &before) != 0)
        return false;
    device = before.st_dev;
    inode = before.st_ino;
    FolderReader::Entry entry;
    while (reader.Next(&entry))
        if (!hashes.Add(HashNameUpperCased(entry.name))) {
            errno = 0;
            return false;
        }
    struct stat after;
    if (errno != 0 || ::fstat(reader.GetDescriptor(), &after) != 0)
        return false;
    errno = EAGAIN; // in case it changed
    changeTime = ToNanoseconds(after.st_ctim);
    return ToNanoseconds(before.st_ctim) == changeTime;
}

FolderNames::Folder * FolderNames::Remember(int at, char const * path, struct stat const & info) {
    Folder & folder = Choose(info);
    unsigned int capacity = FirstCapacity;
    if (folder.Is(info))
        capacity = std::max(capacity, folder.hashes.GetCapacity());
    folder.isUsed = false;
    folder.lastUse = ++uses;
    long long const begin = GetNow(CLOCK_MONOTONIC);
    bool isRead = false;
    for (errno = 0; !isRead && errno == 0 && capacity <= TableSize; capacity *= 2)
        isRead = folder.Read(at, path, capacity);
    if (!isRead)
        return nullptr;
    folder.readAt = GetNow(CLOCK_MONOTONIC);
    folder.trust = std::max(Second, 20 * (folder.readAt - begin)); // at most 1/20 of the time
    folder.isUncertain = GetNow(CLOCK_REALTIME) - folder.changeTime < ClockTick;
    folder.isUsed = true;
    return &folder;
}

bool FolderNames::MayContain(int at, char const * path, struct stat const & info,
                             std::string_view name) {
    Folder * folder = FindCurrent(info);
    if (folder == nullptr)
        folder = Remember(at, path, info);
    if (folder == nullptr)
        return true;
    folder->lastUse = ++uses;
    return folder->hashes.Contains(HashNameUpperCased(name));
}

unsigned int FolderNames::FindInFolder(int at, char const * folder, struct stat const & info,
                                       std::string_view name, BytePath * found) {
    found->Truncate(0);
    if (name.size() > MaxNameBytes || !MayContain(at, folder, info, name))
        return FileError::FileNotFound;
    char16_t units[MaxNameBytes + 1];
    TextBuffer text{units, MaxNameBytes + 1, 0};
    AppendPortableName(name, &text);
    FolderReader reader(OpenFolder(at, folder));
    FolderReader::Entry entry;
    while (reader.IsOpen() && reader.Next(&entry)) {
        if (entry.name == name) {
            Copy(name, found);
            return FileError::None;
        }
        bool const isFirst = found->length == 0 || entry.name < found->GetText();
        if (isFirst && IsSpellingOf(entry.name, text.GetText()))
            Copy(entry.name, found);
    }
    // Without permission to read a folder, names are found in their exact spelling only.
    if (errno != 0 && errno != EACCES)
        return GetLastFileError();
    return found->length != 0 ? FileError::None : FileError::FileNotFound;
}

unsigned int FolderNames::FindSpellingIn(int folder, BytePath * name) {
    std::lock_guard<std::recursive_mutex> const guard(lock);
    BytePath found;
    struct stat info;
    if (::fstat(folder, &info) != 0)
        return GetLastFileError();
    unsigned int const error = FindInFolder(folder, ".", info, name->GetText(), &found);
    if (error == FileError::None)
        Copy(found.GetText(), name);
    return error;
}

// Corrects the name from `name` to `end`, which is updated, to its spelling in the folder before
// it.
unsigned int FolderNames::CorrectName(BytePath * path, unsigned int name, unsigned int * end,
                                      struct stat const & info) {
    BytePath folder;
    BytePath found;
    Copy(path->GetText().substr(0, GetFolderLength(name)), &folder);
    std::string_view const wanted = path->GetText().substr(name, *end - name);
    unsigned int const error = FindInFolder(AT_FDCWD, folder.text, info, wanted, &found);
    if (error != FileError::None)
        return error;
    if (!path->Replace(name, *end - name, found.GetText()))
        return FileError::NameTooLong;
    *end = name + found.length;
    return FileError::None;
}

unsigned int FolderNames::FindSpelling(BytePath * path, unsigned int rootLength) {
    std::lock_guard<std::recursive_mutex> const guard(lock);
    if (path->length <= rootLength)
        return FileError::PathNotFound;
    // Usually only the last name is missing.
    struct stat info;
    unsigned int name = FindLastName(*path);
    if (!IsFolder(path, GetFolderLength(name), &info)) {
        name = rootLength == 1 ? 1 : rootLength + 1; // "/" ends in the separator
        if (!IsFolder(path, GetFolderLength(name), &info))
            return FileError::PathNotFound;
    }
    for (;;) {
        unsigned int end = static_cast<unsigned int>(
            std::min<std::size_t>(path->GetText().find('/', name), path->length));
        bool const isLast = end == path->length;
        struct stat next;
        if (isLast || !IsFolder(path, end, &next)) {
            unsigned int const error = CorrectName(path, name, &end, info);
            if (error != FileError::None)
                return error == FileError::FileNotFound && !isLast ? FileError::PathNotFound
                                                                   : error;
            if (isLast)
                return FileError::None;
            if (!IsFolder(path, end, &next))
                return errno == EACCES ? FileError::AccessDenied : FileError::PathNotFound;
        }
        info = next;
        name = end + 1;
    }
}

FolderChange::FolderChange(NativeEntry * entry)
    : names(FolderNames::Get()), guard(names.GetLock()), entry(entry) {}

std::string_view FolderChange::GetName() const {
    return entry->path.GetText().substr(FindLastName(entry->path));
}

// A folder that is held open is queried itself, wherever its path leads by now.
bool FolderChange::LookAtFolder() {
    if (folder.length == 0) {
        bool const isHeld = entry->at != AT_FDCWD;
        unsigned int const length = isHeld ? 0 : GetFolderLength(FindLastName(entry->path));
        Copy(isHeld ? "." : entry->path.GetText().substr(0, length), &folder);
    }
    return ::fstatat(entry->at, folder.text, &info, 0) == 0;
}

unsigned int FolderChange::FindFolder() {
    // The root of a drive has no name of its own; whatever is to be created exists already.
    if (entry->path.length <= entry->rootLength)
        return FileError::AlreadyExists;
    if (!LookAtFolder()) {
        if (errno != ENOENT || entry->at != AT_FDCWD)
            return GetLastFileError();
        unsigned int const length = folder.length;
        if (names.FindSpelling(&folder, entry->rootLength) != FileError::None || !LookAtFolder())
            return FileError::PathNotFound;
        if (!entry->path.Replace(0, length, folder.GetText()))
            return FileError::NameTooLong;
    }
    return S_ISDIR(info.st_mode) ? FileError::None : FileError::PathNotFound;
}

unsigned int FolderChange::FindOtherSpelling(BytePath * other) {
    BytePath found;
    unsigned int const error = names.FindInFolder(entry->at, folder.text, info, GetName(), &found);
    isCurrent = names.IsCurrent(info);
    other->Truncate(0);
    if (error == FileError::FileNotFound || found.GetText() == GetName())
        return FileError::None;
    if (error != FileError::None)
        return error;
    Copy(folder.GetText(), other);
    return other->AppendName(found.GetText()) ? FileError::None : FileError::NameTooLong;
}

void FolderChange::Prepare() {
    isCurrent = names.IsInUse() && LookAtFolder() && names.IsCurrent(info);
}

void FolderChange::Changed(bool added) {
    int const before = errno;
    if (isCurrent && LookAtFolder())
        names.Enter(info, GetName(), added);
    errno = before;
}

} // namespace IO
