// Locations as a host uses them, beside what other hosts keep paths in.

#include "Rounds.h"

#include <Kestrel/FileSystem/NativePath.h>
#include <Kestrel/Kestrel.h>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(KESTREL_HAS_QT)
#include <QString>
#endif

#include <filesystem>

using namespace Peers;

namespace {

using Path = std::filesystem::path;

std::string const folderText = "/home/somebody/projects/kestrel/Kestrel/Location/Internal";
std::string const fileText = folderText + "/AddressTree.cpp";

IO::Location Build(std::string const & native) {
    Mu::UniString text;
    IO::FromNativePath(std::string_view(native), &text);
    return IO::Location(text);
}

template <typename Make>
auto Repeat(Make const & make) {
    return [make](unsigned int times) {
        for (; times != 0; --times) {
            auto const made = make();
            Keep(made);
        }
    };
}

#if defined(KESTREL_HAS_QT)
#define QT_NAME , "QString"
#define QT_CALL(...) , Repeat([] __VA_ARGS__)
#else
#define QT_NAME
#define QT_CALL(...)
#endif

void CompareBuilding() {
    // Else the file's folder would be named by nobody.
    for (bool const isNamed : {true, false}) {
        IO::Location const keep = isNamed ? Build(folderText) : IO::Location();
        static std::string const text = fileText;
        Compare(Row(isNamed ? "build from native text" : "the same, in a folder that nobody named",
                    "ns", 1),
                {"ours", "string", "path" QT_NAME}, Repeat([] { return Build(text); }),
                Repeat([] { return std::string(text.c_str()); }),
                Repeat([] { return Path(text); })
                    QT_CALL({ return QString::fromUtf8(text.c_str()); }));
    }
    static unsigned int turn = 0;
    static std::string const texts[] = {"/home/somebody/a/b/c/d/x.cpp", "/home/other/k/l/m/n/y.h"};
    Compare(Row("the same, in two such folders by turns", "ns", 1), {"ours", "path"},
            Repeat([] { return Build(texts[++turn % 2]); }),
            Repeat([] { return Path(texts[++turn % 2]); }));
}

void CompareValues() {
    static IO::Location const location = Build(fileText);
    static std::string const string = fileText;
    static Path const path = fileText;
#if defined(KESTREL_HAS_QT)
    static QString const qt = QString::fromUtf8(fileText.c_str());
#endif
    Compare(Row("path as text", "ns", 1), {"ours", "string", "path" QT_NAME}, Repeat([] {
                Mu::UniString text;
                (void)location.ToPath(&text);
                return text;
            }),
            Repeat([] { return std::string(string); }),
            Repeat([] { return path.string(); }) QT_CALL({ return qt.toUtf8(); }));
    Compare(Row("copy", "ns", 1), {"ours", "string", "path" QT_NAME},
            Repeat([] { return IO::Location(location); }),
            Repeat([] { return std::string(string); }),
            Repeat([] { return Path(path); }) QT_CALL({ return QString(qt); }));
    Compare(Row("parent", "ns", 1), {"ours", "string", "path" QT_NAME}, Repeat([] {
                IO::Location parent(location);
                (void)parent.DeleteLastLocalName();
                return parent;
            }),
            Repeat([] { return string.substr(0, string.rfind('/')); }),
            Repeat([] { return path.parent_path(); })
                QT_CALL({ return qt.left(qt.lastIndexOf('/')); }));
    static IO::Name const name("Generated");
    static Path const pathName("Generated");
    Compare(Row("append", "ns", 1), {"ours", "string", "path" QT_NAME},
            Repeat([] { return IO::Location(location, name); }),
            Repeat([] { return string + "/Generated"; }),
            Repeat([] { return path / pathName; })
                QT_CALL({ return qt + QStringLiteral("/Generated"); }));
    static IO::Location const same = Build(fileText);
    static IO::Location const sibling(Build(folderText), IO::Name("AddressTree.h"));
    static Path const siblingPath = path.parent_path() / "AddressTree.h";
    static std::string const siblingString = siblingPath.string();
    Compare(Row("compare siblings", "ns", 1), {"ours", "string", "path"},
            Repeat([] { return location == sibling; }),
            Repeat([] { return string == siblingString; }),
            Repeat([] { return path == siblingPath; }));
    Compare(Row("hash", "ns", 1), {"ours", "string", "path"},
            Repeat([] { return location.GenerateHashValue(); }),
            Repeat([] { return std::hash<std::string>()(string); }),
            Repeat([] { return std::filesystem::hash_value(path); }));
    Compare(Row("ask whether it is legal, just made", "ns", 1), {"ours"},
            Repeat([] { return IO::Location(location).IsLegal(); }));
}

// What the heap has given out, large blocks included.
double HeapBytes() {
    struct mallinfo2 const heap = mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd);
}

// In a process of its own, since tables and heaps stay as large as they were.
template <typename Measure>
double InChild(Measure const & measure) {
    int ends[2];
    if (pipe(ends) != 0)
        return 0;
    pid_t const child = fork();
    if (child == 0) {
        double const measured = measure();
        _exit(write(ends[1], &measured, sizeof measured) == sizeof measured ? 0 : 1);
    }
    double measured = 0;
    close(ends[1]);
    if (child < 0 || read(ends[0], &measured, sizeof measured) != sizeof measured)
        measured = 0;
    close(ends[0]);
    if (child > 0)
        waitpid(child, nullptr, 0);
    return measured;
}

template <typename Value, typename Append>
double MillionBytes(unsigned int inFolder, Value const & base, Append const & append) {
    return InChild([&] {
        constexpr unsigned int Count = 1000000;
        double const before = HeapBytes();
        std::vector<Value> all;
        all.reserve(Count);
        for (unsigned int folder = 0; folder < Count / inFolder; ++folder) {
            Value const parent = append(base, "folder" + std::to_string(folder));
            for (unsigned int file = 0; file < inFolder; ++file)
                all.push_back(append(parent, "file" + std::to_string(file) + ".cpp"));
        }
        return (HeapBytes() - before) / Count;
    });
}

void CompareBytes() {
    for (unsigned int const inFolder : {10u, 1000u}) {
        std::string const name = "a million, " + std::to_string(inFolder) + " in a folder";
        Row row(name.c_str(), "bytes each", 1);
        row.Add("ours", {MillionBytes(inFolder, Build(folderText),
                                      [](IO::Location const & parent, std::string const & child) {
                                          return IO::Location(parent, IO::Name(child.c_str()));
                                      })});
        row.Add("string", {MillionBytes(inFolder, folderText,
                                        [](std::string const & parent, std::string const & child) {
                                            return parent + "/" + child;
                                        })});
        row.Add("path", {MillionBytes(inFolder, Path(folderText),
                                      [](Path const & parent, std::string const & child) {
                                          return parent / child;
                                      })});
        row.Print();
    }
}

void CompareTwo() {
    static IO::Location const own[] = {Build("/home/somebody/one"), Build("/home/somebody/two")};
    static IO::Name const name("file");
    CompareThreads("each its own: copy", [](unsigned int which, unsigned int times) {
        Repeat([which] { return IO::Location(own[which]); })(times);
    });
    CompareThreads("each in its own folder: append", [](unsigned int which, unsigned int times) {
        Repeat([which] { return IO::Location(own[which], name); })(times);
    });
    static std::string const texts[] = {"/home/somebody/one/file", "/home/somebody/two/file"};
    CompareThreads("each in its own folder: build", [](unsigned int which, unsigned int times) {
        Repeat([which] { return Build(texts[which]); })(times);
    });
    CompareThreads("each its own: text", [](unsigned int which, unsigned int times) {
        Repeat([which] {
            Mu::UniString text;
            (void)own[which].ToPath(&text);
            return text;
        })(times);
    });
}

} // namespace

int main() {
    if (IO::Init(false, "") != IO::NoError)
        return 1;
    std::printf("A location has %zu bytes.\n\n| | ours ; peers | ours : best |\n|---|---|---|\n",
                sizeof(IO::Location));
    CompareBytes();
    CompareBuilding();
    CompareValues();
    CompareTwo();
    IO::End();
}
