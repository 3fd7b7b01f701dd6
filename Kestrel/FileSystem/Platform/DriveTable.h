#pragma once

#include <Kestrel/Location/Platform/NativeText.h>

#include <string_view>

namespace IO {

/// The folders of a native tree that are the drives and shares of portable paths.
///
/// On Linux it maps between the two kinds of paths. It is parsed from a text like
/// `C=/;D=/mnt/data;\\host\share=/srv/share`, in which the later of two entries for the same root
/// counts, an empty folder removes a drive, and invalid entries are skipped. Drive `C:` is "/" when
/// the text does not mention it.
///
/// Memory:  none from the heap; a text of a few thousand bytes fits, and the rest is dropped.
/// Threads: any, once it is constructed.
/// Failure: error numbers.
class DriveTable {
public:
    static constexpr unsigned int MaxShares = 32;

    explicit DriveTable(std::string_view text);
    DriveTable(DriveTable const &) = delete;
    DriveTable & operator=(DriveTable const &) = delete;

    /// The folder of the root of a portable path, and the names below it.
    struct Place {
        std::string_view folder; // "/" or without a final "/"
        PathText rest;           // the names behind the root
    };
    /// PathNotFound: no absolute path, or no such drive. BadNetPath: no such share.
    unsigned int Find(PathText path, Place * place) const;

    /// The native path, and in `*rootLength` the length of the part for the drive or share. As
    /// Find, and InvalidName or NameTooLong.
    unsigned int ToNative(PathText path, BytePath * native, unsigned int * rootLength) const;

    /// Appends the names between separators. InvalidName or NameTooLong.
    static unsigned int AppendNames(PathText names, BytePath * native);

    /// The portable path of a native one; see FromNativePath. InvalidName for a relative path,
    /// PathNotFound for one beneath no root, MoreData for a full buffer.
    unsigned int ToPortable(std::string_view native, TextBuffer * path) const;

    /// Whether the text is a native path rather than a portable one; see IsNativePath.
    bool IsNative(PathText text) const;

    /// The folder of a drive, `A` to `Z`; empty for none.
    std::string_view GetFolder(unsigned int letter) const { return drives[letter - 'A']; }

private:
    struct Share {
        PathText root; // `\\host\share`
        std::string_view folder;
    };

    struct Root {
        char16_t letter = 0; // 0: a share
        PathText share;
        std::string_view folder;
    };

    bool FindRoot(std::string_view native, Root * root) const;
    void AddEntry(std::string_view root, std::string_view folder);
    void AddShare(std::string_view root, std::string_view folder);
    std::string_view Keep(BytePath const & folder);
    Share const * FindShare(PathText root) const;

    std::string_view drives[26];
    unsigned int lastLetter = 0; // of those that have a folder, or had one
    Share shares[MaxShares];
    unsigned int shareCount = 0;
    char bytes[BytePath::Size];
    unsigned int bytesUsed = 0;
    char16_t units[2048];
    unsigned int unitsUsed = 0;
};

} // namespace IO
