#include <Kestrel/FileSystem/Internal/SpecialLocations.h>

#include <Kestrel/FileSystem/Internal/Drives.h>
#include <Kestrel/FileSystem/Internal/PathOperations.h>
#include <Kestrel/Location/Location.h>

#include <iterator>

namespace IO {

namespace {

using PathCall = unsigned int (FileCalls::*)(TextBuffer *);

constexpr int NoFolder = -1;

// How a location is queried: by a call of its own, or by a folder number and a second one for
// platforms without the first.
struct Source {
    PathCall call;
    int folder;
    int otherwise;
};

// By SpecLocId.
constexpr Source sources[] = {
    {&FileCalls::GetSystemDirectory, NoFolder, NoFolder},
    {&FileCalls::GetModuleFileName, NoFolder, NoFolder},
    {&FileCalls::GetModuleFileName, NoFolder, NoFolder}, // the file's name is removed below
    {&FileCalls::GetCurrentDirectory, NoFolder, NoFolder},
    {nullptr, 28, 26},
    {nullptr, 28, 26},
    {nullptr, 28, 26},
    {nullptr, 28, 26},
    {nullptr, 26, NoFolder},
    {nullptr, 35, 26},
    {nullptr, 16, NoFolder},
    {&FileCalls::GetTempPath, NoFolder, NoFolder}, // tested for writing below
    {nullptr, 5, NoFolder},
    {nullptr, 46, NoFolder},
    {nullptr, 46, NoFolder},
    {nullptr, 46, NoFolder},
    {nullptr, 40, 5},
    {nullptr, 43, 38},
};

bool AskFolder(int folder, TextBuffer * path) {
    return folder != NoFolder && GetFileCalls().SHGetFolderPath(folder, path) == FileError::None &&
           path->length != 0;
}

bool Ask(Source const & source, TextBuffer * path) {
    if (source.call != nullptr)
        return (GetFileCalls().*source.call)(path) == FileError::None;
    return AskFolder(source.folder, path) || AskFolder(source.otherwise, path);
}

// The system may return shortened names; the long ones are used where available.
MuErrCode SetFromSystem(PathText path, Location * location) {
    constexpr unsigned int longPathSize = IsOnLinux ? LongestPathText + 1 : 260;
    char16_t units[longPathSize];
    TextBuffer longPath{units, longPathSize, 0};
    bool const isLong =
        GetFileCalls().GetLongPathName(path, &longPath) == FileError::None && longPath.length != 0;
    return location->Set(Mu::UniString(isLong ? longPath.GetText() : path));
}

} // namespace

bool FindSpecialLocation(SpecLocId id, Location * location) {
    unsigned int const row = static_cast<unsigned int>(id);
    PathBuffer path;
    if (row >= std::size(sources))
        return false;
    bool found = Ask(sources[row], &path.text);
    if (id == SpecLocId::TemporaryFolder && !(found && CanWriteInto(path.text.GetText())))
        return FindSpecialLocation(SpecLocId::UserLocalSettings, location);
    found = found && SetFromSystem(path.text.GetText(), location) == NoError;
    if (found && id == SpecLocId::ApplicationFolder)
        found = location->DeleteLastLocalName() == NoError;
    return found;
}

} // namespace IO
