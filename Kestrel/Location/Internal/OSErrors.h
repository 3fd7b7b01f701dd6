#pragma once

namespace Mu {
class LogComposer;
}

namespace IO {

// The failures of the operating system since the last log line, as one text for the next. It is
// shared by the whole process, so a line may show failures of another thread; nothing depends on
// its content.
//
// Threads: any. None of these throws.

/// Appends an entry, behind ", " when there is one already. Running out of memory makes the text
/// invalid until ClearOSErrors. Past 16 KiB, which only failures that no line reports can fill, the
/// text restarts with this entry.
void AddOSError(char const * text) noexcept;

/// The text, or null when it is invalid. Another thread may change it while it is read; to compose
/// a log line, use AppendOSErrors.
char const * GetOSErrors() noexcept;

/// Makes the text the composer's next value; an invalid one counts as empty.
void AppendOSErrors(Mu::LogComposer & composer) noexcept;

/// The current end of the text: for a query whose failure is a result.
struct OSErrorMark {
    unsigned int length;
    unsigned int beginnings;
};
OSErrorMark MarkOSErrors() noexcept;
/// Removes what was appended since, unless the text has restarted meanwhile.
void ForgetOSErrors(OSErrorMark const & mark) noexcept;

/// To be called when the line is written. Frees the memory of a long text.
void ClearOSErrors() noexcept;

} // namespace IO
