#pragma once

#include <Kestrel/FileSystem/File.h>

#include <typeinfo>

namespace IO {

/// The scope of one operation on the buffers of a file: nothing is read or written in line
/// meanwhile. Scopes may be nested: an inner one opens the windows at its end already, and the
/// outer one sets them again.
class File::Turn {
public:
    explicit Turn(File const & file) : file(file) {
        file.NoteInLine();
        file.inputWindow.Close();
        file.outputWindow.Close();
    }
    ~Turn() {
        bool const isPlain = typeid(file) == typeid(File); // others may have a ReadBin of their own
        char const * ready;
        char const * readyEnd;
        file.inputBuffer.GetReady(&ready, &readyEnd);
        file.OpenInputWindow(ready, readyEnd, isPlain);
        char * room;
        char * roomEnd;
        file.outputBuffer.GetRoom(&room, &roomEnd);
        file.OpenOutputWindow(room, roomEnd, isPlain);
    }
    Turn(Turn const &) = delete;
    Turn & operator=(Turn const &) = delete;

private:
    File const & file;
};

} // namespace IO
