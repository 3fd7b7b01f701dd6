#pragma once

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/String.h>

namespace IO {
class Location;
}

namespace FTM {

class FileTypeManager;

/// The result of LoadSharedMimeTypes, and what a FileType could not represent.
struct SharedMimeResult {
    enum class Reason {
        Weight,        ///< the pattern is used, but its weight, `text`, is ignored
        Literal,       ///< a whole name, such as "makefile"
        Compound,      ///< an extension that contains a dot, such as "*.tar.gz"
        Pattern,       ///< a wildcard or character class elsewhere than at the beginning
        CaseSensitive, ///< a case-sensitive pattern; it is used only if it is in lower case
        Icon,          ///< the name of an icon; icons of a FileType are numbers
        Test, ///< the content test covers too large an offset or range, or there are too many
        Name, ///< the type or alias `text` is in the catalogue already
        Unreachable, ///< an alias or a parent of a type that has neither pattern nor test
        TooMany,     ///< the type has 250 extensions, names or parents already
        Circle,      ///< `text` is a parent that leads back to the type, or is nested too deeply
    };
    struct LeftOut {
        Reason reason;
        Mu::String mime;
        Mu::String text;
    };

    /// NoError; ErrFileNotFound and similar for the file "globs2" of the folder; ErrMemoryFull;
    /// Error: the manager is null, or a file cannot be read or is not part of a catalogue. Nothing
    /// is added after a failure.
    MuErrCode status = Mu::Error;
    unsigned int typeCount = 0;
    unsigned int groupCount = 0;
    unsigned int testCount = 0; ///< number of the types that have a content test
    Mu::Array<LeftOut> leftOut;
};

/// Adds the types of a shared MIME catalogue, owned by `manager`. The desktops of many systems keep
/// one in "/usr/share/mime"; on other systems, pass the folder of a copy.
///
/// Reads the files "globs2", "magic", "aliases", "subclasses" and "icons" of the folder, of which
/// all but the first are optional. Each type with a pattern or a test becomes a FileType with its
/// MIME name as description: patterns such as "*.png" become its extensions, aliases its further
/// MIME names, and rules its content test. There is a group for the first half of the names, such
/// as "image", and one for each type that has subclasses, such as "application/zip", which contains
/// the type and its subclasses; groups have no MIME names.
///
/// Types that are already in the catalogue of the process are not changed.
///
/// Memory:  that of the types, and about a hundred bytes for each rule of a test until the manager
///          is destroyed.
/// Threads: any. Other threads may see some of the types before the call returns.
KESTREL_API SharedMimeResult LoadSharedMimeTypes(FileTypeManager * manager,
                                                 IO::Location const & folder);

} // namespace FTM
