#include <Kestrel/FileSystem/NativePath.h>

#include <Kestrel/FileSystem/Platform/Posix/PosixFileCalls.h>
#include <Kestrel/Root/Text/CodeUnits.h>

namespace IO {
namespace {

DriveTable const & GetDrives() {
    return static_cast<PosixFileCalls &>(GetPlatformFileCalls()).GetDrives();
}

unsigned int Convert(Mu::UniString const & path, BytePath * native) {
    unsigned int rootLength;
    return GetDrives().ToNative(path, native, &rootLength);
}

} // namespace

bool IsNativePath(Mu::UniString const & text) {
    return GetDrives().IsNative(text);
}

bool FromNativePath(std::basic_string_view<NativeUnit> native, Mu::UniString * path) {
    // A byte becomes a unit at most, and the root of a drive or share comes before it.
    char16_t units[3 * BytePath::Size];
    TextBuffer text{units, static_cast<unsigned int>(std::size(units)), 0};
    bool const isDone = GetDrives().ToPortable(native, &text) == FileError::None;
    *path = Mu::ConstSubstring(isDone ? text.GetText() : PathText());
    return isDone;
}

bool FromNativePath(Mu::UniString const & native, Mu::UniString * path) {
    BytePath bytes;
    bool const fits = AppendNativeText(native, &bytes) == FileError::None;
    if (fits)
        return FromNativePath(bytes.GetText(), path);
    path->Clear();
    return false;
}

unsigned int ToNativePath(Mu::UniString const & path, NativeUnit * native, unsigned int size) {
    BytePath bytes;
    if (Convert(path, &bytes) != FileError::None || bytes.length >= size)
        bytes.Truncate(0);
    if (size != 0)
        bytes.GetText().copy(native, bytes.length);
    if (size != 0)
        native[bytes.length] = 0;
    return bytes.length;
}

bool ToNativePath(Mu::UniString const & path, Mu::UniString * native) {
    BytePath bytes;
    bool const isDone = Convert(path, &bytes) == FileError::None;
    char16_t units[BytePath::Size];
    TextBuffer text{units, BytePath::Size, 0};
    if (isDone)
        AppendPortableText(bytes.GetText(), &text);
    *native = Mu::UniString(text.GetText());
    return isDone;
}

} // namespace IO
