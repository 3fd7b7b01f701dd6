#pragma once

#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Memory/Ref.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

class RemoteTree;

/// How much time and memory the browsing of a process through a file system may cost.
struct RemoteReflectionLimits {
    /// Milliseconds for the connection and for each pause of the process; 0 is none.
    unsigned int timeout = 5000;
    /// Milliseconds for which an answer is good, so that a walk does not ask twice; 0 keeps none. One
    /// that took long is good for ten times as long as it took.
    unsigned int keepTime = 2000;
    /// Bytes of answers that are kept, besides those that an open entry holds.
    unsigned int keptSize = 64u << 20;
    /// An answer beyond so many bytes is a failure.
    unsigned int answerLimit = 64u << 20;
    /// Milliseconds behind a connection that could not be made, or that brought nothing, in which every
    /// use fails at once, so that a walk does not try again at each step; 0 always tries.
    unsigned int retryTime = 1000;
};

/// The inside of another process as folders and files, read-only.
///
///     IO::RemoteReflectionVFS shop("localhost", 37770);
///     IO::fileSystem.Mount(shop, IO::Location("C:\\Shop"));
///     // C:\Shop\Shop\Orders\17 is a file with what the process says of order 17
///
/// A folder is what a ReflectionService lists, a file what it says of one thing; a file is empty where
/// it has nothing to say. A folder of things with attributes also holds the file `TableName`: a line
/// with the word "name" and the attributes, and a line for each thing, with tabs between the cells.
/// Where the process is named by a URL rather than by a mount, take ReflectRollingVFS.
///
/// Entries have the names of things in a form that every disk takes; see EscapeName. Each can be had by
/// its plain name too, if that does not look escaped. What stands at a place has one entry, however it
/// is spelt: of names that differ in case only, the later ones are escaped further. A name that is too
/// long for a disk is cut, and ends in "%~" and a number of its own; the table has the whole name.
///
/// An entry keeps the first answer that it gets, so that a walk sees each folder as of one moment.
/// Nothing is deeper than `DeepestLevel`, so that a tree without an end costs no stack.
///
/// Memory:  the answers that open entries hold, and those that are kept.
/// Threads: any. Connecting asks the process under the lock of IO::fileSystem, as its status has to say
///          what is there, everything else without it. So other threads may wait for a process that is
///          silent, for one time limit in each retry time. A process that mounts itself gets the
///          status of a failure, after the time limit, where the answer needs that lock.
/// Failure: statuses: NotFound for what the process does not list, Other, ReadError and the like when it
///          cannot be asked. Every change is denied. The next use after a broken connection makes a new
///          one; after one that could not be made, the next use behind the retry time does.
///          Mu::OutOfMemoryException when connecting.
class KESTREL_API RemoteReflectionVFS : public FixedVFS {
public:
    static constexpr char const * TableName = "attributes.tsv";
    static constexpr unsigned int DeepestLevel = 200;

    /// No request is made before the first use.
    RemoteReflectionVFS(char const * host, unsigned short port,
                        RemoteReflectionLimits const & limits = RemoteReflectionLimits());
    /// After Unmount.
    ~RemoteReflectionVFS() override;
    RemoteReflectionVFS(RemoteReflectionVFS const &) = delete;
    RemoteReflectionVFS & operator=(RemoteReflectionVFS const &) = delete;

    ConnectStatus Connect(Location * location, FolderEntry ** entry) override;
    ConnectStatus Connect(Location * location, FileEntry ** entry) override;
    void Disconnect(FolderEntry * entry) override;
    void Disconnect(FileEntry * entry) override;
    void Mounted(Location const & where) override;
    /// Closes the connection.
    void Unmounted() override;

    /// The name in a form that Windows, Linux and terminals take: what they refuse stands as in a URL,
    /// each byte of its UTF-8 as "%" and two digits. That holds for "%", for control characters, for a
    /// blank or a dot at the end, and for the first letter of what Windows takes for a device.
    static Name EscapeName(Name const & name);
    /// The name that EscapeName was given. What is no escape stays as it is.
    static Name UnescapeName(Name const & name);

    // A cell of a table as it stands in the file: \t, \n, \r and \\, and \u with four digits for other
    // control characters and halves of characters; and back.
    static Mu::UniString EscapeCell(Mu::UniString const & text);
    static Mu::UniString UnescapeCell(Mu::UniString const & text);

private:
    Mu::Ref<RemoteTree> tree;
    Location mountPoint;
    bool isMounted = false;
};

} // namespace IO
