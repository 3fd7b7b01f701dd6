#include <Kestrel/FileSystem/Internal/PathType.h>

#include <Kestrel/FileSystem/Internal/ErrorGroups.h>
#include <Kestrel/Location/Internal/OSErrors.h>

namespace IO {

namespace {

PathLook ToLook(unsigned int attributes) {
    return {(attributes & FileAttribute::Folder) != 0 ? PathType::Folder : PathType::File};
}

PathLook ToFailure(unsigned int error) {
    if (error == FileError::PathNotFound)
        return {PathType::PathNotFound, error};
    return {IsDenied(error) ? PathType::AccessDenied : PathType::Other, error};
}

// Folders that are recognised by their text, or by the table of drives.
bool IsKnownFolder(PathText path) {
    if (path.empty() || IsShareRoot(path))
        return true;
    if (!IsDriveRoot(path))
        return false;
    unsigned int const type = GetFileCalls().GetDriveType(path);
    return type >= DriveType::Removable && type <= DriveType::RamDisk;
}

unsigned int QueryAttributes(PathText path, unsigned int * attributes) {
    OSErrorMark const mark = MarkOSErrors();
    unsigned int error = GetFileCalls().GetFileAttributes(path, attributes);
    // The entry of a file that may not be accessed can still be read in its folder.
    if (error == FileError::AccessDenied || error == FileError::SharingViolation) {
        FindData data;
        if (FindEntry(path, &data) == FileError::None) {
            error = FileError::None;
            *attributes = data.attributes;
            ForgetOSErrors(mark);
        }
    }
    return error;
}

PathLook LookForType(PathText path) {
    unsigned int attributes;
    unsigned int const error = QueryAttributes(path, &attributes);
    return error == FileError::None ? ToLook(attributes) : ToFailure(error);
}

// Where the attributes mark links, no other query is needed.
PathLook LookForMark(PathText path, TextBuffer * target) {
    unsigned int attributes;
    unsigned int const error = QueryAttributes(path, &attributes);
    if (error != FileError::None)
        return ToFailure(error);
    PathLook look = ToLook(attributes);
    if ((attributes & FileAttribute::Link) != 0)
        look.link = GetFileCalls().ReadShellLink(path, target);
    return look;
}

// Elsewhere any file with content may be a link. What its folder reports determines its type as
// well.
PathLook LookIntoFile(PathText path, TextBuffer * target) {
    FindData data;
    unsigned int const error = FindEntry(path, &data);
    if (error == FileError::FileNotFound || error == FileError::PathNotFound)
        return ToFailure(error);
    if (error != FileError::None)
        return LookForType(path);
    PathLook look = ToLook(data.attributes);
    if (look.type == PathType::File && data.size != 0)
        look.link = GetFileCalls().ReadShellLink(path, target);
    return look;
}

} // namespace

PathLook GetPathType(PathText path) {
    return IsKnownFolder(path) ? PathLook{PathType::Folder} : LookForType(path);
}

PathLook LookAtPath(PathText path, bool restrictLinks, TextBuffer * target) {
    if (IsKnownFolder(path))
        return {PathType::Folder};
    if (restrictLinks && !HasLinkExtension(path))
        return LookForType(path);
    return GetFileCalls().MarksLinks() ? LookForMark(path, target) : LookIntoFile(path, target);
}

PathType LookForTarget(PathText path) {
    OSErrorMark const mark = MarkOSErrors();
    PathLook const look = GetPathType(path);
    if (look.error == FileError::FileNotFound)
        ForgetOSErrors(mark);
    return look.type;
}

unsigned int FindEntry(PathText path, FindData * data) {
    return GetFileCalls().FindFirstFile(path, data);
}

// A failure of the query is left to the next operation to report.
bool IsWriteProtectedPath(EntryPath path) {
    OSErrorMark const mark = MarkOSErrors();
    unsigned int attributes;
    bool const isKnown = GetFileCalls().GetFileAttributes(path, &attributes) == FileError::None;
    ForgetOSErrors(mark);
    return isKnown && (attributes & FileAttribute::ReadOnly) != 0;
}

void FolderSearch::Start() {
    error = folder.GetError();
    if (error == FileError::None)
        Next();
}

void FolderSearch::Next() {
    do
        error = GetFileCalls().FindNextFile(folder.Get(), &data);
    while (error == FileError::None && data.IsDots());
}

} // namespace IO
