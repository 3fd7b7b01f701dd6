#pragma once

#include "Interruption.h"

#include <Kestrel/Channel/Streams.h>
#include <Kestrel/FileSystem/File.h>

#include <optional>
#include <string>
#include <vector>

namespace Tool {

struct Options;

/// Whether that names standard input or output.
bool IsStandard(std::string const & path);

/// Where bytes come from: a file, or standard input for "-" or nothing.
class Source {
public:
    explicit Source(std::string const & path);

    MuErrCode GetStatus() const { return status; }
    Mu::IChannel & GetChannel();
    /// The file, or null for standard input.
    IO::File * GetFile() { return file ? &*file : nullptr; }
    /// How many bytes were taken, for messages about where something broke.
    unsigned long long GetPosition();

private:
    std::optional<IO::File> file;
    std::optional<IO::StreamIChannel> standard;
    MuErrCode status = IO::NoError;
};

/// Where bytes go: a file, or standard output for "-" or nothing. A file that is there already is
/// refused with ErrTargetExists, unless forced. A new one that is not kept vanishes again; what was
/// there, a device for instance, never does.
class Target {
public:
    Target(std::string const & path, bool force);
    ~Target();

    MuErrCode GetStatus() const { return status; }
    Mu::OChannel & GetChannel();
    /// Closes; what was written stays.
    MuErrCode Keep();

private:
    void OpenFile(std::string const & path, bool force);

    std::optional<HalfMade> half; // before the file, which is closed first
    std::optional<IO::File> file;
    std::optional<IO::StreamOChannel> standard;
    MuErrCode status = IO::NoError;
    bool isMade = false; // by us, so that it goes unless it is kept
};

/// A line on the terminal that says how far long work has come; nothing when there is no terminal.
class Progress {
public:
    enum class Unit { Bytes, Entries };

    explicit Progress(char const * verb, Unit unit = Unit::Bytes);
    ~Progress() { Clear(); }
    void Add(unsigned int more);
    void Clear();
    unsigned long long GetCount() const { return count; }

    /// Shows a line of another's making, in the place of what was shown before.
    static void Show(std::string const & line);
    /// Takes away what is shown by any of them, to make room for a line of another kind.
    static void Hide();

private:
    char const * verb;
    Unit unit;
    bool isShown;
    unsigned long long count = 0;
    unsigned long long next;
};

/// Moves what `in` gives at once, up to the size of `piece`. The result is the status of writing.
MuErrCode MovePiece(Mu::IChannel & in, Mu::OChannel & out, std::vector<char> & piece,
                    Progress & progress, MuErrCode * readStatus);

/// Moves everything that `in` gives, in pieces of `pieceSize`. `*readStatus` is what ended it, EOI
/// when all is well; the result is the status of writing.
MuErrCode Pump(Mu::IChannel & in, Mu::OChannel & out, unsigned int pieceSize, Progress & progress,
               MuErrCode * readStatus);

} // namespace Tool
