#pragma once

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>

#include <string>
#include <vector>

namespace Tool {

struct LogFile {
    std::string name;
    int time = 0; ///< modification time, UNIX seconds
    unsigned long long size = 0;
};

/// The files of a folder whose names end in ".log"; those that cannot be read are left out.
MuErrCode ListLogFiles(IO::Folder const & folder, std::vector<LogFile> * files);

/// Appends whole lines, without their line breaks, from offset `*begin` of the file on, and
/// advances it: up to MostLogBytes at a time, and at most up to `file.size`. A longer line is
/// returned in pieces. `takesRest`: an unterminated last line counts, too.
MuErrCode ReadLogLines(IO::Folder const & folder, LogFile const & file, bool takesRest,
                       unsigned long long * begin, std::vector<std::string> * lines);

constexpr unsigned long long MostLogBytes = 128u << 10;

} // namespace Tool
