#pragma once

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>

namespace IO {

/// What an enumeration of the platform's own folders has found out about the file that it is
/// reporting: for callers that count thousands of files, and cannot afford a path, a connection and
/// three queries of the disk for each.
///
/// Everything returns false where that may differ from what Folder::GetType and a File would
/// report: links, mounted folders, a platform on which only reading shows that a file is no link.
/// Then these two must be called.
class FoundFile {
public:
    explicit FoundFile(Folder const & folder)
        : entry(dynamic_cast<WinFolderEntry const *>(folder.entry)) {}

    bool IsCertain(Name const & name) const { return entry != nullptr && entry->IsFoundFile(name); }
    /// Null: not certain.
    FindData const * Look(Name const & name) const {
        return entry == nullptr ? nullptr : entry->LookAtFoundFile(name);
    }

    /// As FileSystem::ResolveLocation, for the link of that name, whose location `link` is longer
    /// than a legal one.
    bool ResolveBeyond(Name const & name, Location const & link, Location * target) const {
        EntryType type;
        return entry != nullptr && entry->ResolveBeyond(name, link, target, &type);
    }

    /// Called before an enumeration of `folder`, which was created for the name; see
    /// WinFolderEntry.
    WinFolderEntry::HoldStatus Hold(Name const & name, Folder const & folder) const {
        auto * const below = dynamic_cast<WinFolderEntry *>(folder.entry);
        return entry == nullptr || below == nullptr ? WinFolderEntry::HoldStatus::There
                                                    : entry->HoldFound(name, *below);
    }

private:
    WinFolderEntry const * entry;
};

} // namespace IO
