// The tool beside the programs of the system that have the same names: what each leaves, says and
// returns.

#include "Tests/Host/RunTool.h"

#include <gtest/gtest.h>

#include <set>

#if defined(__linux__)

namespace fs = std::filesystem;

namespace {

constexpr char const * calls[] = {"cp -p a new",
                                  "cp -p a b",
                                  "cp -p a dir",
                                  "cp -p a b dir",
                                  "cp -p a b c",
                                  "cp dir new",
                                  "cp -rp dir new",
                                  "cp -rp dir empty",
                                  "cp -rp link new",
                                  "cp -p link new",
                                  "cp -p broken new",
                                  "cp -p none new",
                                  "cp -p none a dir",
                                  "cp -np a b",
                                  "cp -np a new",
                                  "cp -p a a",
                                  "cp -p hole new",
                                  "cp -fp a b",
                                  "cp -p a none/x",
                                  "cp -p dirlink/c new",
                                  "cp -rp dir a",
                                  "cp -p a dir/sub",
                                  "cp -rp other dir",
                                  "mv a new",
                                  "mv a b",
                                  "mv a dir",
                                  "mv a b dir",
                                  "mv -n a b",
                                  "mv dir new",
                                  "mv dir empty",
                                  "mv none new",
                                  "mv a a",
                                  "mv dir dir/sub",
                                  "mv a none/x",
                                  "mv link new",
                                  "mv -f a b",
                                  "mv dir a",
                                  "rm a",
                                  "rm a b",
                                  "rm none",
                                  "rm -f none",
                                  "rm dir",
                                  "rm -r dir",
                                  "rm -rf dir none",
                                  "rm link",
                                  "rm -r dirlink",
                                  "rm a none b",
                                  "mkdir new",
                                  "mkdir a",
                                  "mkdir dir",
                                  "mkdir -p new/x/y",
                                  "mkdir -p dir",
                                  "mkdir new/x",
                                  "mkdir new other2",
                                  "ln -s $PWD/a new",
                                  "ln -s $PWD/a b",
                                  "ln -sf $PWD/a b",
                                  "touch new",
                                  "touch -c new",
                                  "touch a",
                                  "cat a b",
                                  "cat none a",
                                  "head -n 1 lines",
                                  "head -c 3 lines",
                                  "tail -n 2 lines",
                                  "tail -c 3 lines",
                                  "tail -n 9 a",
                                  "cmp a a",
                                  "cmp a b",
                                  "cmp a none",
                                  "find dir",
                                  "find . -name c",
                                  "find . -type d",
                                  "find dir -type f -name '[cd]'",
                                  "find . -maxdepth 1 -type l",
                                  "find . -type f -size +1",
                                  "find none",
                                  "du -k dir",
                                  "du -k -d 1 .",
                                  "du -sk dir/sub hole a none",
                                  "du -k empty other"};

void Make(fs::path const & root) {
    fs::create_directories(root / "dir" / "sub");
    fs::create_directories(root / "other" / "dir");
    fs::create_directories(root / "empty");
    for (char const * const name : {"a", "b", "dir/c", "dir/sub/d", "other/dir/e"}) {
        std::ofstream(root / name) << "of " << name;
        fs::permissions(root / name, fs::perms{name[0] == 'a' ? 0600u : 0644u});
    }
    std::ofstream(root / "lines") << "1\n2\n3\nlast";
    std::ofstream(root / "hole") << "x";
    fs::resize_file(root / "hole", 1 << 22);
    fs::create_hard_link(root / "other/dir/e", root / "other/dir/same");
    fs::create_symlink("a", root / "link");
    fs::create_symlink("none", root / "broken");
    fs::create_symlink("dir", root / "dirlink");
    for (fs::directory_entry const & entry : fs::recursive_directory_iterator(root))
        if (entry.is_regular_file() && !entry.is_symlink())
            fs::last_write_time(entry, fs::file_time_type::clock::now() - std::chrono::hours(9999));
}

// A line an entry: what it is, whether it is old, and what is in it. Folders are as old as their last
// change, which both make.
std::string LookAt(fs::path const & root) {
    std::set<std::string> lines;
    auto const recent = fs::file_time_type::clock::now() - std::chrono::hours(1);
    for (fs::directory_entry const & entry : fs::recursive_directory_iterator(root)) {
        std::string line = entry.path().lexically_relative(root).string();
        if (entry.is_symlink()) {
            fs::path const target = fs::read_symlink(entry);
            line +=
                " -> " + (target.is_absolute() ? target.lexically_relative(root) : target).string();
        } else if (entry.is_regular_file()) {
            bool const isHole = line == "hole" || entry.file_size() > 1000000;
            line += entry.last_write_time() < recent ? " old " : " new ";
            line += std::to_string(static_cast<unsigned int>(entry.status().permissions())) + " " +
                    std::to_string(entry.file_size()) + " " +
                    (isHole ? "" : Tests::ReadAll(entry.path()));
        }
        lines.insert(line);
    }
    std::string all;
    for (std::string const & line : lines)
        all += line + "\n";
    return all;
}

struct Result {
    int exitCode;
    std::string left;
    std::string out; // its lines in order: folders are listed in any
};

Result RunCall(char const * who, std::string const & call) {
    fs::path const root = fs::absolute(fs::path("host-beside") / who);
    fs::remove_all("host-beside");
    Make(root);
    std::string const tool =
        who == std::string("ours") ? fs::absolute(KESTREL_TOOL).string() + " " : "";
    int const status = std::system(
        ("cd " + root.string() + " && " + tool + call + " </dev/null >../out 2>../error").c_str());
    std::istringstream words(Tests::ReadAll("host-beside/out"));
    std::multiset<std::string> lines;
    for (std::string line; std::getline(words, line);)
        lines.insert(line);
    std::string out;
    for (std::string const & line : lines)
        out += line + "\n";
    return {status >> 8, LookAt(root), out};
}

} // namespace

TEST(ToolBesideTheSystems, LeavesSaysAndReturnsTheSame) {
    for (char const * const call : calls) {
        SCOPED_TRACE(call);
        Result const theirs = RunCall("theirs", call);
        Result const ours = RunCall("ours", call);
        EXPECT_EQ(ours.exitCode, theirs.exitCode) << Tests::ReadAll("host-beside/error");
        EXPECT_EQ(ours.left, theirs.left);
        EXPECT_EQ(ours.out, theirs.out);
        std::string const error = Tests::ReadAll("host-beside/error");
        EXPECT_TRUE(!error.empty() == (ours.exitCode != 0) || ours.out != "") << error;
        EXPECT_EQ(error.find("C:\\"), error.npos) << "in the user's words: " << error;
    }
    fs::remove_all("host-beside");
}

#endif
