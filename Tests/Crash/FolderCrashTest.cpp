// What the operations of a Folder promise: where its entries can stand when they are cut short.

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

#include "Tests/Support/FileSystem/DiskVFS.h"
#include "Tests/Crash/Ending.h"
#include "Tests/Support/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <sstream>

namespace {

using Tests::Ending;
using Tests::EndOf;
using Tests::Worker;

constexpr unsigned int FileCount = 3;
constexpr char const * Generated = "one/GeneratedName_"; // and a number

std::string GetContent(unsigned int id) {
    std::string content(100 + id * 7919 % 9000, static_cast<char>('A' + id));
    return content + "the end of " + std::to_string(id);
}

Ending::Files GetFirstFiles() {
    Ending::Files files{{"one/sub/last", GetContent(FileCount)}};
    for (unsigned int id = 0; id < FileCount; ++id)
        files["one/f" + std::to_string(id)] = GetContent(id);
    return files;
}

// A model of the names. A copy is whole once it is known to be; until then anything may stand
// there.
struct Entry {
    unsigned int id;
    bool isWhole;
};
using Names = std::map<std::string, Entry>;

/// All states that the steps of some operations go through.
class States {
public:
    States() : states(1) {
        for (unsigned int id = 0; id < FileCount; ++id)
            states[0]["one/f" + std::to_string(id)] = {id, true};
        states[0]["one/sub/last"] = {FileCount, true};
    }

    Names const & GetNow() const { return states.back(); }
    std::size_t CountStates() const { return states.size(); }
    std::size_t GetFirstPossible() const { return firstPossible; }
    Names const & operator[](std::size_t index) const { return states[index]; }

    /// The steps of the operation in the line.
    void Do(std::string const & line, EndOf ending) {
        std::istringstream words(line);
        std::string operation, a, b;
        words >> operation >> a >> b;
        if (operation == "move") {
            Move(a, b);
        } else if (operation == "exchange") {
            Move(a, Generated);
            Move(b, a);
            Move(Generated, b);
        } else if (operation == "copy") {
            Copy(a, b, ending);
        } else if (operation == "carry") { // to another device
            Copy(a, b, ending);
            Delete(a);
        } else if (operation == "delete") {
            Delete(a);
        }
    }

    /// The operation in the line has come to its end. What that brought to safety cannot be lost.
    void Finish(std::string const & line, EndOf ending) {
        std::istringstream words(line);
        std::string operation, a;
        words >> operation >> a;
        if (ending == EndOf::Process) {
            firstPossible = states.size() - 1;
        } else if (operation == "flush") {
            firstPossible = std::max(firstPossible, lastStep[a]);
            for (std::size_t i = lastStep[a]; i < states.size(); ++i)
                states[i].at(a).isWhole = true;
        }
    }

private:
    Names & Next() {
        states.push_back(states.back());
        return states.back();
    }
    void Move(std::string const & a, std::string const & b) {
        Names & names = Next();
        names[b] = names.at(a);
        names.erase(a);
        lastStep[b] = states.size() - 1;
    }
    void Copy(std::string const & a, std::string const & b, EndOf ending) {
        unsigned int const id = states.back().at(a).id;
        Next()[b] = {id, false};
        lastStep[b] = states.size() - 1;
        if (ending == EndOf::Process)
            Next()[b] = {id, true};
    }
    void Delete(std::string const & a) { Next().erase(a); }

    std::vector<Names> states;
    std::map<std::string, std::size_t> lastStep; // by name, the state that its last step led to
    std::size_t firstPossible = 0;
};

std::string Shorten(std::string const & path) {
    return path.starts_with(Generated) ? Generated : path;
}

bool IsState(Names const & names, Ending::Files const & files) {
    if (names.size() != files.size())
        return false;
    for (auto const & [path, content] : files) {
        auto const found = names.find(Shorten(path));
        if (found == names.end() ||
            (found->second.isWhole && content != GetContent(found->second.id)))
            return false;
    }
    return true;
}

std::string Tell(Ending const & ending) {
    std::string text;
    for (std::string const & line : ending.GetLines())
        text += line + "\n";
    for (auto const & [path, content] : ending.GetFiles())
        text += path + ": " + std::to_string(content.size()) + " bytes\n";
    return text;
}

// The witness tells each operation before it is begun, and "done" behind it.
void ExpectAPossibleState(Ending const & ending, EndOf what) {
    States states;
    std::vector<std::string> const & lines = ending.GetLines();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i] == "done")
            states.Finish(lines[i - 1], what);
        else
            states.Do(lines[i], what);
    }
    for (std::size_t i = states.GetFirstPossible(); i < states.CountStates(); ++i)
        if (IsState(states[i], ending.GetFiles()))
            return;
    ADD_FAILURE() << "the folders hold what no step left:\n" << Tell(ending);
}

/// An entry of a folder, by its path.
struct Place {
    Place(Worker & worker, std::string const & path)
        : folder(worker.At(path.substr(0, path.rfind('/')))),
          name(U(path.substr(path.rfind('/') + 1))) {}
    IO::Folder folder;
    IO::Name name;
};

void Do(Worker & worker, std::string const & line) {
    std::istringstream words(line);
    std::string operation, a, b;
    words >> operation >> a >> b;
    worker.Tell(line);
    Place from(worker, a);
    if (operation == "flush") {
        IO::File file(worker.At(a));
        worker.Need(file.Open(IO::File::OpenMode::WriteOnly), "open");
        worker.Need(file.Flush(), "flush");
        worker.Need(file.Close(), "close");
    } else if (operation == "delete") {
        worker.Need(from.folder.Delete(from.name, IO::DataSafety::KeepProtected), "delete");
    } else {
        Place to(worker, b);
        if (operation == "exchange")
            worker.Need(from.folder.Exchange(from.name, to.name), "exchange");
        else if (operation == "copy")
            worker.Need(from.folder.Copy(from.name, to.folder, to.name), "copy");
        else
            worker.Need(
                from.folder.Move(from.name, to.folder, to.name, IO::DataSafety::KeepProtected),
                "move");
    }
    worker.Tell("done");
}

// One operation that can be done, drawn from all.
std::string DrawOperation(Worker & worker, Names const & names) {
    auto const draw = [&] {
        return std::next(names.begin(), worker.Draw(static_cast<unsigned int>(names.size())))
            ->first;
    };
    std::string const a = draw();
    std::string const b = draw();
    auto const isIn = [](std::string const & path, char const * folder) {
        return path.starts_with(std::string(folder) + "/f");
    };
    static unsigned int number = 0;
    std::string const fresh = "f" + std::to_string(100 + number++);
    bool const isProcess = worker.GetEnding() == EndOf::Process;
    switch (worker.Draw(8)) {
    case 0: return "flush " + a;
    case 1: return "copy " + a + (worker.Draw(2) == 0 ? " one/" : " one/sub/") + fresh;
    case 2: return names.size() > 6 ? "delete " + a : "flush " + b;
    case 3:
    case 4:
        return a != b && isIn(a, "one") && isIn(b, "one") ? "exchange " + a + " " + b
                                                          : "flush " + b;
    case 5:
    case 6:
        if (isProcess && (isIn(a, "two") || worker.Draw(2) == 0))
            return "carry " + a + (isIn(a, "two") ? " one/" : " two/") + fresh;
        return "move " + a + (isIn(a, "one") ? " one/sub/" : " one/") + fresh;
    default: return "move " + a + " " + a + "x";
    }
}

void ChangeNames(Worker & worker) {
    static States states;
    std::string const line = DrawOperation(worker, states.GetNow());
    states.Do(line, worker.GetEnding());
    Do(worker, line);
}
Tests::WorkEntry const changeNames("ChangeNames", ChangeNames);

// The way to a copy that is never taken for whole before it is.
void CopySafely(Worker & worker) {
    static unsigned int number = 0;
    std::string const name = "one/whole" + std::to_string(number++);
    Do(worker, "copy two/source one/unfinished");
    Do(worker, "flush one/unfinished");
    Do(worker, "move one/unfinished " + name);
}
Tests::WorkEntry const copySafely("CopySafely", CopySafely);

// A tree to and fro between two folders.
void Carry(Worker & worker, IO::Location const (&places)[2]) {
    static bool isInTwo = false;
    worker.Tell(isInTwo ? "back" : "forth");
    IO::Folder from(places[isInTwo]);
    IO::Folder to(places[!isInTwo]);
    worker.Need(from.Move("tree", to, "tree", IO::DataSafety::KeepProtected), "move");
    isInTwo = !isInTwo;
}

void CarryToAnotherDevice(Worker & worker) {
    Carry(worker, {worker.At("one"), worker.At("two")});
}
Tests::WorkEntry const carryToAnotherDevice("CarryToAnotherDevice", CarryToAnotherDevice);

void CarryToAnotherFileSystem(Worker & worker) {
    static Tests::DiskFixedVFS system(worker.At("two"));
    IO::Location const place(U("Q:\\two"));
    if (!IO::fileSystem.IsMountPoint(place))
        worker.Need(IO::fileSystem.Mount(system, place), "mount");
    Carry(worker, {worker.At("one"), place});
}
Tests::WorkEntry const carryToAnotherFileSystem("CarryToAnotherFileSystem",
                                                CarryToAnotherFileSystem);

} // namespace

TEST(FolderAtTheEnd, OfTheProcessHoldsWhatTheLastStepLeft) {
    for (unsigned int seed = 1; seed <= 2 * Tests::CountRounds(); ++seed) {
        SCOPED_TRACE(seed);
        ExpectAPossibleState(Ending("ChangeNames", EndOf::Process, seed, GetFirstFiles()),
                             EndOf::Process);
    }
}

TEST(FolderAtTheEnd, OfTheSystemHoldsWhatSomeStepSinceTheFlushLeft) {
    for (unsigned int seed = 1; seed <= 2 * Tests::CountRounds(); ++seed) {
        SCOPED_TRACE(seed);
        ExpectAPossibleState(Ending("ChangeNames", EndOf::System, seed, GetFirstFiles()),
                             EndOf::System);
    }
}

TEST(FolderAtTheEnd, HoldsNoUnfinishedCopyUnderANameThatWasGivenToTheFinishedOne) {
    for (EndOf const what : {EndOf::Process, EndOf::System})
        for (unsigned int seed = 1; seed <= Tests::CountRounds() / 2; ++seed) {
            SCOPED_TRACE(std::string(Tests::NameEnding(what)) + " " + std::to_string(seed));
            Ending const ending("CopySafely", what, seed, {{"two/source", GetContent(7)}});
            EXPECT_NE(ending.Find("two/source"), nullptr);
            for (auto const & [path, content] : ending.GetFiles())
                if (path != "one/unfinished") {
                    EXPECT_EQ(content, GetContent(7)) << path;
                }
        }
}

TEST(FolderAtTheEnd, OfTheProcessHoldsATreeWholeOnOneOfTwoSides) {
    Ending::Files tree;
    for (char const * name : {"a", "b", "deep/c", "deep/deeper/d"})
        tree[name] = std::string(3000, name[0]);
    Ending::Files before;
    for (auto const & [name, content] : tree)
        before["one/tree/" + name] = content;
    for (char const * work : {"CarryToAnotherDevice", "CarryToAnotherFileSystem"})
        for (unsigned int seed = 1; seed <= Tests::CountRounds() / 2; ++seed) {
            SCOPED_TRACE(std::string(work) + " " + std::to_string(seed));
            Ending const ending(work, EndOf::Process, seed, before);
            auto const isWhole = [&](std::string const & side) {
                return std::all_of(tree.begin(), tree.end(), [&](auto const & file) {
                    std::string const * const found = ending.Find(side + "/tree/" + file.first);
                    return found != nullptr && *found == file.second;
                });
            };
            EXPECT_TRUE(isWhole("one") || isWhole("two")) << Tell(ending);
        }
}
