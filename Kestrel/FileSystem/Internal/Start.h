#pragma once

#include <Kestrel/Root/Threads/Lock.h>

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

/// A re-entrant lock that knows how often its holder has it.
class FileSystemLock {
public:
    void Enter() {
        lock.Enter();
        ++depth;
    }
    bool TryEnter() {
        bool const isMine = lock.TryEnter();
        depth += isMine;
        return isMine;
    }
    void Leave() {
        --depth;
        lock.Leave();
    }
    /// For its holder: whether one Leave frees it.
    bool IsHeldOnce() const { return depth == 1; }

private:
    Mu::ReentrantLock lock;
    unsigned int depth = 0; // under the lock
};

/// Guards the mounts, and every connect and disconnect with the pools behind them. Taken before the
/// lock of the address tree.
FileSystemLock & GetFileSystemLock();

/// Sets what each Unmount ends with, without the lock; null is nothing. It waits until those on other
/// threads who looked into what was mounted, and of whom the host cannot know, have given that back.
void SetUnmountWait(void (*wait)());
void WaitBehindUnmount();

/// Whether the equality of names is asked of the native file system. It is where the platform's own
/// compares them otherwise than they do by themselves, and wherever a host has put its own there;
/// elsewhere each comparison of locations would pay for nothing.
void AskNativeForNames(bool asks);

} // namespace IO
