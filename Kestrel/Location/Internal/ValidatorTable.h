#pragma once

#include <Kestrel/Root/Text/PlatformConversion.h>

namespace IO {

class LocationValidator;

/// The sign that stands for the running platform in all questions of legality and in persisted
/// locations, on every platform: the portable form of a path is that of Windows.
inline constexpr Mu::PlatformSign RunningPlatform = Mu::WindowsSign;

/// Makes the three validators that the library knows itself: Windows, Mac, and the Mac's second
/// sign. The library calls it at its start; the questions below do it for who comes before that.
void StartValidators();
/// At the library's end: nothing is legal on any platform from then on.
void EndValidators();

/// Null for a sign that has none.
LocationValidator const * GetValidator(Mu::PlatformSign sign);
unsigned int GetValidatorCount();
/// In order of registration; `index` is below the count.
LocationValidator const * GetValidatorAt(unsigned int index);

/// Whether every validator returns true. `question` is called with one after the other, until the
/// first no.
template <typename Question>
bool AllValidators(Question const & question) {
    for (unsigned int i = 0, count = GetValidatorCount(); i < count; ++i)
        if (!question(*GetValidatorAt(i)))
            return false;
    return true;
}

} // namespace IO
