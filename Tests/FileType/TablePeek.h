#pragma once

#include <Kestrel/FileType/Internal/Tables.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <tuple>

namespace FTM {

/// Looks into the tables, which hosts cannot.
struct TablePeek {
    using M = FileTypeManager;

    /// What is wrong with the tables; empty when nothing is.
    static std::string Check() {
        auto const & types = M::hTypeDataArray;
        auto const & groups = M::hGroupDataArray;
        std::multiset<std::tuple<unsigned int, unsigned int, unsigned int, bool>> rows, storedRows;
        std::multiset<std::tuple<unsigned int, unsigned int, bool>> names, storedNames;
        for (unsigned int i = 0; i < types.GetSize(); ++i) {
            FileType const & type = types[i].type;
            int const codes = type.CountMacTypes();
            auto const addRows = [&](unsigned int key, int count, bool isLong) {
                for (int code = 0; code < count; ++code)
                    rows.emplace(key, type.GetMacType(static_cast<unsigned int>(code)), i, isLong);
            };
            addRows(0, codes, false);
            for (unsigned int e = 0; char const * const text = type.GetExtension(e); ++e) {
                unsigned int key = 0;
                for (unsigned int c = 0; c < 4 && text[c] != 0; ++c)
                    key += static_cast<unsigned int>(static_cast<unsigned char>(text[c])) << 8 * c;
                addRows(key, std::max(codes, 1), std::strlen(text) > 4);
            }
            for (unsigned int m = 0; char const * const mime = type.GetMime(m); ++m)
                names.emplace(M::HashKey(mime), i, true);
        }
        for (unsigned int i = 0; i < groups.GetSize(); ++i) {
            if (groups[i].parentIndex >= static_cast<int>(i))
                return "a parent behind its child";
            if (char const * const mime = groups[i].mime.Get(); *mime != 0)
                names.emplace(M::HashKey(mime), i, false);
        }
        for (auto const & row : M::hExtensionIndexArray)
            storedRows.emplace(row.extensionKey, row.macType, row.dataIndex, row.isLong);
        for (auto const & row : M::hMimeIndexArray)
            storedNames.emplace(row.hash, row.dataIndex, row.isType);
        if (storedRows != rows || storedNames != names)
            return "rows are not those of the types and groups";
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
