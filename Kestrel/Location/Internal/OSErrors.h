#pragma once

namespace IO {

// The failures of the operating system since the last log line, as one text for the next. The whole
// process shares it, so a line may show what another thread met; nothing depends on its content.

/// Appends an entry, behind ", " when there is one already. A shortage of memory makes the text
/// invalid until ClearOSErrors.
void AddOSError(char const * text);

/// The text, or null when it is invalid. It may change under the reader; who composes a log line
/// uses AppendOSErrors.
char const * GetOSErrors();

void ClearOSErrors();

} // namespace IO
