#pragma once

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>

#include <optional>

namespace IO {

/// A new content for a file, which replaces the old one completely or not at all.
///
///     IO::ReplacingFile saved(location);
///     saved.GetFile() << "everything";
///     MuErrCode const status = saved.Commit();
///
/// For files that must never be found half-written: settings, documents, indexes. The content is
/// written under an unused name beside the target, with the target's permissions, flushed to the
/// device, and renamed over the target in one step. At any moment the name has the old content or
/// the new one, even if the process or the system ends; the unused name may be left then. A target
/// that does not exist is created with its content. If the target is a link, the file that it leads
/// to is replaced.
///
/// The target becomes a new file: its creation time is new, and other hard links keep the old
/// content. File systems other than the platform's replace as documented for Folder::Replace.
///
/// Memory:  that of a File and a Folder.
/// Threads: one at a time.
/// Failure: statuses. A failure before the end of Commit leaves no traces.
class KESTREL_API ReplacingFile {
public:
    /// Opens the new file. GetStatus is then NoError, or a status of File, File::Open or
    /// Folder::CreateFile; ErrFileAccessDenied for a target that could not be written either.
    explicit ReplacingFile(Location const & target);
    /// Without a Commit that returned NoError, deletes the new file; the old one remains.
    ~ReplacingFile();
    ReplacingFile(ReplacingFile const &) = delete;
    ReplacingFile & operator=(ReplacingFile const &) = delete;

    MuErrCode GetStatus() const { return status; }
    /// Open for writing; writes fail if GetStatus is not NoError. The caller must not close it.
    File & GetFile() { return *file; }

    /// Flushes, closes and replaces. Returns the first failure of writing, or those of File::Flush,
    /// File::Close and Folder::Replace; Error if it was called before.
    [[nodiscard]] MuErrCode
    Commit(AccessDeniedTreatment treatment = AccessDeniedTreatment::RetryPrivate);

private:
    ReplacingFile() = default;
    MuErrCode Open(Location place);
    MuErrCode Make(bool replaces);
    void Discard();

    MuErrCode status = Error;
    Name target;
    Name name; // of the new file, while there is one
    bool isMade = false;
    std::optional<Folder> folder;
    std::optional<File> file;
};

} // namespace IO
