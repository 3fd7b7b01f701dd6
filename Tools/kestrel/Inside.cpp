#include "Inside.h"

#include "Arguments.h"
#include "Console.h"
#include "Streams.h"

#include <Kestrel/Comfort/Files.h>
#include <Kestrel/Comfort/Folders.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Reflection/RemoteReflectionVFS.h>

#include <algorithm>
#include <string_view>

namespace Tool {

namespace {

using VFS = IO::RemoteReflectionVFS;

// A deeper tree is considered endless.
constexpr unsigned int DeepestFolder = VFS::DeepestLevel;

// Whether it is a port, or a host and a port, and nothing else.
bool IsPort(std::string_view text) {
    std::size_t const colon = text.rfind(':');
    std::string_view const number = colon == text.npos ? text : text.substr(colon + 1);
    bool const hasHost = colon == text.npos || (colon > 1 && text.find('/') == text.npos);
    return hasHost && !number.empty() && number.size() <= 5 &&
           std::all_of(number.begin(), number.end(),
                       [](char digit) { return digit >= '0' && digit <= '9'; });
}

} // namespace

IO::Location ToInside(std::string const & argument) {
    if (!IsPort(argument))
        return ToLocation(argument);
    bool const hasHost = argument.find(':') != std::string::npos;
    if (bool isThere = false;
        !hasHost && IO::fileSystem.Contains(ToLocation(argument), &isThere) == IO::NoError &&
        isThere)
        return ToLocation(argument);
    return IO::Location(
        FromUtf8("reflect://" + (hasHost ? argument : "127.0.0.1:" + argument) + "/"));
}

InsideTable ParseTable(std::string const & text) {
    InsideTable table;
    bool isFirst = true;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const end = std::min(text.find('\n', at), text.size());
        std::vector<std::string> cells;
        for (std::size_t from = at; from <= end;) {
            std::size_t const to = std::min(text.find('\t', from), end);
            cells.push_back(ToUtf8(VFS::UnescapeCell(FromUtf8(text.substr(from, to - from)))));
            from = to + 1;
        }
        std::string const first = cells.front();
        cells.erase(cells.begin());
        if (isFirst)
            table.columns = std::move(cells);
        else
            table.rows.push_back({first, std::move(cells)});
        isFirst = false;
        at = end + 1;
    }
    for (InsideTable::Row & row : table.rows)
        row.values.resize(table.columns.size());
    return table;
}

MuErrCode ReadTable(IO::Location const & folder, InsideTable * table) {
    *table = InsideTable();
    std::string text;
    IO::Location const place(folder, IO::Name(VFS::TableName));
    MuErrCode const status = ReadContent(place, &text);
    if (status == IO::NoError)
        *table = ParseTable(text);
    return status == IO::ErrFileNotFound ? IO::NoError : status;
}

MuErrCode ReadEntries(IO::Location const & place, std::vector<InsideEntry> * entries) {
    entries->clear();
    IO::Folder const folder(place, IO::Folder::OnNotFound::FailQuietly);
    return IO::ForEach(folder, [&](IO::Name const & name, bool isFolder) {
        if (isFolder || name != VFS::TableName)
            entries->push_back({name, isFolder});
        return !IsInterrupted();
    });
}

MuErrCode ReadContent(IO::Location const & place, std::string * content) {
    content->clear();
    IO::File file(place, IO::File::OnNotFound::FailQuietly);
    MuErrCode const status = file.Open(IO::File::OpenMode::ReadOnly);
    return status != IO::NoError ? status : IO::ReadRest(file, content);
}

std::string ToInsideName(InsideEntry const & entry) {
    bool const isCut = entry.name.ToString().FindFirst("%~") != Mu::NotFound;
    IO::Name const name = isCut ? entry.name : VFS::EscapeName(VFS::UnescapeName(entry.name));
    return ToUtf8(name) + (entry.isFolder ? "/" : "");
}

namespace {

class Copier {
public:
    Copier(IO::Location const & top, unsigned long long * gone) : top(top), gone(gone) {}

    MuErrCode CopyFolder(IO::Location const & from, IO::Location const & to, unsigned int depth) {
        std::vector<InsideEntry> entries;
        if (MuErrCode const status = ReadEntries(from, &entries); status != IO::NoError)
            return Forgive(status);
        if (MuErrCode const status = IO::fileSystem.CreateFolder(to); status != IO::NoError)
            return status;
        MuErrCode status = CopyFile(IO::Location(from, IO::Name(VFS::TableName)),
                                    IO::Location(to, IO::Name(VFS::TableName)), true);
        for (InsideEntry const & entry : entries) {
            IO::Location const source(from, entry.name);
            IO::Location const target(to, entry.name);
            if (status != IO::NoError || IsInterrupted())
                break;
            if (!entry.isFolder)
                status = CopyFile(source, target, false);
            else if (depth < DeepestFolder)
                status = CopyFolder(source, target, depth + 1);
            progress.Add(1);
        }
        return status == IO::NoError && IsInterrupted() ? IO::Error : status;
    }

private:
    MuErrCode CopyFile(IO::Location const & from, IO::Location const & to, bool isOptional) {
        std::string content;
        MuErrCode const status = ReadContent(from, &content);
        if (status == IO::ErrFileNotFound && isOptional)
            return IO::NoError;
        return status == IO::NoError ? IO::WriteAll(to, content) : Forgive(status);
    }

    // While the process exists at all, entries that cannot be read have disappeared.
    MuErrCode Forgive(MuErrCode status) {
        std::vector<InsideEntry> entries;
        if (ReadEntries(top, &entries) != IO::NoError)
            return status;
        ++*gone;
        return IO::NoError;
    }

    IO::Location const top;
    unsigned long long * gone;
    Progress progress{"copying", Progress::Unit::Entries};
};

} // namespace

MuErrCode CopyInside(IO::Location const & from, IO::Location const & to,
                     unsigned long long * gone) {
    *gone = 0;
    std::vector<InsideEntry> entries;
    if (MuErrCode const status = ReadEntries(from, &entries); status != IO::NoError)
        return status;
    return Copier(from, gone).CopyFolder(from, to, 0);
}

} // namespace Tool
