#pragma once

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace Mu {
class String;
}

/// Small settings that outlive the process, kept in one text file for each user:
///
///     # The size of a file's input buffer, in bytes.
///     [Kestrel]
///     FileCacheSize = 16384
///
/// The file is $XDG_CONFIG_HOME/kestrel/preferences.ini or else ~/.config/kestrel/preferences.ini,
/// on Windows Kestrel\preferences.ini in the roaming application data, and for a process with the
/// variable KESTREL_PREFERENCES the file that it names.
///
/// People edit it, and the library only reads it. What cannot be understood is passed over; of two
/// equal values the first one counts. Keys and names are compared without regard to the case of A
/// to Z.
namespace MuPref {

enum RootKeyDomain : int {
    UserDomain = 1 ///< the settings of the user who runs the process
};

/// The settings as the file had them when the root key was opened.
///
/// Memory:  the text of the file, at most a megabyte.
/// Threads: any number at once.
/// Failure: reading never fails in another way than "not there". Mu::OutOfMemoryException comes
///          from GetText alone, since a default would be taken for what the user set.
class KESTREL_API IRoot {
public:
    virtual ~IRoot() = default;

    /// True: the value is there and is a number, in decimal, or in hexadecimal behind 0x; a comment
    /// may follow it. In every other case `*value` gets the default.
    virtual bool GetUInt(char const * key, char const * name, unsigned int defaultValue,
                         unsigned int * value) const = 0;
    /// True: the value is there. The text is UTF-8, without the blanks round it. Otherwise `*value`
    /// gets the default. Throws Mu::OutOfMemoryException, and `*value` stays as it is.
    virtual bool GetText(char const * key, char const * name, char const * defaultValue,
                         Mu::String * value) const = 0;
};

/// Null: there is no such domain, or no memory. A file that is missing or cannot be read is one
/// without settings.
KESTREL_API IRoot * OpenRootKey(RootKeyDomain domain);
/// Nulls the pointer; null, or a pointer to null, does nothing.
KESTREL_API void CloseRootKey(IRoot ** root);

} // namespace MuPref
