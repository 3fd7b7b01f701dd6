#pragma once

#include "Console.h"
#include "Links.h"
#include "Streams.h"

#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Tool {

/// An entry of a tree, and its children.
struct TreeNode {
    IO::Name name;
    IO::EntryType type = IO::EntryType::File;
    unsigned long long size = 0; ///< of a folder, the sum of all in it
    LinkTarget target;           ///< of a link
    bool isDenied = false;       ///< a folder that could not be read
    std::vector<TreeNode> children;
};

/// The counts over all walks of one command.
struct TreeCounts {
    unsigned long long of[3] = {}; ///< entries of each kind, by EntryType
    /// Volume and index of entries that can be found again under another name, which take no more
    /// of the disk then.
    std::set<std::pair<unsigned long long, unsigned long long>> onDisk;
};

/// Reports entries that a walk cannot use, with the reason: folders without permission, and entries
/// of which only the name is known. Entries that have vanished are passed over.
class LeftOut {
public:
    /// `path`: the root of the walk, as the user typed it.
    LeftOut(std::string const & path, Console & toConsole) : console(toConsole), above{path} {}

    // Called first in the operations of the walk.

    void Meet(IO::Folder const & in, IO::Name const & name, bool isFolder);
    void Settle() { isOpen = false; }
    void Enter(IO::Name const & name);
    /// True: the folder could not be read.
    bool Exit(IO::Folder const & folder);
    void Finish(IO::Folder const & top) { Close(top); }
    void Fail(IO::Name const & entry, MuErrCode status);

    bool HasAny() const { return hasAny; }
    /// The path of the current folder, as it is shown.
    std::string const & GetPath() const { return above.back(); }

private:
    void Close(IO::Folder const & in);

    Console & console;
    std::vector<std::string> above;
    IO::Name name;       // of the current entry
    bool isOpen = false; // nothing has been reported of it yet
    bool hasAny = false;
};

/// Reads a tree into memory, as it can only be drawn and sorted as a whole. Shows its progress on
/// the terminal.
class TreeReader : public IO::TreeEnumerator {
public:
    /// By the lengths of files, or by the disk space that all entries take.
    enum class Sizes { Skip, Lengths, DiskUse };
    enum class Keep { All, Folders, Nothing };

    /// `root` must have the folder's name already. `depth` limits the levels that are entered,
    /// unless it is below 0.
    TreeReader(IO::Folder const & folder, TreeNode & root, Sizes sizes, Keep keep, bool follow,
               int depth, std::string const & path, Console & console, TreeCounts & counts);

    /// The walk's status. If HasFailures, every failure below the root has been reported.
    MuErrCode Read();
    bool HasFailures() const { return leftOut.HasAny(); }

    bool EntryFound(IO::Name const & name, bool isFolder) override;
    bool FileFound(IO::Name const & name) override;
    bool FolderFound(IO::Name const & name) override;
    bool LinkFound(IO::Name const & name) override;
    void FolderEntered(IO::Name const & name, IO::Folder const & folder) override;
    void FolderExited(IO::Name const & name, IO::Folder const & folder) override;

private:
    TreeNode & Add(IO::Name const & name, IO::EntryType type);
    bool TakeKnown(IO::Name const & name);
    void AddToFolders(unsigned long long size);
    bool IsLastALink(IO::Name const & name) const;
    void AddSize(IO::Name const & name, TreeNode * node, bool isLinked);
    void Take(IO::Name const & name, MuErrCode status, unsigned long long size, TreeNode * node);
    unsigned long long CountOnce(IO::DiskUse const & use, bool isFolder = false);

    Sizes sizes;
    Keep keep;
    bool follow;
    int depth;
    TreeNode scratch;              // for entries that are not kept
    std::vector<TreeNode *> above; // the folders from the root to the current one
    TreeCounts & counts;
    LeftOut leftOut;
    Progress progress{"walking", Progress::Unit::Entries};
};

/// Sorts all levels by name.
void Sort(TreeNode & node);

/// Reads the tree at a path, whatever its type: `*node` gets its name and content. 1, after
/// messages, if anything of it could not be read.
int ReadTree(std::string const & path, TreeReader::Sizes sizes, TreeReader::Keep keep, bool follow,
             int depth, Console & console, TreeNode * node, TreeCounts * counts);

/// "1 entry", "2 entries".
std::string Count(unsigned long long count, char const * one, char const * many);

} // namespace Tool
