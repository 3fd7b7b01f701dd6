#include <Kestrel/FileSystem/TreeEnumerator.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/Internal/FoundFile.h>
#include <Kestrel/FileSystem/Internal/Report.h>
#include <Kestrel/FileSystem/Internal/TransferStep.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

/// A folder that a walk entered, with the one it was entered from. The folder that the walk starts
/// with is no Level, or one of another walk.
class TreeEnumerator::Level final : public Folder {
public:
    Level(TreeEnumerator const & walk, Name const & name)
        : Folder(*walk.parent, name, Found()), walk(walk), above(*walk.parent) {}

    /// Null for the folder that the walk starts with.
    static Folder const * GetAbove(Folder const & folder, TreeEnumerator const & walk) {
        Level const * const level = dynamic_cast<Level const *>(&folder);
        return level == nullptr || &level->walk != &walk ? nullptr : &level->above;
    }

private:
    TreeEnumerator const & walk;
    Folder const & above;
};

namespace {

/// Restores the value of a variable on every way out.
template <typename Value>
class Restore {
public:
    explicit Restore(Value & variable) : variable(variable), value(variable) {}
    ~Restore() { variable = value; }
    Restore(Restore const &) = delete;
    Restore & operator=(Restore const &) = delete;

private:
    Value & variable;
    Value const value;
};

bool IsAt(Folder const & folder, Location const & place) {
    Location location;
    return folder.GetLocation(&location) == NoError && location == place;
}

} // namespace

TreeEnumerator::TreeEnumerator(Folder const & folder)
    : parent(Mu::IsNull(folder) ? nullptr : &folder) {}

bool TreeEnumerator::EntryFound(Name const &, bool) {
    return true;
}

bool TreeEnumerator::FileFound(Name const &) {
    return false;
}

bool TreeEnumerator::FolderFound(Name const &) {
    return true;
}

bool TreeEnumerator::LinkFound(Name const &) {
    return true;
}

void TreeEnumerator::FolderEntered(Name const &, Folder const &) {}

void TreeEnumerator::FolderExited(Name const &, Folder const &) {}

MuErrCode TreeEnumerator::Do() {
    if (parent == nullptr)
        return Error;
    stopped = false;
    status = NoError;
    SetStatus(parent->Enumerate(EnumCallback, this));
    return status;
}

void TreeEnumerator::SetStatus(MuErrCode code) {
    if (status == NoError && code != NoError)
        status = code == ErrFolderAccessDenied ? ErrTreeAccessDenied : Error;
}

bool TreeEnumerator::EnumCallback(Folder const &, Name const & name, bool isFolder, void * data) {
    return static_cast<TreeEnumerator *>(data)->ProcessEntryFound(name, isFolder);
}

bool TreeEnumerator::ProcessEntryFound(Name const & name, bool isFolder) {
    if (stopped)
        return false;
    TransferStep const step(this, *parent, name);
    if (step.IsEnded()) {
        SetStatus(Error);
        Stop();
        return false;
    }
    if (!EntryFound(name, isFolder) || stopped)
        return !stopped;
    EntryType type = EntryType::Folder;
    if (isFolder)
        ProcessFolderFound(name);
    else if (parent->GetType(name, &type) != NoError)
        return true; // it was removed meanwhile, or may not be accessed
    else if (type == EntryType::File)
        ProcessFileFound(name);
    else if (type == EntryType::Link)
        ProcessLinkFound(name);
    return !stopped;
}

// Whether a step can be taken at all; hosts may call the steps at any time.
bool TreeEnumerator::Takes(Name const & name) const {
    return !stopped && parent != nullptr && !Mu::IsNull(name);
}

void TreeEnumerator::ProcessFileFound(Name const & name) {
    if (Takes(name))
        FileFound(name);
}

void TreeEnumerator::ProcessFolderFound(Name const & name) {
    if (!Takes(name) || !FolderFound(name) || stopped)
        return;
    Level const folder(*this, name);
    ProcessFolderEntered(name, folder);
    using Held = WinFolderEntry::HoldStatus;
    Held const held = FoundFile(*parent).Hold(name, folder);
    {
        Restore const restored(parent);
        parent = &folder;
        // A folder that was deleted since it was listed is skipped.
        MuErrCode const walked = stopped || held == Held::Gone ? NoError
                                 : held == Held::There ? folder.Enumerate(EnumCallback, this)
                                                       : Error;
        SetStatus(walked);
        if (walked != NoError && !TransferStep::SkipsCurrent(walked))
            Stop();
    }
    ProcessFolderExited(name, folder);
}

void TreeEnumerator::ProcessFolderEntered(Name const & name, Folder const & folder) {
    if (!stopped)
        FolderEntered(name, folder);
}

void TreeEnumerator::ProcessFolderExited(Name const & name, Folder const & folder) {
    if (!stopped)
        FolderExited(name, folder);
}

void TreeEnumerator::ProcessLinkFound(Name const & name) {
    EntryType type;
    if (!Takes(name) || !LinkFound(name) || stopped ||
        parent->GetResolvedType(name, &type) != NoError)
        return;
    if (type == EntryType::File)
        ProcessFileFound(name);
    else if (type == EntryType::Folder && !LeadsBack(name))
        ProcessFolderFound(name);
}

// Whether to leave the link alone: one that cannot be resolved, and, with a warning, one that leads
// back to a folder that the walk came through. A folder that is entered by a link has the link's
// target as its location, which does not contain these folders; so they are compared, too.
bool TreeEnumerator::LeadsBack(Name const & link) const {
    static ReportLine line(
        ReportLine::Level::Warning,
        "Recursive link \"%\" referring to \"%\" is not followed during the enumeration");
    Location location;
    Location target;
    parent->GetLocation(&location);
    if (location.AppendToLocal(link) == ErrMemoryFull)
        Mu::ThrowOutOfMemory(); // an unchecked link must not be taken for one that leads back
    if (!fileSystem.ResolveLocation(location, &target) &&
        !FoundFile(*parent).ResolveBeyond(link, location, &target))
        return true;
    bool leadsBack = target.IsAncestorOf(location);
    for (Folder const * folder = parent; folder != nullptr && !leadsBack;
         folder = Level::GetAbove(*folder, *this))
        leadsBack = IsAt(*folder, target);
    if (leadsBack)
        Report(line, {location, target});
    return leadsBack;
}

} // namespace IO
