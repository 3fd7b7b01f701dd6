#include <Kestrel/Root/Threads/Process.h>

#include <Kestrel/Root/Platform/SystemCalls.h>

unsigned int Mu::Process::GetCurrentProcessId() {
    return Platform::GetProcessId();
}
