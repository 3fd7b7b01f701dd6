#pragma once

#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace IO {

class Folder;

/// Walks a folder with all that is in it, depth first, and calls an operation for each entry.
///
/// Derive from it and override the operations you need:
///
///     class Lister : public IO::TreeEnumerator {
///         using TreeEnumerator::TreeEnumerator;
///         bool FileFound(IO::Name const & name) override { ... GetParent() ... return true; }
///     };
///     Lister(folder).Do();
///
/// For one folder without those in it use Folder::Enumerate; to count, FileSystem::CountFiles and
/// CountSize. What is mounted in a folder is walked as a part of it.
///
/// Links are followed, except those that lead back: to a folder above the link or to one that is
/// being walked, which detects circles of any number of links. Such a link is reported by a warning
/// in the log. Two links to one folder are two visits of it.
///
/// The operations may create and delete entries in the folders being walked, but not change these
/// folders themselves. In a tree that others change meanwhile, vanished entries are skipped and new
/// ones may be missed. On Windows, and in virtual file systems, a folder that vanishes between
/// being listed and being entered is an Error.
///
/// Memory:  a Folder, its enumeration and some 2 KiB of stack for each level. Do may throw
///          Mu::OutOfMemoryException; the walk is then over and may be repeated.
/// Threads: one at a time; no lock is held while operations are called.
/// Failure: statuses. The first one is returned and the walk continues with the next entry, so that
///          a count with ErrTreeAccessDenied is a count of what could be read.
class KESTREL_API TreeEnumerator {
public:
    /// `folder` must outlive the walk.
    explicit TreeEnumerator(Folder const & folder);

    // What a walk calls, in this order for each entry. Those that do nothing here return true.

    /// True: continue with the entry by one of the next three.
    virtual bool EntryFound(Name const & name, bool isFolder);
    /// A file, or a link to one. The result is not used.
    virtual bool FileFound(Name const & name);
    /// A folder, or a link to one that is followed. True: enter it.
    virtual bool FolderFound(Name const & name);
    /// A link, before its target is examined. True: follow it.
    virtual bool LinkFound(Name const & name);
    /// `folder` is the one that is entered, GetParent the one that it lies in; so for FolderExited.
    /// It may be one that could not be connected to, which its status reports.
    virtual void FolderEntered(Name const & name, Folder const & folder);
    virtual void FolderExited(Name const & name, Folder const & folder);

    /// The walk. May be repeated, and starts from the beginning then. NoError also after Stop;
    /// ErrTreeAccessDenied: a folder may not be read; Error: another failure, or no folder.
    virtual MuErrCode Do();

    virtual ~TreeEnumerator() = default;
    TreeEnumerator(TreeEnumerator const &) = default;
    TreeEnumerator & operator=(TreeEnumerator const &) = default;

protected:
    /// Ends the walk: nothing is called any more, not even FolderExited for the folders entered.
    void Stop() { stopped = true; }
    /// The folder being walked, which holds the reported names. Before and after Do, the root of
    /// the walk; null when there is none.
    Folder const * GetParent() const { return parent; }
    /// The first failure so far.
    MuErrCode GetStatus() const { return status; }

    // Explicit steps of the walk, for a name in GetParent, with all operations that belong to them.
    // The step for a folder walks all of it.

    void ProcessFileFound(Name const & name);
    void ProcessFolderFound(Name const & name);
    void ProcessLinkFound(Name const & name);

private:
    class Level;

    bool IsStopped() const { return stopped; }
    void SetStatus(MuErrCode code);
    bool Takes(Name const & name) const;
    bool ProcessEntryFound(Name const & name, bool isFolder);
    void ProcessFolderEntered(Name const & name, Folder const & folder);
    void ProcessFolderExited(Name const & name, Folder const & folder);
    bool LeadsBack(Name const & link) const;
    static bool EnumCallback(Folder const & folder, Name const & name, bool isFolder, void * data);

    Folder const * parent; // the folder being walked
    bool stopped = false;
    MuErrCode status = 0;
};

} // namespace IO
