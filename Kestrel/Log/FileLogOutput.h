#pragma once

#include <Kestrel/Channel/OChannelAdapter.h>
#include <Kestrel/Channel/OutputBuffer.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Log/Logger.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

class File;

/// Writes the logger's output to a series of files in a log folder.
///
///     IO::FileLogOutput log(folder, 64, 8, 20);
///     Mu::logger.SetOutput(&log, &log);
///
/// Any number of processes may share the folder; each writes its own files, named "Log-", three
/// numbers that identify the series, "-1.log", "-2.log" and so on. A file that has exceeded its
/// limit is closed and the next one is started. Other programs can read a file while it grows. When
/// a file is started, the last two files of the series are registered with the crash reporter as
/// attachments.
///
/// The constructor cleans the folder up: if the ".log" files in it, of any process, together exceed
/// its limit, the oldest ones are deleted until they fit and at most `maxFileCount` remain. Below
/// the limit nothing is deleted, however many files there are, and a long-running process can
/// exceed the limit.
///
/// If the process crashes, its files contain complete lines without a gap: everything that was
/// flushed, and the lines of full blocks since; only the last line may be truncated by an
/// interrupted write. If the system crashes, they contain everything that was flushed, was logged
/// with an error, or is in a file that was completed.
///
/// Memory:  one buffer of 16384 bytes and that of an IO::File.
/// Threads: the logger makes one call at a time, and all other calls must not overlap with it. To
///          secure lines from any thread, call Mu::logger.Flush() and not FlushLog.
/// Failure: none is reported and no exception is thrown: logging must not disturb the program. An
///          interruption that ends the wait for a file that is denied is delivered to the thread's
///          next blocking call. If a folder or file cannot be created or the disk is full, lines
///          are lost, which Mu::logger counts. After a failed write nothing more is written, and
///          opening a file is not retried. GetFlushStatus reports whether everything is on the
///          disk.
class KESTREL_API FileLogOutput : public Mu::FastLogger::Control,
                                  public OChannelAdapter,
                                  public OutputBuffer::BinOutput,
                                  public Mu::Allocated {
public:
    /// Creates the folder if it is missing and its parent exists, cleans it up, and starts the
    /// first file. The sizes are in units of 2 to the power 20 bytes, of which 12 bits are used:
    /// 4096 is equivalent to 0, with which each block of lines gets a file.
    FileLogOutput(Location const & logFolder, unsigned int maxFolderSizeMB,
                  unsigned int maxFileSizeMB, unsigned int maxFileCount);
    FileLogOutput(FileLogOutput const &) = delete;
    FileLogOutput & operator=(FileLogOutput const &) = delete;

    /// Detaches itself from the logger, which writes its pending lines first, and closes the file.
    ~FileLogOutput() override;

    void SetDefaultOutputProtocol() override;

    /// Writes everything to the disk.
    void FlushLog();

    /// The first failure of writing lines to the disk since construction, by FlushLog, by the
    /// logger, or at the end of a file; NoError if there was none.
    MuErrCode GetFlushStatus() const { return flushStatus; }

    /// Whether a log file is open. A host that wants to warn its user checks this after
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
    unsigned int logFileSize = 0; // bytes written to the open file, without those in the buffer
    Name baseName;                // of the series; empty until its first file is started
    unsigned int fileIndex = 0;   // number of the series' last file; 0 before the first
};

} // namespace IO
