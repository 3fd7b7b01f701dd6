#pragma once

#include <Kestrel/Location/Internal/GrowingTable.h>
#include <Kestrel/Root/Text/CodeUnits.h>
#include <Kestrel/Root/Text/Substring.h>

#include <algorithm>
#include <utility>

namespace IO {

/// The folders of the paths that were looked up last: hosts read the paths of few folders in a row,
/// and all but the last name of each need not be looked up again.
///
/// The tree holds a folder while it is kept, so that its nodes exist from one path to the next. A
/// hold that an address releases is kept as well, for the next address: neither walks up to the
/// root then.
///
/// Memory:  none of its own.
/// Threads: as the tree: under its lock.
/// Failure: none; a folder too long to be kept is looked up each time.
class RecentFolders {
public:
    static constexpr unsigned int MostFolders = 4;

    struct Holds {
        unsigned int node = NoIndex; // NoIndex where no folder is kept
        unsigned int count = 0;      // counted holds on it that belong to no address
    };

    /// The last name of a list, if those before it are the names of a kept folder, which becomes
    /// the current one; empty otherwise.
    Mu::ConstSubstring Match(unsigned short const * names) {
        for (unsigned int i = 0; i < MostFolders; ++i) {
            unsigned int const at = (current + i) % MostFolders;
            if (holds[at].count == 0 || !texts[at].Begins(names))
                continue;
            unsigned short const * const last = names + texts[at].size;
            unsigned int const length = Mu::CountUnits(last);
            if (length != 0 && last[length + 1] == 0) {
                current = at;
                return {last, length};
            }
        }
        return {};
    }

    unsigned int GetCurrentNode() const { return holds[current].node; }
    /// Passes on a hold on the current folder, except for the last one.
    bool TakeHold() {
        if (holds[current].count < 2)
            return false;
        --holds[current].count;
        return true;
    }

    static bool Fits(unsigned int size) { return size <= MostUnits; }

    /// Keeps the folder, whose list fits, with one hold on it, and replaces the oldest one. Returns
    /// the holds on that.
    [[nodiscard]] Holds Keep(unsigned short const * names, unsigned int size, unsigned int folder) {
        next = (next == current ? next + 1 : next) % MostFolders;
        current = next++;
        texts[current].size = size;
        std::copy_n(names, size, texts[current].units);
        return std::exchange(holds[current], {folder, 1});
    }

    /// Takes over that number of holds, if the node is a kept folder.
    bool GiveHold(unsigned int node, unsigned int count) {
        for (Holds & kept : holds)
            if (kept.node == node) {
                kept.count += count;
                return true;
            }
        return false;
    }

    /// The node is freed, and all holds on it: addresses from before a CleanUp may cause that.
    void Forget(unsigned int gone) {
        for (Holds & kept : holds)
            if (kept.node == gone)
                kept = {};
    }

    /// Forgets all folders.
    void Clear() {
        for (Holds & kept : holds)
            kept = {};
    }
    /// Forgets one folder, if any is kept. Returns the holds on it.
    Holds Leave() {
        for (Holds & kept : holds)
            if (kept.count != 0)
                return std::exchange(kept, {});
        return {};
    }

    /// The number of holds on the folders whose nodes `isWanted` selects.
    template <typename IsWanted>
    unsigned int CountHolds(IsWanted const & isWanted) const {
        unsigned int count = 0;
        for (Holds const & kept : holds)
            if (kept.count != 0 && isWanted(kept.node))
                count += kept.count;
        return count;
    }
    unsigned int CountHolds() const {
        return CountHolds([](unsigned int) { return true; });
    }

private:
    static constexpr unsigned int MostUnits = 260;

    struct Text {
        unsigned int size = 0; // units of the list, each name with its zero
        unsigned short units[MostUnits] = {};

        bool Begins(unsigned short const * names) const {
            // A list that ends sooner differs there at the latest, since no name is empty.
            unsigned int i = 0;
            for (; i + 4 <= size; i += 4)
                if (names[i] != units[i] || names[i + 1] != units[i + 1] ||
                    names[i + 2] != units[i + 2] || names[i + 3] != units[i + 3])
                    return false;
            for (; i < size; ++i)
                if (names[i] != units[i])
                    return false;
            return true;
        }
    };

    Holds holds[MostFolders];
    unsigned int current = 0; // the one looked up last
    unsigned int next = 0;    // the place for the next one
    Text texts[MostFolders];
};

} // namespace IO
