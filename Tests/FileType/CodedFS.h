#pragma once

#include "Tests/Support/FileSystem/DiskVFS.h"

#include <Kestrel/FileSystem/FileSystem.h>

#include <string>
#include <vector>

namespace Tests {

/// Files that have a type code.
class CodedFS : public DiskFixedVFS {
public:
    struct Coded {
        IO::Name name;
        unsigned int code;
        std::string content;
    };

    CodedFS() { IO::fileSystem.Mount(*this, IO::Location(u"C:\\no such folder 8352\\coded")); }
    ~CodedFS() override { IO::fileSystem.Unmount(*this); }

    void Add(std::string const & name, unsigned int code, std::string const & content) {
        AddFile(name, content);
        files.push_back({IO::Name(name.c_str()), code, content});
    }
    IO::Location operator/(IO::Name const & name) const { return IO::Location(place, name); }
    IO::Location operator/(char const * name) const { return *this / IO::Name(name); }

    using DiskFixedVFS::Connect;
    ConnectStatus Connect(IO::Location * location, IO::FileEntry ** entry) override {
        ++connects;
        ConnectStatus const status = DiskFixedVFS::Connect(location, entry);
        if (status == ConnectStatus::Connected)
            for (Coded const & file : files)
                if (*location == *this / file.name)
                    static_cast<TestFile *>(*entry)->typeCode = file.code;
        return status;
    }

    std::vector<Coded> files;
    unsigned int connects = 0;
};

} // namespace Tests
