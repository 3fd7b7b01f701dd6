#include <Kestrel/FileSystem/Internal/Start.h>

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Internal/NameGeneration.h>
#include <Kestrel/FileSystem/Internal/WinFileSystem.h>
#include <Kestrel/FileSystem/Internal/WinLocationResolver.h>
#include <Kestrel/FileSystem/Platform/FileCalls.h>
#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/NameComparer.h>

#include <atomic>
#include <new>

namespace IO {

void FileSystemStart::Make(FileSystem * place) {
    new (place) FileSystem();
}

void FileSystemStart::Unmake(FileSystem & system) {
    system.~FileSystem();
}

namespace {

// Compares names by the native file system.
class NativeNameComparer final : public NameComparer {
public:
    bool IsSameName(Mu::UniString const & first, Mu::UniString const & second) override {
        NativeFileSystem * const native = NativeFileSystem::Get();
        return native != nullptr && native->IsSameName(first, second);
    }
};

// Storage for one object that is created and destroyed explicitly, so that its address is a
// constant.
template <typename T>
union Place {
    constexpr Place() : none(0) {}
    ~Place() {}

    char none;
    T object;
};

constinit Place<FileSystem> fileSystemPlace;
constinit Place<FileSystemLock> lockPlace;
constinit Place<WinFileSystem> nativePlace;
constinit Place<WinLocationResolver> resolverPlace;
constinit Place<NativeNameComparer> comparerPlace;
constinit bool isStarted = false;
constinit std::atomic<void (*)()> unmountWait = nullptr;

} // namespace

constinit FileSystem & FileSystem::singleton = fileSystemPlace.object;
constinit FileSystem & fileSystem = fileSystemPlace.object;

void StartFileSystem() {
    if (isStarted)
        return;
    isStarted = true;
    // Created first, they outlive the last lines of the log, written when all this is destroyed.
    static_cast<void>(GetFileCalls());
    FileSystemStart::Make(&fileSystemPlace.object);
    new (&lockPlace.object) FileSystemLock();
    StartValidators();
    StartNameGeneration();
    new (&comparerPlace.object) NativeNameComparer();
    new (&nativePlace.object) WinFileSystem();
    CompareNamesNatively(!GetPlatformFileCalls().ComparesByUnits());
    new (&resolverPlace.object) WinLocationResolver();
}

void CompareNamesNatively(bool isNative) {
    SetNameComparer(isNative && isStarted ? &comparerPlace.object : nullptr);
}

void EndFileSystem() {
    if (!isStarted)
        return;
    isStarted = false;
    SetNameComparer(nullptr);
    resolverPlace.object.~WinLocationResolver();
    nativePlace.object.~WinFileSystem();
    comparerPlace.object.~NativeNameComparer();
    EndValidators();
    lockPlace.object.~FileSystemLock();
    FileSystemStart::Unmake(fileSystemPlace.object);
}

FileSystemLock & GetFileSystemLock() {
    return lockPlace.object;
}

void SetUnmountWait(void (*wait)()) {
    unmountWait = wait;
}

void WaitBehindUnmount() {
    if (void (*const wait)() = unmountWait)
        wait();
}

} // namespace IO
