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

// The series that the process has begun.
constinit std::atomic<unsigned int> seriesCount = 0;

/// A file that the clean-up found.
struct LogFile {
    Name name;
    int modificationTime;
    unsigned int size;
};

using LogFiles = Mu::PagedArray<LogFile>;

// A file that cannot be read stays, and does not count.
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

// Null for what has no such path.
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
    Mu::Quietly([&] { // or a clean-up the less
        logFolder = folder;
        static_cast<void>(fileSystem.CreateFolder(logFolder)); // mostly it is there already
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
        // One that stays, as it is in use or protected, is passed over: younger ones go instead of
        // none.
        static_cast<void>(folder.Delete(file->name, DataSafety::KeepProtected));
        total -= file->size;
        --left;
    }
}

// A host that unloads the library and loads it again has the count start anew, and within a second
// it can come to a name which holds the lines of before.
void FileLogOutput::NameSeries() {
    for (unsigned int attempt = 0; attempt < MostAttempts; ++attempt) {
        unsigned int const series = seriesCount.fetch_add(1, std::memory_order_relaxed) + 1;
        baseName = Mu::UniString::Printf("Log-%lu%lu%lu", static_cast<unsigned int>(TIGetTime()),
                                         series, Mu::Process::GetCurrentProcessId());
        File const first(Location(logFolder, GetLogFileName(1)), File::OnNotFound::FailQuietly);
        if (first.GetStatus() == ErrMemoryFull) {
            baseName.Clear(); // it may be there
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
    Mu::Quietly([this] { // or without a file, or with one that no reporter knows
        logFile = MakeNextFile();
        if (logFile != nullptr)
            SetLastLogFilesAtBugRep();
    });
}

// Null: it cannot be had.
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
    FlushLog(); // who brings the log to safety later no longer reaches this file
    Close();
    Open();
    return true;
}

// Does it quietly, and keeps the first failure.
template <typename Operation>
void FileLogOutput::Keep(Operation const & operation) {
    MuErrCode status = Error; // what is thrown is one, too
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
