#pragma once

#include <Kestrel/Channel/InputBuffer.h>
#include <Kestrel/Channel/OutputBuffer.h>
#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO {

class FileEntry;
class Folder;

/// A file at a location, read and written as a channel.
///
/// The constructor connects to the file at a location; GetStatus returns the result. It can then be
/// opened, read or written, closed, and opened again in another mode; its properties (times,
/// length, protection) can be queried at any time. Everything that takes a Mu::IChannel or a
/// Mu::OChannel works on a File.
///
///     IO::File file(IO::Location("C:\\notes.txt"), IO::File::OnNotFound::Create);
///     if (file.Open(IO::File::OpenMode::WriteOnlyEmpty) == IO::NoError)
///         file << "remember the milk";
///
/// What remains of written data when the process or the system ends:
///
/// - The process alone: all of it after a Flush or Close that returned NoError. Of the rest a
///   beginning, in the order of writing; the last write may be cut.
/// - The system too: after a Flush that returned NoError all of it, with the length of the file
///   and, on a file system with a journal, its name, provided that the device keeps its promises.
///   Close guarantees nothing here. Of the rest any part may have been written, and other parts read
///   as the former content, or as zeros.
///
/// Memory:  the read buffer ("FileCacheSize" of the preferences, 4096 bytes by default) and the
///          write blocks of 16384 bytes are taken by the first read and write. Construction and the
///          path operations may throw Mu::OutOfMemoryException; the New functions return
///          ErrMemoryFull instead.
/// Threads: one at a time. Two Files on one file are independent of each other.
/// Failure: statuses. GetStatus returns that of the constructor, and every operation of a File that
///          is not connected returns it. A failure writes one log line in the domain "IO". An
///          interrupted thread leaves the wait between two tries with Mu::InterruptedIOException:
///          out of Open, IsReadable and IsWriteable, never out of the destructor.
class KESTREL_API File : public Mu::IChannel,
                         public Mu::OChannel,
                         private InputBuffer::BinInput,
                         private OutputBuffer::BinOutput,
                         public Mu::Allocated {
public:
    enum class OpenMode {
        ReadOnly = 0,                   ///< others may not write meanwhile
        WriteOnly = 1,                  ///< keeps the content, starts at its beginning
        WriteOnlyEmpty = 2,             ///< drops the content
        ReadWrite = 3,                  ///< unbuffered, so that reads and writes may alternate
        Append = 4,                     ///< writes behind the content; no seeking
        ReadOnlySharedToReadWrite = 5,  ///< others may read and write meanwhile
        WriteOnlySharedToRead = 6,      ///< as WriteOnly, and others may read
        WriteOnlyEmptySharedToRead = 7, ///< as WriteOnlyEmpty, and others may read
    };
    enum class FileStatus { Open = 0, Closed = 1 };
    enum class OnNotFound { Report = 0, Create = 1, FailQuietly = 2 };
    enum class SeekOrigin { Beginning = 0, Current = 1, End = 2 };
    enum class WriteAccessFailureReason {
        WriteProtected = 0,
        LockedByProgram = 1,
        LockedByUser = 2,
        Unknown = 3,
    };

    /// The file at `location`. With Create, a missing one is created in a folder that exists;
    /// ErrFileCreationFailed if that fails. FailQuietly does not log a missing file.
    ///
    /// GetStatus is then NoError, ErrFileNotFound, ErrNotAFile, ErrFileAccessDenied,
    /// ErrFileCreationFailed, or Error for anything else, such as an unhealthy location.
    explicit File(Location const & location, OnNotFound onNotFound = OnNotFound::Report);
    /// The file `name` in `folder`; nothing is created.
    File(Folder const & folder, Name const & name);
    File(Folder & folder, Name const & name, OnNotFound onNotFound);

    // These create a File on the heap, which the caller must delete. Null output or argument:
    // Error. On any failure `*file` is null and the result is what GetStatus would have been, or
    // ErrMemoryFull.
    [[nodiscard]] static MuErrCode New(File ** file, Location const & location,
                                       OnNotFound onNotFound);
    [[nodiscard]] static MuErrCode New(File ** file, Folder const & folder, Name const & name);
    [[nodiscard]] static MuErrCode New(File ** file, Folder & folder, Name const & name,
                                       OnNotFound onNotFound);

    /// Closes an open file, which writes what is buffered; call Close to get its status.
    ~File() override;

    // Input. All of these return a bad GetStatus first, and Error when not open for reading.
    // A status sticks until ResetInputStatus; EOI is the end of the file.

    KESTREL_INLINE_API MuErrCode ReadBin(char * destination, unsigned int count,
                                         unsigned int * read) override {
        if (!inputWindow.TakeFew(destination, count))
            return ReadRest(destination, count, read);
        if (read != nullptr)
            *read = count;
        return NoError;
    }
    MuErrCode CopyBin(char * destination, unsigned int count, unsigned int * copied) override;
    MuErrCode Look(unsigned int offset, char * c) override;
    MuErrCode PushBack(char c) override;
    MuErrCode PushBack(char const * source, unsigned int count) override;
    MuErrCode Skip(unsigned long long count, unsigned long long * skipped) override;
    MuErrCode DirectInputAccess(unsigned int size, char ** data, unsigned int * available) override;
    MuErrCode GetInputPosition(unsigned long long * position) const override;
    using Mu::IChannel::GetAvailable;
    /// The bytes from the position to the end of the file.
    MuErrCode GetAvailable(unsigned long long * available) const override;
    void SetDefaultInputProtocol() override;
    MuErrCode GetInputStatus() const override;
    void ResetInputStatus() override;

    /// Opens the file. On an open file nothing happens, neither mode nor position changes, and the
    /// result is NoError.
    ///
    /// ErrFileAccessDenied: refused by permissions, by write protection, or by another opener,
    /// after the retries of `treatment`. ErrNoMoreFileHandle: the process has too many files open.
    /// Error: an unknown mode, or anything else. A thread that is interrupted leaves the wait
    /// between two tries with Mu::InterruptedIOException; the file is closed then.
    [[nodiscard]] virtual MuErrCode
    Open(OpenMode mode, AccessDeniedTreatment treatment = AccessDeniedTreatment::RetryPrivate);
    virtual bool IsOpen() const;
    /// Whether a closed file could be opened in this mode right now, by trying it once.
    virtual bool IsOpenable(OpenMode mode);
    /// Writes what is buffered and closes; the file is closed whatever the result. Written data
    /// then outlives the process, but not necessarily the system. NoError for a file that is closed
    /// already. EOO: the device is full. OutputClosed: a write failed.
    virtual MuErrCode Close();

    // Position, in bytes from the beginning. Error when the mode allows no seeking, as in Append,
    // or while a mark is alive. What is buffered for writing is written first.

    /// Seeks by the difference to the present position, of which the low 32 bits count.
    [[nodiscard]] virtual MuErrCode SetPosition(unsigned long long position);
    /// Error and 0xFFFFFFFF for a position above 32 bits.
    virtual MuErrCode GetPosition(unsigned int * position) const;
    virtual MuErrCode GetPosition(unsigned long long * position) const;
    /// ErrIllegalPosition: before the beginning or behind the end. What was read ahead counts as
    /// read then; otherwise the position stays.
    [[nodiscard]] virtual MuErrCode Seek(SeekOrigin origin, long long offset);

    // Properties, of an open or a closed file. ErrFileAccessDenied where the system refuses.

    /// Cuts the file or fills it up with zeros. An open file must be writeable, and its position
    /// becomes the new length. EOO: the device is full.
    [[nodiscard]] virtual MuErrCode SetDataLength(unsigned long long length);
    /// Error for a length above 32 bits.
    virtual MuErrCode GetDataLength(unsigned int * length) const;
    /// In bytes, with what is buffered for writing, which is written first.
    virtual MuErrCode GetDataLength(unsigned long long * length) const;
    // Times in seconds since the start of 1970. ErrFileInvalidTime: does not fit in 32 bits.
    // Setting one opens the file for a moment, so it fails while the file is open for writing.
    virtual MuErrCode SetCreationTime(int const & time);
    virtual MuErrCode GetCreationTime(int * time) const;
    virtual MuErrCode SetModificationTime(int const & time);
    virtual MuErrCode GetModificationTime(int * time) const;
    /// The same in 64 bits, for times before 1901 and after 2038. ErrFileInvalidTime: the disk, or
    /// the file system of a host, which counts in 32 bits, cannot hold it; the file keeps its own.
    MuErrCode SetTime(TimeKind kind, long long seconds);
    MuErrCode GetTime(TimeKind kind, long long * seconds) const;
    /// How much of its disk the file uses. On failure, which is logged, `*use` is a DiskUse as
    /// constructed: ErrFileAccessDenied, Error.
    MuErrCode GetDiskUse(DiskUse * use) const;
    /// Type and creator codes, on file systems that store them; 0 on others.
    virtual MuErrCode SetTypeInfo(unsigned int type, unsigned int creator);
    virtual MuErrCode GetTypeInfo(unsigned int * type, unsigned int * creator) const;

    /// Whether the file can be read. Found out by opening and closing it, unless it is open for
    /// reading: a file that is open for writing only is closed by this call.
    virtual bool IsReadable();
    /// As IsWriteable(), and the reason if it is not, with the program that locks the file where
    /// that is known.
    virtual bool IsWriteable(WriteAccessFailureReason * reason, Mu::UniString * locker);
    /// Whether the file can be written. A file that is open for reading only is closed by this
    /// call.
    virtual bool IsWriteable();
    virtual MuErrCode IsWriteProtected(bool * isProtected) const;
    virtual MuErrCode SetWriteProtection();
    virtual MuErrCode ClearWriteProtection();

    virtual MuErrCode GetLocation(Location * location) const;

    // Output. All of these return a bad GetStatus first, and Error when not open for writing. A
    // status sticks until ResetOutputStatus, and nothing is written meanwhile; EOO is a full
    // device. After a failure, what was buffered is lost, and the position is where the next byte
    // goes: where it was, or at the end of the file if that is nearer.

    KESTREL_INLINE_API MuErrCode WriteBin(char const * source, unsigned int count,
                                          unsigned int * written) override {
        if (!outputWindow.PutFew(source, count))
            return WriteRest(source, count, written);
        if (written != nullptr)
            *written = count;
        return NoError;
    }
    MuErrCode DirectOutputAccess(unsigned int offset, char ** data,
                                 unsigned int * available) override;
    MuErrCode GetOutputPosition(unsigned long long * position) const override;
    /// Writes what is buffered and has the system write it to the device, with the file's length
    /// and present name: all of that outlives the system.
    MuErrCode Flush() override;
    void SetDefaultOutputProtocol() override;
    MuErrCode PushMark() override;
    MuErrCode PopMark() override;
    unsigned int GetOffset() const override;
    void ResetOffset() override;
    MuErrCode GetOutputStatus() const override;
    void ResetOutputStatus() override;

    /// The status of the connection made by the constructor; it never changes.
    MuErrCode GetStatus() const { return status; }
    // What the mode of an open file allows; all false for a closed one.
    bool CheckReadOperation() const { return readable; }
    bool CheckWriteOperation() const { return writeable; }
    bool CheckRandomOperation() const { return seekable; }

private:
    friend class KeptFolder;
    struct Mode;
    class Turn;

    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override;
    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override;

    void NoteInLine() const;
    MuErrCode ReadRest(char * destination, unsigned int count, unsigned int * read);
    MuErrCode WriteRest(char const * source, unsigned int count, unsigned int * written);
    MuErrCode Connect(Folder const * in);
    void ConnectOrCreate(OnNotFound onNotFound, Folder * folder, Folder const * in);
    MuErrCode CreateIn(Folder * folder);
    MuErrCode CreateIn(Folder & folder, Name const & name);
    Mode const * FindMode(OpenMode mode) const;
    MuErrCode OpenEntry(Mode const & mode, AccessDeniedTreatment treatment);
    bool IsWorthRetry(Mode const & mode, AccessDeniedTreatment treatment, unsigned int * counter);
    MuErrCode SeekToEnd(Mode const & mode);
    void MarkOpen(OpenMode newMode, Mode const & mode);
    MuErrCode CheckFlag(bool flag) const;
    MuErrCode CheckSeek() const;
    MuErrCode LeaveReadAhead();
    bool SeekInBuffer(SeekOrigin origin, long long * offset);
    MuErrCode SeekEntry(SeekOrigin origin, long long offset);
    MuErrCode FlushBuffer() const;
    bool TryOpen(OpenMode mode);

    Location location;
    FileEntry * entry = nullptr; // its file system's; null when not connected
    mutable InputBuffer inputBuffer;
    mutable OutputBuffer outputBuffer;
    OpenMode openMode = OpenMode::ReadOnly;
    FileStatus fileStatus = FileStatus::Closed;
    bool readable = false;
    bool writeable = false;
    bool seekable = false;
    // Of the caller's next byte, without those read or written in line since NoteInLine.
    mutable unsigned long long position = 0;
    MuErrCode status = Error;
};

} // namespace IO
