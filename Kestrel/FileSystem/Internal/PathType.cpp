#include <Kestrel/FileSystem/Internal/PathType.h>

#include <Kestrel/FileSystem/Internal/ErrorGroups.h>

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

// Folders that are known by their text, or by the table of drives.
bool IsKnownFolder(PathText path) {
    if (path.empty() || IsShareRoot(path))
        return true;
    if (!IsDriveRoot(path))
        return false;
    unsigned int const type = GetFileCalls().GetDriveType(path);
    return type >= DriveType::Removable && type <= DriveType::RamDisk;
}

PathLook AskAttributes(PathText path) {
    unsigned int attributes;
    unsigned int error = GetFileCalls().GetFileAttributes(path, &attributes);
    // The entry of a file that may not be touched can still be read in its folder.
    if (error == FileError::AccessDenied || error == FileError::SharingViolation) {
        FindData data;
        if (FindEntry(path, &data) == FileError::None) {
            error = FileError::None;
            attributes = data.attributes;
        }
    }
    return error == FileError::None ? ToLook(attributes) : ToFailure(error);
}

LinkStatus ReadLink(PathText path, FindData const & data, TextBuffer * target) {
    FileCalls & calls = GetFileCalls();
    bool const marked = (data.attributes & FileAttribute::Link) != 0;
    if (data.IsFolder() || data.size == 0 || (calls.MarksLinks() && !marked))
        return LinkStatus::NotALink;
    return calls.ReadShellLink(path, target);
}

} // namespace

PathLook GetPathType(PathText path) {
    return IsKnownFolder(path) ? PathLook{PathType::Folder} : AskAttributes(path);
}

PathLook LookAtPath(PathText path, bool restrictLinks, TextBuffer * target) {
    if (IsKnownFolder(path))
        return {PathType::Folder};
    if (restrictLinks && !HasLinkExtension(path))
        return AskAttributes(path);
    FindData data;
    unsigned int const error = FindEntry(path, &data);
    if (error == FileError::FileNotFound || error == FileError::PathNotFound)
        return ToFailure(error);
    if (error != FileError::None)
        return AskAttributes(path);
    PathLook look = ToLook(data.attributes);
    look.link = ReadLink(path, data, target);
    return look;
}

unsigned int FindEntry(PathText path, FindData * data) {
    FileCalls & calls = GetFileCalls();
    FindHandle find;
    unsigned int const error = calls.FindFirstFile(path, &find, data);
    if (error == FileError::None)
        calls.FindClose(find); // it has no failure that would say anything about the entry
    return error;
}

bool IsWriteProtectedPath(PathText path) {
    unsigned int attributes;
    return GetFileCalls().GetFileAttributes(path, &attributes) == FileError::None &&
           (attributes & FileAttribute::ReadOnly) != 0;
}

FolderSearch::FolderSearch(PathText folder) {
    Mu::UniString const pattern = JoinPath(folder, u"*");
    error = GetFileCalls().FindFirstFile(pattern, &find, &data);
    SkipDots();
}

FolderSearch::~FolderSearch() {
    if (find != nullptr)
        GetFileCalls().FindClose(find);
}

void FolderSearch::Next() {
    error = GetFileCalls().FindNextFile(find, &data);
    SkipDots();
}

void FolderSearch::SkipDots() {
    while (error == FileError::None && data.IsDots())
        error = GetFileCalls().FindNextFile(find, &data);
}

} // namespace IO
