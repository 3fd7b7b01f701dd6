#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace Mu {
class String;
}

/// Settings in a text file for each user:
///
///     # The size of a file's input buffer, in bytes.
///     [Kestrel]
///     FileCacheSize = 16384
///
/// The file is $XDG_CONFIG_HOME/kestrel/preferences.ini or else ~/.config/kestrel/preferences.ini,
/// on Windows Kestrel\preferences.ini in the roaming application data, and for a process with the
/// variable KESTREL_PREFERENCES the file that it names.
///
/// Users edit it, and the library only reads it. Invalid lines are ignored; of two equal values the
/// first one is used. Keys and names are compared ignoring the case of A to Z.
namespace MuPref {

enum RootKeyDomain : int {
    UserDomain = 1 ///< the settings of the user who runs the process
};

/// The settings as of the time when the root key was opened.
///
/// Memory:  the text of the file, at most a megabyte.
/// Threads: any number at once.
/// Failure: reading a value fails only if it does not exist. Mu::OutOfMemoryException is thrown by
///          GetText only, as returning the default would hide the user's setting.
class KESTREL_API IRoot {
public:
    virtual ~IRoot() = default;

    /// True: the value exists and is a number, decimal, or hexadecimal after 0x; a comment may
    /// follow it. In every other case `*value` is set to the default.
    virtual bool GetUInt(char const * key, char const * name, unsigned int defaultValue,
                         unsigned int * value) const = 0;
    /// True: the value exists. The text is UTF-8, without surrounding white space. Otherwise
    /// `*value` is set to the default. Throws Mu::OutOfMemoryException, and `*value` is unchanged
    /// then.
    virtual bool GetText(char const * key, char const * name, char const * defaultValue,
                         Mu::String * value) const = 0;
};

/// Null: there is no such domain, or no memory. A file that is missing or cannot be read counts as
/// empty.
KESTREL_API IRoot * OpenRootKey(RootKeyDomain domain);
/// Sets the pointer to null; null, or a pointer to null, does nothing.
KESTREL_API void CloseRootKey(IRoot ** root);

} // namespace MuPref
