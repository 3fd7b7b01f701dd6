#include <Kestrel/FileSystem/Platform/Posix/Descriptor.h>

#include <cerrno>

namespace IO {

Descriptor::~Descriptor() {
    if (descriptor < 0)
        return;
    int const before = errno;
    ::close(descriptor); // an interrupted close has closed it, too
    errno = before;
}

} // namespace IO
