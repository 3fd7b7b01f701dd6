#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Interruption.h"
#include "Transfer.h"
#include "TreeReader.h"

#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/FileSystem/TreeEnumerator.h>
#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

namespace Tool {

namespace {

constexpr unsigned int PieceSize = 65536;
constexpr auto Shared = IO::File::OpenMode::ReadOnlySharedToReadWrite;
constexpr auto Retry = IO::AccessDeniedTreatment::RetryAlways;

/// Writes bytes unchanged. False: standard output accepts no more.
bool Put(char const * bytes, std::size_t count) {
    return std::fwrite(bytes, 1, count, stdout) == count;
}

MuErrCode HeadOne(std::string const & path, Options const & options) {
    IO::File file(ToLocation(path));
    MuErrCode status = file.Open(Shared, Retry);
    std::vector<char> piece(PieceSize);
    unsigned long long left = options.count.value_or(options.bytes ? 0 : 10);
    while (status == IO::NoError && left != 0) {
        unsigned int read = 0;
        status = file.ReadBin(piece.data(), PieceSize, &read);
        unsigned int taken = 0;
        if (options.bytes) {
            taken = static_cast<unsigned int>(std::min<unsigned long long>(left, read));
            left -= taken;
        } else
            while (taken < read && left != 0)
                left -= piece[taken++] == '\n' ? 1 : 0;
        if (!Put(piece.data(), taken))
            return IO::OutputClosed;
    }
    return status == IO::EOI ? IO::NoError : status;
}

// The offset at which the last lines, or bytes, begin.
MuErrCode FindTail(IO::File & file, Options const & options, unsigned long long * begin) {
    unsigned long long size = 0;
    MuErrCode status = file.GetDataLength(&size);
    unsigned long long left = options.count.value_or(10);
    *begin = size;
    if (options.bytes) {
        *begin = size - std::min(size, left);
        return status;
    }
    std::vector<char> piece(PieceSize);
    // A line break at the end of the file belongs to the last line and starts no new one.
    for (bool isEnd = true; status == IO::NoError && *begin != 0 && left != 0;) {
        auto const count =
            static_cast<unsigned int>(std::min<unsigned long long>(*begin, PieceSize));
        status = file.SetPosition(*begin - count);
        if (status == IO::NoError)
            status = file.ReadBin(piece.data(), count, nullptr);
        for (unsigned int i = count; status == IO::NoError && i != 0; --i, --*begin) {
            if (piece[i - 1] == '\n' && !isEnd && --left == 0)
                return status;
            isEnd = false;
        }
    }
    return status;
}

MuErrCode TailOne(std::string const & path, Options const & options) {
    IO::File file(ToLocation(path));
    MuErrCode status = file.Open(Shared, Retry);
    unsigned long long place = 0;
    if (status == IO::NoError)
        status = FindTail(file, options, &place);
    std::vector<char> piece(PieceSize);
    while (status == IO::NoError && !IsInterrupted()) {
        unsigned long long size = 0;
        status = file.GetDataLength(&size);
        if (size < place)
            place = 0; // it was rewritten
        file.ResetInputStatus();
        if (status == IO::NoError)
            status = file.SetPosition(place);
        while (status == IO::NoError) {
            unsigned int read = 0;
            status = file.ReadBin(piece.data(), PieceSize, &read);
            place += read;
            if (!Put(piece.data(), read))
                return IO::OutputClosed;
        }
        if (status == IO::EOI)
            status = IO::NoError;
        if (!options.follow || status != IO::NoError)
            break;
        std::fflush(stdout);
        Mu::clockManager.Sleep(0.2);
    }
    return status;
}

template <typename One>
int ShowEach(Options const & options, Console & console, One const & one) {
    int result = 0;
    for (std::string const & path : options.paths) {
        if (options.paths.size() > 1) {
            Out() << (&path == &options.paths.front() ? "==> " : "\n==> ") << path << " <==\n";
            Out().Flush();
        }
        result |= console.Finish(one(path, options), path);
        std::fflush(stdout);
    }
    return result;
}

/// Matches a text against a pattern with *, ? and [...], as in shells.
bool Matches(char const * pattern, char const * text) {
    for (; *pattern != 0; ++pattern, ++text) {
        if (*pattern == '*') {
            while (pattern[1] == '*')
                ++pattern;
            do
                if (Matches(pattern + 1, text))
                    return true;
            while (*text++ != 0);
            return false;
        }
        if (*text == 0)
            return false;
        char const * const end = *pattern == '[' ? std::strchr(pattern + 2, ']') : nullptr;
        if (end == nullptr) {
            if (*pattern != '?' && *pattern != *text)
                return false;
            continue;
        }
        bool const isNot = pattern[1] == '!' || pattern[1] == '^';
        bool isIn = false;
        for (char const * at = pattern + (isNot ? 2 : 1); at < end; ++at) {
            bool const isRange = at + 2 < end && at[1] == '-';
            isIn = isIn || (isRange ? *at <= *text && *text <= at[2] : *at == *text);
            at += isRange ? 2 : 0;
        }
        if (isIn == isNot)
            return false;
        pattern = end;
    }
    return *text == 0;
}

std::string Lower(std::string text) {
    for (char & c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// "+5", "-5" or "5", with an optional unit.
struct Bound {
    char sign = 0;
    unsigned long long value = 0;
    unsigned long long unit = 1;

    static std::optional<Bound> Read(std::string text, unsigned long long plainUnit) {
        static constexpr struct {
            char letter;
            unsigned long long size;
        } units[] = {{'c', 1}, {'k', 1024}, {'M', 1048576}, {'G', 1073741824}};
        Bound bound;
        bound.unit = plainUnit;
        if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
            bound.sign = text[0];
            text.erase(0, 1);
        }
        for (auto const & unit : units)
            if (!text.empty() && text.back() == unit.letter) {
                bound.unit = unit.size;
                text.pop_back();
                break;
            }
        if (text.empty() || text.size() > 18 || text.find_first_not_of("0123456789") != text.npos)
            return std::nullopt;
        bound.value = std::stoull(text);
        return bound;
    }
    bool Holds(unsigned long long units) const {
        return sign == '+' ? units > value : sign == '-' ? units < value : units == value;
    }
};

/// Writes the matching entries of a tree.
class Finder : public IO::TreeEnumerator {
public:
    Finder(IO::Folder const & folder, std::string const & path, Options const & givenOptions,
           Console & console)
        : TreeEnumerator(folder), options(givenOptions), leftOut(path, console) {}

    /// The walk's status; if HasFailures, every failure has been reported.
    MuErrCode Find() {
        MuErrCode const walked = Do();
        leftOut.Finish(*GetParent());
        return walked;
    }
    bool HasFailures() const { return leftOut.HasAny(); }

    bool Prepare() {
        if (!options.size.empty() && !(size = Bound::Read(options.size, 512)))
            return false;
        return options.days.empty() || (days = Bound::Read(options.days, 1)).has_value();
    }
    /// For the root of the walk.
    void MeetFirst(IO::Folder const & folder, IO::Name const & name, IO::EntryType type) {
        if (IsWanted(folder, name, ToText(name), type))
            Out() << leftOut.GetPath() << "\n";
    }

private:
    bool IsWanted(IO::Folder const & folder, IO::Name const & name, std::string const & text,
                  IO::EntryType type) const {
        static constexpr char letters[] = {'f', 'd', 'l'};
        return (options.kind.empty() ||
                options.kind[0] == letters[static_cast<unsigned int>(type)]) &&
               (options.name.empty() || Matches(options.name.c_str(), text.c_str())) &&
               (options.anyCaseName.empty() ||
                Matches(Lower(options.anyCaseName).c_str(), Lower(text).c_str())) &&
               (!size || (type == IO::EntryType::File && HasSize(folder, name))) &&
               (!days || HasAge(folder, name, type));
    }
    bool HasSize(IO::Folder const & folder, IO::Name const & name) const {
        unsigned long long length = 0;
        return (folder.GetFoundFile(name, &length, nullptr) ||
                IO::File(folder, name).GetDataLength(&length) == IO::NoError) &&
               size->Holds((length + size->unit - 1) / size->unit);
    }
    bool HasAge(IO::Folder const & folder, IO::Name const & name, IO::EntryType type) const {
        int time = 0;
        if (type == IO::EntryType::Link)
            return false; // only the target has one
        bool const isKnown =
            folder.GetFoundFile(name, nullptr, &time) ||
            (type == IO::EntryType::Folder
                 ? IO::Folder(folder, name).GetModificationTime(&time)
                 : IO::File(folder, name).GetModificationTime(&time)) == IO::NoError;
        auto const now = static_cast<long long>(Mu::GetClock().GetWallMilliseconds() / 1000);
        return isKnown &&
               days->Holds(static_cast<unsigned long long>(std::max(0ll, now - time)) / 86400);
    }
    void Meet(IO::Name const & name, IO::EntryType type) {
        leftOut.Settle();
        std::string const text = ToText(name);
        if (IsWanted(*GetParent(), name, text, type))
            Out() << Join(leftOut.GetPath(), text) << "\n";
    }
    // An entry whose data the enumeration has needs no query.
    bool EntryFound(IO::Name const & name, bool isFolder) override {
        leftOut.Meet(*GetParent(), name, isFolder);
        if (isFolder || !GetParent()->GetFoundFile(name, nullptr, nullptr))
            return true;
        Meet(name, IO::EntryType::File);
        return false;
    }
    bool FileFound(IO::Name const & name) override {
        Meet(name, IO::EntryType::File);
        return true;
    }
    bool LinkFound(IO::Name const & name) override {
        Meet(name, IO::EntryType::Link);
        return false;
    }
    bool FolderFound(IO::Name const & name) override {
        Meet(name, IO::EntryType::Folder);
        return options.depth < 0 || depth + 1 < options.depth;
    }
    void FolderEntered(IO::Name const & name, IO::Folder const &) override {
        leftOut.Enter(name);
        ++depth;
    }
    void FolderExited(IO::Name const &, IO::Folder const & folder) override {
        leftOut.Exit(folder);
        --depth;
    }

    Options const & options;
    LeftOut leftOut;
    int depth = 0;
    std::optional<Bound> size;
    std::optional<Bound> days;
};

} // namespace

int Head(Options const & options, Console & console) {
    SetBinaryOutput();
    return ShowEach(options, console, HeadOne);
}

int Tail(Options const & options, Console & console) {
    SetBinaryOutput();
    return ShowEach(options, console, TailOne);
}

// 1 if they differ, 2 for a failure, as scripts expect.
int Compare(Options const & options, Console & console) {
    IO::File a(ToLocation(options.source));
    if (MuErrCode const opened = a.Open(Shared, Retry); opened != IO::NoError)
        return console.Finish(opened, options.source) * 2;
    IO::File b(ToLocation(options.target));
    if (MuErrCode const opened = b.Open(Shared, Retry); opened != IO::NoError)
        return console.Finish(opened, options.target) * 2;
    std::vector<char> inA(PieceSize);
    std::vector<char> inB(PieceSize);
    unsigned long long place = 1;
    unsigned long long line = 1;
    for (;;) {
        unsigned int readA = 0;
        unsigned int readB = 0;
        MuErrCode const statusA = a.ReadBin(inA.data(), PieceSize, &readA);
        if (statusA != IO::NoError && statusA != IO::EOI)
            return console.Finish(statusA, options.source) * 2;
        MuErrCode const statusB = b.ReadBin(inB.data(), PieceSize, &readB);
        if (statusB != IO::NoError && statusB != IO::EOI)
            return console.Finish(statusB, options.target) * 2;
        unsigned int const both = std::min(readA, readB);
        for (unsigned int i = 0; i < both; ++i, ++place) {
            if (inA[i] != inB[i]) {
                Out() << options.source << " " << options.target << " differ: byte " << place
                      << ", line " << line << "\n";
                return 1;
            }
            line += inA[i] == '\n' ? 1 : 0;
        }
        if (readA != readB)
            return console.Refuse("EOF on " + (readA < readB ? options.source : options.target));
        if (readA < PieceSize)
            return 0;
    }
}

int Find(Options const & options, Console & console) {
    std::vector<std::string> const here{"."};
    int result = 0;
    for (std::string const & path : options.paths.empty() ? here : options.paths) {
        IO::Location const location = ToLocation(path);
        IO::EntryType type;
        MuErrCode status = IO::fileSystem.GetType(location, &type);
        if (status != IO::NoError) {
            result |= console.Finish(status, path);
            continue;
        }
        IO::Folder const folder(type == IO::EntryType::Folder ? location : IO::Location());
        Finder finder(folder, path, options, console);
        if (!finder.Prepare())
            return console.Refuse("a number is wanted, as in +10k and -7"), 2;
        IO::Location above = location;
        IO::Name name;
        if (above.MoveLastLocalName(&name) != IO::NoError)
            name = FromUtf8(path); // a root
        finder.MeetFirst(IO::Folder(above, IO::Folder::OnNotFound::FailQuietly), name, type);
        if (type == IO::EntryType::Folder && options.depth != 0)
            status = finder.Find();
        result |= finder.HasFailures() ? console.Drop() | 1 : console.Finish(status, path);
    }
    return result;
}

} // namespace Tool
