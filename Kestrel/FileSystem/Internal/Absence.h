#pragma once

namespace IO {

class Location;

/// Whether there is certainly no entry at the place. To Connect, Contains and their like, a place at
/// which the system cannot look is one without an entry; where that would hide a failure, ask this
/// after them.
///
/// False also when the location has a path that cannot be looked at. True for one without a path,
/// which no query of the disk has failed for. Throws Mu::OutOfMemoryException.
bool IsCertainlyAbsent(Location const & location);

} // namespace IO
