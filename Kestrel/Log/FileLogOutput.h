#pragma once

#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Channel/OutputBuffer.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Log/Logger.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

class File;

/// The logger's home on disk: a series of files in a log folder.
///
///     IO::FileLogOutput log(folder, 64, 8, 20);
///     Mu::logger.SetOutput(&log, &log);
///
/// Any number of processes may share the folder; each writes files of its own, named "Log-", three
/// numbers that count the series, "-1.log", "-2.log" and so on. A file that has passed its limit is
/// closed and the next one begun. Other programs can read a file while it grows. What the crash
/// reporter shall attach, the last two files of the series, is announced to it at each beginning.
///
/// The folder is cleaned up once, by the constructor: when the ".log" files in it, of any process,
/// are larger together than its limit, the oldest ones go until they fit and no more than
/// `maxFileCount` are left. Below that size nothing goes, however many files there are, and a
/// process that runs for long can pass the limit.
///
/// When the process ends, its files hold whole lines without a gap, all that was flushed and those
/// of full blocks since; only the last line, which a write was at, may be cut. When the system ends
/// too, they hold all that was flushed, came with an error, or stands in a file that was full and
/// closed.
///
/// Memory:  one buffer of 16384 bytes and that of an IO::File.
/// Threads: the logger's calls come one at a time, and everything else has to keep to that. To
///          bring lines to safety from any thread, call Mu::logger.Flush() and not FlushLog.
/// Failure: none is reported and no exception leaves: logging must not disturb the program. An
///          interruption that ends the wait for a file that is denied goes to the thread's next
///          blocking call. A folder that cannot be made, a disk that is full, a file that cannot be
///          opened mean that lines are lost, which Mu::logger counts. After a failed write nothing
///          more is written, and a file that could not be opened is not tried again. GetFlushStatus
///          reports whether all is safe.
class KESTREL_API FileLogOutput : public Mu::FastLogger::Control,
                                  public OChannelAdapter,
                                  public OutputBuffer::BinOutput,
                                  public Mu::Allocated {
public:
    /// Makes the folder if it is missing, in a parent that exists, cleans it up, and begins the
    /// first file. The sizes are in units of 2 to the power 20 bytes, of which 12 bits count: 4096
    /// is as good as 0, with which each block of lines gets a file.
    FileLogOutput(Location const & logFolder, unsigned int maxFolderSizeMB,
                  unsigned int maxFileSizeMB, unsigned int maxFileCount);
    FileLogOutput(FileLogOutput const &) = delete;
    FileLogOutput & operator=(FileLogOutput const &) = delete;

    /// Takes itself away from the logger, which writes what it still has, and closes the file.
    ~FileLogOutput() override;

    void SetDefaultOutputProtocol() override;

    /// Brings everything that was written here to the disk.
    void FlushLog();

    /// The first failure of bringing lines to the disk since construction, by FlushLog, by the
    /// logger, or at the end of a file; NoError when there was none.
    MuErrCode GetFlushStatus() const { return flushStatus; }

    /// Whether lines go into a file right now. A host that wants to warn its user asks after
    /// construction.
    bool HasFile() const { return logFile != nullptr; }

private:
    bool StartNewBlock() override;
    void SeriousErrorEncountered() override;
    void ApplicationTerminated() override;
    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override;

    template <typename Operation>
    void Keep(Operation const & operation);
    void Open();
    void Close();
    File * MakeNextFile();
    Name GetNewLogFileName();
    Name GetLogFileName(unsigned int index) const;
    void NameSeries();
    void EnsureLogSize();
    void SetLastLogFilesAtBugRep() const;

    Location logFolder;
    unsigned int maxFolderSizeMB;
    unsigned int maxFileSizeMB;
    unsigned int maxFileCount;
    MuErrCode flushStatus = NoError;
    File * logFile = nullptr;     // owned; null: none is open
    unsigned int logFileSize = 0; // bytes that reached the open file; not what the buffer holds
    Name baseName;                // of the series; empty until its first file is named
    unsigned int fileIndex = 0;   // of the series' last file; 0 before the first
};

} // namespace IO
