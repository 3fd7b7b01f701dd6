#pragma once

#include <Kestrel/Root/Threads/Lock.h>

namespace IO {

class FileSystem;

/// Creates and destroys a FileSystem, which hosts cannot: they use the only one. Another one has
/// mounts and settings of its own, and shares the lock and the native file system.
class FileSystemStart {
public:
    static void Make(FileSystem * place);
    static void Unmake(FileSystem & system);
};

/// Creates the statics of this floor, in this order: the FileSystem and its lock, the location
/// validators, the numbers of generated names, the native file system, the location resolver. A
/// second call does nothing. Called by the library's start, and by the tests of floors without one.
void StartFileSystem();

/// Destroys them in reverse order; IO::fileSystem must not be used from then on.
void EndFileSystem();

/// A re-entrant lock that counts how often its holder has entered it.
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
    /// For its holder: whether one Leave releases it.
    bool IsHeldOnce() const { return depth == 1; }

private:
    Mu::ReentrantLock lock;
    unsigned int depth = 0; // under the lock
};

/// Guards the mounts, and every connect and disconnect with the pools behind them. Taken before the
/// lock of the address tree.
FileSystemLock & GetFileSystemLock();

/// Sets a function that each Unmount calls last, without the lock; null for none. It waits until
/// other threads have released entries of the mounted system that the host cannot know of.
void SetUnmountWait(void (*wait)());
void WaitBehindUnmount();

/// Whether the equality of names is left to the native file system. That is the case where the
/// platform compares them in another way than names themselves do, and where a host has registered
/// its own comparison; elsewhere it would needlessly slow down each comparison of locations.
void CompareNamesNatively(bool isNative);

} // namespace IO
