#include <Kestrel/Root/Platform/SystemCalls.h>

#include <cstdlib>
#include <cstring>

#include <windows.h>

namespace Mu::Platform {

namespace {

// The place is a slim lock and a condition variable, both of which are initially a null pointer.
static_assert(sizeof(SRWLOCK) == sizeof(void *) && sizeof(CONDITION_VARIABLE) == sizeof(void *));

SRWLOCK * GetLock(WaitPlace & place) {
    return reinterpret_cast<SRWLOCK *>(&place[0]);
}
CONDITION_VARIABLE * GetCondition(WaitPlace & place) {
    return reinterpret_cast<CONDITION_VARIABLE *>(&place[1]);
}

bool CreateLock(WaitPlace &) {
    return true;
}

// Rounded up, so that no wait ends early.
DWORD ToMilliseconds(unsigned long long microseconds) {
    unsigned long long const rounded = microseconds / 1000 + (microseconds % 1000 != 0);
    return rounded < INFINITE ? static_cast<DWORD>(rounded) : INFINITE;
}

bool Wait(WaitPlace & place, std::atomic<unsigned int> & word, unsigned int expected,
          unsigned long long microseconds) {
    AcquireSRWLockExclusive(GetLock(place));
    bool waited = true;
    if (word.load(std::memory_order_relaxed) == expected)
        waited = SleepConditionVariableSRW(GetCondition(place), GetLock(place),
                                           ToMilliseconds(microseconds), 0) ||
                 GetLastError() == ERROR_TIMEOUT;
    ReleaseSRWLockExclusive(GetLock(place));
    return waited;
}

// Passing through the slim lock ensures that every thread that saw the old word sleeps by now.
void Wake(WaitPlace & place, std::atomic<unsigned int> &, bool all) {
    AcquireSRWLockExclusive(GetLock(place));
    if (all)
        WakeAllConditionVariable(GetCondition(place));
    else
        WakeConditionVariable(GetCondition(place));
    ReleaseSRWLockExclusive(GetLock(place));
}

DWORD WINAPI RunThread(void * argument) {
    ThreadMain(argument);
    return 0;
}

bool StartThread(void * argument, std::uintptr_t * thread) {
    HANDLE const handle = CreateThread(nullptr, 0, RunThread, argument, 0, nullptr);
    *thread = reinterpret_cast<std::uintptr_t>(handle);
    return handle != nullptr;
}

// Fiber-local storage, because the system frees the blocks of threads that end, and those of all
// threads when the library is unloaded.
class Storage {
public:
    ~Storage() {
        DWORD const old = index.exchange(FLS_OUT_OF_INDEXES);
        if (old != FLS_OUT_OF_INDEXES)
            FlsFree(old);
    }

    void * Get() {
        DWORD const slot = GetIndex();
        if (slot == FLS_OUT_OF_INDEXES)
            return nullptr;
        void * block = FlsGetValue(slot);
        if (block != nullptr)
            return block;
        block = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, ThreadStorageSize);
        if (block != nullptr && !FlsSetValue(slot, block)) {
            HeapFree(GetProcessHeap(), 0, block);
            block = nullptr;
        }
        return block;
    }

private:
    static void WINAPI Free(void * block) { HeapFree(GetProcessHeap(), 0, block); }

    DWORD GetIndex() {
        DWORD present = index.load(std::memory_order_acquire);
        if (present != FLS_OUT_OF_INDEXES)
            return present;
        DWORD const made = FlsAlloc(Free);
        if (made == FLS_OUT_OF_INDEXES || index.compare_exchange_strong(present, made))
            return made;
        FlsFree(made); // another thread was faster
        return present;
    }

    std::atomic<DWORD> index = FLS_OUT_OF_INDEXES;
};

constinit Storage storage;

unsigned long long ToMilliseconds(FILETIME const & time) {
    unsigned long long const ticks =
        (static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    return ticks / 10000 - 11644473600000ull; // from 1601 to 1970
}

FILETIME ToFileTime(unsigned long long milliseconds) {
    unsigned long long const ticks = (milliseconds + 11644473600000ull) * 10000;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

} // namespace

constinit SystemCalls systemCalls = {CreateLock, Wait, Wake, StartThread};

std::uintptr_t GetThreadToken() {
    return GetCurrentThreadId();
}

void JoinThread(std::uintptr_t thread) {
    HANDLE const handle = reinterpret_cast<HANDLE>(thread);
    WaitForSingleObject(handle, INFINITE);
    CloseHandle(handle);
}

// Looked up, since only Windows 10 and later have the call.
void NameThread(char const * name) {
    using SetDescription = HRESULT(WINAPI *)(HANDLE, PCWSTR);
    auto const set = reinterpret_cast<SetDescription>(reinterpret_cast<void *>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetThreadDescription")));
    wchar_t wide[64];
    if (set != nullptr && MultiByteToWideChar(CP_UTF8, 0, name, -1, wide, 64) > 0)
        set(GetCurrentThread(), wide);
}

void YieldThread() {
    SwitchToThread();
}

void * GetThreadStorage() {
    return storage.Get();
}

unsigned int GetProcessId() {
    return GetCurrentProcessId();
}

unsigned long long GetWallMilliseconds() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return ToMilliseconds(now);
}

unsigned long long GetMonotonicMicroseconds() {
    LARGE_INTEGER count, frequency;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    unsigned long long const ticks = static_cast<unsigned long long>(count.QuadPart);
    unsigned long long const each = static_cast<unsigned long long>(frequency.QuadPart);
    return ticks / each * 1000000 + ticks % each * 1000000 / each;
}

LocalTime GetLocalTime(unsigned long long seconds) {
    FILETIME const utcTime = ToFileTime(seconds * 1000);
    SYSTEMTIME utc, local;
    FILETIME localTime;
    FileTimeToSystemTime(&utcTime, &utc);
    if (!SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        local = utc;
    SystemTimeToFileTime(&local, &localTime);
    long long const offset =
        static_cast<long long>(ToMilliseconds(localTime)) - static_cast<long long>(seconds * 1000);
    LocalTime result{};
    result.year = local.wYear;
    result.month = local.wMonth;
    result.day = local.wDay;
    result.hour = local.wHour;
    result.minute = local.wMinute;
    result.second = local.wSecond;
    result.offset = static_cast<int>(offset / 60000);
    return result;
}

void StopProcess(char const * text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(std::strlen(text)), &written,
              nullptr);
    std::abort();
}

} // namespace Mu::Platform
