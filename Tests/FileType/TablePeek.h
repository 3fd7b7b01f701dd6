#pragma once

#include <Kestrel/FileType/Internal/Tables.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

namespace FTM {

/// Looks into the tables, which hosts cannot.
struct TablePeek {
    using M = FileTypeManager;

    /// What is wrong with the tables; empty when nothing is.
    static std::string Check() {
        std::vector<std::tuple<unsigned int, unsigned int, int, bool>> rows;
        std::vector<std::tuple<unsigned int, unsigned int, bool>> names;
        for (unsigned int i = 0; i < M::hTypeDataArray.GetSize(); ++i) {
            FileType const & type = M::hTypeDataArray[i].type;
            if (i > 0 && M::hTypeDataArray[i - 1].id >= M::hTypeDataArray[i].id)
                return "types out of order";
            int const index = static_cast<int>(i);
            for (unsigned int e = 0; char const * const text = type.GetExtension(e); ++e) {
                unsigned int key = 0;
                for (unsigned int c = 0; c < 4 && text[c] != 0; ++c)
                    key += static_cast<unsigned int>(static_cast<unsigned char>(text[c])) << 8 * c;
                bool const isLong = std::string(text).size() > 4;
                for (int code = 0; code < std::max(type.CountMacTypes(), 1); ++code)
                    rows.emplace_back(key, type.GetMacType(static_cast<unsigned int>(code)), index,
                                      isLong);
            }
            for (int code = 0; code < type.CountMacTypes(); ++code)
                rows.emplace_back(0, type.GetMacType(static_cast<unsigned int>(code)), index,
                                  false);
            for (unsigned int m = 0; char const * const mime = type.GetMime(m); ++m)
                names.emplace_back(M::HashKey(mime), i, true);
        }
        for (unsigned int i = 0; i < M::hGroupDataArray.GetSize(); ++i) {
            if (i > 0 && M::hGroupDataArray[i - 1].id >= M::hGroupDataArray[i].id)
                return "groups out of order";
            if (M::hGroupDataArray[i].parentIndex >= static_cast<int>(i))
                return "a parent behind its child";
            if (*M::hGroupDataArray[i].mime.Get() != 0)
                names.emplace_back(M::HashKey(M::hGroupDataArray[i].mime.Get()), i, false);
        }
        std::sort(rows.begin(), rows.end());
        std::sort(names.begin(), names.end());

        decltype(rows) storedRows;
        for (auto const & row : M::hExtensionIndexArray) {
            if (!storedRows.empty() &&
                std::tie(row.extensionKey, row.macType) <
                    std::tie(std::get<0>(storedRows.back()), std::get<1>(storedRows.back())))
                return "extension rows out of order";
            storedRows.emplace_back(row.extensionKey, row.macType, row.dataIndex, row.isLong);
        }
        decltype(names) storedNames;
        for (auto const & row : M::hMimeIndexArray) {
            if (!storedNames.empty() && row.hash < std::get<0>(storedNames.back()))
                return "MIME rows out of order";
            storedNames.emplace_back(row.hash, row.dataIndex, row.isType);
        }
        std::sort(storedRows.begin(), storedRows.end());
        std::sort(storedNames.begin(), storedNames.end());
        if (storedRows != rows)
            return "extension rows are not those of the types";
        if (storedNames != names)
            return "MIME rows are not those of the types and groups";
        for (unsigned int i = 0; i < M::hTypeGroupArray.GetSize(); ++i) {
            auto const & link = M::hTypeGroupArray[i];
            if (i > 0 && M::hTypeGroupArray[i - 1].type > link.type)
                return "links out of order";
            if (M::SearchForTypeRec(link.type) < 0 || M::SearchForGroupRec(link.group) < 0)
                return "a link to nothing";
        }
        return CheckBlocks();
    }

private:
    // A table without records has no block.
    static std::string CheckBlocks() {
        auto const isKept = [](auto const & table) {
            return table.IsEmpty() && table.GetCapacity() > 0;
        };
        return isKept(M::hTypeDataArray) || isKept(M::hGroupDataArray) ||
                       isKept(M::hExtensionIndexArray) || isKept(M::hMimeIndexArray) ||
                       isKept(M::hTypeGroupArray)
                   ? "an empty table keeps its block"
                   : "";
    }
};

} // namespace FTM
