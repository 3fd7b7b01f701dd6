#include "TreeReader.h"

#include "Arguments.h"
#include "Links.h"

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

#include <algorithm>
#include <utility>

namespace Tool {

std::string LeftOut::Join(std::string const & folder, std::string const & name) {
    bool const isEnded = !folder.empty() && (folder.back() == '/' || folder.back() == '\\');
    return folder + (isEnded ? "" : "/") + name;
}

void LeftOut::Meet(IO::Folder const & in, IO::Name const & met, bool isFolder) {
    Close(in);
    isOpen = !isFolder;
    if (isOpen)
        name = met;
}

// What has a type by now came again, and counts as gone too.
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
                       bool follow, int depth, std::string const & path, Console & console)
    : TreeEnumerator(folder), sizes(sizes), keep(keep), follow(follow), depth(depth),
      leftOut(path, console) {
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

// What the enumeration is certain of needs no look of its own.
bool TreeReader::TakeKnown(IO::Name const & name) {
    unsigned long long size = 0;
    if (!GetParent()->GetFoundFile(name, sizes == Sizes::Ask ? &size : nullptr, nullptr))
        return false;
    if (keep == Keep::All)
        Add(name, IO::EntryType::File).size = size;
    else
        ++counts.of[static_cast<unsigned int>(IO::EntryType::File)];
    scratch.type = IO::EntryType::File; // no link any more that was met last
    AddToFolders(size);
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

// What is found behind a link that was just met is listed under the link.
bool TreeReader::IsLastALink(IO::Name const & name) const {
    auto const isThis = [&](TreeNode const & node) {
        return node.type == IO::EntryType::Link && node.name.ToString() == name.ToString();
    };
    std::vector<TreeNode> const & found = above.back()->children;
    return keep == Keep::Nothing ? isThis(scratch) : !found.empty() && isThis(found.back());
}

void TreeReader::AddSize(IO::Name const & name, TreeNode * node) {
    MuErrCode const status = IO::File(*GetParent(), name).GetDataLength(&node->size);
    if (status == IO::NoError)
        AddToFolders(node->size);
    else if (status != IO::ErrFileNotFound) // which went meanwhile
        leftOut.Fail(name, status);
}

bool TreeReader::FileFound(IO::Name const & name) {
    leftOut.Settle();
    TreeNode & node = !IsLastALink(name)      ? Add(name, IO::EntryType::File)
                      : keep == Keep::Nothing ? scratch
                                              : above.back()->children.back();
    if (sizes == Sizes::Ask)
        AddSize(name, &node);
    return true;
}

bool TreeReader::FolderFound(IO::Name const & name) {
    if (!IsLastALink(name))
        Add(name, IO::EntryType::Folder);
    return depth < 0 || above.size() < static_cast<std::size_t>(depth);
}

bool TreeReader::LinkFound(IO::Name const & name) {
    leftOut.Settle();
    TreeNode & node = Add(name, IO::EntryType::Link);
    if (keep == Keep::Nothing && !follow)
        return false;
    IO::Location link;
    GetParent()->GetLocation(&link);
    link.AppendToLocal(name);
    node.target = GetLinkTarget(link);
    return follow && !node.target.isBroken;
}

void TreeReader::FolderEntered(IO::Name const & name, IO::Folder const &) {
    leftOut.Enter(name);
    above.push_back(keep == Keep::Nothing ? &scratch : &above.back()->children.back());
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
    // A link that is named is meant, and so is what it leads to.
    if (MuErrCode const status = IO::fileSystem.EstimateResolvedType(location, &type);
        status != IO::NoError)
        return console.Finish(status, path);
    location.GetLastLocalName(&node->name);
    node->type = type;
    if (type == IO::EntryType::Folder) {
        IO::Folder const folder(location);
        TreeReader reader(folder, *node, sizes, keep, follow, depth, path, console);
        MuErrCode const status = depth == 0 ? folder.GetStatus() : reader.Read();
        for (unsigned int i = 0; i < 3; ++i)
            counts->of[i] += reader.GetCounts().of[i];
        Sort(*node);
        return reader.HasFailures() ? console.Drop() | 1 : console.Finish(status, path);
    }
    ++counts->of[0];
    return console.Finish(sizes == TreeReader::Sizes::Ask
                              ? IO::File(location).GetDataLength(&node->size)
                              : IO::NoError,
                          path);
}

std::string Count(unsigned long long count, char const * one, char const * many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

} // namespace Tool
