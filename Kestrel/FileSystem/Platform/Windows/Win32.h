#pragma once

// <windows.h> and what else of the system the file calls need, without its macros that would rename
// their operations: those are called by the names of their wide forms.

#include <windows.h>

#include <objbase.h>
#include <shlobj.h>

#undef CopyFile
#undef CreateDirectory
#undef CreateFile
#undef DeleteFile
#undef FindFirstFile
#undef FindNextFile
#undef FormatMessage
#undef GetCurrentDirectory
#undef GetDiskFreeSpaceEx
#undef GetDriveType
#undef GetFileAttributes
#undef GetLogicalDriveStrings
#undef GetLongPathName
#undef GetModuleFileName
#undef GetSystemDirectory
#undef GetTempPath
#undef GetVolumeInformation
#undef MoveFile
#undef RemoveDirectory
#undef ReplaceFile
#undef SHGetFolderPath
#undef SetFileAttributes
