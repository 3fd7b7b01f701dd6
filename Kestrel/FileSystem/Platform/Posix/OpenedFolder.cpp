#include <Kestrel/FileSystem/Platform/Posix/OpenedFolder.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace IO {

OpenedFolder::OpenedFolder(int descriptor, OpenedFolder * in, bool isListed)
    : folder(descriptor), isListed(isListed), level(in == nullptr ? 1 : in->level + 1), in(in) {
    if (in == nullptr)
        return;
    next = in->below;
    in->below = this;
    OpenedFolder * highest = in;
    unsigned int count = 1;
    for (; highest->in != nullptr && highest->in->folder.IsOpen(); highest = highest->in)
        ++count;
    if (count >= MostOpen)
        highest->Close();
}

OpenedFolder::~OpenedFolder() {
    for (OpenedFolder * each = below; each != nullptr; each = each->next)
        each->in = nullptr;
    if (in == nullptr)
        return;
    int const before = errno;
    if (!in->folder.IsOpen() && Reach() >= 0)
        in->OpenAbove(folder.Get()); // a failure is reported when it is needed
    OpenedFolder ** link = &in->below;
    while (*link != this)
        link = &(*link)->next;
    *link = next;
    errno = before;
}

// A folder that could not be recognised again remains open.
void OpenedFolder::Close() {
    struct stat info;
    off_t const at = isListed ? ::lseek(folder.Get(), 0, SEEK_CUR) : 0;
    if (at < 0 || ::fstat(folder.Get(), &info) != 0)
        return;
    device = info.st_dev;
    inode = info.st_ino;
    position = at;
    Descriptor const closed(folder.Release());
}

bool OpenedFolder::OpenAgain() {
    errno = ELOOP; // it can no longer be reached
    for (OpenedFolder * each = below; each != nullptr; each = each->next)
        if (each->Reach() >= 0 && OpenAbove(each->folder.Get()))
            return true;
    return false;
}

bool OpenedFolder::OpenAbove(int descriptor) {
    Descriptor above(OpenFolder(descriptor, "..", isListed ? 0 : O_PATH));
    struct stat info;
    if (!above.IsOpen() || ::fstat(above.Get(), &info) != 0)
        return false;
    if (info.st_dev != device || info.st_ino != inode) {
        errno = ELOOP; // it was moved
        return false;
    }
    if (isListed && ::lseek(above.Get(), position, SEEK_SET) < 0)
        return false;
    folder.Take(above.Release());
    return true;
}

} // namespace IO
