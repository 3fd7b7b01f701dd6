#include <Kestrel/Root/Platform/DebugOutput.h>

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace Mu::Platform {

void WriteDebugText(char const * text) {
    std::size_t left = std::strlen(text);
    while (left > 0) {
        ssize_t const written = write(STDERR_FILENO, text, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return; // there is no listener, and nowhere to report the failure
        text += written;
        left -= static_cast<std::size_t>(written);
    }
}

} // namespace Mu::Platform
