#pragma once

#include <Kestrel/FileType/Internal/Tables.h>

#include <algorithm>
#include <string>
#include <utility>

namespace FTM {

/// Looks into the tables, which hosts cannot.
struct TablePeek {
    using M = FileTypeManager;

    /// Calls `visit` with the key, type code, length and type of each row, in their order.
    template <typename Visit>
    static void VisitRows(Visit const & visit) {
        for (auto const & row : M::hExtensionIndexArray)
            visit(row.extensionKey, row.macType, row.isLong,
                  M::hTypeDataArray[static_cast<unsigned int>(row.dataIndex)].id);
    }

    static unsigned int GetHash(std::string const & text) {
        unsigned int hash = 0;
        for (char const c : text)
            hash = hash * 33 + static_cast<unsigned int>(static_cast<signed char>(c));
        return hash;
    }

    /// What is wrong with the tables; empty when nothing is.
    static std::string Check() {
        auto const & types = M::hTypeDataArray;
        auto const & groups = M::hGroupDataArray;
        int rows = 0;
        int names = 0;
        for (auto const & record : types) {
            rows += record.type.ExtIndexCount();
            names += record.type.CountMimeTypes();
            if (char const * const mime = record.type.GetMime(0))
                if (M::HashKey(mime) != GetHash(mime))
                    return "another hash";
        }
        for (unsigned int i = 0; i < groups.GetSize(); ++i) {
            if (groups[i].parentIndex >= static_cast<int>(i))
                return "a parent behind its child";
            names += *groups[i].mime.Get() != 0;
        }
        if (static_cast<int>(M::hExtensionIndexArray.GetSize()) != rows ||
            static_cast<int>(M::hMimeIndexArray.GetSize()) != names)
            return "rows are not as many as those of the types and groups";
        for (auto const & link : M::hTypeGroupArray)
            if (M::SearchForTypeRec(link.type) < 0 || M::SearchForGroupRec(link.group) < 0)
                return "a link to nothing";
        auto const isWell = [](auto const & table, auto const & key) {
            return std::is_sorted(
                       table.begin(), table.end(),
                       [&](auto const & a, auto const & b) { return key(a) < key(b); }) &&
                   (!table.IsEmpty() || table.GetCapacity() == 0); // without records, no block
        };
        auto const byId = [](auto const & each) { return each.id; };
        return isWell(types, byId) && isWell(groups, byId) &&
                       isWell(M::hExtensionIndexArray,
                              [](auto const & row) {
                                  return std::pair(row.extensionKey, row.macType);
                              }) &&
                       isWell(M::hMimeIndexArray, [](auto const & row) { return row.hash; }) &&
                       isWell(M::hTypeGroupArray, [](auto const & link) { return link.type; })
                   ? ""
                   : "a table is out of order, or empty with a block";
    }
};

} // namespace FTM
