#pragma once

namespace Mu::Platform {

/// Shows a text to whoever debugs the process.
void WriteDebugText(char const * text);

} // namespace Mu::Platform
