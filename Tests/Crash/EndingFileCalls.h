#pragma once

#include "Tests/Support/FileSystem/ScriptedFileCalls.h"
#include "Tests/Support/OwnProcess.h"

#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Root/Text/UniString.h>

#include <filesystem>
#include <map>
#include <mutex>
#include <string>

namespace Tests {

/// What ends. With the process alone, all that the system was given stays; with the system, what was
/// written behind the last flush of a file is lost.
enum class EndOf { Process, System };

/// The real file calls of a process that is ended before its n-th call that changes something or
/// flushes. No name moves from one of the folders "one" and "two" to the other, as if they were
/// devices. Files are taken to grow only.
///
/// Threads: any; what files are opened for, written and flushed is done one at a time.
class EndingFileCalls : public ScriptedFileCalls {
public:
    /// Exit code of a process that was ended here.
    static constexpr int Ended = 77;

    EndingFileCalls(EndOf what, unsigned int n) : ending(what), untilEnd(n) {
        onCall = [this](FileCall call) {
            for (FileCall const change :
                 {FileCall::SetEndOfFile, FileCall::CopyFile, FileCall::MoveFile,
                  FileCall::ReplaceFile, FileCall::CreateFileLike, FileCall::DeleteFile,
                  FileCall::CreateDirectory, FileCall::RemoveDirectory})
                if (call == change)
                    Count();
        };
    }

    unsigned int CreateFile(IO::EntryPath path, unsigned int access, unsigned int share,
                            unsigned int disposition, unsigned int attributes,
                            IO::FileHandle * file) override {
        std::lock_guard const guard(mutex);
        if (disposition != IO::FileDisposition::OpenExisting)
            Count();
        unsigned int const error =
            ScriptedFileCalls::CreateFile(path, access, share, disposition, attributes, file);
        if (error == IO::FileError::None && path.in == nullptr &&
            (access & IO::FileAccess::Write) != 0)
            files[*file] = std::u16string(path.text);
        return error;
    }
    unsigned int CloseHandle(IO::FileHandle file) override {
        std::lock_guard const guard(mutex);
        if (files.count(file) != 0)
            Count();
        files.erase(file);
        return ScriptedFileCalls::CloseHandle(file);
    }
    unsigned int WriteFile(IO::FileHandle file, char const * source, unsigned int count,
                           unsigned int * written) override {
        std::lock_guard const guard(mutex);
        if (auto const found = files.find(file); found != files.end())
            flushed.try_emplace(found->second, std::filesystem::file_size(ToNative(found->second)));
        if (untilEnd == 1) // in the middle
            (void)ScriptedFileCalls::WriteFile(file, source, count / 2, written);
        Count();
        return ScriptedFileCalls::WriteFile(file, source, count, written);
    }
    unsigned int FlushFileBuffers(IO::FileHandle file) override {
        std::lock_guard const guard(mutex);
        Count(); // which the real devices are spared
        if (auto const found = files.find(file); found != files.end())
            flushed[found->second] = std::filesystem::file_size(ToNative(found->second));
        return IO::FileError::None;
    }
    unsigned int MoveFile(IO::PathText from, IO::PathText to) override {
        return IsInTwo(from) != IsInTwo(to) ? IO::FileError::NotSameDevice
                                            : ScriptedFileCalls::MoveFile(from, to);
    }

private:
    static std::filesystem::path ToNative(std::u16string const & path) {
        return IO::ToNativePath(Mu::UniString(path));
    }
    static bool IsInTwo(IO::PathText path) { return path.find(u"\\two\\") != path.npos; }

    // Other threads wait at the lock, which is never given back.
    void Count() {
        std::lock_guard const guard(mutex);
        if (untilEnd == 0 || --untilEnd != 0)
            return;
        for (auto const & [file, path] : files)
            ForwardingFileCalls::CloseHandle(file);
        std::error_code ignored; // of a file that is gone
        if (ending == EndOf::System)
            for (auto const & [path, length] : flushed)
                if (std::filesystem::file_size(ToNative(path), ignored) > length && !ignored)
                    std::filesystem::resize_file(ToNative(path), length, ignored);
        EndProcess(Ended);
    }

    std::recursive_mutex mutex; // on all of these
    EndOf ending;
    unsigned int untilEnd;                            // 0: not at all
    std::map<IO::FileHandle, std::u16string> files;   // those open for writing
    std::map<std::u16string, std::uintmax_t> flushed; // the lengths of those that were written
};

} // namespace Tests
