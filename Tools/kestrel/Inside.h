#pragma once

#include "Interruption.h"

#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>

#include <map>
#include <string>
#include <vector>

namespace Tool {

// The inside of a process, live or as a copy on disk, as folders and files of
// IO::RemoteReflectionVFS. Names are those of the entries, with control characters escaped.

/// The location that an argument denotes: a PORT of this machine, HOST:PORT, or what other commands
/// accept. An existing entry of that name takes precedence.
IO::Location ToInside(std::string const & argument);

/// The table of a folder, with all escapes decoded.
struct InsideTable {
    std::vector<std::string> columns; // without the column of names
    struct Row {
        std::string name; // as in the process
        std::vector<std::string> values;
    };
    std::vector<Row> rows;
};

InsideTable ParseTable(std::string const & text);
/// The table of that folder; without columns if it has none.
MuErrCode ReadTable(IO::Location const & folder, InsideTable * table);

struct InsideEntry {
    IO::Name name;
    bool isFolder;
};
/// The entries of a folder, except its table.
MuErrCode ReadEntries(IO::Location const & folder, std::vector<InsideEntry> * entries);
/// The content of a file. ErrFileNotFound, without a line in the log, if it has disappeared.
MuErrCode ReadContent(IO::Location const & file, std::string * content);

/// One name for a thing, wherever it is found and however it is spelt there; a folder ends in "/".
std::string ToInsideName(InsideEntry const & entry);

/// Copies all below a folder into a new one. Entries that disappear meanwhile are left out, and
/// counted.
MuErrCode CopyInside(IO::Location const & from, IO::Location const & to, unsigned long long * gone);

} // namespace Tool
