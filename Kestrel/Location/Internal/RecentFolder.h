#pragma once

#include <Kestrel/Location/Internal/GrowingTable.h>

#include <algorithm>
#include <utility>

namespace IO {

/// The folder of the path that was looked up last: hosts read the paths of one folder in a row, and
/// all but the last name of each need not be looked up again.
///
/// The tree holds the folder as long as it is kept, so that its nodes stay between one path and the
/// next. A hold that an address gives back is kept as well, for the next address: then neither goes
/// up to the root.
///
/// Memory:  none of its own.
/// Threads: as the tree: under its lock.
/// Failure: none; a folder too long to be kept is looked up each time.
class RecentFolder {
public:
    struct Holds {
        unsigned int node = NoIndex; // NoIndex when no folder is kept
        unsigned int count = 0;      // counted holds on it that are not those of addresses
    };

    Holds const & GetHolds() const { return holds; }

    /// How many units at the start of a list of names are all those of the folder, or 0.
    unsigned int Match(unsigned short const * names) const {
        if (holds.count == 0)
            return 0;
        for (unsigned int i = 0; i < keptSize; ++i)
            if (names[i] != kept[i]) // at its end at the latest, since no name is empty
                return 0;
        return keptSize;
    }

    static bool Fits(unsigned int size) { return size <= MostUnits; }

    /// Keeps the folder, whose list fits, with one hold on it.
    void Keep(unsigned short const * names, unsigned int size, unsigned int folder) {
        std::copy_n(names, size, kept);
        keptSize = size;
        holds = {folder, 1};
    }

    /// Hands a hold out, but for the last one.
    bool TakeHold() {
        if (holds.count < 2)
            return false;
        --holds.count;
        return true;
    }

    /// Takes the hold over, if that node is the folder.
    bool GiveHold(unsigned int node) {
        if (node != holds.node)
            return false;
        ++holds.count;
        return true;
    }

    /// The node is gone, and all holds on it: addresses from before a CleanUp may do that.
    void Forget(unsigned int gone) {
        if (gone == holds.node)
            (void)Leave();
    }

    /// Keeps none any more. Returns the holds that there were.
    Holds Leave() { return std::exchange(holds, {}); }

private:
    static constexpr unsigned int MostUnits = 260;

    Holds holds;
    unsigned int keptSize = 0; // units of the list, each name with its zero
    unsigned short kept[MostUnits] = {};
};

} // namespace IO
