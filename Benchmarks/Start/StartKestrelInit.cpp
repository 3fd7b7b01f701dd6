// As StartKestrel, with the settings of the program read first.

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/Library.h>

int main() {
    bool isThere = false;
    if (IO::Init(false, "") == IO::NoError) {
        IO::EntryType type;
        IO::Location const place(IO::Location("/tmp"), "x");
        isThere = IO::fileSystem.GetType(place, &type) == IO::NoError;
    }
    IO::End();
    return isThere;
}
