#include <Kestrel/Root/Process.h>

#include <Kestrel/Root/Platform/SystemCalls.h>

unsigned int Mu::Process::GetCurrentProcessId() {
    return Platform::GetProcessId();
}
