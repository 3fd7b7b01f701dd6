#pragma once

namespace IO {

class Location;

/// Whether there is certainly no entry at the location. Connect, Contains and similar operations
/// report a missing entry even if the system could not look it up; call this after them where that
/// would hide a failure.
///
/// Also false if the path cannot be looked up. True for a location without a path, as no query of
/// the disk can have failed for it. Throws Mu::OutOfMemoryException.
bool IsCertainlyAbsent(Location const & location);

} // namespace IO
