#pragma once

/// Everything of Kestrel/Comfort: thin layers for modern C++ style.

#include <Kestrel/Comfort/Files.h>
#include <Kestrel/Comfort/Folders.h>
#include <Kestrel/Comfort/Log.h>
#include <Kestrel/Comfort/MapVFS.h>
#include <Kestrel/Comfort/Paths.h>
#include <Kestrel/Comfort/Result.h>
#include <Kestrel/Comfort/Text.h>
