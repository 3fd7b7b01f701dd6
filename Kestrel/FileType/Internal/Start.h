#pragma once

namespace IO {
class Name;
}

namespace FTM {

/// Creates the statics of this floor: the file type lock, and the empty tables. A second call does
/// nothing. Called by the library's start, after that of the file system, and by the tests of
/// floors without one.
void StartFileType();

/// Drops the tables with all remaining records. A manager that is destroyed later finds them empty.
void EndFileType();

/// A name whose memory is reused, so that a query decided by the name alone allocates nothing.
/// Under the file type lock.
IO::Name & GetScratchName();

} // namespace FTM
