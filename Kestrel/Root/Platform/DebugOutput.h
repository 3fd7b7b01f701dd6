#pragma once

namespace Mu::Platform {

/// Shows a text in a debugger of the process.
void WriteDebugText(char const * text);

} // namespace Mu::Platform
