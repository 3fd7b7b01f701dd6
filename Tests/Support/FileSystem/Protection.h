#pragma once

#include <filesystem>
#include <fstream>

namespace Tests {

/// Whether a file that is write-protected is also kept from being written. The library sees to it
/// itself on Linux; on Windows the system does, but not for root under Wine.
inline bool IsProtectionKept(std::filesystem::path const & protectedFile) {
#if defined(_WIN32)
    return !std::ofstream(protectedFile, std::ios::app).is_open();
#else
    (void)protectedFile;
    return true;
#endif
}

} // namespace Tests
