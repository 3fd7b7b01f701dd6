#pragma once

/// Makes and deletes a file and a folder at the path by the system's own calls, uses the operations
/// of ours that have the same names, and answers whether all went well. Once for a translation unit
/// that includes <windows.h> first and once for one that includes it last.
bool UseBothWindowsFirst(char const * path);
bool UseBothWindowsLast(char const * path);
