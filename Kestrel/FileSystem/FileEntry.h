#pragma once

#include <Kestrel/FileSystem/FSEntry.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

/// One file of a file system: opened, read, written and queried through File.
///
/// Rules of FSEntry. Nothing here buffers: a call passes its bytes to the file, or refuses them.
class KESTREL_API FileEntry : public FSEntry {
public:
    /// None of the modes creates a file.
    enum class OpenMode : unsigned int {
        Read = 0,            ///< others may read
        Write = 1,           ///< the content stays
        WriteAnew = 2,       ///< drops the content
        ReadWrite = 3,       ///< the content stays
        ReadShared = 4,      ///< others may read and write
        WriteShared = 5,     ///< the content stays, others may read
        WriteAnewShared = 6, ///< drops the content, others may read
    };
    enum class SeekOrigin : unsigned int { Beginning = 0, Current = 1, End = 2 };

    enum class OpenStatus : unsigned int {
        Done = 0,
        AccessDenied = 1,
        NoMoreHandles = 2,
        Other = 3
    };
    enum class ReadStatus : unsigned int { Done = 0, EndOfFile = 1, ReadError = 2 };
    /// For Flush, WriteError means any other failure.
    enum class WriteStatus : unsigned int { Done = 0, DeviceFull = 1, WriteError = 2 };
    enum class SeekStatus : unsigned int { Done = 0, IllegalPosition = 1, Other = 2 };
    enum class CloseStatus : unsigned int { Done = 0, WriteError = 1, DeviceFull = 2, Other = 3 };
    enum class LengthStatus : unsigned int {
        Done = 0,
        AccessDenied = 1,
        DeviceFull = 2,
        Other = 3
    };
    enum class TypeStatus : unsigned int { Done = 0, AccessDenied = 1, Other = 2 };
    enum class LockerStatus : unsigned int {
        Program = 0, ///< its name is in the output
        User = 1,    ///< another user
        Unknown = 2
    };

    virtual OpenStatus Open(OpenMode mode) = 0;

    /// Reads up to `count` bytes from the position on. `*read` is set in any case; fewer than
    /// requested is EndOfFile.
    virtual ReadStatus Read(char * destination, unsigned int count, unsigned int * read) = 0;

    /// Writes all of `count` bytes or fails. `*written` is set on success only.
    virtual WriteStatus Write(char const * source, unsigned int count, unsigned int * written) = 0;

    /// Moves the position and stores the new one in `*position`. A position before the start or
    /// behind the end is illegal.
    virtual SeekStatus Seek(SeekOrigin origin, long long offset, unsigned long long * position) = 0;

    virtual WriteStatus Flush() = 0;

    /// The entry is closed afterwards, whatever the result.
    virtual CloseStatus Close() = 0;

    // Everything from here on works on open and on closed entries.
    virtual LengthStatus SetDataLength(unsigned long long length) = 0;
    virtual LengthStatus GetDataLength(unsigned long long * length) = 0;
    virtual TypeStatus SetTypeInfo(unsigned int type, unsigned int creator) = 0;
    virtual TypeStatus GetTypeInfo(unsigned int * type, unsigned int * creator) = 0;
    virtual AttributeStatus IsWriteProtected(bool * writeProtected) = 0;
    virtual AttributeStatus SetWriteProtection(bool writeProtected) = 0;

    /// What prevents the file from being written, if the file system can determine it.
    virtual LockerStatus GetWriteLocker(Mu::UniString * program) = 0;
};

} // namespace IO
