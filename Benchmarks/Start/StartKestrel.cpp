// A host that asks whether one thing is there; see StartPeers.

#include <Kestrel/FileSystem/FileSystem.h>

int main() {
    IO::EntryType type;
    return IO::fileSystem.GetType(IO::Location(IO::Location("/tmp"), "x"), &type) == IO::NoError;
}
