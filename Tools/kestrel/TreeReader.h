#pragma once

#include "Links.h"
#include "Streams.h"

#include <Kestrel/FileSystem/FileSystemTypes.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>
#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>

#include <string>
#include <vector>

namespace Tool {

/// An entry of a tree, with what is below it.
struct TreeNode {
    IO::Name name;
    IO::EntryType type = IO::EntryType::File;
    unsigned long long size = 0; ///< of a file; of a folder, all that was found in it
    LinkTarget target;           ///< of a link
    bool isDenied = false;       ///< a folder that could not be read
    std::vector<TreeNode> children;
};

/// How many entries of each kind there are, by EntryType.
struct TreeCounts {
    unsigned long long of[3] = {};
    unsigned long long unknown = 0; ///< see TreeReader
};

/// Reads a tree into memory, for it can only be drawn and sorted as a whole. Shows how far it is on
/// the terminal.
class TreeReader : public IO::TreeEnumerator {
public:
    enum class Sizes { Ask, Skip };
    enum class Keep { All, Folders, Nothing };

    /// `root` must have the folder's name already. With `depth` not below 0 only so many levels are
    /// looked into.
    TreeReader(IO::Folder const & folder, TreeNode & root, Sizes sizes, Keep keep, bool follow,
               int depth);

    /// The walk's status, or that of the first file whose size could not be had.
    MuErrCode Read();
    TreeCounts const & GetCounts() const { return counts; }
    /// Entries that were met and are neither file, folder nor link: their names have no place in a
    /// location, or they may not be looked at.
    unsigned long long CountUnknown() const { return unknown; }

    bool EntryFound(IO::Name const & name, bool isFolder) override;
    bool FileFound(IO::Name const & name) override;
    bool FolderFound(IO::Name const & name) override;
    bool LinkFound(IO::Name const & name) override;
    void FolderEntered(IO::Name const & name, IO::Folder const & folder) override;
    void FolderExited(IO::Name const & name, IO::Folder const & folder) override;

private:
    TreeNode & Add(IO::Name const & name, IO::EntryType type);
    void CloseEntry();
    bool TakeKnown(IO::Name const & name);
    void AddToFolders(unsigned long long size);
    bool IsLastALink(IO::Name const & name) const;
    void AddSize(IO::Name const & name, TreeNode * node);

    Sizes sizes;
    Keep keep;
    bool follow;
    int depth;
    TreeNode scratch;              // takes what is not kept
    std::vector<TreeNode *> above; // the folders being walked, the root first
    TreeCounts counts;
    unsigned long long unknown = 0;
    bool isOpen = false; // an entry was met of which nothing was said yet
    MuErrCode sizeStatus = 0;
    Progress progress{"walking", Progress::Unit::Entries};
};

/// Sorts all levels by name.
void Sort(TreeNode & node);

/// The tree of a path, whatever stands there: `*node` gets its name and what is in it.
MuErrCode ReadTree(IO::Location const & location, TreeReader::Sizes sizes, TreeReader::Keep keep,
                   bool follow, int depth, TreeNode * node, TreeCounts * counts);

/// "1 entry", "2 entries".
std::string Count(unsigned long long count, char const * one, char const * many);

/// 1, after a line about them, when entries of the path are unknown; they are counted no more.
int FinishUnknown(std::string const & path, TreeCounts * counts);

} // namespace Tool
