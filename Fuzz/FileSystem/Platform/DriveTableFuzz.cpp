// Paths from outside, in both forms, through a table of drives that comes from outside as well. The
// first byte tells how many of the next ones are the table; the others are a native path, and the
// same once more as the units of a portable one.

#include <Kestrel/FileSystem/Platform/DriveTable.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string_view>

namespace {

using namespace IO;

// Whatever path has a portable form comes back from it, but for "." and doubled separators.
void CheckNative(DriveTable const & table, std::string_view native) {
    char16_t units[3 * BytePath::Size];
    TextBuffer text{units, static_cast<unsigned int>(std::size(units)), 0};
    if (table.ToPortable(native, &text) != FileError::None)
        return;
    BytePath back;
    unsigned int rootLength = 0;
    if (table.ToNative(text.GetText(), &back, &rootLength) != FileError::None ||
        rootLength > back.length || back.text[back.length] != 0)
        std::abort();
    char16_t again[3 * BytePath::Size];
    TextBuffer second{again, text.size, 0};
    if (table.ToPortable(back.GetText(), &second) != FileError::None ||
        second.GetText() != text.GetText())
        std::abort();
}

void CheckPortable(DriveTable const & table, PathText path) {
    BytePath native;
    unsigned int rootLength = 0;
    (void)table.IsNative(path);
    if (table.ToNative(path, &native, &rootLength) == FileError::None)
        CheckNative(table, native.GetText());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string_view const bytes(reinterpret_cast<char const *>(data) + 1, size - 1);
    std::string_view const path = bytes.substr(std::min<std::size_t>(data[0], bytes.size()));
    DriveTable const table(bytes.substr(0, bytes.size() - path.size()));
    CheckNative(table, path);
    char16_t units[2048];
    std::size_t const count = std::min(path.size() / 2, std::size(units));
    for (std::size_t i = 0; i < count; ++i)
        units[i] = static_cast<char16_t>(static_cast<unsigned char>(path[2 * i]) |
                                         static_cast<unsigned char>(path[2 * i + 1]) << 8);
    CheckPortable(table, PathText(units, count));
    return 0;
}
