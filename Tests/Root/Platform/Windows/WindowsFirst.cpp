#include <windows.h>

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Text/UniString.h>

#include "Tests/Root/Platform/Windows/WindowsNames.h"

#include "Tests/Root/Platform/Windows/UseBothNames.inc"

bool UseBothWindowsFirst(char const * path) {
    return UseOurs(path) && UseTheirs(path);
}
