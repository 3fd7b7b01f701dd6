#pragma once

// Winsock without its macros that would rename the operations of the seam.

#include <winsock2.h>

#include <windows.h>
#include <ws2tcpip.h>

#undef FormatMessage
#undef FreeAddrInfo
#undef GetAddrInfo
#undef GetHostName
#undef GetNameInfo
