#pragma once

#include <Kestrel/FileSystem/FixedVFS.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>
#include <Kestrel/Root/Memory/Ref.h>
#include <Kestrel/Root/Text/UniString.h>

namespace IO {

class RemoteTree;

/// Limits for the time and memory of browsing a process through a file system.
struct RemoteReflectionLimits {
    /// Milliseconds for the connection and for each pause of the process; 0 for no limit.
    unsigned int timeout = 5000;
    /// Milliseconds for which a response is cached, so that a walk does not ask twice; 0 disables
    /// the cache. A slow response is cached for ten times as long as it took.
    unsigned int keepTime = 2000;
    /// Size of the cache in bytes, not counting what open entries hold.
    unsigned int keptSize = 64u << 20;
    /// A response with more bytes is a failure.
    unsigned int answerLimit = 64u << 20;
    /// Milliseconds after a failed or useless connection in which every use fails at once, so that
    /// a walk does not retry at each step; 0 always retries.
    unsigned int retryTime = 1000;
};

/// The inside of another process as folders and files, read-only.
///
///     IO::RemoteReflectionVFS shop("localhost", 37770);
///     IO::fileSystem.Mount(shop, IO::Location("C:\\Shop"));
///     // C:\Shop\Shop\Orders\17 is a file with the text of order 17
///
/// A folder contains what a ReflectionService lists, a file the text of one thing, which may be
/// empty. A folder of things with attributes also contains the file `TableName`: a line with the
/// word "name" and the attributes, and a line for each thing, with tabs between the cells. To name
/// processes by URLs instead of mounts, use ReflectRollingVFS.
///
/// Entries have the names of things in a form that is valid on every disk; see EscapeName. The
/// plain name can be used too, unless it looks escaped. A thing has only one entry, whatever the
/// spelling: of names that differ only in case, the later ones are escaped further. A name that is
/// too long for a disk is truncated, and ends in "%~" and a unique number; the table contains the
/// whole name.
///
/// An entry keeps the first response that it gets, so that a walk sees each folder in one state.
/// Nothing is deeper than `DeepestLevel`, so that an infinite tree does not exhaust the stack.
///
/// Memory:  the responses that open entries hold, and the cache.
/// Threads: any. Connecting queries the process under the lock of IO::fileSystem, since its status
///          depends on the response; everything else does not. So other threads may wait for a
///          process that does not respond, for one time limit per retry time. If a process mounts
///          itself and the response needs that lock, it gets a failure status after the time limit.
/// Failure: statuses: NotFound for what the process does not list; Other, ReadError and the like if
///          it cannot be queried. Every change is denied. After a broken connection the next use
///          makes a new one; after a failed attempt, the first use after the retry time does.
///          Mu::OutOfMemoryException when connecting.
class KESTREL_API RemoteReflectionVFS : public FixedVFS {
public:
    static constexpr char const * TableName = "attributes.tsv";
    static constexpr unsigned int DeepestLevel = 200;

    /// Makes no request before the first use.
    RemoteReflectionVFS(char const * host, unsigned short port,
                        RemoteReflectionLimits const & limits = RemoteReflectionLimits());
    /// To be called after Unmount.
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

    /// The name in a form that is valid on Windows, on Linux and on terminals: invalid parts are
    /// encoded as in a URL, each byte of the UTF-8 as "%" and two digits. These are "%", control
    /// characters, a space or a dot at the end, and the first letter of a reserved device name of
    /// Windows.
    static Name EscapeName(Name const & name);
    /// The inverse of EscapeName. Invalid escapes are kept as they are.
    static Name UnescapeName(Name const & name);

    // A cell of a table in its encoded form, with \t, \n, \r and \\, and \u with four digits for
    // other control characters and unpaired surrogates; and the inverse.
    static Mu::UniString EscapeCell(Mu::UniString const & text);
    static Mu::UniString UnescapeCell(Mu::UniString const & text);

private:
    Mu::Ref<RemoteTree> tree;
    Location mountPoint;
    bool isMounted = false;
};

} // namespace IO
