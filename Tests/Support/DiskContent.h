#pragma once

#include "Tests/Support/TempFolder.h"

#include <filesystem>
#include <map>
#include <string>

namespace Tests {

/// What a folder on the disk holds, all levels: a file its bytes, a folder "/", a link "->" and where
/// it leads to. A shell link, which holds times, has no more than its name.
using DiskContent = std::map<std::string, std::string>;

inline DiskContent LookAt(TempFolder const & disk) {
    namespace fs = std::filesystem;
    DiskContent content;
    for (auto const & entry : fs::recursive_directory_iterator(disk.GetPath())) {
        std::string const name = entry.path().lexically_relative(disk.GetPath()).generic_string();
        if (entry.is_symlink())
            content[name] = "->" + fs::read_symlink(entry.path()).string();
        else if (entry.path().extension() == ".lnk")
            content[name] = "->";
        else
            content[name] = entry.is_directory() ? "/" : disk.Read(name);
    }
    return content;
}

/// Whether some file begins with the text, whatever its name.
inline bool HasFileWith(DiskContent const & content, std::string const & text) {
    for (auto const & entry : content)
        if (entry.second.rfind(text, 0) == 0)
            return true;
    return false;
}

} // namespace Tests
