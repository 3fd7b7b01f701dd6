#pragma once

#include <Kestrel/Location/Platform/NativeText.h>

namespace IO {

/// The folder of a CSIDL number by the table in FileCalls.h, as a native path. False: none.
bool FindSpecialFolder(int folder, BytePath * path);

/// The value that the text of a user-dirs.dirs file gives a key, with `$HOME` put in. False: none.
bool FindUserFolder(std::string_view text, std::string_view key, std::string_view home,
                    BytePath * path);

/// What an environment variable says, when that is an absolute path.
bool GetPathVariable(char const * name, BytePath * path);

} // namespace IO
