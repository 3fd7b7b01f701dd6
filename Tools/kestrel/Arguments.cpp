#include "Arguments.h"

#include "Console.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/NativePath.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

#if defined(_WIN32)
#include <windows.h>

#include <shellapi.h>
#endif

namespace Tool {

namespace fs = std::filesystem;

#if defined(_WIN32)

// The C run-time passes the arguments in the ANSI code page, which loses characters of names.
std::vector<std::string> GetArguments(int, char **) {
    int count = 0;
    wchar_t ** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i)
        arguments.push_back(ToUtf8(Mu::UniString(reinterpret_cast<char16_t const *>(wide[i]))));
    LocalFree(wide);
    return arguments;
}

static fs::path ToNative(std::string const & argument) {
    Mu::UniString const text = FromUtf8(argument);
    return fs::path(std::u16string_view(text));
}

static std::string ToNativeText(Mu::UniString const & path) {
    return ToUtf8(path);
}

#else

std::vector<std::string> GetArguments(int argc, char ** argv) {
    return std::vector<std::string>(argv + 1, argv + argc);
}

static fs::path ToNative(std::string const & argument) {
    return fs::path(argument);
}

static std::string ToNativeText(Mu::UniString const & path) {
    return IO::ToNativePath(path).native();
}

#endif

namespace {

bool IsPortable(std::string const & text) {
    bool const hasDrive =
        text.size() >= 2 && text[1] == ':' && ((text[0] | 0x20) >= 'a' && (text[0] | 0x20) <= 'z');
    return hasDrive || text.rfind("\\\\", 0) == 0;
}

// Relative to the library's current folder. "." and ".." are resolved here, since a location cannot
// hold such names.
IO::Location ToLocationFromHere(fs::path const & relative) {
    IO::Location current;
    Mu::UniString here;
    if (IO::fileSystem.GetSpecialLocation(IO::SpecLocId::CurrentFolder, &current) != IO::NoError ||
        current.ToPath(&here) != IO::NoError)
        return IO::Location(u"");
    fs::path joined = (IO::ToNativePath(here) / relative).lexically_normal();
    if (!joined.has_filename() && joined != joined.root_path())
        joined = joined.parent_path();
    return IO::Location(IO::FromNativePath(joined));
}

} // namespace

IO::Location ToLocation(std::string const & argument) {
    if (argument.find("://") != std::string::npos || IsPortable(argument))
        return IO::Location(FromUtf8(argument));
    fs::path const native = ToNative(argument);
    if (native.is_absolute())
        return IO::Location(IO::FromNativePath(native));
    return ToLocationFromHere(native);
}

MuErrCode IsSpeltOtherwise(IO::Location const & location, bool * otherwise) {
    *otherwise = false;
#if defined(_WIN32)
    static_cast<void>(location);
    return IO::NoError;
#else
    Mu::UniString path;
    std::error_code failure;
    if (location.IsRoot())
        return IO::NoError;
    if (MuErrCode const status = location.ToPath(&path); status != IO::NoError)
        return status == IO::ErrMemoryFull ? status : IO::NoError; // not an entry of a disk
    fs::path const native = IO::ToNativePath(path);
    // Where nobody may look, the spelling is not known.
    if (native.empty() || fs::symlink_status(native, failure).type() != fs::file_type::not_found)
        return IO::NoError;
    return IO::fileSystem.Contains(location, otherwise);
#endif
}

bool NamesAround(std::string const & argument) {
    std::string const separators =
        IsPortable(argument) || fs::path::preferred_separator == '\\' ? "/\\" : "/";
    std::size_t const last = argument.find_last_not_of(separators);
    std::string const whole = argument.substr(0, last + 1);
    std::size_t const before = whole.find_last_of(separators);
    std::string const name = before == whole.npos ? whole : whole.substr(before + 1);
    if (name == "." || name == ".." || name.empty())
        return true;
    IO::Location current;
    IO::Location const location = ToLocation(argument);
    return IO::fileSystem.GetSpecialLocation(IO::SpecLocId::CurrentFolder, &current) ==
               IO::NoError &&
           (location == current || location.IsAncestorOf(current));
}

std::string Join(std::string const & folder, std::string const & name) {
    bool const isEnded = !folder.empty() && (folder.back() == '/' || folder.back() == '\\');
    return folder + (isEnded ? "" : "/") + name;
}

std::string ToText(IO::Location const & location) {
    Mu::UniString path;
    if (location.ToPath(&path) != IO::NoError) {
        if (location.GetScheme().IsEmpty() || location.ToURL(&path) != IO::NoError)
            location.ToLogText(&path);
        return ToUtf8(path);
    }
    std::string const native = ToNativeText(path);
    return native.empty() ? ToUtf8(path) : native;
}

#if defined(_WIN32)

std::string ToText(IO::Name const & name) {
    return ToUtf8(name);
}

#else

// A lone name has no native form, so it is put into a folder first. ASCII is equal in both forms,
// and nearly all names are ASCII.
std::string ToText(IO::Name const & name) {
    std::u16string_view const units = name.ToString();
    if (std::all_of(units.begin(), units.end(),
                    [](char16_t unit) { return unit != 0 && unit < 0x80; }))
        return std::string(units.begin(), units.end());
    std::string const native = ToNativeText(Mu::UniString(u"C:\\") + name.ToString());
    return native.empty() ? ToUtf8(name) : native.substr(native.rfind('/') + 1);
}

#endif

} // namespace Tool
