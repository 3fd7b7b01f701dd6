#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Text/String.h>

#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// The arguments of the process in UTF-8, without the program's name. On Linux the bytes as given.
std::vector<std::string> GetArguments(int argc, char ** argv);

/// The location that an argument denotes: a URL, a portable path, a native path, or a path relative
/// to the current folder. Unhealthy when the argument is none of these.
IO::Location ToLocation(std::string const & argument);

/// The location as users of this platform write it and other programs accept it: on Linux the bytes
/// of the native path.
std::string ToText(IO::Location const & location);
/// The same for a name.
std::string ToText(IO::Name const & name);
/// Already text of this kind.
inline std::string ToText(Mu::String const & text) {
    return std::string(std::string_view(text));
}

/// A path of users with a name appended.
std::string Join(std::string const & folder, std::string const & name);

/// Whether the entry at the location has another spelling on disk. Opening it works then, but
/// commands that destroy refuse. Only on Linux; Windows itself treats all spellings as equal. A
/// failure status: it could not be checked.
MuErrCode IsSpeltOtherwise(IO::Location const & location, bool * otherwise);

/// Whether the argument is ".", "..", empty, or an ancestor of the current folder. Deleting or
/// moving these is never what a user wants.
bool NamesAround(std::string const & argument);

} // namespace Tool
