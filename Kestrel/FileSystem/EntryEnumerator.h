#pragma once

#include <Kestrel/Root/Export.h>

namespace IO {

class Name;

/// Called with the entries of a folder, one by one, in the file system's order.
class KESTREL_API EntryEnumerator {
public:
    virtual ~EntryEnumerator() = default;

    /// True continues, false ends the enumeration.
    virtual bool EntryFound(Name const & name, bool isFolder) = 0;
};

} // namespace IO
