#pragma once

#include <Kestrel/Root/Export.h>

namespace IO {

class Name;

/// Is called with the entries of a folder, one by one, in the file system's order.
class KESTREL_API EntryEnumerator {
public:
    virtual ~EntryEnumerator() = default;

    /// Return true to continue, false to end the enumeration.
    virtual bool EntryFound(Name const & name, bool isFolder) = 0;
};

} // namespace IO
