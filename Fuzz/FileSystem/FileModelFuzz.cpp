// Outside bytes as operations on the folders and files of two mounted file systems in memory, beside
// the same operations on plain trees of texts.

#include "Fuzz/Support/FuzzInput.h"
#include "Tests/Support/FileSystem/MemoryFS.h"

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>

#include <iterator>
#include <map>
#include <optional>

using Fuzz::FuzzInput;
using Fuzz::Require;

namespace {

struct Node {
    bool isFolder = false;
    std::string content;
    std::map<std::string, Node> children;
};

char const * const names[] = {"a", "b.txt", "c d", "e", ".f", "g.h.i"};

// A folder as both sides know it.
struct Place {
    IO::Location location;
    Node * node;
    std::string path; // of the model, to tell what lies inside what
};

class World {
public:
    World() {
        char const * const points[] = {"Q:\\one", "Q:\\two"};
        for (unsigned int i = 0; i < 2; ++i) {
            roots[i].isFolder = true;
            places[i] = IO::Location(points[i]);
            Require(IO::fileSystem.Mount(systems[i], places[i]) == IO::NoError);
        }
    }
    ~World() {
        for (Tests::MemoryFixedVFS & system : systems)
            Require(IO::fileSystem.Unmount(system) == IO::NoError);
    }

    // A folder that is there: one of the roots, and from there down as far as the input likes.
    Place TakeFolder(FuzzInput & input) {
        unsigned int const root = input.TakeChoice(2);
        Place place{places[root], &roots[root], std::to_string(root)};
        for (unsigned int depth = input.TakeChoice(4); depth != 0; --depth) {
            std::string const name = names[input.TakeChoice(std::size(names))];
            auto const found = place.node->children.find(name);
            if (found == place.node->children.end() || !found->second.isFolder)
                break;
            place = {IO::Location(place.location, IO::Name(name.c_str())), &found->second,
                     place.path + "/" + name};
        }
        return place;
    }

    void Compare() {
        for (unsigned int i = 0; i < 2; ++i)
            CompareFolder(places[i], roots[i]);
        for (Tests::MemoryFixedVFS & system : systems)
            Require(system.tree.CountConnected() == 0);
    }

private:
    void CompareFolder(IO::Location const & location, Node const & node) {
        IO::Folder const folder(location);
        Require(folder.GetStatus() == IO::NoError);
        unsigned int count = 0;
        Require(folder.CountEntries(&count) == IO::NoError && count == node.children.size());
        for (auto const & [name, child] : node.children) {
            IO::EntryType type;
            Require(folder.GetType(IO::Name(name.c_str()), &type) == IO::NoError);
            Require((type == IO::EntryType::Folder) == child.isFolder);
            IO::Location const below(location, IO::Name(name.c_str()));
            child.isFolder ? CompareFolder(below, child) : CompareFile(below, child.content);
        }
    }
    static void CompareFile(IO::Location const & location, std::string const & content) {
        IO::File file(location);
        Require(file.Open(IO::File::OpenMode::ReadOnly) == IO::NoError);
        std::string text(content.size() + 1, '\0');
        unsigned int read = 0;
        Require(file.ReadBin(text.data(), static_cast<unsigned int>(text.size()), &read) ==
                IO::EOI);
        text.resize(read);
        Require(text == content);
    }

    Tests::MemoryFixedVFS systems[2];
    Node roots[2];
    IO::Location places[2];
};

std::string TakeName(FuzzInput & input) {
    return names[input.TakeChoice(std::size(names))];
}

void Create(World & world, FuzzInput & input) {
    Place const place = world.TakeFolder(input);
    std::string const name = TakeName(input);
    bool const isFolder = input.TakeByte() & 1;
    IO::Folder folder(place.location);
    MuErrCode const status =
        isFolder ? folder.CreateFolder(name.c_str()) : folder.CreateFile(name.c_str());
    bool const taken = place.node->children.count(name) != 0;
    Require(status == (taken ? IO::ErrTargetExists : IO::NoError));
    if (!taken)
        place.node->children[name].isFolder = isFolder;
}

void Delete(World & world, FuzzInput & input) {
    Place const place = world.TakeFolder(input);
    std::string const name = TakeName(input);
    IO::Folder folder(place.location);
    MuErrCode const status = folder.Delete(name.c_str(), IO::DataSafety::IgnoreProtection);
    Require(status == (place.node->children.erase(name) != 0 ? IO::NoError : IO::ErrEntryNotFound));
}

// What copying and moving to another name answers, and whether it may be done.
MuErrCode Predict(Place const & from, std::string const & name, Place const & to,
                  std::string const & newName) {
    auto const source = from.node->children.find(name);
    if (to.node->children.count(newName) != 0)
        return source == from.node->children.end() ? IO::Error : IO::ErrTargetExists;
    if (source == from.node->children.end())
        return IO::ErrSourceNotFound;
    std::string const inside = from.path + "/" + name;
    bool const intoItself = (to.path + "/").compare(0, inside.size() + 1, inside + "/") == 0;
    return source->second.isFolder && intoItself ? IO::Error : IO::NoError;
}

// Whether an answer is as predicted; of two reasons not to do it either may be told.
bool Agrees(MuErrCode status, MuErrCode predicted) {
    return predicted == IO::Error ? status != IO::NoError : status == predicted;
}

void MoveOrCopy(World & world, FuzzInput & input) {
    Place const from = world.TakeFolder(input);
    Place const to = world.TakeFolder(input);
    std::string const name = TakeName(input);
    std::string const newName = TakeName(input);
    bool const moves = input.TakeByte() & 1;
    if (from.path == to.path && name == newName)
        return;
    MuErrCode const predicted = Predict(from, name, to, newName);
    IO::Folder source(from.location);
    std::optional<IO::Folder> other(std::in_place, to.location);
    MuErrCode const status =
        moves ? source.Move(name.c_str(), *other, newName.c_str(), IO::DataSafety::IgnoreProtection)
              : source.Copy(name.c_str(), *other, newName.c_str());
    Require(Agrees(status, predicted));
    if (status != IO::NoError)
        return;
    Node moved = from.node->children[name];
    if (moves)
        from.node->children.erase(name);
    to.node->children[newName] = std::move(moved);
}

void RenameOrExchange(World & world, FuzzInput & input) {
    Place const place = world.TakeFolder(input);
    std::string const a = TakeName(input);
    std::string const b = TakeName(input);
    bool const exchanges = input.TakeByte() & 1;
    if (a == b)
        return;
    IO::Folder folder(place.location);
    auto & children = place.node->children;
    if (exchanges) {
        MuErrCode const status = folder.Exchange(a.c_str(), b.c_str());
        bool const possible = children.count(a) != 0 && children.count(b) != 0;
        Require((status == IO::NoError) == possible);
        if (possible)
            std::swap(children[a], children[b]);
        return;
    }
    MuErrCode const status = folder.Rename(a.c_str(), b.c_str());
    Require(Agrees(status, Predict(place, a, place, b)));
    if (status == IO::NoError)
        children.insert({b, children.extract(a).mapped()});
}

// One open file, read and written at a position that moves with both.
class FileRun {
public:
    FileRun(IO::Location const & location, std::string & content, FuzzInput & input)
        : input(input), content(content), file(location),
          mode(static_cast<IO::File::OpenMode>(input.TakeChoice(8))) {
        Require(file.Open(mode) == IO::NoError);
        if (mode == IO::File::OpenMode::WriteOnlyEmpty ||
            mode == IO::File::OpenMode::WriteOnlyEmptySharedToRead)
            content.clear();
        if (mode == IO::File::OpenMode::Append)
            position = content.size();
    }
    ~FileRun() { Require(file.Close() == IO::NoError); }

    void Operate() {
        switch (input.TakeChoice(5)) {
        case 0: return Write();
        case 1: return Read();
        case 2: return Seek();
        case 3: return SetLength();
        default: return Look();
        }
    }

private:
    void Write() {
        if (content.size() > 100'000)
            return;
        std::string const text(input.TakeChoice(100) * (input.TakeByte() & 1 ? 1 : 200),
                               static_cast<char>(input.TakeByte()));
        unsigned int written = 0;
        MuErrCode const status =
            file.WriteBin(text.data(), static_cast<unsigned int>(text.size()), &written);
        Require((status == IO::NoError) == file.CheckWriteOperation());
        if (status != IO::NoError)
            return file.ResetOutputStatus();
        content.replace(position, std::min(text.size(), content.size() - position), text);
        position += text.size();
    }
    void Read() {
        std::string text(input.TakeNumber() % 9000, '\0');
        unsigned int read = 0;
        MuErrCode const status =
            file.ReadBin(text.data(), static_cast<unsigned int>(text.size()), &read);
        if (!file.CheckReadOperation())
            return Require(status != IO::NoError);
        std::size_t const expected = std::min(text.size(), content.size() - position);
        Require(read == expected && content.compare(position, read, text, 0, read) == 0);
        Require(status == (read == text.size() ? IO::NoError : IO::EOI));
        file.ResetInputStatus();
        position += read;
    }
    void Seek() {
        unsigned int const target = input.TakeNumber();
        MuErrCode const status = file.SetPosition(target);
        bool const possible = file.CheckRandomOperation() && target <= content.size();
        Require((status == IO::NoError) == possible);
        file.ResetInputStatus();
        if (possible)
            position = target;
        else if (file.CheckRandomOperation())
            TakeOverPosition();
    }
    // What was read ahead counts as read when a seek fails.
    void TakeOverPosition() {
        unsigned long long now = 0;
        Require(file.GetPosition(&now) == IO::NoError && now >= position && now <= content.size());
        position = now;
    }
    void SetLength() {
        unsigned int const length = input.TakeNumber() % 30'000;
        MuErrCode const status = file.SetDataLength(length);
        Require((status == IO::NoError) == file.CheckWriteOperation());
        if (status != IO::NoError)
            return;
        content.resize(length);
        position = length;
    }
    void Look() {
        unsigned long long value = 0;
        Require(file.GetDataLength(&value) == IO::NoError && value == content.size());
        if (file.CheckRandomOperation())
            Require(file.GetPosition(&value) == IO::NoError && value == position);
    }

    FuzzInput & input;
    std::string & content;
    IO::File file;
    IO::File::OpenMode mode;
    std::size_t position = 0;
};

void UseFile(World & world, FuzzInput & input) {
    Place const place = world.TakeFolder(input);
    std::string const name = TakeName(input);
    auto const found = place.node->children.find(name);
    if (found == place.node->children.end() || found->second.isFolder)
        return;
    FileRun run(IO::Location(place.location, IO::Name(name.c_str())), found->second.content, input);
    for (unsigned int n = input.TakeChoice(12); n != 0; --n)
        run.Operate();
}

using Operation = void (*)(World & world, FuzzInput & input);
constexpr Operation operations[] = {Create, Delete, MoveOrCopy, RenameOrExchange, UseFile, UseFile};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    FuzzInput input(data, size);
    World world;
    for (int steps = 0; steps < 200 && !input.IsEmpty(); ++steps)
        operations[input.TakeChoice(std::size(operations))](world, input);
    world.Compare();
    return 0;
}
