#pragma once

#include "Interruption.h"

#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>

#include <map>
#include <string>
#include <vector>

namespace Tool {

// The inside of a process, alive or copied to a disk, as folders and files of IO::RemoteReflectionVFS.
// Names are those of entries, in which control characters are escaped.

/// The location that an argument means: a PORT of this machine, HOST:PORT, or what any command takes.
/// What is there under that name as an entry is meant first.
IO::Location ToInside(std::string const & argument);

/// The table of a folder, with all escapes taken away.
struct InsideTable {
    std::vector<std::string> columns; // without that of the names
    struct Row {
        std::string name; // as of the process
        std::vector<std::string> values;
    };
    std::vector<Row> rows;
};

InsideTable ParseTable(std::string const & text);
/// Of the folder at that location; without columns where it has none.
MuErrCode ReadTable(IO::Location const & folder, InsideTable * table);

struct InsideEntry {
    IO::Name name;
    bool isFolder;
};
/// What there is in a folder, apart from its table.
MuErrCode ReadEntries(IO::Location const & folder, std::vector<InsideEntry> * entries);
/// The content of a file. A file that has gone is ErrFileNotFound, without a line in the log.
MuErrCode ReadContent(IO::Location const & file, std::string * content);

/// The same name for a thing wherever it is found and however it is spelt there; a folder ends in "/".
std::string ToInsideName(InsideEntry const & entry);

/// Copies all below a folder into a new one. What goes away meanwhile is left out, and counted.
MuErrCode CopyInside(IO::Location const & from, IO::Location const & to, unsigned long long * gone);

} // namespace Tool
