#include <Kestrel/Log/FileLogOutput.h>

#include <Kestrel/Channel/BinProtocol.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/Location/CString.h>
#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Containers/PagedArray.h>
#include <Kestrel/Root/Log/BugReport.h>
#include <Kestrel/Root/Log/Quietly.h>
#include <Kestrel/Root/Threads/Process.h>
#include <Kestrel/Root/Time/Time.h>

#include <algorithm>
#include <atomic>
#include <memory>

namespace IO {

namespace {

constexpr char const * Extension = "log";
constexpr unsigned int MegabyteShift = 20;
constexpr unsigned int MostAttempts = 100;

// The number of series that the process has begun.
constinit std::atomic<unsigned int> seriesCount = 0;

/// A file that the clean-up found.
struct LogFile {
    Name name;
    int modificationTime;
    unsigned int size;
};

using LogFiles = Mu::PagedArray<LogFile>;

// A file that cannot be queried is kept, and does not count.
bool Collect(Folder const & folder, Name const & name, bool isFolder, void * data) {
    if (isFolder || name.GetExtension() != Extension)
        return true;
    File const file(folder, name);
    int modificationTime = 0;
    unsigned int size = 0;
    if (file.GetModificationTime(&modificationTime) == NoError &&
        file.GetDataLength(&size) == NoError)
        static_cast<LogFiles *>(data)->Push(LogFile{name, modificationTime, size});
    return true;
}

unsigned int AddSizes(LogFiles const & files) {
    unsigned int total = 0;
    for (LogFile const & file : files)
        total += file.size;
    return total;
}

Mu::Array<LogFile const *> SortByAge(LogFiles const & files) {
    Mu::Array<LogFile const *> sorted;
    for (LogFile const & file : files)
        sorted.Push(&file);
    std::sort(sorted.begin(), sorted.end(), [](LogFile const * a, LogFile const * b) {
        return a->modificationTime < b->modificationTime;
    });
    return sorted;
}

// Null for a location without a path that fits.
char const * GetPath(Location const & location, CString<256> * path) {
    if (location.IsEmpty() || location.ToPath(path) != NoError || !path->IsValid())
        return nullptr;
    return path->ToCStr();
}

} // namespace

FileLogOutput::FileLogOutput(Location const & folder, unsigned int maxFolderSizeMB,
                             unsigned int maxFileSizeMB, unsigned int maxFileCount)
    : OChannelAdapter(binOProtocol), maxFolderSizeMB(maxFolderSizeMB), maxFileSizeMB(maxFileSizeMB),
      maxFileCount(maxFileCount) {
    SetBinOutput(*this);
    if (Mu::IsNull(folder))
        return;
    Mu::Quietly([&] { // an exception costs one clean-up
        logFolder = folder;
        static_cast<void>(fileSystem.CreateFolder(logFolder)); // usually it exists already
        EnsureLogSize();
    });
    Open();
}

FileLogOutput::~FileLogOutput() {
    Mu::logger.RemoveOutput(this);
    if (logFile != nullptr)
        Close();
}

void FileLogOutput::SetDefaultOutputProtocol() {
    SetOutputProtocol(binOProtocol);
}

void FileLogOutput::EnsureLogSize() {
    LogFiles files;
    Folder folder(logFolder);
    static_cast<void>(const_cast<Folder const &>(folder).Enumerate(Collect, &files));
    unsigned int total = AddSizes(files);
    unsigned int const limit = maxFolderSizeMB << MegabyteShift;
    if (total <= limit)
        return;
    unsigned int left = files.GetSize();
    for (LogFile const * file : SortByAge(files)) {
        if (total <= limit && left <= maxFileCount)
            return;
        // A failed deletion, as of a file in use or protected, does not end the loop: younger ones
        // are still deleted.
        static_cast<void>(folder.Delete(file->name, DataSafety::KeepProtected));
        total -= file->size;
        --left;
    }
}

// When a host unloads and reloads the library, the count starts anew, and within the same second it
// can lead to a name that already holds earlier lines.
void FileLogOutput::NameSeries() {
    for (unsigned int attempt = 0; attempt < MostAttempts; ++attempt) {
        unsigned int const series = seriesCount.fetch_add(1, std::memory_order_relaxed) + 1;
        baseName = Mu::UniString::Printf("Log-%lu%lu%lu", static_cast<unsigned int>(TIGetTime()),
                                         series, Mu::Process::GetCurrentProcessId());
        File const first(Location(logFolder, GetLogFileName(1)), File::OnNotFound::FailQuietly);
        if (first.GetStatus() == ErrMemoryFull) {
            baseName.Clear(); // the file may exist
            Mu::ThrowOutOfMemory();
        }
        if (first.GetStatus() != NoError)
            return;
    }
}

Name FileLogOutput::GetLogFileName(unsigned int index) const {
    Name name(baseName);
    name.Append(Mu::UniString::Printf("-%lu", index));
    name.AppendExtension(Extension);
    return name;
}

Name FileLogOutput::GetNewLogFileName() {
    if (baseName.IsEmpty())
        NameSeries();
    ++fileIndex;
    return GetLogFileName(fileIndex);
}

void FileLogOutput::Open() {
    logFileSize = 0;
    Mu::Quietly([this] { // an exception leaves no file, or one unknown to the bug reporter
        logFile = MakeNextFile();
        if (logFile != nullptr)
            SetLastLogFilesAtBugRep();
    });
}

// Null: the file could not be opened.
File * FileLogOutput::MakeNextFile() {
    Location const location(logFolder, GetNewLogFileName());
    std::unique_ptr<File> file(new File(location, File::OnNotFound::Create));
    if (file->Open(File::OpenMode::WriteOnlyEmptySharedToRead,
                   AccessDeniedTreatment::RetryPrivate) != NoError)
        return nullptr;
    return file.release();
}

void FileLogOutput::SetLastLogFilesAtBugRep() const {
    Location const current(logFolder, GetLogFileName(fileIndex));
    Location previous;
    if (fileIndex > 1)
        previous = Location(logFolder, GetLogFileName(fileIndex - 1));
    CString<256> currentPath;
    CString<256> previousPath;
    BugRep_SetLogFileLocations(GetPath(current, &currentPath), GetPath(previous, &previousPath));
}

MuErrCode FileLogOutput::InternalWrite(char const * source, unsigned int count,
                                       unsigned int * written) {
    if (logFile == nullptr)
        return Error;
    MuErrCode status = Error;
    Mu::Quietly([&] { status = logFile->WriteBin(source, count, written); });
    logFileSize += *written;
    return status;
}

bool FileLogOutput::StartNewBlock() {
    if (logFile == nullptr || logFileSize <= maxFileSizeMB << MegabyteShift)
        return false;
    FlushLog(); // later calls no longer reach this file
    Close();
    Open();
    return true;
}

// Runs it without letting exceptions out, and keeps the first failure.
template <typename Operation>
void FileLogOutput::Keep(Operation const & operation) {
    MuErrCode status = Error; // an exception counts as one, too
    Mu::Quietly([&] { status = operation(); });
    if (flushStatus == NoError)
        flushStatus = status;
}

void FileLogOutput::Close() {
    Keep([this] { return Flush(); });
    Keep([this] { return logFile->Close(); });
    delete logFile;
    logFile = nullptr;
}

void FileLogOutput::FlushLog() {
    if (logFile == nullptr)
        return;
    Keep([this] { return Flush(); });
    Keep([this] { return logFile->Flush(); });
}

void FileLogOutput::SeriousErrorEncountered() {
    FlushLog();
}

void FileLogOutput::ApplicationTerminated() {
    if (logFile != nullptr)
        Close();
}

} // namespace IO
