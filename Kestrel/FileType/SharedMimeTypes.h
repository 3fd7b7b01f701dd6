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

/// What LoadSharedMimeTypes made of a catalogue, and what of it a FileType cannot say.
struct SharedMimeResult {
    enum class Reason {
        Weight,        ///< the pattern counts like any other; `text` is its weight
        Literal,       ///< a whole name, such as "makefile"
        Compound,      ///< an extension with a point in it, such as "*.tar.gz"
        Pattern,       ///< a star or a set of characters elsewhere than at the beginning
        CaseSensitive, ///< a pattern is to respect case; it counts only if it is in lower case
        Icon,          ///< the name of an icon; a FileType has a number
        Test,          ///< the content test looks too far or too long, or there are too many
        Name,          ///< the type or the other name `text` is in the catalogue already
        Unreachable,   ///< another name or a parent of a type that has neither pattern nor test
        TooMany,       ///< the type has 250 extensions, names or parents already
        Circle,        ///< `text` is a parent that leads back to the type, or lies too deep
    };
    struct LeftOut {
        Reason reason;
        Mu::String mime;
        Mu::String text;
    };

    /// NoError; ErrFileNotFound and its like of the "globs2" of the folder; ErrMemoryFull; Error: the
    /// manager is null, or a file cannot be read or is no part of a catalogue. Nothing is added after
    /// a failure.
    MuErrCode status = Mu::Error;
    unsigned int typeCount = 0;
    unsigned int groupCount = 0;
    unsigned int testCount = 0; ///< of the types, so many have a content test
    Mu::Array<LeftOut> leftOut;
};

/// Adds the types of a shared MIME catalogue, owned by `manager`, as the desktops of many systems
/// keep one in "/usr/share/mime". On other systems, give the folder of a copy.
///
/// Reads the files "globs2", "magic", "aliases", "subclasses" and "icons" of the folder; all but the
/// first may be missing. Each type with a pattern or a test becomes a FileType, described by its MIME
/// name: patterns such as "*.png" become its extensions, other names its further MIME names, and
/// rules its content test. There is a group for the first half of the names, such as "image", and
/// one for each type that has subclasses, such as "application/zip", with the type and these in it;
/// groups have no MIME names.
///
/// Types that the catalogue of the process has already stay as they are.
///
/// Memory:  that of the types, and about a hundred bytes for each rule of a test until the manager
///          ends.
/// Threads: any. Others may see some of the types before the call returns.
KESTREL_API SharedMimeResult LoadSharedMimeTypes(FileTypeManager * manager,
                                                 IO::Location const & folder);

} // namespace FTM
