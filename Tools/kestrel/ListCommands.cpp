#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Links.h"
#include "Transfer.h"
#include "TreeReader.h"

#include <Kestrel/Comfort/Folders.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <sstream>

namespace Tool {

namespace {

std::string ToTimeText(MuErrCode status, int seconds) {
    if (status != IO::NoError)
        return "-";
    std::time_t const time = seconds;
    std::tm local = {};
    // localtime would check the system's time zone on each call.
#if defined(_WIN32)
    localtime_s(&local, &time);
#else
    localtime_r(&time, &local);
#endif
    char text[64];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local));
}

void Show(LinkTarget const & target) {
    Out() << " -> " << target.text << target.GetRemark();
}

/// The place of an entry. Most entries never need a location of their own, which costs more.
struct Place {
    IO::Location const & folder;
    IO::Name const * name; ///< null: the folder itself

    IO::Location Get() const { return name != nullptr ? IO::Location(folder, *name) : folder; }
};

/// An entry as ls shows it.
struct Listed {
    IO::Name const * name; ///< in its folder; null for a path of the command line
    std::string text = {};
    IO::EntryType type = IO::EntryType::File;
    char kind = '-'; ///< as the system reports it: pipes, sockets and devices, too
    bool isExecutable = false;
    unsigned long long size = 0;
    int modified = 0;
    MuErrCode measured = IO::NoError;
    MuErrCode asked = IO::NoError;
    MuErrCode status = IO::NoError;
};

// Entries that the library reports as files.
void LookNatively(IO::Location const & location, Listed * entry) {
    namespace fs = std::filesystem;
    std::error_code failure;
    fs::path const path = IO::ToNativePath(location);
    fs::file_status const found =
        path.empty() ? fs::file_status() : fs::symlink_status(path, failure);
    entry->kind = found.type() == fs::file_type::fifo        ? 'p'
                  : found.type() == fs::file_type::socket    ? 's'
                  : found.type() == fs::file_type::character ? 'c'
                  : found.type() == fs::file_type::block     ? 'b'
                                                             : '-';
    constexpr fs::perms runs =
        fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
    entry->isExecutable = entry->kind == '-' && found.type() == fs::file_type::regular &&
                          (found.permissions() & runs) != fs::perms::none;
}

/// The colours of LS_COLORS, only on a terminal and unless NO_COLOR is set.
class Colours {
public:
    Colours() {
        char const * const no = std::getenv("NO_COLOR");
        isOn = Out().IsTerminal() && IsTerminal(false) && (no == nullptr || *no == 0);
        char const * const given = std::getenv("LS_COLORS");
        std::istringstream rules(given != nullptr ? given
                                                  : "di=01;34:ln=01;36:pi=33:so=01;35:"
                                                    "bd=01;33:cd=01;33:ex=01;32:or=31;01");
        for (std::string rule; isOn && std::getline(rules, rule, ':');) {
            std::size_t const equals = rule.find('=');
            // Accepts colours only: the text comes from outside and is sent to a terminal.
            if (equals != rule.npos &&
                rule.find_first_not_of("0123456789;", equals + 1) == rule.npos)
                colours[rule.substr(0, equals)] = rule.substr(equals + 1);
        }
    }
    bool AreShown() const { return isOn; }
    void Show(Listed const & entry, bool isBroken) const {
        std::string const colour = isOn ? Find(entry, isBroken) : std::string();
        if (!colour.empty())
            Out() << ("\x1B[" + colour + "m").c_str();
        Out() << entry.text;
        if (!colour.empty())
            Out() << "\x1B[0m";
    }

private:
    std::string Get(std::string const & key) const {
        auto const found = colours.find(key);
        return found == colours.end() ? std::string() : found->second;
    }
    std::string Find(Listed const & entry, bool isBroken) const {
        switch (entry.kind) {
        case 'd': return Get("di");
        case 'l': return Get(isBroken && !Get("or").empty() ? "or" : "ln");
        case 'p': return Get("pi");
        case 's': return Get("so");
        case 'b': return Get("bd");
        case 'c': return Get("cd");
        default: break;
        }
        std::size_t const dot = entry.text.rfind('.');
        std::string const byEnd = dot == entry.text.npos ? "" : Get("*" + entry.text.substr(dot));
        return entry.isExecutable ? Get("ex") : byEnd;
    }

    bool isOn;
    std::map<std::string, std::string> colours;
};

/// The data of an entry that the enumeration has.
struct Found {
    IO::Name name;
    bool isFolder = false;
    bool isPlainFile = false; // length and time are set; otherwise neither is
    bool isDevice = false;
    unsigned long long size = 0;
    int modified = 0;
};

Listed Gather(Place const & place, Found const & found, Options const & options,
              Colours const & colours) {
    Listed entry{place.name};
    entry.text = ToText(found.name);
    entry.type = found.isFolder ? IO::EntryType::Folder : IO::EntryType::File;
    if (!found.isFolder && !found.isPlainFile)
        entry.status = IO::fileSystem.GetType(place.Get(), &entry.type);
    bool const isRegular = found.isPlainFile && !found.isDevice;
    if (entry.type != IO::EntryType::File)
        entry.kind = entry.type == IO::EntryType::Folder ? 'd' : 'l';
    else if (colours.AreShown() || (options.longForm && !isRegular))
        LookNatively(place.Get(), &entry);
    if (!options.longForm && options.sort == 0)
        return entry;
    entry.asked = IO::Error;
    if (entry.type == IO::EntryType::Folder)
        entry.asked = IO::Folder(place.Get()).GetModificationTime(&entry.modified);
    else if (found.isPlainFile) {
        entry.measured = entry.asked = IO::NoError;
        entry.size = found.size;
        entry.modified = found.modified;
    } else if (entry.type == IO::EntryType::File) {
        IO::File file(place.Get());
        entry.measured = file.GetDataLength(&entry.size);
        entry.asked = file.GetModificationTime(&entry.modified);
    }
    MuErrCode const shown = entry.type == IO::EntryType::Link || entry.measured != IO::NoError
                                ? entry.measured
                                : entry.asked;
    if (entry.status == IO::NoError && options.longForm)
        entry.status = shown;
    return entry;
}

void ShowListed(Place const & place, Listed const & entry, Options const & options,
                Colours const & colours) {
    if (options.longForm) {
        std::string const size = entry.measured != IO::NoError ? "-"
                                 : options.human               ? ToSizeText(entry.size)
                                                               : std::to_string(entry.size);
        char const kind[] = {entry.kind, ' ', 0};
        Out() << kind << PadLeft(size, 14) << "  "
              << PadLeft(ToTimeText(entry.asked, entry.modified), 19) << "  ";
    }
    LinkTarget const target =
        entry.type == IO::EntryType::Link ? GetLinkTarget(place.Get()) : LinkTarget();
    colours.Show(entry, target.isBroken);
    if (entry.type == IO::EntryType::Folder)
        Out() << "/";
    if (entry.type == IO::EntryType::Link)
        Show(target);
    Out() << "\n";
}

std::size_t GetWidth(Listed const & entry) {
    std::string const shown = Disarm(entry.text);
    auto const units =
        std::count_if(shown.begin(), shown.end(), [](char c) { return (c & 0xC0) != 0x80; });
    return static_cast<std::size_t>(units) + (entry.type == IO::EntryType::Folder ? 1 : 0);
}

/// In the order of the output.
using Order = std::vector<Listed const *>;

Order Sort(std::vector<Listed> const & entries, Options const & options) {
    Order order;
    order.reserve(entries.size());
    for (Listed const & entry : entries)
        order.push_back(&entry);
    std::sort(order.begin(), order.end(), [&](Listed const * a, Listed const * b) {
        if (options.sort == 't' && a->modified != b->modified)
            return a->modified > b->modified;
        if (options.sort == 'S' && a->size != b->size)
            return a->size > b->size;
        return a->text < b->text;
    });
    if (options.reverse)
        std::reverse(order.begin(), order.end());
    return order;
}

// Column by column.
void ShowColumns(Order const & entries, Colours const & colours) {
    std::size_t width = 2;
    for (Listed const * entry : entries)
        width = std::max(width, GetWidth(*entry) + 2);
    std::size_t const columns = std::max<std::size_t>(1, GetTerminalWidth() / width);
    std::size_t const rows = (entries.size() + columns - 1) / columns;
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t i = row; i < entries.size(); i += rows) {
            colours.Show(*entries[i], false);
            if (entries[i]->type == IO::EntryType::Folder)
                Out() << "/";
            if (i + rows < entries.size())
                Out() << std::string(width - GetWidth(*entries[i]), ' ').c_str();
        }
        Out() << "\n";
    }
}

class Collector {
public:
    explicit Collector(Options const & options)
        : options(options), wantsMore(options.longForm || options.sort != 0) {}

    static bool Collect(IO::Folder const & folder, IO::Name const & name, bool isFolder,
                        void * data) {
        Collector & to = *static_cast<Collector *>(data);
        if (!to.options.all && !name.IsEmpty() && name[0] == '.')
            return true;
        Found & one = to.found.emplace_back();
        one.name = name;
        one.isFolder = isFolder;
        if (!isFolder)
            one.isPlainFile =
                to.wantsMore ? folder.GetFoundFile(name, &one.size, &one.modified, &one.isDevice)
                             : folder.GetFoundFile(name, nullptr, nullptr);
        return true;
    }

    std::vector<Found> found;

private:
    Options const & options;
    bool const wantsMore;
};

int ListFolder(IO::Location const & location, std::string const & path, Options const & options,
               Colours const & colours, Console & console) {
    Collector all(options);
    if (MuErrCode const status = IO::Folder(location).Enumerate(Collector::Collect, &all);
        status != IO::NoError)
        return console.Finish(status, path);
    int result = 0;
    std::vector<Listed> entries;
    entries.reserve(all.found.size());
    for (Found const & found : all.found) {
        entries.push_back(Gather({location, &found.name}, found, options, colours));
        if (MuErrCode const status = entries.back().status; status != IO::NoError)
            result = console.NameFailed(Join(path, entries.back().text), status);
    }
    Order const order = Sort(entries, options);
    if (options.recursive)
        Out() << path << ":\n";
    if (Out().IsTerminal() && !options.longForm && !options.single)
        ShowColumns(order, colours);
    else
        for (Listed const * const entry : order)
            ShowListed({location, entry->name}, *entry, options, colours);
    for (Listed const * const entry : order)
        if (options.recursive && entry->type == IO::EntryType::Folder) {
            Out() << "\n";
            result |= ListFolder(IO::Location(location, *entry->name), Join(path, entry->text),
                                 options, colours, console);
        }
    return result;
}

int ListOne(std::string const & path, Options const & options, Colours const & colours,
            Console & console) {
    IO::Location const location = ToLocation(path);
    IO::EntryType type;
    if (MuErrCode const status = IO::fileSystem.EstimateResolvedType(location, &type);
        status != IO::NoError)
        return console.Finish(status, path);
    if (type == IO::EntryType::Folder) {
        int const result =
            ListFolder(location, path.empty() ? "." : path, options, colours, console);
        return result != 0 ? console.Drop() | 1 : console.Finish(IO::NoError, path);
    }
    Found found;
    location.GetLastLocalName(&found.name);
    Listed const entry = Gather({location, nullptr}, found, options, colours);
    ShowListed({location, nullptr}, entry, options, colours);
    return console.Finish(entry.status, path);
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
        return true; // the machine itself
    Out() << ToText(location) << (IO::fileSystem.IsMountPoint(location) ? "  (mounted)" : "")
          << "\n";
    return true;
}

} // namespace

int List(Options const & options, Console & console) {
    std::vector<std::string> const here{"."};
    std::vector<std::string> const & paths = options.paths.empty() ? here : options.paths;
    Colours const colours;
    int result = 0;
    for (std::string const & path : paths) {
        if (&path != &paths.front())
            Out() << "\n";
        if (paths.size() > 1 && !options.recursive)
            Out() << path << ":\n";
        result |= ListOne(path, options, colours, console);
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
