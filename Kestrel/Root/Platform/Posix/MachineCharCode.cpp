#include <Kestrel/Root/Platform/MachineCharCode.h>

Mu::Internal::CharCodeCalls const & Mu::Platform::GetMachineCharCodeCalls() {
    return Internal::utf8Calls;
}
