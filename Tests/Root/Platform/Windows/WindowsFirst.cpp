#include <windows.h>

#include <Kestrel/Root/ClassInfo.h>
#include <Kestrel/Root/Exceptions.h>
#include <Kestrel/Root/UniString.h>

#include "Tests/Root/Platform/Windows/WindowsNames.h"

#include "Tests/Root/Platform/Windows/UseBothNames.inc"

bool UseBothWindowsFirst(char const * path) {
    return UseOurs(path) && UseTheirs(path);
}
