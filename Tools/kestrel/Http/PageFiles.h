#pragma once

#include <span>
#include <string_view>

namespace Tool {

/// A file of the folder web, as it was when the tool was built.
struct PageFile {
    std::string_view name;
    std::string_view content;
};

std::span<PageFile const> GetPageFiles();

} // namespace Tool
