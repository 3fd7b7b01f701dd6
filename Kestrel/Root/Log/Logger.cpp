#include <Kestrel/Root/Log/Logger.h>

#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Internal/InterruptibleWait.h>
#include <Kestrel/Root/Internal/ThreadState.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <algorithm>
#include <cstring>

namespace Mu {

namespace {

constexpr unsigned int SeverityCount = 4;
constexpr unsigned int OutputShift = SeverityCount;
constexpr unsigned int ObserverShift = 2 * SeverityCount;

// So much is collected before it goes to the channel, and at most so much goes there in one write,
// unless a single line is longer.
constexpr std::size_t BlockSize = 64 * 1024;
constexpr std::size_t WriteSize = 2 * BlockSize;
// So much may gather while another thread writes, before those who append wait for it.
constexpr std::size_t GatherSize = 1024 * 1024;

// How long a line waits for a channel that does not come back: it may be waiting for a lock which
// the appending thread holds.
constexpr unsigned int FullPatience = 100;
constexpr unsigned int SafetyPatience = 2000;

unsigned int GetBit(LogSeverity severity) {
    return 1u << static_cast<unsigned int>(severity);
}

// The bits of a severity and all above.
unsigned int GetBitsFrom(LogSeverity least) {
    return ((1u << SeverityCount) - 1) & ~(GetBit(least) - 1);
}

constexpr char const * SeverityTexts[SeverityCount] = {" TRACE ", " INFO ", " WARNING ", " ERROR "};

// The largest part of the bytes that is made of whole lines and not above the size of a write, or
// one line.
std::size_t CountBlock(char const * bytes, std::size_t size) {
    if (size <= WriteSize)
        return size;
    for (std::size_t end = WriteSize; end > 0; --end)
        if (bytes[end - 1] == '\n')
            return end;
    void const * const lineEnd = std::memchr(bytes + WriteSize, '\n', size - WriteSize);
    return static_cast<std::size_t>(static_cast<char const *>(lineEnd) - bytes) + 1;
}

// All of a line behind its time stamp.
bool Compose(LogBlock & text, EventLogLine const & line, LogComposer const * composer) {
    char const * const severity = SeverityTexts[static_cast<unsigned int>(line.GetSeverity())];
    char const * const domain = line.GetDomain() != nullptr ? line.GetDomain() : "-";
    char const * const subdomain = line.GetSubdomain();
    return text.Add(severity, std::strlen(severity)) &&
           text.AddEscaped(domain, std::strlen(domain)) &&
           (subdomain == nullptr ||
            (text.Add('/') && text.AddEscaped(subdomain, std::strlen(subdomain)))) &&
           text.Add(' ') && text.AddNumber(GetCurrentThreadNumber()) && text.Add(' ') &&
           text.AddText(line, composer, true) && text.Add('\n');
}

} // namespace

constinit FastLogger logger;

void FastLogger::AppendWanted(EventLogLine & line, LogComposer * composer) noexcept {
    unsigned int const bits = wanted.load(std::memory_order_acquire);
    unsigned int const bit = GetBit(line.GetSeverity());
    if ((bits >> ObserverShift & bit) != 0)
        TellObservers(line, composer);
    if ((bits >> OutputShift & bit) != 0)
        AppendToOutput(line, composer);
}

void FastLogger::TellObservers(EventLogLine const & line, LogComposer const * composer) {
    CoreGuard guard(observerLock);
    if (telling)
        return;
    char own[1024];
    LogBlock text(own, sizeof own);
    if (!text.AddText(line, composer, false) || !text.Add('\0')) {
        lost.fetch_add(1, std::memory_order_relaxed);
        text.Release();
        return;
    }
    telling = true;
    for (next = observers; next != nullptr;) {
        LogObserver & observer = *next;
        next = observer.next;
        if (line.GetSeverity() < observer.least)
            continue;
        try {
            observer.LineAppended(line.GetSeverity(), line.GetDomain() ? line.GetDomain() : "",
                                  text.GetBytes());
        } catch (...) { // an observer's trouble must not reach the one who logs
            lost.fetch_add(1, std::memory_order_relaxed);
        }
    }
    telling = false;
    text.Release();
}

void FastLogger::Attach(LogObserver & observer, LogSeverity least) noexcept {
    Detach(observer);
    CoreGuard guard(observerLock);
    observer.least = least;
    observer.next = observers;
    observers = &observer;
    UpdateWanted();
}

void FastLogger::Detach(LogObserver & observer) noexcept {
    CoreGuard guard(observerLock);
    for (LogObserver ** each = &observers; *each != nullptr; each = &(*each)->next) {
        if (*each != &observer)
            continue;
        *each = observer.next;
        if (next == &observer)
            next = observer.next;
        UpdateWanted();
        return;
    }
}

void FastLogger::UpdateWanted() {
    CoreGuard observerGuard(observerLock);
    unsigned int byObservers = 0;
    for (LogObserver const * each = observers; each != nullptr; each = each->next)
        byObservers |= GetBitsFrom(each->least);
    CoreGuard guard(lock);
    unsigned int const byOutput = channel != nullptr ? GetBitsFrom(outputLevel) : 0;
    wanted.store(byObservers | byOutput | byOutput << OutputShift | byObservers << ObserverShift,
                 std::memory_order_release);
}

// Composed before the lock is taken, since that is what takes time; only the stamp is made under
// it, so that lines stand in the order of time.
void FastLogger::AppendToOutput(EventLogLine const & line, LogComposer const * composer) {
    char own[1024];
    LogBlock text(own, sizeof own);
    bool const composed = Compose(text, line, composer);
    {
        CoreGuard guard(lock);
        if (channel != nullptr) {
            if (composed && AddStamped(text)) {
                ++appended;
                if (line.GetSeverity() == LogSeverity::Error)
                    HandOverSafely();
                else if (filling.GetSize() >= BlockSize)
                    HandOverFull();
            } else
                lost.fetch_add(1, std::memory_order_relaxed);
        }
    }
    text.Release();
}

// Under the lock.
bool FastLogger::AddStamped(LogBlock const & text) {
    std::size_t const start = filling.GetSize();
    bool const added = filling.Add(stamp.Get(GetClock().GetWallMilliseconds()), LogStamp::Length) &&
                       filling.Add(text.GetBytes(), text.GetSize());
    if (!added)
        filling.SetSize(start);
    return added;
}

// Under the lock, which is left meanwhile. False: the writer's turn was not over in time.
bool FastLogger::WaitForTurn(Timeout const & timeout) {
    Parker parker;
    WaitQueue::Waiter waiter{&parker};
    turnOver.Append(waiter);
    lock.Leave();
    WaitAt(parker, timeout);
    bool const notified = !turnOver.Remove(waiter);
    CoreGuard::Enter(lock);
    return notified;
}

// What fills up while somebody writes is left to gather, up to a limit. A line that the writer's
// own channel appends is left to gather in any case.
void FastLogger::HandOverFull() {
    if (writer == 0)
        TakeTurn(false);
    else if (writer != Platform::GetThreadToken() && filling.GetSize() >= GatherSize)
        WaitForTurn(Timeout(FullPatience));
}

// Who waits in vain leaves it to the writer, who looks before its turn ends.
void FastLogger::HandOverSafely() {
    if (writer == Platform::GetThreadToken())
        return;
    unsigned long long const target = appended;
    if (!BeginTurn(Timeout(SafetyPatience), target))
        safetyWanted = true;
    else if (secured < target)
        TakeTurn(true);
}

// Under the lock. True: nobody writes, or the lines up to `target` are safe.
bool FastLogger::BeginTurn(Timeout const & timeout, unsigned long long target) {
    while (writer != 0 && secured < target)
        if (!WaitForTurn(timeout))
            return writer == 0 || secured >= target;
    return true;
}

// Under the lock, which is left while the channel is called.
void FastLogger::TakeTurn(bool safely) {
    writer = Platform::GetThreadToken();
    do {
        safely = safely || safetyWanted;
        safetyWanted = false;
        unsigned long long const written = appended;
        filling.Swap(writing);
        lock.Leave();
        WriteLines(safely);
        CoreGuard::Enter(lock);
        if (safely)
            secured = written;
    } while (safetyWanted);
    writer = 0;
    turnOver.NotifyAll();
}

void FastLogger::WriteLines(bool safely) {
    char const * bytes = writing.GetBytes();
    char const * const end = bytes + writing.GetSize();
    bool whole = true;
    while (bytes != end) {
        std::size_t const size = CountBlock(bytes, static_cast<std::size_t>(end - bytes));
        bool const taken = WritePiece(bytes, size);
        if (!taken)
            CountLost(bytes, size);
        whole = whole && taken;
        bytes += size;
    }
    // What the channel took and could not pass on is lost as well.
    if (safely && !BringToSafety() && whole)
        CountLost(writing.GetBytes(), writing.GetSize());
    if (writing.GetSize() > 2 * BlockSize)
        writing.Release();
    writing.SetSize(0);
}

bool FastLogger::WritePiece(char const * bytes, std::size_t size) {
    try {
        if (control != nullptr && !leaving)
            control->StartNewBlock();
        unsigned int written = 0;
        MuErrCode const status =
            channel->WriteBin(bytes, static_cast<unsigned int>(size), &written);
        return status == NoError && written == size;
    } catch (...) { // counts as refused
        return false;
    }
}

bool FastLogger::BringToSafety() {
    try {
        bool const flushed = channel->Flush() == NoError;
        if (control != nullptr)
            control->SeriousErrorEncountered();
        return flushed;
    } catch (...) { // nobody can be notified: reporting is what has failed
        return false;
    }
}

void FastLogger::CountLost(char const * lines, std::size_t size) {
    lost.fetch_add(static_cast<unsigned long long>(std::count(lines, lines + size, '\n')),
                   std::memory_order_relaxed);
}

void FastLogger::Flush() noexcept {
    CoreGuard guard(lock);
    if (channel != nullptr)
        HandOverSafely();
}

void FastLogger::SetOutput(OChannel * newChannel, Control * newControl) noexcept {
    {
        CoreGuard guard(lock);
        ReplaceOutput(newChannel, newControl);
    }
    UpdateWanted();
}

void FastLogger::RemoveOutput(OChannel * oldChannel) noexcept {
    {
        CoreGuard guard(lock);
        if (channel == oldChannel)
            ReplaceOutput(nullptr, nullptr);
    }
    UpdateWanted();
}

void FastLogger::SetOutputLevel(LogSeverity least) noexcept {
    {
        CoreGuard guard(lock);
        outputLevel = least;
    }
    UpdateWanted();
}

// At the very end, threads may be gone that held a lock or were writing, so nothing here waits for
// ever, and the observers' lock is not asked for.
void FastLogger::Terminate() noexcept {
    Timeout const timeout(SafetyPatience);
    while (!lock.TryEnter()) {
        if (timeout.IsOver())
            return;
        clockManager.Sleep(0.001);
    }
    Control * last = nullptr;
    if (WaitForSilence(timeout)) {
        last = ReplaceOutput(nullptr, nullptr);
        unsigned int const byObservers = wanted.load(std::memory_order_relaxed) >> ObserverShift;
        wanted.store(byObservers | byObservers << ObserverShift, std::memory_order_release);
    }
    lock.Leave();
    try {
        if (last != nullptr)
            last->ApplicationTerminated();
    } catch (...) { // the log is closed; there is no place left to report it
    }
}

// Under the lock. Lines that come while the old channel gets its last ones are written too, and
// those that a new file for them brings forth; they get no new file, or it would never end.
FastLogger::Control * FastLogger::ReplaceOutput(OChannel * newChannel, Control * newControl) {
    if (writer == Platform::GetThreadToken())
        return nullptr;
    WaitForSilence(Timeout());
    for (unsigned int turn = 0; turn < 2 && channel != nullptr; ++turn) {
        leaving = turn > 0;
        if (turn == 0 || filling.GetSize() > 0)
            TakeTurn(true);
        WaitForSilence(Timeout());
    }
    leaving = false;
    Control * const earlier = control;
    channel = newChannel;
    control = newChannel != nullptr ? newControl : nullptr;
    if (newChannel == nullptr) {
        CountLost(filling.GetBytes(), filling.GetSize());
        filling.Release();
        writing.Release();
    }
    return earlier;
}

// Under the lock. False: somebody still writes when the time is over.
bool FastLogger::WaitForSilence(Timeout const & timeout) {
    while (writer != 0)
        if (!WaitForTurn(timeout) && writer != 0)
            return false;
    return true;
}

} // namespace Mu
