#pragma once

#include <filesystem>
#include <string>

namespace Tests {

/// An empty folder of a test's own on the disk, removed at the end with all that is in it.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(TempFolder const &) = delete;
    TempFolder & operator=(TempFolder const &) = delete;

    std::filesystem::path const & GetPath() const { return path; }
    std::filesystem::path operator/(std::string const & name) const { return path / name; }

    /// The path as the library writes it, drive and backslashes included, on both platforms.
    std::u16string GetPortable() const;
    std::u16string GetPortable(std::string const & name) const;

    /// Writes and reads a file in it by other means than the library's.
    void Write(std::string const & name, std::string const & content) const;
    std::string Read(std::string const & name) const;

private:
    std::filesystem::path path;
};

} // namespace Tests
