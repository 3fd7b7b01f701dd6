#pragma once

#include <Kestrel/Location/Platform/NativeText.h>

namespace IO {

/// The folder of a CSIDL number by the table in FileCalls.h, as a native path. False: none.
bool FindSpecialFolder(int folder, BytePath * path);

/// The value of a key in the text of a user-dirs.dirs file, with `$HOME` replaced. False: none.
bool FindUserFolder(std::string_view text, std::string_view key, std::string_view home,
                    BytePath * path);

/// The value of an environment variable, if it is an absolute path.
bool GetPathVariable(char const * name, BytePath * path);

} // namespace IO
