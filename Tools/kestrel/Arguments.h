#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Text/String.h>

#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// The arguments of the process in UTF-8, without the program's name. On Linux the bytes as given.
std::vector<std::string> GetArguments(int argc, char ** argv);

/// The location that an argument means: a URL, a portable path, a native path, or a path relative
/// to the current folder. Not healthy when it means none.
IO::Location ToLocation(std::string const & argument);

/// The location in the form that people of this platform expect, and other programs take: on Linux the
/// bytes of the native path.
std::string ToText(IO::Location const & location);
/// The same for a name.
std::string ToText(IO::Name const & name);
/// What is text of this kind already.
inline std::string ToText(Mu::String const & text) {
    return std::string(std::string_view(text));
}

/// Whether what stands at the location is spelt otherwise there, which opens it, but does not do for
/// who destroys. Only on Linux; on Windows the system itself takes all spellings for one. A status says
/// that it could not be checked.
MuErrCode IsSpeltOtherwise(IO::Location const & location, bool * otherwise);

/// Whether the argument names a folder by "." or "..", by nothing at all, or one that the current
/// folder lies in. Nobody means to delete or move that.
bool NamesAround(std::string const & argument);

} // namespace Tool
