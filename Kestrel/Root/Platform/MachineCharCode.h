#pragma once

#include <Kestrel/Root/Internal/CharCodeConversion.h>

namespace Mu::Platform {

/// The narrow code of the machine: UTF-8 on Linux, the ANSI code page on Windows.
Internal::CharCodeCalls const & GetMachineCharCodeCalls();

} // namespace Mu::Platform
