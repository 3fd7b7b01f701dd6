#pragma once

#include <Kestrel/FileSystem/Platform/FileCalls.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

// Functions of the text of a portable path, the same on every platform. `\` and "/" separate.

/// Behind the root of a path that has none.
inline constexpr std::size_t NoRoot = PathText::npos;

/// The path of an entry in a folder. An empty folder is the root of the machine, whose entries are
/// drives, and end in a separator like the shares of a machine.
Mu::UniString JoinPath(PathText folder, PathText name);

/// Two separators and a host, with at most one more separator, at the end.
bool IsShareRoot(PathText path);

/// Where the root of a path ends: behind the share for a path that begins with two separators; at
/// the first separator for others. NoRoot when the path ends before.
std::size_t RootEnd(PathText path);

/// Whether the path is its own root, with the separator at the end.
bool IsDriveRoot(PathText path);

/// The root with a separator at its end; empty when there is none.
Mu::UniString GetRootPath(PathText path);

/// Where the last name of a path begins; 0 for a path without a folder above it.
std::size_t FindLastName(PathText path);

/// Whether a link may have this name where only files with the extension "lnk" count as links.
bool HasLinkExtension(PathText path);

} // namespace IO
