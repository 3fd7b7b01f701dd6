#include <Kestrel/FileSystem/Platform/Posix/LongPath.h>

#include <Kestrel/FileSystem/Platform/Posix/FolderReader.h>

#include <algorithm>
#include <unistd.h>

namespace IO {
namespace {

// The most units of a step, each of which has three bytes at most.
constexpr std::size_t MostUnits = BytePath::Size / 3 - 1;
constexpr PathText Separators = u"\\/";

// Removes whole names from the path and returns them. Empty: a single name is too long.
PathText TakeStep(PathText * path) {
    std::size_t const end =
        path->size() <= MostUnits ? path->size() : path->find_last_of(Separators, MostUnits);
    PathText const step = end == PathText::npos ? PathText() : path->substr(0, end);
    path->remove_prefix(std::min(step.size() + 1, path->size()));
    return step;
}

// Opens the folder at this path, relative to the one that is open, and replaces that by it.
bool Enter(BytePath const & path, Descriptor * folder) {
    int const at = folder->IsOpen() ? folder->Get() : AT_FDCWD;
    int const next = OpenFolder(at, path.text, O_PATH);
    if (next < 0)
        return false;
    Descriptor const left(folder->Release());
    folder->Take(next);
    return true;
}

unsigned int ToPathError() {
    return errno == ENOENT ? FileError::PathNotFound : GetLastFileError();
}

unsigned int EnterByName(PathText names, Descriptor * folder) {
    while (!names.empty()) {
        PathText const name = names.substr(0, names.find_first_of(Separators));
        names.remove_prefix(std::min(name.size() + 1, names.size()));
        BytePath path;
        unsigned int error = AppendNativeName(name, &path);
        if (error == FileError::None && !name.empty() && !Enter(path, folder)) {
            error = errno == ENOENT ? FolderNames::Get().FindSpellingIn(folder->Get(), &path)
                                    : GetLastFileError();
            if (error == FileError::None && !Enter(path, folder))
                error = ToPathError();
        }
        if (error != FileError::None)
            return error == FileError::FileNotFound ? FileError::PathNotFound : error;
    }
    return FileError::None;
}

unsigned int EnterRoot(DriveTable const & drives, PathText path, Descriptor * folder) {
    BytePath native;
    unsigned int rootLength = 0;
    if (unsigned int const error = drives.ToNative(path, &native, &rootLength);
        error != FileError::None)
        return error;
    if (Enter(native, folder))
        return FileError::None;
    if (errno != ENOENT)
        return GetLastFileError();
    unsigned int const error = FolderNames::Get().FindSpelling(&native, rootLength);
    if (error != FileError::None)
        return error == FileError::FileNotFound ? FileError::PathNotFound : error;
    return Enter(native, folder) ? FileError::None : ToPathError();
}

unsigned int EnterBelow(PathText names, Descriptor * folder) {
    BytePath native;
    native.Append(".");
    if (unsigned int const error = DriveTable::AppendNames(names, &native);
        error != FileError::None)
        return error;
    if (Enter(native, folder))
        return FileError::None;
    return errno == ENOENT ? EnterByName(names, folder) : GetLastFileError();
}

} // namespace

unsigned int ReachInSteps(DriveTable const & drives, PathText path, NativeEntry * entry) {
    std::size_t const last = path.find_last_not_of(Separators);
    path = path.substr(0, last + 1);
    std::size_t const separator = path.find_last_of(Separators);
    if (last == PathText::npos || separator == PathText::npos)
        return FileError::NameTooLong;
    PathText const name = path.substr(separator + 1);
    PathText folders = path.substr(0, separator);
    while (!folders.empty()) {
        PathText const step = TakeStep(&folders);
        unsigned int const error = step.empty() ? FileError::NameTooLong
                                   : entry->reached.IsOpen()
                                       ? EnterBelow(step, &entry->reached)
                                       : EnterRoot(drives, step, &entry->reached);
        if (error != FileError::None)
            return error;
    }
    entry->at = entry->reached.Get();
    entry->rootLength = 0;
    entry->path.Truncate(0);
    bool const isName = name != u"." && name != u"..";
    return isName ? AppendNativeName(name, &entry->path) : FileError::InvalidName;
}

} // namespace IO
