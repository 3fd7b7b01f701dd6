#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Lock.h>
#include <Kestrel/Root/LogLine.h>

#include <atomic>

namespace Mu {

class OChannel;

/// Sees each line as it is appended, on the thread that appends it. Lines that an observer appends
/// itself, from inside LineAppended, reach the log but no observer.
class KESTREL_API LogObserver {
public:
    virtual ~LogObserver() = default;
    /// `text` is UTF-8 with the placeholders filled, as it was given: nothing is escaped.
    virtual void LineAppended(LogSeverity severity, char const * domain, char const * text) = 0;

private:
    friend class FastLogger;
    LogObserver * next = nullptr;
    LogSeverity least = LogSeverity::Trace;
};

/// The one collector of log lines. It writes each as a line of UTF-8 text,
///
///     2026-03-01T09:30:00.123+01:00 ERROR IO 7 Opening file "a" in folder "C:\b" ...
///
/// that is: local time with its offset, severity, domain (with "/subdomain" where there is one),
/// number of the thread, text. Line breaks in a text become \n, other control characters and bytes
/// that are no UTF-8 \xNN, so that one line is one event for grep, sort and any viewer.
///
/// A line that nobody wants costs one look at a flag. One that is written costs a copy; blocks of
/// whole lines go to the channel when they are full, at Flush, at each error, and at the end.
///
/// Memory:  two blocks while an output is set. Without memory a line is lost, and counted.
/// Threads: any; writes to the channel and calls of the Control are serialised. A channel may log
///          while it is written to. Nothing waits long for a channel that is stuck, so it may also
///          wait for a lock whose holder logs.
/// Failure: none is reported, no exception leaves. GetLostCount tells how many lines are gone.
class KESTREL_API FastLogger {
public:
    using LogComposer = Mu::LogComposer;

    /// How the owner of the output takes part. The calls come one at a time, never inside a write.
    class KESTREL_API Control {
    public:
        virtual ~Control() = default;
        /// Called between blocks of output. True: a new file was begun.
        virtual bool StartNewBlock() = 0;
        /// Called after an error line was written, to bring it to safety.
        virtual void SeriousErrorEncountered() = 0;
        /// Nothing more will be written. The output is detached already.
        virtual void ApplicationTerminated() = 0;
    };

    constexpr FastLogger() = default;
    FastLogger(FastLogger const &) = delete;
    FastLogger & operator=(FastLogger const &) = delete;

    void Append(EventLogLine & line) noexcept { Append(line, nullptr); }
    /// The composer, which may be null, holds what goes into the placeholders of the line's format.
    /// A placeholder without a value stays "%"; a value without a placeholder is dropped.
    void Append(EventLogLine & line, LogComposer * composer) noexcept {
        if (IsWanted(line.GetSeverity()))
            AppendWanted(line, composer);
    }

    /// Whether anybody wants lines of this severity. Ask before composing what is costly to get.
    bool IsWanted(LogSeverity severity) const {
        return (wanted.load(std::memory_order_relaxed) >> static_cast<unsigned int>(severity)) & 1u;
    }

    /// Writes lines to `channel` from now on, and no longer to the earlier one, which first gets
    /// all that was appended. Nulls end the output. Both stay the caller's.
    void SetOutput(OChannel * channel, Control * control) noexcept;
    /// Ends the output if it is this channel; call it before the channel goes.
    void RemoveOutput(OChannel * channel) noexcept;
    /// Lines below this severity are not written. Info at first.
    void SetOutputLevel(LogSeverity least) noexcept;

    /// The observer gets lines of this severity and above until it is detached; attaching it again
    /// changes the severity. After Detach it is not called any more.
    void Attach(LogObserver & observer, LogSeverity least = LogSeverity::Trace) noexcept;
    void Detach(LogObserver & observer) noexcept;

    /// Hands everything appended so far to the channel, and flushes the channel.
    void Flush() noexcept;
    /// The process comes to its end: flushes, detaches the output and tells its Control.
    void Terminate() noexcept;

    /// Lines that could not be kept or that the channel refused.
    unsigned long long GetLostCount() const { return lost.load(std::memory_order_relaxed); }

private:
    struct Block;

    void AppendWanted(EventLogLine & line, LogComposer * composer) noexcept;
    void AppendToBlock(EventLogLine & line, LogComposer const * composer, unsigned int thread);
    void TellObservers(EventLogLine & line, LogComposer const * composer);
    bool HandOver(bool serious);
    void WriteBlock(Block & block);
    bool EnterOutput();
    void UpdateWanted();

    std::atomic<unsigned int> wanted = 0; // a bit for each severity
    std::atomic<unsigned long long> lost = 0;

    LockCore outputLock;          // held while the channel or the control is called
    OChannel * channel = nullptr; // under outputLock
    Control * control = nullptr;  // under outputLock
    std::atomic<bool> hasOutput = false;
    std::atomic<unsigned int> outputLevel = static_cast<unsigned int>(LogSeverity::Info);

    LockCore blockLock;        // taken inside outputLock or alone; nothing is taken inside
    Block * filling = nullptr; // under blockLock: where lines go
    Block * writing = nullptr; // under outputLock: on its way to the channel
    std::atomic<bool> safetyWanted = false; // an error waits for a HandOver that is under way

    LockCore observerLock;             // held while an observer is called
    LogObserver * observers = nullptr; // under observerLock
    bool telling = false;              // under observerLock: an observer is being called
};

KESTREL_API extern FastLogger logger;

} // namespace Mu
