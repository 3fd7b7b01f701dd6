#include <Kestrel/Root/ClassInfo.h>
#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/UniString.h>

#include <windows.h>

#include <Kestrel/Root/WindowsNames.h>

#include "Tests/Root/Platform/Windows/WindowsNames.h"

#include "Tests/Root/Platform/Windows/UseBothNames.inc"

bool UseBothWindowsLast(char const * path) {
    return UseOurs(path) && UseTheirs(path);
}
