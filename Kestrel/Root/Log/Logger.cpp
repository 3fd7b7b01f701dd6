#include <Kestrel/Root/Log/Logger.h>

#include <Kestrel/Root/Internal/CoreGuard.h>
#include <Kestrel/Root/Internal/InterruptibleWait.h>
#include <Kestrel/Root/Internal/LogBlock.h>
#include <Kestrel/Root/Internal/ThreadState.h>
#include <Kestrel/Root/Streams/OChannel.h>
#include <Kestrel/Root/Threads/WaitQueue.h>

#include <algorithm>
#include <cstring>

namespace Mu {

namespace {

constexpr unsigned int SeverityCount = 4;
constexpr unsigned int OutputShift = SeverityCount;
constexpr unsigned int ObserverShift = 2 * SeverityCount;

// The channel gets the lines when this many bytes have been collected, and at most WriteSize in one
// write, unless a single line is longer.
constexpr std::size_t BlockSize = 64 * 1024;
constexpr std::size_t WriteSize = 2 * BlockSize;
// This many bytes may accumulate while another thread writes; beyond that, appending threads wait.
constexpr std::size_t GatherSize = 1024 * 1024;

// How long a line waits for a channel that does not return: it may be waiting for a lock held by
// the appending thread.
constexpr unsigned int FullPatience = 100;
constexpr unsigned int SafetyPatience = 2000;

unsigned int GetBit(LogSeverity severity) {
    return 1u << static_cast<unsigned int>(severity);
}

// The bits of a severity and all above it.
unsigned int GetBitsFrom(LogSeverity least) {
    return ((1u << SeverityCount) - 1) & ~(GetBit(least) - 1);
}

constexpr char const * SeverityTexts[SeverityCount] = {" TRACE ", " INFO ", " WARNING ", " ERROR "};

// The size of the largest part of the bytes that consists of whole lines and does not exceed the
// size of a write, or of one line.
std::size_t CountBlock(char const * bytes, std::size_t size) {
    if (size <= WriteSize)
        return size;
    for (std::size_t end = WriteSize; end > 0; --end)
        if (bytes[end - 1] == '\n')
            return end;
    void const * const lineEnd = std::memchr(bytes + WriteSize, '\n', size - WriteSize);
    return static_cast<std::size_t>(static_cast<char const *>(lineEnd) - bytes) + 1;
}

// The whole line except its time stamp.
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

/// The implementation of the logger: collects lines and passes them to the channel.
class LoggerWorker {
public:
    explicit constexpr LoggerWorker(FastLogger & itsFront) : front(itsFront) {}

    void NotifyObservers(EventLogLine const & line, LogComposer const * composer);
    void AppendToOutput(EventLogLine const & line, LogComposer const * composer);
    void Attach(LogObserver & observer, LogSeverity least);
    void Detach(LogObserver & observer);
    void SetOutput(OChannel * newChannel, FastLogger::Control * newControl);
    void RemoveOutput(OChannel * oldChannel);
    void SetOutputLevel(LogSeverity least);
    void Flush();
    void Terminate();

private:
    void UpdateWanted();
    bool AddStamped(LogBlock const & text);
    bool BeginTurn(Timeout const & timeout, unsigned long long target);
    bool WaitForTurn(Timeout const & timeout);
    void HandOverFull();
    void HandOverSafely();
    void TakeTurn(bool safely);
    void WriteLines(bool safely);
    bool WritePiece(char const * bytes, std::size_t size);
    bool BringToSafety();
    void CountLost(unsigned long long lines);
    void CountLost(char const * lines, std::size_t size);
    FastLogger::Control * ReplaceOutput(OChannel * newChannel, FastLogger::Control * newControl);
    bool WaitForSilence(Timeout const & timeout);

    FastLogger & front;

    LockCore lock;    // for all of these; nothing else is called under it
    LogBlock filling; // receives the lines
    LogStamp stamp;
    unsigned long long appended = 0; // lines, in total
    unsigned long long secured = 0;  // those of them that were brought to safety
    LogSeverity outputLevel = LogSeverity::Info;
    std::uintptr_t writer = 0; // the token of the thread that is writing, or 0
    bool safetyWanted = false; // the writer must bring all lines to safety before its turn ends
    bool leaving = false;      // the output gets its last lines; changed while no thread writes
    WaitQueue turnOver;

    OChannel * channel = nullptr; // changed under the lock while no thread writes, and used by
    FastLogger::Control * control = nullptr; // the writer without it
    LogBlock writing;                        // the writer's: being written to the channel

    LockCore observerLock;             // held while an observer is called
    LogObserver * observers = nullptr; // under observerLock
    LogObserver * next = nullptr;      // under observerLock: the next one to notify
    bool isNotifying = false;          // under observerLock
};

void LoggerWorker::NotifyObservers(EventLogLine const & line, LogComposer const * composer) {
    CoreGuard guard(observerLock);
    if (isNotifying)
        return;
    char own[1024];
    LogBlock text(own, sizeof own);
    if (!text.AddText(line, composer, false) || !text.Add('\0')) {
        CountLost(1);
        text.Release();
        return;
    }
    isNotifying = true;
    for (next = observers; next != nullptr;) {
        LogObserver & observer = *next;
        next = observer.next;
        if (line.GetSeverity() < observer.least)
            continue;
        try {
            observer.LineAppended(line.GetSeverity(), line.GetDomain() ? line.GetDomain() : "",
                                  text.GetBytes());
        } catch (...) { // an exception of an observer must not reach the logging thread
            CountLost(1);
        }
    }
    isNotifying = false;
    text.Release();
}

void LoggerWorker::Attach(LogObserver & observer, LogSeverity least) {
    Detach(observer);
    CoreGuard guard(observerLock);
    observer.least = least;
    observer.next = observers;
    observers = &observer;
    UpdateWanted();
}

void LoggerWorker::Detach(LogObserver & observer) {
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

void LoggerWorker::UpdateWanted() {
    CoreGuard observerGuard(observerLock);
    unsigned int byObservers = 0;
    for (LogObserver const * each = observers; each != nullptr; each = each->next)
        byObservers |= GetBitsFrom(each->least);
    CoreGuard guard(lock);
    unsigned int const byOutput = channel != nullptr ? GetBitsFrom(outputLevel) : 0;
    front.wanted.store(byObservers | byOutput | byOutput << OutputShift |
                           byObservers << ObserverShift,
                       std::memory_order_release);
}

// Composed before the lock is taken, since composing takes time; only the stamp is taken under it,
// so that lines are in chronological order.
void LoggerWorker::AppendToOutput(EventLogLine const & line, LogComposer const * composer) {
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
                CountLost(1);
        }
    }
    text.Release();
}

// Under the lock.
bool LoggerWorker::AddStamped(LogBlock const & text) {
    std::size_t const start = filling.GetSize();
    bool const added = filling.Add(stamp.Get(GetClock().GetWallMilliseconds()), LogStamp::Length) &&
                       filling.Add(text.GetBytes(), text.GetSize());
    if (!added)
        filling.SetSize(start);
    return added;
}

// Under the lock, which is released meanwhile. False: the writer's turn did not end in time.
bool LoggerWorker::WaitForTurn(Timeout const & timeout) {
    Parker parker;
    WaitQueue::Waiter waiter{&parker};
    turnOver.Append(waiter);
    lock.Leave();
    WaitAt(parker, timeout);
    bool const notified = !turnOver.Remove(waiter);
    CoreGuard::Enter(lock);
    return notified;
}

// Lines accumulate while another thread writes, up to a limit. Lines appended by the writer's own
// channel accumulate in any case.
void LoggerWorker::HandOverFull() {
    if (writer == 0)
        TakeTurn(false);
    else if (writer != Platform::GetThreadToken() && filling.GetSize() >= GatherSize)
        WaitForTurn(Timeout(FullPatience));
}

// On timeout the flush is left to the writer, which checks for it before its turn ends.
void LoggerWorker::HandOverSafely() {
    if (writer == Platform::GetThreadToken())
        return;
    unsigned long long const target = appended;
    if (!BeginTurn(Timeout(SafetyPatience), target))
        safetyWanted = true;
    else if (secured < target)
        TakeTurn(true);
}

// Under the lock. True: no thread writes, or the lines up to `target` are safe.
bool LoggerWorker::BeginTurn(Timeout const & timeout, unsigned long long target) {
    while (writer != 0 && secured < target)
        if (!WaitForTurn(timeout))
            return writer == 0 || secured >= target;
    return true;
}

// Under the lock, which is released while the channel is called.
void LoggerWorker::TakeTurn(bool safely) {
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

void LoggerWorker::WriteLines(bool safely) {
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
    // Lines that the channel accepted but could not flush are lost as well.
    if (safely && !BringToSafety() && whole)
        CountLost(writing.GetBytes(), writing.GetSize());
    if (writing.GetSize() > 2 * BlockSize)
        writing.Release();
    writing.SetSize(0);
}

bool LoggerWorker::WritePiece(char const * bytes, std::size_t size) {
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

bool LoggerWorker::BringToSafety() {
    try {
        bool const flushed = channel->Flush() == NoError;
        if (control != nullptr)
            control->SeriousErrorEncountered();
        return flushed;
    } catch (...) { // cannot be reported: reporting is what has failed
        return false;
    }
}

void LoggerWorker::CountLost(unsigned long long lines) {
    front.lost.fetch_add(lines, std::memory_order_relaxed);
}

void LoggerWorker::CountLost(char const * lines, std::size_t size) {
    CountLost(static_cast<unsigned long long>(std::count(lines, lines + size, '\n')));
}

void LoggerWorker::Flush() {
    CoreGuard guard(lock);
    if (channel != nullptr)
        HandOverSafely();
}

void LoggerWorker::SetOutput(OChannel * newChannel, FastLogger::Control * newControl) {
    {
        CoreGuard guard(lock);
        ReplaceOutput(newChannel, newControl);
    }
    UpdateWanted();
}

void LoggerWorker::RemoveOutput(OChannel * oldChannel) {
    {
        CoreGuard guard(lock);
        if (channel == oldChannel)
            ReplaceOutput(nullptr, nullptr);
    }
    UpdateWanted();
}

void LoggerWorker::SetOutputLevel(LogSeverity least) {
    {
        CoreGuard guard(lock);
        outputLevel = least;
    }
    UpdateWanted();
}

// At the end of the process, threads that held a lock or were writing may no longer exist, so every
// wait here is bounded, and the observers' lock is not used.
void LoggerWorker::Terminate() {
    Timeout const timeout(SafetyPatience);
    while (!lock.TryEnter()) {
        if (timeout.IsOver())
            return;
        clockManager.Sleep(0.001);
    }
    FastLogger::Control * last = nullptr;
    if (WaitForSilence(timeout)) {
        last = ReplaceOutput(nullptr, nullptr);
        unsigned int const byObservers =
            front.wanted.load(std::memory_order_relaxed) >> ObserverShift;
        front.wanted.store(byObservers | byObservers << ObserverShift, std::memory_order_release);
    }
    lock.Leave();
    try {
        if (last != nullptr)
            last->ApplicationTerminated();
    } catch (...) { // the log is closed; there is no place left to report it
    }
}

// Under the lock. Lines appended while the old channel gets its last ones are written, too, and so
// are those caused by a new file for them; the latter get no new file, or it would never end.
FastLogger::Control * LoggerWorker::ReplaceOutput(OChannel * newChannel,
                                                  FastLogger::Control * newControl) {
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
    FastLogger::Control * const earlier = control;
    channel = newChannel;
    control = newChannel != nullptr ? newControl : nullptr;
    if (newChannel == nullptr) {
        CountLost(filling.GetBytes(), filling.GetSize());
        filling.Release();
        writing.Release();
    }
    return earlier;
}

// Under the lock. False: a thread is still writing on timeout.
bool LoggerWorker::WaitForSilence(Timeout const & timeout) {
    while (writer != 0)
        if (!WaitForTurn(timeout) && writer != 0)
            return false;
    return true;
}

static constinit LoggerWorker loggerWorker(logger);
constinit FastLogger logger(loggerWorker);

void FastLogger::AppendWanted(EventLogLine & line, LogComposer * composer) noexcept {
    unsigned int const bits = wanted.load(std::memory_order_acquire);
    unsigned int const bit = GetBit(line.GetSeverity());
    if ((bits >> ObserverShift & bit) != 0)
        worker.NotifyObservers(line, composer);
    if ((bits >> OutputShift & bit) != 0)
        worker.AppendToOutput(line, composer);
}

void FastLogger::SetOutput(OChannel * channel, Control * control) noexcept {
    worker.SetOutput(channel, control);
}

void FastLogger::RemoveOutput(OChannel * channel) noexcept {
    worker.RemoveOutput(channel);
}

void FastLogger::SetOutputLevel(LogSeverity least) noexcept {
    worker.SetOutputLevel(least);
}

void FastLogger::Attach(LogObserver & observer, LogSeverity least) noexcept {
    worker.Attach(observer, least);
}

void FastLogger::Detach(LogObserver & observer) noexcept {
    worker.Detach(observer);
}

void FastLogger::Flush() noexcept {
    worker.Flush();
}

void FastLogger::Terminate() noexcept {
    worker.Terminate();
}

} // namespace Mu
