#pragma once

#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>

#include <string_view>

namespace IO {

/// The names of one folder as the kernel stores them, "." and ".." among them, one after another.
///
/// Memory:  32 KiB within itself, so that it may be on a stack, or in one block.
/// Threads: one at a time.
/// Failure: errno.
class NameBuffer {
public:
    enum class Type : unsigned char { Other, Folder, Link, File };
    struct Entry {
        std::string_view name; // zero-terminated; valid until the next call
        Type type;
    };

    /// False at the end and at a failure; the end leaves errno at 0. A folder that was removed
    /// meanwhile is at its end.
    bool Next(int folder, Entry * entry);

private:
    bool Fill(int folder);

    unsigned int size = 0; // bytes in the buffer
    unsigned int next = 0; // where the next entry begins
    alignas(8) char buffer[32768];
};

/// The same with ownership of the folder.
class FolderReader {
public:
    using Type = NameBuffer::Type;
    using Entry = NameBuffer::Entry;

    /// Takes a folder opened for reading; below 0 is none.
    explicit FolderReader(int descriptor) : folder(descriptor) {}

    bool IsOpen() const { return folder.IsOpen(); }
    int GetDescriptor() const { return folder.Get(); }
    bool Next(Entry * entry) { return names.Next(folder.Get(), entry); }

private:
    Descriptor folder;
    NameBuffer names;
};

/// Opens a folder for a reader; below 0 with errno set. `at` and `more` are those of openat.
int OpenFolder(int at, char const * path, int more = 0);

} // namespace IO
