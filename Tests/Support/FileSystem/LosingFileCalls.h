#pragma once

#include <Kestrel/FileSystem/Platform/ForwardingFileCalls.h>

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace Tests {

/// What ends. With the process alone, all that the system was given stays; with the system, what
/// was not flushed may be lost.
enum class EndOf { Process, System };

/// The real file calls of a process that is ended at a told call, and of a system that may end with
/// it. For a process of its own, which somebody else looks at afterwards:
///
///     Tests::LosingFileCalls calls({one, two});
///     calls.EndAt(17, Tests::EndOf::System, seed);
///
/// The call at which it ends is not made, or made in part where it moves bytes. When the system
/// ends too, the real files are first turned into what its devices may hold then, drawn by the
/// seed. The devices are taken for what journaling file systems are:
///
///   - A name comes, changes or goes in one step. The steps reach the device in their order, so
///     that some of the last ones may be lost, and none before one that is kept.
///   - FlushFileBuffers brings the bytes and the length of its file to the device, and all steps of
///     names there up to the last one that the file owes its present name to.
///   - Of what was not flushed, each block may be there or not, and the length may be any between
///     that on the device and that last told. Bytes that never came read as zeros.
///   - Nothing is ordered between two devices, and none moves a name to the other: NotSameDevice.
///
/// The real devices are not flushed, which would make tests slow. Times and attributes are not
/// looked at. Names must be spelled alike everywhere.
///
/// Threads: any; the calls are made one at a time.
class LosingFileCalls : public IO::ForwardingFileCalls {
public:
    /// Exit code of a process that was ended here.
    static constexpr int Ended = 77;

    /// Puts itself under the recording. Each folder stands for a device; what lies in none of them
    /// is not looked at.
    explicit LosingFileCalls(std::vector<std::u16string> devices);
    ~LosingFileCalls() override;

    /// Ends at the `n`-th call from now on, from 1, among those that change something or flush.
    void EndAt(unsigned int n, EndOf what, unsigned int seed);

    using EntryPath = IO::EntryPath;
    using PathText = IO::PathText;
    using FileHandle = IO::FileHandle;
    using FindHandle = IO::FindHandle;

    unsigned int CreateFile(EntryPath path, unsigned int access, unsigned int share,
                            unsigned int disposition, unsigned int attributes,
                            FileHandle * file) override;
    unsigned int CloseHandle(FileHandle file) override;
    unsigned int OpenFolder(EntryPath folder, IO::FolderUse use, FindHandle * find) override;
    unsigned int FindClose(FindHandle find) override;
    unsigned int ReadFile(FileHandle file, char * destination, unsigned int count,
                          unsigned int * read) override;
    unsigned int WriteFile(FileHandle file, char const * source, unsigned int count,
                           unsigned int * written) override;
    unsigned int SetEndOfFile(FileHandle file) override;
    unsigned int FlushFileBuffers(FileHandle file) override;
    unsigned int SetFilePointerEx(FileHandle file, long long offset, unsigned long long * position,
                                  unsigned int origin) override;
    unsigned int CopyFile(EntryPath from, EntryPath to) override;
    unsigned int MoveFile(PathText from, PathText to) override;
    unsigned int DeleteFile(EntryPath path) override;
    unsigned int CreateDirectory(EntryPath path) override;
    unsigned int RemoveDirectory(EntryPath path) override;
    unsigned int CreateShellLink(PathText path, PathText target, PathText description) override;

private:
    using Path = std::u16string;

    struct Content {
        std::string onDevice;
        std::string current;
    };
    using ContentPtr = std::shared_ptr<Content>;

    struct OpenFile {
        Path path;
        ContentPtr content; // null: not on a device
        unsigned long long position = 0;
    };

    /// One step of names. A file that comes or goes has its content here.
    struct Step {
        enum class Kind { FileCame, FileWent, FolderCame, FolderWent, Moved };
        Kind kind;
        Path path; // after the step, or of what went
        Path from; // of what moved
        ContentPtr content;
    };

    struct Device {
        Path root;
        std::vector<Step> steps;
        std::size_t kept = 0; // steps that are on the device for good
    };

    // Whether the call, which is the one at which it ends, is to be made in part first.
    enum class Turn { Make, MakeInPart };
    Turn Count(bool canBeCut);

    /// The whole path of an entry.
    Path GetPath(EntryPath entry) const;
    Device * FindDevice(PathText path);
    ContentPtr GetContent(Path const & path);
    void AddStep(Step step);
    void FollowMove(Path const & from, Path const & to);
    std::size_t CountStepsOf(Device const & device, PathText path) const;

    [[noreturn]] void End();
    void CloseAll();
    void LoseSteps(Device & device);
    void TakeBack(Step const & step);
    std::string DrawContent(Content const & content);
    unsigned int Draw(unsigned int limit) { return static_cast<unsigned int>(random() % limit); }

    std::mutex mutex; // on all of these
    std::vector<Device> devices;
    std::map<Path, ContentPtr> contents; // of the files that were written or copied, by their names
    std::map<FileHandle, OpenFile> files;
    std::map<FindHandle, Path> finds; // the folders that are held open
    unsigned int untilEnd = 0;        // 0: not at all
    EndOf ending = EndOf::Process;
    std::mt19937 random;
};

} // namespace Tests
