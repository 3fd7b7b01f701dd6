#pragma once

#include "Interruption.h"

#include <Kestrel/Channel/Streams.h>
#include <Kestrel/FileSystem/File.h>

#include <optional>
#include <string>
#include <vector>

namespace Tool {

struct Options;

/// Whether the path means standard input or output: "-" or nothing.
bool IsStandard(std::string const & path);

/// The source of bytes: a file, or standard input for "-" or nothing.
class Source {
public:
    explicit Source(std::string const & path);

    MuErrCode GetStatus() const { return status; }
    Mu::IChannel & GetChannel();
    /// The file, or null for standard input.
    IO::File * GetFile() { return file ? &*file : nullptr; }
    /// How many bytes were read, for messages about where an input is damaged.
    unsigned long long GetPosition();

private:
    std::optional<IO::File> file;
    std::optional<IO::StreamIChannel> standard;
    MuErrCode status = IO::NoError;
};

/// The target of bytes: a file, or standard output for "-" or nothing. An existing file is refused
/// with ErrTargetExists, unless forced. A new file is deleted again unless it is kept; an entry
/// that existed before, such as a device, never is.
class Target {
public:
    Target(std::string const & path, bool force);
    ~Target();

    MuErrCode GetStatus() const { return status; }
    Mu::OChannel & GetChannel();
    /// Closes the target, and keeps the data.
    MuErrCode Keep();

private:
    void OpenFile(std::string const & path, bool force);

    std::optional<HalfMade> half; // declared before the file, which is closed first
    std::optional<IO::File> file;
    std::optional<IO::StreamOChannel> standard;
    MuErrCode status = IO::NoError;
    bool isMade = false; // created here, so deleted unless it is kept
};

/// A line on the terminal that shows the progress of long work; nothing without a terminal.
class Progress {
public:
    enum class Unit { Bytes, Entries };

    explicit Progress(char const * verb, Unit unit = Unit::Bytes);
    ~Progress() { Clear(); }
    void Add(unsigned int more);
    void Clear();
    unsigned long long GetCount() const { return count; }

    /// Shows a given line instead of the current one.
    static void Show(std::string const & line);
    /// Removes the current line, to make room for output of another kind.
    static void Hide();

private:
    char const * verb;
    Unit unit;
    bool isShown;
    unsigned long long count = 0;
    unsigned long long next;
};

/// Moves the bytes available in `in`, up to the size of `piece`. Returns the status of writing.
MuErrCode MovePiece(Mu::IChannel & in, Mu::OChannel & out, std::vector<char> & piece,
                    Progress & progress, MuErrCode * readStatus);

/// Moves everything from `in`, in pieces of `pieceSize`. `*readStatus` is the status that ended it,
/// EOI on success; returns the status of writing.
MuErrCode Pump(Mu::IChannel & in, Mu::OChannel & out, unsigned int pieceSize, Progress & progress,
               MuErrCode * readStatus);

} // namespace Tool
