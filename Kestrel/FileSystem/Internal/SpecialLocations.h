#pragma once

#include <Kestrel/FileSystem/FileSystemTypes.h>

namespace IO {

class Location;

/// Asks the platform where the place is. False for an unknown id, and when the platform has no
/// such place or cannot say.
bool FindSpecialLocation(SpecLocId id, Location * location);

} // namespace IO
