// The top floor: what the library keeps from the moment it is loaded until it is unloaded, made here
// in its order and unmade in reverse. No other file of the library has a static whose making reaches
// into another one.

#include <Kestrel/FileSystem/Internal/Start.h>
#include <Kestrel/Location/Internal/LocalRoot.h>
#include <Kestrel/Root/Logger.h>

namespace IO {

namespace {

class Library {
public:
    Library() {
        StartLocalRoot(); // and with it the address tree and its lock
        StartFileSystem();
    }
    ~Library() {
        Mu::logger.Terminate(); // while files can still be written
        EndFileSystem();
        EndLocalRoot();
    }
} library;

} // namespace

} // namespace IO
