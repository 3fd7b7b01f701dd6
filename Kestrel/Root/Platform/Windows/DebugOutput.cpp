#include <Kestrel/Root/Platform/DebugOutput.h>

#include <windows.h>

namespace Mu::Platform {

void WriteDebugText(char const * text) {
    OutputDebugStringA(text);
}

} // namespace Mu::Platform
