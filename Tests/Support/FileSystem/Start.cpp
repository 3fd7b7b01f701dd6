// The tests of a floor do not see the floor above, which starts the library; so they start what they
// need in its stead.

#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/Location/Internal/LocalRoot.h>

namespace {

struct Start {
    Start() {
        IO::StartLocalRoot();
        IO::StartFileSystem();
    }
    ~Start() {
        IO::EndFileSystem();
        IO::EndLocalRoot();
    }
} start;

} // namespace
