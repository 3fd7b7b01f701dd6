#pragma once

namespace IO {

// The settings file "Kestrel.Config" beside the application:
//
//     #IO#  // text after two slashes is a comment
//     fileSystem.SetAccessDeniedRetryDuration(500)

/// Reads the file, if there is one. May throw Mu::OutOfMemoryException.
void ReadSettings();

/// Looks up the settings in the content of such a file, which is modified. A text without the mark
/// at its start is ignored, and so is anything else in it.
void ApplySettings(char * text, unsigned int size);

} // namespace IO
