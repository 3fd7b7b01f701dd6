#pragma once

#include <Kestrel/FileSystem/FileSystem.h>

namespace IO {

/// A walk through a table of mounted systems while records are added and removed: each record that
/// exists when its turn comes is visited once, and none twice.
struct FileSystem::TableWalk {
    TableWalk(FileSystem const & owner, void const * table)
        : owner(owner), table(table), outer(owner.walks) {
        owner.walks = this;
    }
    ~TableWalk() { owner.walks = outer; }
    TableWalk(TableWalk const &) = delete;
    TableWalk & operator=(TableWalk const &) = delete;

    FileSystem const & owner;
    void const * table;
    TableWalk * outer;
    unsigned int next = 0; // the record whose turn is next
};

template <typename Table, typename Visit>
void FileSystem::WalkTable(Table const & table, Visit visit) const {
    TableWalk walk(*this, &table);
    while (walk.next < table.GetSize()) {
        auto const record = table[walk.next++]; // the table may move
        if (!visit(record))
            return;
    }
}

template <typename Table>
void FileSystem::DeleteRecord(Table & table, unsigned int index) {
    table.Delete(index);
    for (TableWalk * walk = walks; walk != nullptr; walk = walk->outer)
        if (walk->table == &table && index < walk->next)
            --walk->next;
}

} // namespace IO
