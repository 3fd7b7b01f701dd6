#include <Kestrel/FileSystem/Platform/Posix/PosixFileCalls.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace IO {
namespace {

std::string_view GetFolder(BytePath const & path) {
    std::size_t const separator = path.GetText().rfind('/');
    return path.GetText().substr(0, separator == 0 ? 1 : separator);
}

std::string_view GetName(BytePath const & path) {
    return path.GetText().substr(path.GetText().rfind('/') + 1);
}

// The text of a link, whatever it is relative to. False with errno.
bool ReadLinkText(int at, char const * path, BytePath * text) {
    auto const length = ::readlinkat(at, path, text->text, BytePath::Size - 1);
    if (length < 0)
        return false;
    text->Truncate(static_cast<unsigned int>(length));
    return true;
}

bool HasDotDot(std::string_view path) {
    while (!path.empty()) {
        std::string_view const name = path.substr(0, path.find('/'));
        if (name == "..")
            return true;
        path.remove_prefix(std::min(name.size() + 1, path.size()));
    }
    return false;
}

// The folder of the entry without links, "." and "..", if it exists at all.
bool SetToRealFolder(BytePath const & path, BytePath * real) {
    char text[PATH_MAX];
    BytePath folder;
    real->Truncate(0);
    return folder.Append(GetFolder(path)) && ::realpath(folder.text, text) != nullptr &&
           real->Append(text);
}

// Shortens "a/../b" by the text alone.
bool Collapse(BytePath const & path, BytePath * collapsed) {
    std::string_view rest = path.GetText();
    collapsed->Truncate(0);
    while (!rest.empty()) {
        std::string_view const name = rest.substr(0, rest.find('/'));
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        if (name == "..")
            collapsed->Truncate(static_cast<unsigned int>(
                std::min<std::size_t>(collapsed->GetText().rfind('/'), collapsed->length)));
        else if (!name.empty() && name != "." && !collapsed->AppendName(name))
            return false;
    }
    return collapsed->length != 0 || collapsed->Append("/");
}

// The target of the link's text from the link's folder: an absolute path without "..".
bool FollowText(BytePath const & link, BytePath const & text, BytePath * target) {
    BytePath joined;
    bool const isAbsolute = text.text[0] == '/';
    bool fits = isAbsolute || SetToRealFolder(link, &joined);
    fits = fits && (isAbsolute ? joined.Append(text.GetText()) : joined.AppendName(text.GetText()));
    if (!fits)
        return false;
    // The kernel resolves ".." best, if the folder exists.
    bool const isReal =
        HasDotDot(joined.GetText()) && GetName(joined) != ".." && SetToRealFolder(joined, target);
    return isReal ? target->AppendName(GetName(joined)) : Collapse(joined, target);
}

// The same for a folder whose path is too long for the system, by the portable path of the link. By
// the text alone, which may lead elsewhere than the system does; the caller checks that.
bool FollowPortableText(PathText link, BytePath const & text, TextBuffer * target) {
    constexpr PathText separators = u"\\/";
    std::string_view rest = text.GetText();
    if (!target->Put(link.substr(0, link.find_last_of(separators))))
        return false;
    while (!rest.empty()) {
        std::string_view const name = rest.substr(0, rest.find('/'));
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        std::size_t const separator = target->GetText().find_last_of(separators);
        if (name == ".." && separator == PathText::npos)
            return false;
        if (name == "..")
            target->length = static_cast<unsigned int>(separator);
        else if (!name.empty() && name != "." &&
                 (!target->Put(u'\\') || !AppendPortableName(name, target)))
            return false;
    }
    return true;
}

bool IsSameEntry(struct stat const & a, struct stat const & b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace

LinkStatus PosixFileCalls::ReadShellLink(PathText path, TextBuffer * target) {
    target->length = 0;
    NativeEntry entry;
    BytePath & link = entry.path;
    BytePath text;
    unsigned int const error = OnEntry(path, &entry, [&text](int at, char const * native) {
        return ReadLinkText(at, native, &text);
    });
    if (error != FileError::None)
        return LinkStatus::NotALink;
    BytePath next;
    struct stat info;
    if (text.length == 0)
        return LinkStatus::Broken;
    if (entry.at != AT_FDCWD && text.text[0] != '/') {
        NativeEntry found;
        struct stat there;
        bool const leads =
            FollowPortableText(path, text, target) &&
            ::fstatat(entry.at, link.text, &info, 0) == 0 &&
            OnEntry(target->GetText(), &found, [&there](int at, char const * native) {
                return ::fstatat(at, native, &there, 0) == 0;
            }) == FileError::None;
        if (leads && IsSameEntry(info, there))
            return LinkStatus::Done;
        target->length = 0;
        return LinkStatus::Broken; // which the system may follow nevertheless
    }
    if (!FollowText(link, text, &next))
        return LinkStatus::Failed;
    if (::lstat(next.text, &info) != 0 && ::fstatat(entry.at, link.text, &info, 0) == 0)
        return LinkStatus::NotALink; // the kernel opens it, but not by this text
    bool const fits = PutNative(next.GetText(), target) == FileError::None;
    return fits ? LinkStatus::Done : LinkStatus::Failed;
}

unsigned int PosixFileCalls::CreateShellLink(PathText path, PathText target,
                                             PathText /*description*/) {
    NativeEntry link;
    NativeEntry native;
    struct stat info;
    // The spelling must be exact, since the kernel follows the link by itself.
    unsigned int error = FindEntry(target, &native, &info);
    if (error != FileError::None)
        error = ToNative(target, &native);
    if (error == FileError::None)
        error = CheckIsWhole(native);
    if (error == FileError::None)
        error = ToNative(path, &link);
    if (error != FileError::None)
        return error;
    return MakeEntry(&link, FileError::FileExists, [&native](int at, char const * entry) {
        return ::symlinkat(native.path.text, at, entry) == 0;
    });
}

unsigned int PosixFileCalls::CopyLink(NativeEntry const & link, NativeEntry * copy) const {
    BytePath text;
    if (!ReadLinkText(link.at, link.path.text, &text))
        return GetLastFileError();
    return MakeEntry(copy, FileError::FileExists, [&text](int at, char const * entry) {
        return ::symlinkat(text.text, at, entry) == 0;
    });
}

} // namespace IO
