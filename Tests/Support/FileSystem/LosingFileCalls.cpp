#include "Tests/Support/FileSystem/LosingFileCalls.h"

#include "Tests/Support/OwnProcess.h"

#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Root/UniString.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace Tests {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t BlockSize = 512;

fs::path ToNative(std::u16string const & path) {
    return IO::ToNativePath(Mu::UniString(path));
}

std::string ReadAll(std::u16string const & path) {
    std::ostringstream content;
    content << std::ifstream(ToNative(path), std::ios::binary).rdbuf();
    return content.str();
}

void WriteAll(std::u16string const & path, std::string const & content) {
    fs::path const native = ToNative(path);
    std::error_code ignored;
    fs::permissions(native, fs::perms::owner_write, fs::perm_options::add, ignored);
    std::ofstream(native, std::ios::binary | std::ios::trunc) << content;
}

bool Exists(std::u16string const & path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(ToNative(path), ignored));
}

bool IsAtOrBelow(IO::PathText path, IO::PathText folder) {
    return path.starts_with(folder) &&
           (path.size() == folder.size() || path[folder.size()] == u'\\');
}

// The path as it is after what stood at `from` has gone to `to`.
std::u16string Moved(std::u16string const & path, std::u16string const & from,
                     std::u16string const & to) {
    return IsAtOrBelow(path, from) ? to + path.substr(from.size()) : path;
}

} // namespace

LosingFileCalls::LosingFileCalls(std::vector<std::u16string> roots)
    : ForwardingFileCalls(IO::SetFileCalls(this)) {
    for (std::u16string & root : roots)
        devices.push_back({std::move(root), {}, 0});
}

LosingFileCalls::~LosingFileCalls() {
    IO::SetFileCalls(&GetBelow());
}

void LosingFileCalls::EndAt(unsigned int n, EndOf what, unsigned int seed) {
    std::lock_guard const guard(mutex);
    untilEnd = n;
    ending = what;
    random.seed(seed);
}

LosingFileCalls::Turn LosingFileCalls::Count(bool canBeCut) {
    if (untilEnd == 0 || --untilEnd != 0)
        return Turn::Make;
    if (!canBeCut || Draw(2) == 0)
        End();
    return Turn::MakeInPart;
}

LosingFileCalls::Device * LosingFileCalls::FindDevice(PathText path) {
    for (Device & device : devices)
        if (IsAtOrBelow(path, device.root))
            return &device;
    return nullptr;
}

// What is not known yet is on the device as it is.
LosingFileCalls::ContentPtr LosingFileCalls::GetContent(Path const & path) {
    ContentPtr & content = contents[path];
    if (content == nullptr) {
        std::string const bytes = ReadAll(path);
        content = std::make_shared<Content>(Content{bytes, bytes});
    }
    return content;
}

void LosingFileCalls::AddStep(Step step) {
    FindDevice(step.path)->steps.push_back(std::move(step));
}

// How many steps the entry owes its present name to. What others that are gone by now had to do
// with the name lies before.
std::size_t LosingFileCalls::CountStepsOf(Device const & device, PathText path) const {
    std::size_t count = device.steps.size();
    while (count != 0 && !IsAtOrBelow(path, device.steps[count - 1].path))
        --count;
    return count;
}

unsigned int LosingFileCalls::CreateFile(EntryPath path, unsigned int access, unsigned int share,
                                         unsigned int disposition, unsigned int attributes,
                                         FileHandle * file) {
    std::lock_guard const guard(mutex);
    Path const name = GetPath(path);
    bool const isWatched = FindDevice(name) != nullptr;
    bool const changes = disposition != IO::FileDisposition::OpenExisting;
    bool const wasThere = isWatched && Exists(name);
    bool const isChange = isWatched && (changes || (access & IO::FileAccess::Write) != 0);
    if (isChange && changes)
        Count(false);
    ContentPtr const content = isChange && wasThere ? GetContent(name) : nullptr;
    unsigned int const error =
        ForwardingFileCalls::CreateFile(path, access, share, disposition, attributes, file);
    if (error != IO::FileError::None)
        return error;
    OpenFile & opened = files[*file] = OpenFile{name, content};
    if (!isChange)
        return error;
    if (!wasThere) {
        opened.content = contents[name] = std::make_shared<Content>();
        AddStep({Step::Kind::FileCame, name, {}, opened.content});
    } else if (disposition == IO::FileDisposition::TruncateExisting ||
               disposition == IO::FileDisposition::CreateAlways)
        opened.content->current.clear();
    return error;
}

unsigned int LosingFileCalls::CloseHandle(FileHandle file) {
    std::lock_guard const guard(mutex);
    if (files[file].content != nullptr)
        Count(false);
    files.erase(file);
    return ForwardingFileCalls::CloseHandle(file);
}

unsigned int LosingFileCalls::OpenFolder(EntryPath folder, IO::FolderUse use, FindHandle * find) {
    std::lock_guard const guard(mutex);
    unsigned int const error = ForwardingFileCalls::OpenFolder(folder, use, find);
    if (error == IO::FileError::None)
        finds[*find] = GetPath(folder);
    return error;
}

LosingFileCalls::Path LosingFileCalls::GetPath(EntryPath entry) const {
    if (entry.in == nullptr)
        return Path(entry.text);
    Path path = finds.at(entry.in);
    if (!path.ends_with(u'\\'))
        path += u'\\';
    return path.append(entry.text);
}

unsigned int LosingFileCalls::FindClose(FindHandle find) {
    std::lock_guard const guard(mutex);
    finds.erase(find);
    return ForwardingFileCalls::FindClose(find);
}

unsigned int LosingFileCalls::ReadFile(FileHandle file, char * destination, unsigned int count,
                                       unsigned int * read) {
    std::lock_guard const guard(mutex);
    unsigned int const error = ForwardingFileCalls::ReadFile(file, destination, count, read);
    files[file].position += *read;
    return error;
}

unsigned int LosingFileCalls::WriteFile(FileHandle file, char const * source, unsigned int count,
                                        unsigned int * written) {
    std::lock_guard const guard(mutex);
    OpenFile & open = files[file];
    if (open.content == nullptr)
        return ForwardingFileCalls::WriteFile(file, source, count, written);
    Turn const turn = Count(count > 1);
    if (turn == Turn::MakeInPart)
        count = 1 + Draw(count - 1);
    unsigned int const error = ForwardingFileCalls::WriteFile(file, source, count, written);
    std::string & bytes = open.content->current;
    bytes.resize(std::max<std::size_t>(bytes.size(), open.position + *written));
    bytes.replace(open.position, *written, source, *written);
    open.position += *written;
    if (turn == Turn::MakeInPart)
        End();
    return error;
}

unsigned int LosingFileCalls::SetEndOfFile(FileHandle file) {
    std::lock_guard const guard(mutex);
    OpenFile const & open = files[file];
    if (open.content != nullptr)
        Count(false);
    unsigned int const error = ForwardingFileCalls::SetEndOfFile(file);
    if (error == IO::FileError::None && open.content != nullptr)
        open.content->current.resize(open.position);
    return error;
}

unsigned int LosingFileCalls::FlushFileBuffers(FileHandle file) {
    std::lock_guard const guard(mutex);
    OpenFile const & open = files[file];
    if (open.content == nullptr)
        return ForwardingFileCalls::FlushFileBuffers(file);
    Count(false);
    open.content->onDevice = open.content->current;
    Device & device = *FindDevice(open.path);
    device.kept = std::max(device.kept, CountStepsOf(device, open.path));
    return IO::FileError::None;
}

unsigned int LosingFileCalls::SetFilePointerEx(FileHandle file, long long offset,
                                               unsigned long long * position, unsigned int origin) {
    std::lock_guard const guard(mutex);
    unsigned long long reached = 0;
    unsigned int const error =
        ForwardingFileCalls::SetFilePointerEx(file, offset, &reached, origin);
    if (error != IO::FileError::None)
        return error;
    files[file].position = reached;
    if (position != nullptr)
        *position = reached;
    return error;
}

unsigned int LosingFileCalls::CopyFile(EntryPath from, EntryPath to) {
    std::lock_guard const guard(mutex);
    Path const source = GetPath(from);
    Path const target = GetPath(to);
    if (FindDevice(target) == nullptr || Exists(target))
        return ForwardingFileCalls::CopyFile(from, to);
    std::string const bytes = ReadAll(source);
    Turn const turn = Count(true);
    if (turn == Turn::Make) {
        unsigned int const error = ForwardingFileCalls::CopyFile(from, to);
        if (error != IO::FileError::None)
            return error;
    }
    ContentPtr const content = contents[target] = std::make_shared<Content>();
    AddStep({Step::Kind::FileCame, target, {}, content});
    content->current = bytes;
    if (turn == Turn::MakeInPart) {
        content->current.resize(Draw(static_cast<unsigned int>(bytes.size()) + 1));
        WriteAll(target, content->current);
        End();
    }
    return IO::FileError::None;
}

// Open files move along: where the system lets somebody move them, it is a folder above that goes.
void LosingFileCalls::FollowMove(Path const & from, Path const & to) {
    std::map<Path, ContentPtr> moved;
    for (auto & [path, content] : contents)
        moved[Moved(path, from, to)] = std::move(content);
    contents = std::move(moved);
    for (auto & [handle, file] : files)
        file.path = Moved(file.path, from, to);
}

unsigned int LosingFileCalls::MoveFile(PathText from, PathText to) {
    std::lock_guard const guard(mutex);
    Device const * const device = FindDevice(from);
    if (device != FindDevice(to))
        return IO::FileError::NotSameDevice;
    if (device == nullptr)
        return ForwardingFileCalls::MoveFile(from, to);
    Count(false);
    unsigned int const error = ForwardingFileCalls::MoveFile(from, to);
    if (error == IO::FileError::None && from != to) {
        FollowMove(Path(from), Path(to));
        AddStep({Step::Kind::Moved, Path(to), Path(from), nullptr});
    }
    return error;
}

unsigned int LosingFileCalls::DeleteFile(EntryPath path) {
    std::lock_guard const guard(mutex);
    Path const name = GetPath(path);
    if (FindDevice(name) == nullptr)
        return ForwardingFileCalls::DeleteFile(path);
    Count(false);
    bool const isThere = Exists(name);
    ContentPtr const content = isThere ? GetContent(name) : nullptr;
    unsigned int const error = ForwardingFileCalls::DeleteFile(path);
    if (error == IO::FileError::None) {
        contents.erase(name);
        AddStep({Step::Kind::FileWent, name, {}, content});
    }
    return error;
}

unsigned int LosingFileCalls::CreateDirectory(EntryPath path) {
    std::lock_guard const guard(mutex);
    Path const name = GetPath(path);
    if (FindDevice(name) != nullptr)
        Count(false);
    unsigned int const error = ForwardingFileCalls::CreateDirectory(path);
    if (error == IO::FileError::None && FindDevice(name) != nullptr)
        AddStep({Step::Kind::FolderCame, name, {}, nullptr});
    return error;
}

unsigned int LosingFileCalls::RemoveDirectory(EntryPath path) {
    std::lock_guard const guard(mutex);
    Path const name = GetPath(path);
    if (FindDevice(name) != nullptr)
        Count(false);
    unsigned int const error = ForwardingFileCalls::RemoveDirectory(path);
    if (error == IO::FileError::None && FindDevice(name) != nullptr)
        AddStep({Step::Kind::FolderWent, name, {}, nullptr});
    return error;
}

unsigned int LosingFileCalls::CreateShellLink(PathText path, PathText target,
                                              PathText description) {
    std::lock_guard const guard(mutex);
    if (FindDevice(path) != nullptr)
        Count(false);
    unsigned int const error = ForwardingFileCalls::CreateShellLink(path, target, description);
    if (error == IO::FileError::None && FindDevice(path) != nullptr)
        AddStep({Step::Kind::FileCame, Path(path), {}, nullptr});
    return error;
}

// Other threads wait at the lock, which is never given back.
void LosingFileCalls::End() {
    if (ending == EndOf::System) {
        CloseAll();
        for (Device & device : devices)
            LoseSteps(device);
        for (auto const & [path, content] : contents)
            if (content->onDevice != content->current)
                WriteAll(path, DrawContent(*content));
    }
    EndProcess(Ended);
}

void LosingFileCalls::CloseAll() {
    for (auto const & [handle, file] : files)
        ForwardingFileCalls::CloseHandle(handle);
    for (auto const & [find, path] : finds)
        ForwardingFileCalls::FindClose(find);
}

void LosingFileCalls::LoseSteps(Device & device) {
    std::size_t const open = device.steps.size() - device.kept;
    std::size_t const lost[] = {0, open, Draw(static_cast<unsigned int>(open) + 1)};
    std::size_t const left = device.steps.size() - lost[Draw(3)];
    while (device.steps.size() > left) {
        TakeBack(device.steps.back());
        device.steps.pop_back();
    }
}

void LosingFileCalls::TakeBack(Step const & step) {
    switch (step.kind) {
    case Step::Kind::FileCame:
        contents.erase(step.path);
        fs::remove(ToNative(step.path));
        break;
    case Step::Kind::FileWent:
        contents[step.path] = step.content;
        WriteAll(step.path, step.content->current);
        break;
    case Step::Kind::FolderCame: fs::remove(ToNative(step.path)); break;
    case Step::Kind::FolderWent: fs::create_directory(ToNative(step.path)); break;
    case Step::Kind::Moved:
        fs::rename(ToNative(step.path), ToNative(step.from));
        FollowMove(step.path, step.from);
        break;
    }
}

// All, nothing, a beginning, or some blocks of what was not flushed.
std::string LosingFileCalls::DrawContent(Content const & content) {
    std::string const & old = content.onDevice;
    std::string const & now = content.current;
    unsigned int const way = Draw(4);
    if (way == 0)
        return now;
    if (way == 1)
        return old;
    auto const [least, most] = std::minmax({old.size(), now.size()});
    std::string drawn = old;
    drawn.resize(least + Draw(static_cast<unsigned int>(most - least) + 1));
    std::size_t const reach = std::min(drawn.size(), now.size());
    for (std::size_t at = 0; at < reach; at += BlockSize)
        if (way == 2 || Draw(2) == 0)
            now.copy(drawn.data() + at, std::min(BlockSize, reach - at), at);
    return drawn;
}

} // namespace Tests
