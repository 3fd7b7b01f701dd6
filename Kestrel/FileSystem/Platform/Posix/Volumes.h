#pragma once

#include <string_view>

namespace IO {

/// The kind of volume that a folder lies on, a DriveType: what the mount table says of its file
/// system, and the kernel of its device. NoRoot when the folder is not there.
unsigned int GetVolumeType(char const * folder);

/// The kind by the name of the file system alone; Unknown where that does not say.
unsigned int GetTypeOfFileSystem(std::string_view name);

/// One line of the mount table, as far as it is of interest here.
struct MountLine {
    std::string_view device; // "major:minor"
    std::string_view point;  // its blanks and the like still escaped
    std::string_view fileSystem;

    /// False for a line that is none.
    bool Parse(std::string_view line);
};

} // namespace IO
