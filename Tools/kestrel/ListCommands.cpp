#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Links.h"

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <sstream>

namespace Tool {

namespace {

std::string ToTimeText(MuErrCode status, int seconds) {
    if (status != IO::NoError)
        return "-";
    std::time_t const time = seconds;
    std::ostringstream text;
    text << std::put_time(std::localtime(&time), "%Y-%m-%d %H:%M:%S");
    return text.str();
}

void Show(LinkTarget const & target) {
    Out() << " -> " << target.text << target.GetRemark();
}

void ShowEntry(IO::Location const & location, IO::Name const & name, IO::EntryType type) {
    Out() << ToText(name);
    if (type == IO::EntryType::Folder)
        Out() << "/";
    if (type == IO::EntryType::Link)
        Show(GetLinkTarget(location));
    Out() << "\n";
}

MuErrCode ShowDetails(IO::Location const & location, IO::EntryType type) {
    static constexpr char const * kinds[] = {"- ", "d ", "l "};
    unsigned long long size = 0;
    int modified = 0;
    MuErrCode asked = IO::Error;
    MuErrCode measured = IO::NoError;
    if (type == IO::EntryType::Folder)
        asked = IO::Folder(location).GetModificationTime(&modified);
    else if (type == IO::EntryType::File) {
        IO::File file(location);
        measured = file.GetDataLength(&size);
        asked = file.GetModificationTime(&modified);
    }
    std::string const text = measured == IO::NoError ? std::to_string(size) : "-";
    Out() << kinds[static_cast<unsigned int>(type)] << PadLeft(text, 14) << "  "
          << PadLeft(ToTimeText(asked, modified), 19) << "  ";
    return type == IO::EntryType::Link || measured != IO::NoError ? measured : asked;
}

MuErrCode ShowListed(IO::Location const & location, IO::Name const & name, bool isFolder,
                     Options const & options) {
    IO::EntryType type = isFolder ? IO::EntryType::Folder : IO::EntryType::File;
    MuErrCode status = IO::NoError;
    if (!isFolder)
        status = IO::fileSystem.GetType(location, &type);
    if (options.longForm)
        if (MuErrCode const shown = ShowDetails(location, type); status == IO::NoError)
            status = shown;
    ShowEntry(location, name, type);
    return status;
}

struct Found {
    IO::Name name;
    bool isFolder;
};

bool Collect(IO::Folder const &, IO::Name const & name, bool isFolder, void * data) {
    static_cast<std::vector<Found> *>(data)->push_back({name, isFolder});
    return true;
}

MuErrCode ListFolder(IO::Location const & location, Options const & options) {
    IO::Folder const folder(location);
    std::vector<Found> entries;
    if (MuErrCode const status = folder.Enumerate(Collect, &entries); status != IO::NoError)
        return status;
    std::sort(entries.begin(), entries.end(),
              [](Found const & a, Found const & b) { return a.name < b.name; });
    MuErrCode result = IO::NoError;
    for (Found const & entry : entries) {
        MuErrCode const shown =
            ShowListed(IO::Location(location, entry.name), entry.name, entry.isFolder, options);
        if (result == IO::NoError)
            result = shown;
    }
    return result;
}

MuErrCode ListOne(std::string const & path, Options const & options) {
    IO::Location const location = ToLocation(path);
    IO::EntryType type;
    if (MuErrCode const status = IO::fileSystem.EstimateResolvedType(location, &type);
        status != IO::NoError)
        return status;
    if (type == IO::EntryType::Folder)
        return ListFolder(location, options);
    IO::Name name;
    location.GetLastLocalName(&name);
    return ShowListed(location, name, false, options);
}

void Row(char const * title, std::string const & value, char const * remark = "") {
    Out() << "  " << PadRight(title, 12) << value << remark << "\n";
}

template <typename Entry>
void ShowTimes(Entry const & entry) {
    int time = 0;
    MuErrCode status = entry.GetCreationTime(&time);
    Row("created", ToTimeText(status, time));
    status = entry.GetModificationTime(&time);
    Row("modified", ToTimeText(status, time));
}

MuErrCode StatFile(IO::Location const & location) {
    IO::File const file(location);
    unsigned long long size = 0;
    bool isProtected = false;
    MuErrCode const status = file.GetDataLength(&size);
    Row("size", std::to_string(size) + " bytes");
    ShowTimes(file);
    if (file.IsWriteProtected(&isProtected) == IO::NoError)
        Row("protection", isProtected ? "write-protected" : "none");
    return status;
}

MuErrCode StatFolder(IO::Location const & location) {
    IO::Folder const folder(location);
    unsigned int entries = 0;
    unsigned long long space = 0;
    bool local = false;
    bool fixed = false;
    MuErrCode const status = folder.CountEntries(&entries);
    Row("entries", std::to_string(entries));
    if (location.GetLocalLength() > 1) // a drive has no times
        ShowTimes(folder);
    if (folder.GetFreeSpace(&space) == IO::NoError)
        Row("free space", std::to_string(space) + " bytes");
    if (folder.IsOnLocalVolume(&local) == IO::NoError &&
        folder.IsOnFixedVolume(&fixed) == IO::NoError)
        Row("volume", std::string(local ? "local" : "network") + (fixed ? ", fixed" : ""));
    return status;
}

MuErrCode StatOne(std::string const & path) {
    static constexpr char const * kinds[] = {"file", "folder", "link"};
    IO::Location const location = ToLocation(path);
    IO::EntryType type;
    if (MuErrCode const status = IO::fileSystem.GetType(location, &type); status != IO::NoError)
        return status;
    Out() << ToText(location) << "\n";
    Mu::UniString text;
    if (location.ToPath(&text) == IO::NoError)
        Row("path", ToUtf8(text));
    if (location.ToURL(&text) == IO::NoError)
        Row("URL", ToUtf8(text));
    Row("type", kinds[static_cast<unsigned int>(type)]);
    if (type == IO::EntryType::Link) {
        LinkTarget const target = GetLinkTarget(location);
        Row("target", target.text, target.GetRemark());
        return IO::NoError;
    }
    return type == IO::EntryType::Folder ? StatFolder(location) : StatFile(location);
}

bool ShowMountPoint(IO::Location const & location, void *) {
    if (location.IsRoot())
        return true; // the computer itself
    Out() << ToText(location) << (IO::fileSystem.IsMountPoint(location) ? "  (mounted)" : "")
          << "\n";
    return true;
}

} // namespace

int List(Options const & options, Console & console) {
    std::vector<std::string> const here{"."};
    std::vector<std::string> const & paths = options.paths.empty() ? here : options.paths;
    int result = 0;
    for (std::string const & path : paths) {
        if (paths.size() > 1)
            Out() << path << ":\n";
        result |= console.Finish(ListOne(path, options), path);
    }
    return result;
}

int Stat(Options const & options, Console & console) {
    int result = 0;
    for (std::string const & path : options.paths)
        result |= console.Finish(StatOne(path), path);
    return result;
}

int Special(Options const &, Console & console) {
    static constexpr char const * names[] = {"System",
                                             "ApplicationFile",
                                             "ApplicationFolder",
                                             "CurrentFolder",
                                             "UserLocalSettings",
                                             "UserLocalData",
                                             "UserLocalCache",
                                             "UserLocalLog",
                                             "UserRoamingSettings",
                                             "CommonLocalSettings",
                                             "Desktop",
                                             "TemporaryFolder",
                                             "UserDocuments",
                                             "CommonDocuments",
                                             "CommonLocalData",
                                             "CommonLocalLogs",
                                             "UserHome",
                                             "SharedComponents"};
    int result = 0;
    for (unsigned int id = 0; id < std::size(names); ++id) {
        IO::Location location;
        MuErrCode const status =
            IO::fileSystem.GetSpecialLocation(static_cast<IO::SpecLocId>(id), &location);
        result |= console.Finish(status, names[id]);
        if (status == IO::NoError)
            Out() << PadRight(names[id], 21) << ToText(location) << "\n";
    }
    return result;
}

int Mounts(Options const &, Console & console) {
    return console.Finish(IO::fileSystem.EnumerateMountPoints(ShowMountPoint, nullptr),
                          "mount points");
}

} // namespace Tool
