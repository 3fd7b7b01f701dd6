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

/// An entry of a tree, with what is below it.
struct TreeNode {
    IO::Name name;
    IO::EntryType type = IO::EntryType::File;
    unsigned long long size = 0; ///< of a folder, with all that was found in it
    LinkTarget target;           ///< of a link
    bool isDenied = false;       ///< a folder that could not be read
    std::vector<TreeNode> children;
};

/// What all walks of one command come to.
struct TreeCounts {
    unsigned long long of[3] = {}; ///< entries of each kind, by EntryType
    /// What may be met again under another name and then takes no more of the disk: the volume, and
    /// the entry there.
    std::set<std::pair<unsigned long long, unsigned long long>> onDisk;
};

/// Names what a walk meets and cannot use, with the reason: folders that may not be read, and entries
/// of which nothing is known but a name. What is gone by then is passed over.
class LeftOut {
public:
    /// `path`: where the walk begins, as the user named it.
    LeftOut(std::string const & path, Console & toConsole) : console(toConsole), above{path} {}

    // What the operations of the walk say, each before anything else is done there.

    void Meet(IO::Folder const & in, IO::Name const & name, bool isFolder);
    void Settle() { isOpen = false; }
    void Enter(IO::Name const & name);
    /// True: the folder could not be read.
    bool Exit(IO::Folder const & folder);
    void Finish(IO::Folder const & top) { Close(top); }
    void Fail(IO::Name const & entry, MuErrCode status);

    bool HasAny() const { return hasAny; }
    /// The folder being walked, as it is shown.
    std::string const & GetPath() const { return above.back(); }
    static std::string Join(std::string const & folder, std::string const & name);

private:
    void Close(IO::Folder const & in);

    Console & console;
    std::vector<std::string> above;
    IO::Name name;       // of the entry that was met last
    bool isOpen = false; // nothing was said of it yet
    bool hasAny = false;
};

/// Reads a tree into memory, for it can only be drawn and sorted as a whole. Shows how far it is on
/// the terminal.
class TreeReader : public IO::TreeEnumerator {
public:
    /// By the lengths of files, or by what everything takes of the disk.
    enum class Sizes { Skip, Lengths, DiskUse };
    enum class Keep { All, Folders, Nothing };

    /// `root` must have the folder's name already. With `depth` not below 0 only so many levels are
    /// looked into.
    TreeReader(IO::Folder const & folder, TreeNode & root, Sizes sizes, Keep keep, bool follow,
               int depth, std::string const & path, Console & console, TreeCounts & counts);

    /// The walk's status. What it stands for was named, when anything failed below the root.
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
    TreeNode scratch;              // takes what is not kept
    std::vector<TreeNode *> above; // the folders being walked, the root first
    TreeCounts & counts;
    LeftOut leftOut;
    Progress progress{"walking", Progress::Unit::Entries};
};

/// Sorts all levels by name.
void Sort(TreeNode & node);

/// The tree of a path, whatever stands there: `*node` gets its name and what is in it. 1, after lines
/// about them, when anything of it could not be read.
int ReadTree(std::string const & path, TreeReader::Sizes sizes, TreeReader::Keep keep, bool follow,
             int depth, Console & console, TreeNode * node, TreeCounts * counts);

/// "1 entry", "2 entries".
std::string Count(unsigned long long count, char const * one, char const * many);

} // namespace Tool
