#pragma once

namespace Mu {
class LogComposer;
}

namespace IO {

// The failures of the operating system since the last log line, as one text for the next. The whole
// process shares it, so a line may show what another thread met; nothing depends on its content.
//
// Threads: any. None of these throws.

/// Appends an entry, behind ", " when there is one already. A shortage of memory makes the text
/// invalid until ClearOSErrors. Past 16 KiB, which only failures that no line reports can fill, the
/// text begins anew with this entry.
void AddOSError(char const * text) noexcept;

/// The text, or null when it is invalid. Another thread may change it under the reader's eyes; who
/// composes a log line uses AppendOSErrors.
char const * GetOSErrors() noexcept;

/// Makes the text the composer's next value; an invalid one counts as empty.
void AppendOSErrors(Mu::LogComposer & composer) noexcept;

/// Where the text ends now: for a look whose failure is an answer.
struct OSErrorMark {
    unsigned int length;
    unsigned int beginnings;
};
OSErrorMark MarkOSErrors() noexcept;
/// Takes away again what was appended since, unless the text has begun anew meanwhile.
void ForgetOSErrors(OSErrorMark const & mark) noexcept;

/// For after the line is out. Gives back the memory of a long text.
void ClearOSErrors() noexcept;

} // namespace IO
