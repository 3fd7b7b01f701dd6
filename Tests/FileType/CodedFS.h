#pragma once

#include "Tests/Support/FileSystem/MemoryFS.h"

#include <Kestrel/FileSystem/FileSystem.h>

#include <string>

namespace Tests {

/// Files that have a type code, which no disk here keeps, and that can be made to fail.
class CodedFS : public MemoryFixedVFS {
public:
    CodedFS() { IO::fileSystem.Mount(*this, IO::Location(u"C:\\no such folder 8352\\coded")); }
    ~CodedFS() override { IO::fileSystem.Unmount(*this); }

    MemoryNode & Add(std::string const & name, unsigned int code, std::string const & content) {
        MemoryNode & node = tree.AddFile(name, content);
        node.typeCode = code;
        return node;
    }
    IO::Location operator/(IO::Name const & name) const { return IO::Location(place, name); }
    IO::Location operator/(char const * name) const { return *this / IO::Name(name); }

    ConnectStatus Connect(IO::Location * location, IO::FolderEntry ** entry) override {
        return MemoryFixedVFS::Connect(location, entry);
    }
    ConnectStatus Connect(IO::Location * location, IO::FileEntry ** entry) override {
        ++connects;
        return MemoryFixedVFS::Connect(location, entry);
    }

    unsigned int connects = 0;
};

} // namespace Tests
