#pragma once

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>

namespace IO {

/// What an enumeration of the platform's own folders knows of the file whose name it hands out just
/// now: for who counts thousands of files, and cannot afford a path, a connection and three looks
/// at the disk for each.
///
/// Everything returns false where that knowledge is not certain to be what Folder::GetType and a
/// File would report: links, mounted folders, a platform on which a file must be read to be known
/// as none. Then these two are to be asked.
class FoundFile {
public:
    explicit FoundFile(Folder const & folder)
        : entry(dynamic_cast<WinFolderEntry const *>(folder.entry)) {}

    bool IsCertain(Name const & name) const { return entry != nullptr && entry->IsFoundFile(name); }
    /// Null: not certain.
    FindData const * Look(Name const & name) const {
        return entry == nullptr ? nullptr : entry->LookAtFoundFile(name);
    }

    /// As FileSystem::ResolveLocation, for the link of that name, of which `link` is longer than a legal
    /// location.
    bool ResolveBeyond(Name const & name, Location const & link, Location * target) const {
        EntryType type;
        return entry != nullptr && entry->ResolveBeyond(name, link, target, &type);
    }

    /// Before an enumeration of `folder`, which was made for the name; see WinFolderEntry.
    WinFolderEntry::HoldStatus Hold(Name const & name, Folder const & folder) const {
        auto * const below = dynamic_cast<WinFolderEntry *>(folder.entry);
        return entry == nullptr || below == nullptr ? WinFolderEntry::HoldStatus::There
                                                    : entry->HoldFound(name, *below);
    }

private:
    WinFolderEntry const * entry;
};

} // namespace IO
