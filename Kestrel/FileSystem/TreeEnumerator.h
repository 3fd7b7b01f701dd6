#pragma once

#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Export.h>

namespace IO {

class Folder;

/// Walks a folder with all that is in it, depth first, and calls operations for what it meets.
///
/// Derive from it and override what you want to hear of:
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
/// Links are followed, but not one that leads back up the way the walk came: neither to a folder
/// above it nor to one that is being walked, which reveals a circle of any number of links. Such a
/// one is reported by a warning in the log. Two links to one folder are two visits of it.
///
/// Nothing may happen to the folders that are being walked through what is called here, but for
/// making and deleting entries in them. A tree that others change meanwhile is walked as it is met:
/// what went is skipped, what came may be missed. On Windows, and in virtual file systems, a folder that
/// goes between being listed and being entered is an Error.
///
/// Memory:  a Folder, its enumeration and some 2 KiB of stack for each level. Do may throw
///          Mu::OutOfMemoryException; the walk is then over and may be done again.
/// Threads: one at a time; no lock is held while operations are called.
/// Failure: statuses. The first one stands and the walk continues with the next entry, so that a
///          count that comes with ErrTreeAccessDenied is a count of what could be seen.
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
    /// Ends the walk: nothing is called any more, not even FolderExited for what was entered.
    void Stop() { stopped = true; }
    /// The folder being walked, which is that of the names found. Before and after Do it is the one
    /// that the walk starts from; null when it was made with none.
    Folder const * GetParent() const { return parent; }
    /// The first failure so far.
    MuErrCode GetStatus() const { return status; }

    // A step of the walk by hand, for a name in GetParent: with the questions and calls that belong
    // to it. One that is called for a folder walks it to its end.

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
