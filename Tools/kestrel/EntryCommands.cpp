#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Interruption.h"
#include "Transfer.h"

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Root/Time/Clock.h>

#include <exception>

namespace Tool {

namespace {

// A user waits for the result, so a denial is a failure at every location.
constexpr auto Retry = IO::AccessDeniedTreatment::RetryAlways;

IO::DataSafety GetSafety(Options const & options) {
    return options.force ? IO::DataSafety::IgnoreProtection : IO::DataSafety::KeepProtected;
}

/// The type of an entry, and whether it exists.
struct Look {
    bool isThere = false;
    IO::EntryType type = IO::EntryType::File;
    MuErrCode status = IO::NoError; ///< a failure: the type could not be determined

    bool IsFolder() const { return isThere && type == IO::EntryType::Folder; }
};

// Logs nothing if no entry exists.
Look LookAt(IO::Location const & location) {
    Look look;
    // The first name of a path is a drive, that of a URL an entry like any other.
    if (location.GetLocalLength() <= (location.GetScheme().IsEmpty() ? 1 : 0)) {
        look.status = IO::fileSystem.GetType(location, &look.type);
        look.isThere = look.status == IO::NoError;
        return look;
    }
    look.status = IO::fileSystem.Contains(location, &look.isThere);
    if (look.isThere)
        look.status = IO::fileSystem.GetType(location, &look.type);
    return look;
}

/// A location split into folder and name.
struct Place {
    explicit Place(IO::Location const & location) : folder(location) {
        status = folder.MoveLastLocalName(&name);
    }

    IO::Location folder;
    IO::Name name;
    MuErrCode status;
};

/// Deletes a temporary copy at the end of the scope, unless it has been renamed.
class Aside {
public:
    Aside(IO::Folder & inFolder, IO::Name const & ofName) : folder(inFolder), name(ofName) {}
    ~Aside() {
        try {
            bool isThere = false;
            if (folder.Contains(name, &isThere) == IO::NoError && isThere)
                (void)folder.Delete(name, IO::DataSafety::IgnoreProtection, Retry);
        } catch (std::exception const &) {
            // The command has failed already, and reports that.
        }
    }
    Aside(Aside const &) = delete;
    Aside & operator=(Aside const &) = delete;

private:
    IO::Folder & folder;
    IO::Name const & name;
};

// Whether nothing can be created next to the entry.
bool IsClosed(IO::Location const & location) {
    Place const place(location);
    if (place.status != IO::NoError)
        return false;
    IO::Folder const folder(place.folder, IO::Folder::OnNotFound::FailQuietly);
    return folder.GetStatus() == IO::NoError && !folder.IsWriteable();
}

/// One run of cp or mv.
class Transferring {
public:
    Transferring(char const * verb, Options const & givenOptions, Console & givenConsole)
        : options(givenOptions), console(givenConsole), watch(verb, console),
          moves(std::string(verb) == "mv"), base(ToLocation(givenOptions.paths.back())) {}

    int Run() {
        std::vector<std::string> const & paths = options.paths;
        std::string const & last = paths.back();
        IO::Location const & target = base;
        IO::EntryType type = IO::EntryType::File;
        Look const look = LookAt(target);
        bool const isFolder = look.isThere &&
                              IO::fileSystem.EstimateResolvedType(target, &type) == IO::NoError &&
                              type == IO::EntryType::Folder;
        if (paths.size() < 2)
            return console.Refuse("missing destination behind '" + last + "'");
        if (paths.size() > 2 && !isFolder)
            return console.Refuse("target '" + last + "': Not a directory");
        int result = console.Drop();
        if (!moves && IsTerminal(true))
            for (std::size_t i = 0; i + 1 < paths.size(); ++i)
                watch.AddTotal(ToLocation(paths[i]));
        for (std::size_t i = 0; i + 1 < paths.size() && !watch.IsEnded(); ++i)
            result |= RunOne(paths[i], target, isFolder);
        return result | watch.Finish();
    }

private:
    int RunOne(std::string const & path, IO::Location target, bool intoFolder) {
        if (moves && NamesAround(path))
            return console.Refuse(path +
                                  " is not moved: it is the current folder, or one round it");
        IO::Location source = ToLocation(path);
        Look const look = LookAt(source);
        if (look.status != IO::NoError || !look.isThere)
            return console.Finish(look.isThere || look.status != IO::NoError ? look.status
                                                                             : IO::ErrFileNotFound,
                                  path);
        if (moves && !console.IsSpeltSo(source, path))
            return 1;
        IO::Name name;
        if (intoFolder && source.GetLastLocalName(&name) == IO::NoError)
            target.AppendToLocal(name);
        if (source.GetScheme() == "reflect" && moves)
            return console.Finish(IO::ErrFileAccessDenied, path);
        if (source.GetScheme() == "reflect" && look.IsFolder())
            return CopyProcess(path, target);
        bool isFolder = look.IsFolder();
        // With -r a link is copied as a link.
        if (!moves && look.type == IO::EntryType::Link && !options.recursive) {
            IO::EntryType type = IO::EntryType::File;
            if (MuErrCode const status = IO::fileSystem.GetResolvedType(source, &type);
                status != IO::NoError)
                return console.Finish(status, path);
            if (!IO::fileSystem.ResolveLocation(&source))
                return console.Finish(IO::Error, path);
            isFolder = type == IO::EntryType::Folder;
        }
        if (!moves && isFolder && !options.recursive)
            return console.Refuse("-r not specified; omitting directory '" + path + "'");
        if (source == target && moves && ToText(source) != ToText(target))
            return Make(source, target, path); // the same entry, spelt in another case
        if (source == target)
            return console.Refuse("'" + path + "' and '" + Typed(target) + "' are the same file");
        if (isFolder && source.IsAncestorOf(target))
            return console.Refuse("cannot put a directory, '" + path + "', into itself, '" +
                                  Typed(target) + "'");
        watch.SetRoot(source, path);
        return Transfer(source, target, path);
    }

    // The inside of a process changes while it is copied, and its top is a root, which has no name.
    int CopyProcess(std::string const & path, IO::Location const & target) {
        Options copy = options;
        Mu::UniString url;
        if (MuErrCode const status = target.ToURL(&url); status != IO::NoError)
            return console.Finish(status, Typed(target));
        copy.source = path;
        copy.target = ToUtf8(url);
        return TakeSnapshot(copy, console);
    }

    // Replaces an existing entry, if need be.
    int Transfer(IO::Location const & source, IO::Location const & target,
                 std::string const & path) {
        Look const from = LookAt(source);
        Look const to = LookAt(target);
        if (from.status != IO::NoError)
            return console.Finish(from.status, path);
        if (to.status != IO::NoError)
            return console.Finish(to.status, Typed(target));
        if (!to.isThere)
            return Make(source, target, path);
        if (from.IsFolder() && to.IsFolder())
            return moves ? ReplaceEmpty(source, target, path) : Merge(source, target, path);
        if (options.noClobber)
            return 0;
        if (from.IsFolder() != to.IsFolder())
            return console.Refuse("cannot overwrite '" + Typed(target) + "' by '" + path +
                                  "': one is a directory");
        if (options.interactive && !Confirm("overwrite '" + Typed(target) + "'?"))
            return 0;
        return Replace(source, target, path);
    }

    int Make(IO::Location const & source, IO::Location const & target, std::string const & path) {
        if (moves) {
            Uninterrupted const whole; // the copies must not vanish once the source is deleted
            return Done(IO::fileSystem.Move(source, target, GetSafety(options)), target, path);
        }
        HalfMade const made(target);
        return Done(IO::fileSystem.Copy(source, target), target, path);
    }

    int ReplaceEmpty(IO::Location const & source, IO::Location const & target,
                     std::string const & path) {
        bool isEmpty = false;
        if (IO::Folder(target).IsEmpty(&isEmpty) != IO::NoError || !isEmpty)
            return console.Refuse("cannot move '" + path + "' to '" + Typed(target) +
                                  "': Directory not empty");
        MuErrCode const deleted =
            IO::fileSystem.Delete(target, IO::DataSafety::KeepProtected, Retry);
        return deleted == IO::NoError ? Make(source, target, path) : console.Finish(deleted, path);
    }

    // Copy next to the target first, then replace it in one step.
    int Replace(IO::Location const & source, IO::Location const & target,
                std::string const & path) {
        Place const place(target);
        IO::Folder folder(place.folder);
        IO::Name aside;
        if (place.status != IO::NoError || folder.GenerateUnusedName(&aside) != 0)
            return console.Finish(IO::ErrFileCreationFailed, Typed(target));
        IO::Location const beside(place.folder, aside);
        MuErrCode status = IO::NoError;
        if (moves) {
            Uninterrupted const whole;
            status = IO::fileSystem.Move(source, beside, GetSafety(options));
            if (status == IO::NoError)
                status = folder.Replace(aside, place.name, Retry);
            if (status != IO::NoError && LookAt(beside).isThere)
                (void)IO::fileSystem.Move(beside, source, IO::DataSafety::IgnoreProtection);
        } else {
            HalfMade const made(beside);
            Aside const copy(folder, aside); // deletes it also when memory runs out
            status = IO::fileSystem.Copy(source, beside);
            if (status == IO::NoError)
                status = folder.Replace(aside, place.name, Retry);
        }
        return Done(status, target, path);
    }

    int Merge(IO::Location const & source, IO::Location const & target, std::string const & path) {
        std::vector<IO::Name> names;
        MuErrCode const listed = IO::Folder(source).Enumerate(
            [](IO::Folder const &, IO::Name const & name, bool, void * data) {
                static_cast<std::vector<IO::Name> *>(data)->push_back(name);
                return true;
            },
            &names);
        int result = console.Finish(listed, path);
        for (IO::Name const & name : names)
            if (!watch.IsEnded())
                result |= Transfer(IO::Location(source, name), IO::Location(target, name),
                                   Join(path, ToText(name)));
        return result;
    }

    int Done(MuErrCode status, IO::Location const & target, std::string const & path) {
        if (watch.HasFailures()) // each has been reported
            return console.Drop() | 1;
        if (status == IO::NoError && options.longForm)
            Out() << (moves ? "renamed '" : "'") << path << "' -> '" << Typed(target) << "'\n";
        if (status == IO::NoError)
            return console.Finish(status, path);
        // Which of both sides failed is not known, except for a target that takes no entries.
        if (IsClosed(target))
            return console.Finish(IO::ErrFolderAccessDenied, Typed(target));
        return console.Finish(status, "'" + path + "' -> '" + Typed(target) + "'");
    }

    // The path as the user typed it.
    std::string Typed(IO::Location const & target) const {
        std::string text = options.paths.back();
        IO::RelativeLocation below;
        IO::Name name;
        if (target.GetDifference(base, &below) == IO::NoError)
            for (unsigned int i = 0; below.GetName(i, &name) == IO::NoError; ++i)
                text = Join(text, ToText(name));
        return text;
    }

    Options const & options;
    Console & console;
    Watch watch;
    bool const moves;
    IO::Location const base; // of the last path
};

int RemoveOne(std::string const & path, Options const & options, Console & console, Watch & watch) {
    if (NamesAround(path))
        return console.Refuse(path + " is not deleted: it is the current folder, or one round it");
    IO::Location const location = ToLocation(path);
    Look const look = LookAt(location);
    if (look.status != IO::NoError)
        return console.Finish(look.status, path);
    if (!look.isThere)
        return options.force ? console.Drop() : console.Finish(IO::ErrEntryNotFound, path);
    if (!console.IsSpeltSo(location, path))
        return 1;
    if (look.IsFolder() && !options.recursive)
        return console.Refuse(path + " is a folder; say -r to delete it with all that is in it");
    if (options.interactive && !Confirm("delete '" + path + "'?"))
        return 0;
    watch.SetRoot(location, path);
    MuErrCode const status = IO::fileSystem.Delete(location, GetSafety(options), Retry);
    if (watch.HasFailures())
        return console.Drop() | 1;
    if (status == IO::NoError && options.longForm)
        Out() << "removed '" << path << "'\n";
    return console.Finish(status, path);
}

int MakeLink(std::string const & path, IO::Location parent, bool intoFolder,
             Options const & options, Console & console) {
    IO::Location const source = ToLocation(path);
    IO::Name name;
    if (source.GetStatus() != IO::NoError)
        return console.Finish(source.GetStatus(), path);
    Mu::UniString ignored;
    if (source.ToPath(&ignored) != IO::NoError)
        return console.Refuse(path + ": a link leads to paths only");
    std::string target = options.paths.back();
    if (intoFolder && source.GetLastLocalName(&name) == IO::NoError) {
        parent.AppendToLocal(name);
        target = Join(target, ToText(name));
    }
    Look const look = LookAt(parent);
    if (look.isThere && !look.IsFolder() && options.force)
        (void)IO::fileSystem.Delete(parent, IO::DataSafety::KeepProtected, Retry);
    Place const place(parent);
    MuErrCode status = place.status;
    if (status == IO::NoError)
        status = IO::Folder(place.folder).CreateLink(place.name, source);
    if (status == IO::Error &&
        IsClosed(parent)) // a failed creation of a link leaves the cause open
        status = IO::ErrFolderAccessDenied;
    if (status == IO::NoError && options.longForm)
        Out() << "'" << target << "' -> '" << path << "'\n";
    return console.Finish(status, target);
}

} // namespace

int Copy(Options const & options, Console & console) {
    return Transferring("cp", options, console).Run();
}

int Move(Options const & options, Console & console) {
    return Transferring("mv", options, console).Run();
}

int Remove(Options const & options, Console & console) {
    Watch watch("rm", console);
    int result = 0;
    for (std::string const & path : options.paths)
        if (!watch.IsEnded())
            result |= RemoveOne(path, options, console, watch);
    return result | watch.Finish();
}

int MakeFolder(Options const & options, Console & console) {
    int result = 0;
    for (std::string const & path : options.paths) {
        IO::Location const location = ToLocation(path);
        MuErrCode status = options.parents ? IO::fileSystem.CreateFolderTree(location)
                                           : IO::fileSystem.CreateFolder(location);
        if (status == IO::Error && // of a root
            IO::Folder(location, IO::Folder::OnNotFound::FailQuietly).GetStatus() == IO::NoError)
            status = IO::ErrTargetExists;
        if (status == IO::NoError && options.longForm)
            Out() << "created directory '" << path << "'\n";
        result |= console.Finish(status, path);
    }
    return result;
}

int Link(Options const & options, Console & console) {
    std::vector<std::string> const & paths = options.paths;
    if (paths.size() < 2)
        return console.Refuse("missing name of the link behind '" + paths.back() + "'");
    IO::Location const target = ToLocation(paths.back());
    IO::EntryType type = IO::EntryType::File;
    bool const isFolder = LookAt(target).isThere &&
                          IO::fileSystem.EstimateResolvedType(target, &type) == IO::NoError &&
                          type == IO::EntryType::Folder;
    if (paths.size() > 2 && !isFolder)
        return console.Refuse("target '" + paths.back() + "': Not a directory");
    int result = console.Drop();
    for (std::size_t i = 0; i + 1 < paths.size(); ++i)
        result |= MakeLink(paths[i], target, isFolder, options, console);
    return result;
}

int Touch(Options const & options, Console & console) {
    int result = 0;
    for (std::string const & path : options.paths) {
        IO::Location const location = ToLocation(path);
        Look const look = LookAt(location);
        if (!look.isThere && options.noClobber) // -c: do not create files
            continue;
        MuErrCode status = look.status;
        if (status == IO::NoError && !look.isThere)
            status = IO::fileSystem.CreateFile(location);
        int const now = static_cast<int>(Mu::GetClock().GetWallMilliseconds() / 1000);
        if (status == IO::NoError && look.isThere)
            status = look.IsFolder() ? IO::Folder(location).SetModificationTime(now)
                                     : IO::File(location).SetModificationTime(now);
        result |= console.Finish(status, path);
    }
    return result;
}

} // namespace Tool
