#pragma once

namespace Mu {
class ReentrantLock;
}

namespace IO {

class FileSystem;

/// Makes and unmakes a FileSystem, which hosts cannot: they have the one there is. Another has mounts
/// and settings of its own, and shares the lock and the native file system.
class FileSystemStart {
public:
    static void Make(FileSystem * place);
    static void Unmake(FileSystem & system);
};

/// Makes what this floor has of statics, in this order: the FileSystem and its lock, the location
/// validators, the numbers of generated names, the native file system, the location resolver. A
/// second call does nothing. The library's start calls it, and the tests of floors without one.
void StartFileSystem();

/// Takes all that back in reverse, after which IO::fileSystem must not be used.
void EndFileSystem();

/// Guards the mounts, and every connect and disconnect with the pools behind them. Taken before the
/// lock of the address tree.
Mu::ReentrantLock & GetFileSystemLock();

/// Whether the equality of names is asked of the native file system. It is where the platform's own
/// compares them otherwise than they do by themselves, and wherever a host has put its own there;
/// elsewhere each comparison of locations would pay for nothing.
void AskNativeForNames(bool asks);

} // namespace IO
