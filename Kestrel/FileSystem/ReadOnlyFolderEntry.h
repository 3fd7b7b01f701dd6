#pragma once

#include <Kestrel/FileSystem/FolderEntry.h>

namespace IO {

/// The base of folders that cannot be changed: every change is refused.
class KESTREL_API ReadOnlyFolderEntry : public FolderEntry {
public:
    TimeStatus SetCreationTime(int const &) override { return TimeStatus::AccessDenied; }
    TimeStatus SetModificationTime(int const &) override { return TimeStatus::AccessDenied; }
    CreateStatus CreateFile(Name const &, FileEntry *) override {
        return CreateStatus::AccessDenied;
    }
    CreateStatus CreateFolder(Name const &, FolderEntry *) override {
        return CreateStatus::AccessDenied;
    }
    CreateStatus CreateLink(Name const &, Location const &) override {
        return CreateStatus::AccessDenied;
    }
    MoveStatus Move(Name const &, FolderEntry &, Name const &, bool) override {
        return MoveStatus::AccessDenied;
    }
    DeleteStatus Delete(Name const &, bool) override { return DeleteStatus::AccessDenied; }
    AttributeStatus GetFreeSpace(unsigned long long * bytes) override {
        *bytes = 0;
        return AttributeStatus::Done;
    }
    bool IsWriteable() override { return false; }
};

} // namespace IO
