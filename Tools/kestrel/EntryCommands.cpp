#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Interruption.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

namespace Tool {

namespace {

// Someone waits for the answer, so that a denial is an error whatever the location.
constexpr auto Retry = IO::AccessDeniedTreatment::RetryAlways;

IO::DataSafety GetSafety(Options const & options) {
    return options.force ? IO::DataSafety::IgnoreProtection : IO::DataSafety::KeepProtected;
}

int RemoveOne(std::string const & path, Options const & options, Console & console) {
    if (NamesAround(path))
        return console.Fail(path + " is not deleted: it is the current folder, or one round it");
    IO::Location const location = ToLocation(path);
    if (!console.IsSpeltSo(location, path))
        return 1;
    IO::EntryType type;
    MuErrCode status = IO::fileSystem.GetType(location, &type);
    if (status == IO::NoError && type == IO::EntryType::Folder && !options.recursive)
        return console.Fail(path + " is a folder; say -r to delete it with all that is in it");
    if (status == IO::NoError)
        status = IO::fileSystem.Delete(location, GetSafety(options), Retry);
    return console.Finish(status, path);
}

// The inside of a process changes while it is copied, and its top is a root, which has no name.
int CopyProcess(IO::Location const & target, Options const & options, Console & console) {
    Options copy = options;
    Mu::UniString url;
    MuErrCode const status = target.ToURL(&url);
    if (status != IO::NoError)
        return console.Finish(status, options.target);
    copy.target = ToUtf8(url);
    return TakeSnapshot(copy, console);
}

} // namespace

int Copy(Options const & options, Console & console) {
    IO::Location const source = ToLocation(options.source);
    IO::Location const target = GetTarget(options.target, source);
    IO::EntryType type;
    if (source.GetScheme() == "reflect" && IO::fileSystem.GetType(source, &type) == IO::NoError &&
        type == IO::EntryType::Folder)
        return CopyProcess(target, options, console);
    HalfMade const made(target);
    return console.Finish(IO::fileSystem.Copy(source, target), options.source);
}

int Move(Options const & options, Console & console) {
    if (NamesAround(options.source))
        return console.Fail(options.source +
                            " is not moved: it is the current folder, or one round it");
    IO::Location const source = ToLocation(options.source);
    if (!console.IsSpeltSo(source, options.source))
        return 1;
    IO::Location const target = GetTarget(options.target, source);
    Uninterrupted const whole; // what was copied first must not vanish when the source is gone
    return console.Finish(IO::fileSystem.Move(source, target, GetSafety(options)), options.source);
}

int Remove(Options const & options, Console & console) {
    int result = 0;
    for (std::string const & path : options.paths)
        result |= RemoveOne(path, options, console);
    return result;
}

int MakeFolder(Options const & options, Console & console) {
    int result = 0;
    for (std::string const & path : options.paths) {
        IO::Location const location = ToLocation(path);
        result |= console.Finish(options.parents ? IO::fileSystem.CreateFolderTree(location)
                                                 : IO::fileSystem.CreateFolder(location),
                                 path);
    }
    return result;
}

int Link(Options const & options, Console & console) {
    IO::Location const source = ToLocation(options.source);
    if (source.GetStatus() != IO::NoError)
        return console.Finish(source.GetStatus(), options.source);
    IO::Location parent = GetTarget(options.target, source);
    IO::Name name;
    MuErrCode status = parent.MoveLastLocalName(&name);
    if (status == IO::NoError) {
        IO::Folder folder(parent);
        status = folder.CreateLink(name, source);
    }
    return console.Finish(status, options.target);
}

} // namespace Tool
