#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Json.h"
#include "Transfer.h"
#include "TreeReader.h"

namespace Tool {

namespace {

#if defined(_WIN32)
constexpr char Separator = '\\';
#else
constexpr char Separator = '/';
#endif

std::vector<std::string> GetPaths(Options const & options) {
    return options.paths.empty() ? std::vector<std::string>{"."} : options.paths;
}

std::string Describe(TreeCounts const & counts) {
    std::string text =
        Count(counts.of[1], "folder", "folders") + ", " + Count(counts.of[0], "file", "files");
    if (counts.of[2] != 0)
        text += ", " + Count(counts.of[2], "link", "links");
    return text;
}

void ShowEntry(TreeNode const & node) {
    Out() << ToText(node.name);
    if (node.type == IO::EntryType::Link)
        Out() << " -> " << node.target.text << node.target.GetRemark();
    else if (node.type == IO::EntryType::Folder)
        Out() << "/";
    else
        Out() << "  " << ToSizeText(node.size);
    Out() << (node.isDenied ? "  (not readable)\n" : "\n");
}

void Draw(TreeNode const & node, std::string const & indent) {
    for (TreeNode const & child : node.children) {
        bool const isLast = &child == &node.children.back();
        Out() << indent << (isLast ? "└── " : "├── ");
        ShowEntry(child);
        Draw(child, indent + (isLast ? "    " : "│   "));
    }
}

Json ToJson(TreeNode const & node) {
    static constexpr char const * types[] = {"file", "folder", "link"};
    Json json;
    json["name"] = ToUtf8(node.name);
    json["type"] = types[static_cast<unsigned int>(node.type)];
    if (node.type == IO::EntryType::Link) {
        json["target"] = node.target.text;
        json["broken"] = node.target.isBroken;
    }
    if (node.type != IO::EntryType::Link || !node.children.empty())
        json["size"] = node.size;
    if (node.isDenied)
        json["readable"] = false;
    if (node.type == IO::EntryType::Folder || !node.children.empty())
        json["children"] = Json::array();
    for (TreeNode const & child : node.children)
        json["children"].push_back(ToJson(child));
    return json;
}

/// The sum over all paths of one command.
struct Trees {
    int result = 0;
    TreeCounts counts;
    unsigned long long size = 0;
    Json json = Json::array();
};

// Shows the entries that could be read, whatever failed.
bool ReadOne(std::string const & path, Options const & options, TreeReader::Sizes sizes,
             TreeReader::Keep keep, int depth, Console & console, TreeNode * node, Trees * trees) {
    node->type = IO::EntryType::Link; // until its type is known
    trees->result |=
        ReadTree(path, sizes, keep, options.follow, depth, console, node, &trees->counts);
    trees->size += node->size;
    return node->type != IO::EntryType::Link;
}

void DrawRoot(std::string const & path, TreeNode const & node) {
    Out() << path;
    if (node.type == IO::EntryType::File)
        Out() << "  " << ToSizeText(node.size);
    Out() << (node.isDenied ? "  (not readable)\n" : "\n");
    Draw(node, "");
}

std::string Join(std::string const & folder, IO::Name const & name) {
    bool const isEnded = !folder.empty() && (folder.back() == '/' || folder.back() == Separator);
    return folder + (isEnded ? "" : std::string(1, Separator)) + ToText(name);
}

void ShowSize(std::string const & path, unsigned long long size, Options const & options) {
    if (options.kibibytes)
        Out() << std::to_string(size / 1024 + (size % 1024 != 0 ? 1 : 0)) << "\t";
    else if (options.bytes)
        Out() << PadLeft(std::to_string(size), 14) << "  ";
    else
        Out() << PadLeft(ToSizeText(size), 10) << "  ";
    Out() << path << "\n";
}

// Folders in it come first, the folder itself last, as its size is their sum.
void ShowSizes(std::string const & path, TreeNode const & node, Options const & options,
               int depth) {
    for (TreeNode const & child : node.children)
        if (depth != 0 && (child.type == IO::EntryType::Folder || !child.children.empty()))
            ShowSizes(Join(path, child.name), child, options, depth - 1);
    ShowSize(path, node.size, options);
}

} // namespace

int Tree(Options const & options, Console & console) {
    Trees trees;
    for (std::string const & path : GetPaths(options)) {
        TreeNode node;
        if (!ReadOne(path, options, TreeReader::Sizes::Lengths, TreeReader::Keep::All,
                     options.depth, console, &node, &trees))
            continue;
        if (options.json) {
            trees.json.push_back(ToJson(node));
            trees.json.back()["path"] = path;
        } else
            DrawRoot(path, node);
    }
    if (options.json) // JSON has its own escapes, which end no line
        ShowJson(trees.json);
    else
        Out() << "\n" << Describe(trees.counts) << ", " << ToSizeText(trees.size) << "\n";
    return trees.result;
}

int DiskUsage(Options const & options, Console & console) {
    Trees trees;
    auto const sizes = options.apparent ? TreeReader::Sizes::Lengths : TreeReader::Sizes::DiskUse;
    for (std::string const & path : GetPaths(options)) {
        TreeNode node;
        if (ReadOne(path, options, sizes, TreeReader::Keep::Folders, -1, console, &node, &trees))
            ShowSizes(path, node, options, options.summary ? 0 : options.depth);
    }
    return trees.result;
}

int CountEntries(Options const & options, Console & console) {
    int result = 0;
    for (std::string const & path : GetPaths(options)) {
        Trees trees;
        TreeNode node;
        if (ReadOne(path, options, TreeReader::Sizes::Skip, TreeReader::Keep::Nothing, -1, console,
                    &node, &trees))
            Out() << Describe(trees.counts) << "  " << path << "\n";
        result |= trees.result;
    }
    return result;
}

} // namespace Tool
