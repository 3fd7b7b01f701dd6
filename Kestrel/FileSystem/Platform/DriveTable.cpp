#include <Kestrel/FileSystem/Platform/DriveTable.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace IO {
namespace {

unsigned int SkipName(PathText path, unsigned int from) {
    while (from < path.size() && !IsSeparator(path[from]))
        ++from;
    return from;
}

bool BeginsWithTwoSeparators(PathText path) {
    return path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1]);
}

// 0 for no letter.
unsigned int ToDriveLetter(char16_t unit) {
    unsigned int const letter = unit >= u'a' && unit <= u'z' ? unit - 32u : unit;
    return letter >= 'A' && letter <= 'Z' ? letter : 0;
}

// The letter of a path that begins with `C:`, alone or before a separator; 0 for another.
unsigned int GetDriveLetter(PathText path) {
    bool const isDrive =
        path.size() >= 2 && path[1] == u':' && (path.size() == 2 || IsSeparator(path[2]));
    return isDrive ? ToDriveLetter(path[0]) : 0;
}

// The length of `\\host\share`, or 0 for another text.
unsigned int GetShareLength(PathText path) {
    unsigned int const host = SkipName(path, 2);
    if (host == 2 || host == path.size())
        return 0;
    unsigned int const share = SkipName(path, host + 1);
    return share == host + 1 ? 0 : share;
}

// Removes "." and doubled separators. False for a relative path, one that is too long, and one that
// contains a zero, where the system would end it.
bool Normalize(std::string_view native, BytePath * path) {
    if (native.empty() || native[0] != '/' || native.find('\0') != std::string_view::npos)
        return false;
    while (!native.empty()) {
        std::size_t const end = std::min(native.find('/'), native.size());
        std::string_view const name = native.substr(0, end);
        if (!name.empty() && name != "." && !path->AppendName(name))
            return false;
        native.remove_prefix(std::min(end + 1, native.size()));
    }
    return path->length != 0 || path->Append("/");
}

bool IsAncestor(std::string_view folder, std::string_view path) {
    return folder == "/" || (path.substr(0, folder.size()) == folder &&
                             (path.size() == folder.size() || path[folder.size()] == '/'));
}

} // namespace

DriveTable::DriveTable(std::string_view text) {
    AddEntry("C", "/");
    while (!text.empty()) {
        std::string_view const entry = text.substr(0, text.find(';'));
        std::size_t const equals = entry.find('=');
        if (equals != std::string_view::npos)
            AddEntry(entry.substr(0, equals), entry.substr(equals + 1));
        text.remove_prefix(std::min(entry.size() + 1, text.size()));
    }
}

void DriveTable::AddEntry(std::string_view root, std::string_view folder) {
    BytePath path;
    if (!folder.empty() && !Normalize(folder, &path))
        return;
    if (root.size() > 2) {
        AddShare(root, Keep(path));
        return;
    }
    unsigned int const letter =
        root.empty() ? 0 : ToDriveLetter(static_cast<unsigned char>(root[0]));
    if (letter == 0 || (root.size() != 1 && root[1] != ':'))
        return;
    drives[letter - 'A'] = Keep(path);
    lastLetter = std::max(lastLetter, letter);
}

void DriveTable::AddShare(std::string_view root, std::string_view folder) {
    char16_t * const begin = units + unitsUsed;
    TextBuffer text{begin, static_cast<unsigned int>(std::size(units)) - unitsUsed, 0};
    while (!root.empty() && text.size > 1) {
        std::string_view const name = root.substr(0, root.find_first_of("\\/"));
        if (!AppendPortableText(name, &text))
            return;
        root.remove_prefix(name.size());
        if (!root.empty() && !text.Put(u'\\'))
            return;
        root.remove_prefix(root.empty() ? 0 : 1);
    }
    PathText const name = text.GetText();
    if (!BeginsWithTwoSeparators(name) || GetShareLength(name) != name.size())
        return;
    if (Share const * const earlier = FindShare(name)) {
        shares[earlier - shares].folder = folder;
    } else if (shareCount < MaxShares) {
        shares[shareCount++] = {name, folder};
        unitsUsed += text.length;
    }
}

std::string_view DriveTable::Keep(BytePath const & folder) {
    if (folder.length > std::size(bytes) - bytesUsed)
        return {};
    char * const kept = bytes + bytesUsed;
    std::memcpy(kept, folder.text, folder.length);
    bytesUsed += folder.length;
    return std::string_view(kept, folder.length);
}

DriveTable::Share const * DriveTable::FindShare(PathText root) const {
    for (unsigned int i = 0; i < shareCount; ++i)
        if (IsSameSpelling(shares[i].root, root))
            return &shares[i];
    return nullptr;
}

unsigned int DriveTable::Find(PathText path, Place * place) const {
    if (unsigned int const letter = GetDriveLetter(path)) {
        *place = {GetFolder(letter), path.substr(2)};
        return place->folder.empty() ? FileError::PathNotFound : FileError::None;
    }
    if (!BeginsWithTwoSeparators(path))
        return FileError::PathNotFound;
    unsigned int const length = GetShareLength(path);
    // The table contains `\`; the path may contain "/".
    char16_t root[2 * MaxNameBytes + 4];
    if (length > std::size(root))
        return FileError::BadNetPath;
    for (unsigned int i = 0; i < length; ++i)
        root[i] = IsSeparator(path[i]) ? u'\\' : path[i];
    Share const * const share = FindShare(PathText(root, length));
    if (share == nullptr || share->folder.empty())
        return FileError::BadNetPath;
    *place = {share->folder, path.substr(length)};
    return FileError::None;
}

unsigned int DriveTable::ToNative(PathText path, BytePath * native,
                                  unsigned int * rootLength) const {
    native->Truncate(0);
    Place place;
    unsigned int error = Find(path, &place);
    if (error == FileError::None)
        native->Append(place.folder);
    *rootLength = native->length;
    return error == FileError::None ? AppendNames(place.rest, native) : error;
}

unsigned int DriveTable::AppendNames(PathText rest, BytePath * native) {
    unsigned int error = FileError::None;
    if (AppendPlainNames(rest, native))
        return error;
    while (error == FileError::None && !rest.empty()) {
        PathText const name = rest.substr(0, SkipName(rest, 0));
        if (!name.empty())
            error =
                native->AppendName({}) ? AppendNativeName(name, native) : FileError::NameTooLong;
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    }
    return error;
}

// Drives take precedence over shares, and deeper folders over others.
bool DriveTable::FindRoot(std::string_view native, Root * root) const {
    *root = {};
    for (unsigned int letter = 'A'; letter <= lastLetter; ++letter) {
        std::string_view const folder = GetFolder(letter);
        if (folder.size() > root->folder.size() && IsAncestor(folder, native))
            *root = {static_cast<char16_t>(letter), {}, folder};
    }
    bool const isOnDrive = !root->folder.empty();
    for (unsigned int i = 0; !isOnDrive && i < shareCount; ++i)
        if (shares[i].folder.size() > root->folder.size() && IsAncestor(shares[i].folder, native))
            *root = {0, shares[i].root, shares[i].folder};
    return !root->folder.empty();
}

unsigned int DriveTable::ToPortable(std::string_view native, TextBuffer * path) const {
    path->length = 0;
    Root root;
    if (native.size() < BytePath::Size && FindRoot(native, &root) && root.letter != 0) {
        // Nearly every path is converted here, which also checks whether it is normal.
        std::string_view const names = native.substr(root.folder == "/" ? 0 : root.folder.size());
        if (path->Put(root.letter) && path->Put(u':') && AppendPlainPath(names, path))
            return FileError::None;
        path->length = 0;
    }
    BytePath normal;
    if (!Normalize(native, &normal))
        return FileError::InvalidName;
    if (!FindRoot(normal.GetText(), &root))
        return FileError::PathNotFound;
    bool const isOnDrive = root.letter != 0;
    bool fits = isOnDrive ? path->Put(root.letter) && path->Put(u':') : path->Put(root.share);
    std::string_view rest = normal.GetText().substr(root.folder == "/" ? 0 : root.folder.size());
    if (isOnDrive && rest.size() <= 1)
        fits = fits && path->Put(u'\\');
    while (fits && rest.size() > 1) {
        rest.remove_prefix(1);
        std::string_view const name = rest.substr(0, rest.find('/'));
        fits = path->Put(u'\\') && AppendPortableName(name, path);
        rest.remove_prefix(name.size());
    }
    if (path->size != 0)
        path->units[path->length] = 0;
    return fits ? FileError::None : FileError::MoreData;
}

bool DriveTable::IsNative(PathText text) const {
    if (text.empty() || text[0] != u'/' || BeginsWithTwoSeparators(text))
        return false;
    unsigned int const letter = GetDriveLetter(text.substr(1));
    return letter == 0 || GetFolder(letter).empty();
}

} // namespace IO
