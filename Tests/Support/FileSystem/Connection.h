#pragma once

#include <Kestrel/FileSystem/FileEntry.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/FolderEntry.h>

#include <gtest/gtest.h>

namespace Tests {

/// An entry of IO::fileSystem for the length of a test.
template <typename Entry>
class Connection {
public:
    explicit Connection(IO::Location const & where) : location(where) {
        status = IO::fileSystem.Connect(&location, &entry);
    }
    ~Connection() { IO::fileSystem.Disconnect(entry); }
    Connection(Connection const &) = delete;
    Connection & operator=(Connection const &) = delete;

    MuErrCode GetStatus() const { return status; }
    /// What the location became.
    IO::Location const & GetLocation() const { return location; }
    Entry & operator*() const { return *entry; }
    Entry * operator->() const { return entry; }

private:
    IO::Location location;
    Entry * entry = nullptr;
    MuErrCode status;
};

using FileConnection = Connection<IO::FileEntry>;
using FolderConnection = Connection<IO::FolderEntry>;

} // namespace Tests
