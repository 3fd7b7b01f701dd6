#pragma once

#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/Root/Errors/ErrorCodes.h>

#include <string>
#include <vector>

namespace Tool {

struct LogFile {
    std::string name;
    int time = 0; ///< of the last change, UNIX seconds
    unsigned long long size = 0;
};

/// The files of a folder whose names end in ".log"; what cannot be read of is left out.
MuErrCode ListLogFiles(IO::Folder const & folder, std::vector<LogFile> * files);

/// Adds whole lines, without their line breaks, from the byte `*begin` of the file on, and moves it
/// behind them: up to MostLogBytes at a time, and at most up to `file.size`. A line that is longer comes
/// in pieces. `takesRest`: what stands behind the last line break is a line, too.
MuErrCode ReadLogLines(IO::Folder const & folder, LogFile const & file, bool takesRest,
                       unsigned long long * begin, std::vector<std::string> * lines);

constexpr unsigned long long MostLogBytes = 128u << 10;

} // namespace Tool
