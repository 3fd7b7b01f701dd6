#pragma once

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/Internal/WinFileEntry.h>
#include <Kestrel/FileSystem/Internal/WinFolderEntry.h>

namespace IO {

/// A folder in which a copy between file systems works. A folder of the platform is held open, and
/// its entries are reached through it: replacing a folder by a link redirects nothing out of the
/// tree. Folders of other file systems are as safe as those make them.
class KeptFolder {
public:
    /// The folder that the path of the object leads to now.
    explicit KeptFolder(Folder const & folder) : entry(Find(folder)) {
        isOurs = entry != nullptr && !entry->IsKept();
        isThere = !isOurs || entry->Keep();
    }
    /// The folder of this name in `parent`, for which `folder` was created.
    KeptFolder(Folder const & parent, Name const & name, Folder const & folder)
        : entry(Find(folder)), isOurs(entry != nullptr) {
        WinFolderEntry const * const above = Find(parent);
        isThere = !isOurs || (above != nullptr ? entry->KeepIn(*above, name) : entry->Keep());
    }
    ~KeptFolder() {
        if (isOurs)
            entry->LetGo();
    }
    KeptFolder(KeptFolder const &) = delete;
    KeptFolder & operator=(KeptFolder const &) = delete;

    /// False: something else, such as a link, has taken its place.
    bool IsThere() const { return isThere; }

    // Makes the enumeration of `folder`, or the opening of `file`, which were created for the name,
    // use the entry of that name in `parent`. False as above.
    static bool Lend(Folder const & parent, Name const & name, Folder const & folder) {
        return LendEntry(parent, name, Find(folder));
    }
    static bool Lend(Folder const & parent, Name const & name, File const & file) {
        return LendEntry(parent, name, dynamic_cast<WinFileEntry *>(file.entry));
    }

private:
    static WinFolderEntry * Find(Folder const & folder) {
        return dynamic_cast<WinFolderEntry *>(folder.entry);
    }
    template <typename Entry>
    static bool LendEntry(Folder const & parent, Name const & name, Entry * entry) {
        WinFolderEntry const * const above = Find(parent);
        return above == nullptr || entry == nullptr || above->Lend(name, *entry);
    }

    WinFolderEntry * entry; // null for a folder of another file system
    bool isOurs;            // whether to release it
    bool isThere;
};

} // namespace IO
