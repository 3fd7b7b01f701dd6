#include <Kestrel/FileSystem/NativePath.h>

#include <Kestrel/FileSystem/Platform/Windows/WidePath.h>

// Both forms are the same here; only absolute paths must be distinguished from others.

namespace IO {
namespace {

// Where the root of an absolute path ends: `C:` or `\\host`. 0 for another text.
std::size_t GetRootLength(PathText path) {
    bool const isDrive =
        path.size() >= 2 && path[1] == u':' && (path.size() == 2 || IsSeparator(path[2]));
    if (isDrive && ((path[0] | 0x20) >= u'a' && (path[0] | 0x20) <= u'z'))
        return 2;
    bool const isShare = path.size() > 2 && IsSeparator(path[0]) && IsSeparator(path[1]);
    return !isShare || IsSeparator(path[2]) ? 0
                                            : std::min(path.find_first_of(u"\\/", 2), path.size());
}

bool IsAbsolute(PathText path) {
    return GetRootLength(path) != 0 && path.find(u'\0') == PathText::npos;
}

} // namespace

bool IsNativePath(Mu::UniString const & /*text*/) {
    return false;
}

bool FromNativePath(Mu::UniString const & native, Mu::UniString * path) {
    PathText rest = native;
    if (rest.substr(0, 4) == u"\\\\?\\")
        rest.remove_prefix(4);
    std::size_t const root = IsAbsolute(rest) ? GetRootLength(rest) : 0;
    Mu::UniString result{rest.substr(0, root)};
    result.ReplaceAll('/', '\\');
    rest.remove_prefix(root);
    bool const isDriveRoot = root == 2;
    while (root != 0 && !rest.empty()) {
        PathText const name = rest.substr(0, rest.find_first_of(u"\\/"));
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        if (name.empty() || name == u".")
            continue;
        result.Append('\\');
        result.Append(Mu::ConstSubstring(name));
    }
    if (isDriveRoot && result.GetLength() == 2)
        result.Append('\\');
    path->Swap(result);
    return root != 0;
}

bool FromNativePath(std::basic_string_view<NativeUnit> native, Mu::UniString * path) {
    Mu::UniString const text(
        std::u16string_view(Mu::ToChar16(Mu::Platform::FromWide(native.data())), native.size()));
    return FromNativePath(text, path);
}

unsigned int ToNativePath(Mu::UniString const & path, NativeUnit * native, unsigned int size) {
    bool const fits = IsAbsolute(path) && path.GetLength() < size;
    unsigned int const length = fits ? path.GetLength() : 0;
    std::copy_n(ToWide(path), length, native);
    if (size != 0)
        native[length] = 0;
    return length;
}

bool ToNativePath(Mu::UniString const & path, Mu::UniString * native) {
    bool const isDone = IsAbsolute(path);
    *native = isDone ? path : Mu::UniString();
    return isDone;
}

} // namespace IO
