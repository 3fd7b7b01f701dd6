#pragma once

#include <Kestrel/FileSystem/FileSystemTypes.h>

namespace IO {

class Location;

/// Queries the platform for the place. False for an unknown id, and when the platform has no such
/// place or cannot report it.
bool FindSpecialLocation(SpecLocId id, Location * location);

} // namespace IO
