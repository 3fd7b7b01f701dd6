#pragma once

#include <Kestrel/Location/Internal/GrowingTable.h>

#include <algorithm>

namespace IO {

/// The folder of the path that was looked up last: hosts read the paths of one folder in a row, and
/// all but the last name of each need not be looked up again.
///
/// Memory:  none of its own.
/// Threads: as the tree: under its lock.
/// Failure: none; a folder too long to be kept is looked up each time.
class RecentFolder {
public:
    /// The node of the folder with that list of names, or NoIndex.
    unsigned int Find(unsigned short const * names, unsigned int size) const {
        return size == keptSize && std::equal(names, names + size, kept) ? node : NoIndex;
    }

    void Keep(unsigned short const * names, unsigned int size, unsigned int folder) {
        if (size > MostUnits)
            return;
        std::copy_n(names, size, kept);
        keptSize = size;
        node = folder;
    }

    /// The node is about to go, or to get another name.
    void Forget(unsigned int gone) {
        if (gone == node)
            node = NoIndex;
    }

    void Clear() { node = NoIndex; }

private:
    static constexpr unsigned int MostUnits = 260;

    unsigned int node = NoIndex;
    unsigned int keptSize = 0; // units of the list, each name with its zero
    unsigned short kept[MostUnits] = {};
};

} // namespace IO
