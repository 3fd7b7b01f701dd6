#include "TreeReader.h"

#include "Arguments.h"
#include "Links.h"

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

#include <algorithm>
#include <utility>

namespace Tool {

void LeftOut::Meet(IO::Folder const & in, IO::Name const & met, bool isFolder) {
    Close(in);
    isOpen = !isFolder;
    if (isOpen)
        name = met;
}

// An entry whose type can be queried now was created again, and also counts as gone.
void LeftOut::Close(IO::Folder const & in) {
    IO::EntryType type;
    if (!std::exchange(isOpen, false))
        return;
    MuErrCode const status = in.GetType(name, &type);
    if (status != IO::NoError && status != IO::ErrEntryNotFound)
        Fail(name, status);
}

void LeftOut::Fail(IO::Name const & entry, MuErrCode status) {
    console.NameFailed(Join(above.back(), ToText(entry)), status);
    hasAny = true;
}

void LeftOut::Enter(IO::Name const & folder) {
    above.push_back(Join(above.back(), ToText(folder)));
}

bool LeftOut::Exit(IO::Folder const & folder) {
    bool const hasFailed = console.NameUnread(above.back()) != 0;
    hasAny |= hasFailed;
    Close(folder);
    above.pop_back();
    return hasFailed;
}

TreeReader::TreeReader(IO::Folder const & folder, TreeNode & root, Sizes sizes, Keep keep,
                       bool follow, int depth, std::string const & path, Console & console,
                       TreeCounts & counts)
    : TreeEnumerator(folder), sizes(sizes), keep(keep), follow(follow), depth(depth),
      counts(counts), leftOut(path, console) {
    above.push_back(&root);
}

MuErrCode TreeReader::Read() {
    MuErrCode const walked = Do();
    leftOut.Finish(*GetParent());
    progress.Clear();
    above.front()->isDenied =
        walked != IO::NoError && above.front()->children.empty() && !GetParent()->IsReadable();
    return walked;
}

bool TreeReader::EntryFound(IO::Name const & name, bool isFolder) {
    progress.Add(1);
    leftOut.Meet(*GetParent(), name, isFolder);
    if (!isFolder && TakeKnown(name)) {
        leftOut.Settle();
        return false;
    }
    return true;
}

// An entry whose data the enumeration has needs no query.
bool TreeReader::TakeKnown(IO::Name const & name) {
    unsigned long long size = 0;
    if (!GetParent()->GetFoundFile(name, sizes == Sizes::Lengths ? &size : nullptr, nullptr))
        return false;
    IO::DiskUse use;
    MuErrCode const asked =
        sizes == Sizes::DiskUse ? GetParent()->GetDiskUse(name, &use) : IO::NoError;
    if (sizes == Sizes::DiskUse)
        size = CountOnce(use);
    if (keep != Keep::All)
        ++counts.of[static_cast<unsigned int>(IO::EntryType::File)];
    scratch.type = IO::EntryType::File; // the current entry is not a link
    Take(name, asked, size, keep == Keep::All ? &Add(name, IO::EntryType::File) : &scratch);
    return true;
}

void TreeReader::AddToFolders(unsigned long long size) {
    for (TreeNode * const folder : above)
        folder->size += size;
}

TreeNode & TreeReader::Add(IO::Name const & name, IO::EntryType type) {
    ++counts.of[static_cast<unsigned int>(type)];
    TreeNode node;
    node.name = name;
    node.type = type;
    if (keep == Keep::Nothing || (keep == Keep::Folders && type == IO::EntryType::File))
        return scratch = std::move(node);
    above.back()->children.push_back(std::move(node));
    return above.back()->children.back();
}

// Entries behind a link are listed below the link.
bool TreeReader::IsLastALink(IO::Name const & name) const {
    auto const isThis = [&](TreeNode const & node) {
        return node.type == IO::EntryType::Link && node.name.ToString() == name.ToString();
    };
    std::vector<TreeNode> const & found = above.back()->children;
    return keep == Keep::Nothing ? isThis(scratch) : !found.empty() && isThis(found.back());
}

// 0 if it was already counted under another name.
unsigned long long TreeReader::CountOnce(IO::DiskUse const & use, bool isFolder) {
    bool const mayComeAgain = use.isOnDisk && (follow || (use.names > 1 && !isFolder));
    return mayComeAgain && !counts.onDisk.emplace(use.volume, use.id).second ? 0 : use.bytes;
}

void TreeReader::Take(IO::Name const & name, MuErrCode status, unsigned long long size,
                      TreeNode * node) {
    node->size += size;
    AddToFolders(size);
    // An entry that has vanished is no failure.
    if (status != IO::NoError && status != IO::ErrFileNotFound && status != IO::ErrEntryNotFound)
        leftOut.Fail(name, status);
}

// Of the link's target, or of the entry itself. An entry that is on no disk counts by its length.
void TreeReader::AddSize(IO::Name const & name, TreeNode * node, bool isLinked) {
    IO::Folder const & folder = *GetParent();
    bool const isFile = isLinked || node->type == IO::EntryType::File;
    IO::DiskUse use;
    MuErrCode asked = IO::NoError;
    if (sizes == Sizes::DiskUse)
        asked = isLinked ? IO::File(folder, name).GetDiskUse(&use) : folder.GetDiskUse(name, &use);
    unsigned long long size = CountOnce(use, node->type == IO::EntryType::Folder);
    if (asked == IO::NoError && !use.isOnDisk && isFile && sizes != Sizes::Skip)
        asked = IO::File(folder, name).GetDataLength(&size);
    Take(name, asked, size, node);
}

bool TreeReader::FileFound(IO::Name const & name) {
    leftOut.Settle();
    bool const isLinked = IsLastALink(name);
    AddSize(name,
            !isLinked               ? &Add(name, IO::EntryType::File)
            : keep == Keep::Nothing ? &scratch
                                    : &above.back()->children.back(),
            isLinked);
    return true;
}

bool TreeReader::FolderFound(IO::Name const & name) {
    if (!IsLastALink(name)) {
        TreeNode & node = Add(name, IO::EntryType::Folder);
        if (sizes == Sizes::DiskUse)
            AddSize(name, &node, false);
    }
    return depth < 0 || above.size() < static_cast<std::size_t>(depth);
}

bool TreeReader::LinkFound(IO::Name const & name) {
    leftOut.Settle();
    TreeNode & node = Add(name, IO::EntryType::Link);
    if (keep == Keep::Nothing && !follow)
        return false;
    if (sizes == Sizes::DiskUse && !follow) {
        AddSize(name, &node, false);
        return false;
    }
    IO::Location link;
    GetParent()->GetLocation(&link);
    link.AppendToLocal(name);
    node.target = GetLinkTarget(link);
    return follow && !node.target.isBroken;
}

void TreeReader::FolderEntered(IO::Name const & name, IO::Folder const & folder) {
    leftOut.Enter(name);
    above.push_back(keep == Keep::Nothing ? &scratch : &above.back()->children.back());
    IO::DiskUse use;
    if (sizes == Sizes::DiskUse && above.back()->type == IO::EntryType::Link &&
        folder.GetDiskUse(&use) == IO::NoError) // otherwise the walk reports it
        AddToFolders(CountOnce(use, true));
}

void TreeReader::FolderExited(IO::Name const &, IO::Folder const & folder) {
    bool const hasFailed = leftOut.Exit(folder);
    TreeNode & node = *above.back();
    above.pop_back();
    if (keep != Keep::Nothing)
        node.isDenied = hasFailed && node.children.empty() && node.size == 0;
}

void Sort(TreeNode & node) {
    std::sort(node.children.begin(), node.children.end(),
              [](TreeNode const & a, TreeNode const & b) { return a.name < b.name; });
    for (TreeNode & child : node.children)
        Sort(child);
}

int ReadTree(std::string const & path, TreeReader::Sizes sizes, TreeReader::Keep keep, bool follow,
             int depth, Console & console, TreeNode * node, TreeCounts * counts) {
    IO::Location const location = ToLocation(path);
    IO::EntryType type;
    // A link as the root means its target.
    if (MuErrCode const status = IO::fileSystem.EstimateResolvedType(location, &type);
        status != IO::NoError)
        return console.Finish(status, path);
    location.GetLastLocalName(&node->name);
    node->type = type;
    if (type == IO::EntryType::Folder) {
        IO::Folder const folder(location);
        TreeReader reader(folder, *node, sizes, keep, follow, depth, path, console, *counts);
        IO::DiskUse own;
        if (sizes == TreeReader::Sizes::DiskUse && folder.GetDiskUse(&own) == IO::NoError)
            node->size = own.bytes; // otherwise the walk reports it
        MuErrCode const status = depth == 0 ? folder.GetStatus() : reader.Read();
        Sort(*node);
        return reader.HasFailures() ? console.Drop() | 1 : console.Finish(status, path);
    }
    ++counts->of[0];
    IO::File const file(location);
    IO::DiskUse use;
    MuErrCode status =
        sizes == TreeReader::Sizes::DiskUse ? file.GetDiskUse(&use) : file.GetStatus();
    node->size = use.bytes;
    if (status == IO::NoError && !use.isOnDisk && sizes != TreeReader::Sizes::Skip)
        status = file.GetDataLength(&node->size);
    return console.Finish(status, path);
}

std::string Count(unsigned long long count, char const * one, char const * many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

} // namespace Tool
