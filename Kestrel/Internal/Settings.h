#pragma once

namespace IO {

// The settings file "Kestrel.Config" beside the application:
//
//     #IO#  // what stands behind two slashes is for people
//     fileSystem.SetAccessDeniedRetryDuration(500)

/// Reads the file, if there is one. May throw Mu::OutOfMemoryException.
void ReadSettings();

/// Looks for the settings in the content of such a file, which is changed for that. A text without
/// the mark in front, or with anything else in it, is passed over.
void ApplySettings(char * text, unsigned int size);

} // namespace IO
