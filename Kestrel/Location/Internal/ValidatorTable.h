#pragma once

#include <Kestrel/Location/LinuxLocationValidator.h>

#include <filesystem>

namespace IO {

/// The sign that stands for the running platform in persisted locations, on every platform: the
/// portable form of a path is that of Windows.
inline constexpr Mu::PlatformSign RunningPlatform = Mu::WindowsSign;

inline constexpr bool IsOnLinux = std::filesystem::path::preferred_separator == '/';

/// The sign of the validator for questions of legality on the running platform.
inline constexpr Mu::PlatformSign LegalityPlatform = IsOnLinux ? LinuxSign : Mu::WindowsSign;

/// The longest path text of the running platform: on Linux, one of 4,095 bytes has no more units
/// with its drive or share, if every fourth one is the mark of a reserved word.
inline constexpr unsigned int LongestPathText = IsOnLinux ? 6144 : 260;

/// Creates the library's own validators: Windows, Mac, and the Mac's second sign, and behind them,
/// on Linux only, that of Linux. The library calls it at its start; the queries below call it for
/// earlier callers.
void StartValidators();
/// At the library's end: nothing is legal on any platform from then on.
void EndValidators();

/// Null for a sign that has none.
LocationValidator const * GetValidator(Mu::PlatformSign sign);
unsigned int GetValidatorCount();
/// In order of registration; `index` is below the count.
LocationValidator const * GetValidatorAt(unsigned int index);

/// Whether every validator returns true. `question` is called with one after the other, until the
/// first false.
template <typename Question>
bool AllValidators(Question const & question) {
    for (unsigned int i = 0, count = GetValidatorCount(); i < count; ++i)
        if (!question(*GetValidatorAt(i)))
            return false;
    return true;
}

} // namespace IO
