#include <Kestrel/FileSystem/Internal/PathText.h>

#include <algorithm>

namespace IO {

namespace {

constexpr char16_t separator[] = u"\\";

bool BeginsWithHost(PathText path) {
    return path.size() > 2 && IsSeparator(path[0]) && IsSeparator(path[1]) && !IsSeparator(path[2]);
}

std::size_t FindSeparator(PathText path, std::size_t from) {
    return std::min(path.find_first_of(u"\\/", from), path.size());
}

void Append(Mu::UniString & text, PathText more) {
    text.Append(Mu::ConstSubstring(more));
}

} // namespace

Mu::UniString JoinPath(PathText folder, PathText name) {
    Mu::UniString path;
    path.SetCapacity(static_cast<unsigned int>(folder.size() + name.size() + 2));
    Append(path, folder);
    if (!folder.empty() && !IsSeparator(folder.back()))
        Append(path, separator);
    Append(path, name);
    if (folder.empty() || IsShareRoot(folder))
        Append(path, separator);
    return path;
}

bool IsShareRoot(PathText path) {
    return BeginsWithHost(path) && FindSeparator(path, 2) + 1 >= path.size();
}

std::size_t RootEnd(PathText path) {
    if (!BeginsWithHost(path)) {
        std::size_t const end = FindSeparator(path, 0);
        return end < path.size() ? end : NoRoot;
    }
    std::size_t const share = FindSeparator(path, 2) + 1;
    return share < path.size() ? FindSeparator(path, share) : NoRoot;
}

bool IsDriveRoot(PathText path) {
    std::size_t const end = RootEnd(path);
    return end != NoRoot && end + 1 == path.size();
}

Mu::UniString GetRootPath(PathText path) {
    Mu::UniString root;
    std::size_t const end = RootEnd(path);
    if (end != NoRoot) {
        Append(root, path.substr(0, end));
        Append(root, separator);
    }
    return root;
}

std::size_t FindLastName(PathText path) {
    std::size_t const separator = path.find_last_of(u"\\/");
    return separator == PathText::npos || separator + 1 == path.size() ? 0 : separator + 1;
}

bool HasLinkExtension(PathText path) {
    return path.ends_with(u".lnk");
}

} // namespace IO
