#pragma once

namespace IO {
class Name;
}

namespace FTM {

/// Makes what this floor has of statics: the file type lock, and the tables, which are empty. A
/// second call does nothing. The library's start calls it, behind that of the file system, and the
/// tests of floors without one.
void StartFileType();

/// Drops the tables with all that managers left in them. A manager that ends later finds them empty.
void EndFileType();

/// A name whose memory is kept, so that a question that the name alone settles takes none. Under the
/// file type lock.
IO::Name & GetScratchName();

} // namespace FTM
