#pragma once

#include <string_view>

namespace IO {

/// The kind of volume of a folder, a DriveType: by its file system in the mount table, and by what
/// the kernel reports of its device. NoRoot when the folder does not exist.
unsigned int GetVolumeType(char const * folder);

/// The kind by the name of the file system alone; Unknown where that is ambiguous.
unsigned int GetTypeOfFileSystem(std::string_view name);

/// One line of the mount table, as far as it is needed here.
struct MountLine {
    std::string_view device; // "major:minor"
    std::string_view point;  // with blanks and the like still escaped
    std::string_view fileSystem;

    /// False for an invalid line.
    bool Parse(std::string_view line);
};

} // namespace IO
