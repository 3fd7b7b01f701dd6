#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Log/LogLine.h>

#include <atomic>

namespace Mu {

class LoggerWorker;
class OChannel;

/// Gets each line as it is appended, on the thread that appends it. Lines that an observer appends
/// itself, from inside LineAppended, reach the log but no observer.
class KESTREL_API LogObserver {
public:
    virtual ~LogObserver() = default;
    /// `text` is UTF-8 with the placeholders filled, as it was given: nothing is escaped.
    virtual void LineAppended(LogSeverity severity, char const * domain, char const * text) = 0;

private:
    friend class LoggerWorker;
    LogObserver * next = nullptr;
    LogSeverity least = LogSeverity::Trace;
};

/// The one collector of log lines. It writes each as a line of UTF-8 text,
///
///     2026-03-01T09:30:00.123+01:00 ERROR IO 7 Opening file "a" in folder "C:\b" ...
///
/// that is: local time with its offset, severity, domain (with "/subdomain" where there is one),
/// number of the thread, text. Line breaks in a text become \n; other control characters, marks
/// that turn the direction of writing or show as nothing, and bytes that are no UTF-8 become \xNN.
/// So one line is one event for grep, sort and any viewer, and steers no terminal.
///
/// A line without a listener costs one test of a flag. One that is written costs a copy; blocks of
/// whole lines go to the channel when they are full, at Flush, at each error, and at the end.
///
/// Memory:  two blocks while an output is set. Without memory a line is lost, and counted.
/// Threads: any; writes to the channel and calls of the Control are serialised. A channel may log
///          while it is written to. Nothing waits long for a channel that is stuck, so it may also
///          wait for a lock whose holder logs.
/// Failure: none is reported, no exception leaves. GetLostCount returns how many lines are gone.
class KESTREL_API FastLogger {
public:
    using LogComposer = Mu::LogComposer;

    /// How the owner of the output takes part. The calls come one at a time, never inside a write,
    /// and must not change the output.
    class KESTREL_API Control {
    public:
        virtual ~Control() = default;
        /// Called between blocks of output. True: a new file was begun.
        virtual bool StartNewBlock() = 0;
        /// Called after an error line was written, and by Flush: what was written must survive the
        /// death of the process from now on.
        virtual void SeriousErrorEncountered() = 0;
        /// Nothing more will be written. The output is detached already.
        virtual void ApplicationTerminated() = 0;
    };

    FastLogger(FastLogger const &) = delete;
    FastLogger & operator=(FastLogger const &) = delete;

    void Append(EventLogLine & line) noexcept { Append(line, nullptr); }
    /// The composer, which may be null, holds the values for the placeholders of the line's format.
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
    /// Ends the output if it is this channel; call it before the channel is destroyed.
    void RemoveOutput(OChannel * channel) noexcept;
    /// Lines below this severity are not written. Info at first.
    void SetOutputLevel(LogSeverity least) noexcept;

    /// The observer gets lines of this severity and above until it is detached; attaching it again
    /// changes the severity. After Detach it is not called any more.
    void Attach(LogObserver & observer, LogSeverity least = LogSeverity::Trace) noexcept;
    void Detach(LogObserver & observer) noexcept;

    /// Hands everything appended so far to the channel, flushes it, and has the Control bring it to
    /// safety.
    void Flush() noexcept;
    /// The process comes to its end: flushes, detaches the output and notifies its Control. Gives
    /// up after a while if a thread that is gone has left the logger locked.
    void Terminate() noexcept;

    /// Lines that could not be kept or that the channel refused.
    unsigned long long GetLostCount() const { return lost.load(std::memory_order_relaxed); }

    explicit constexpr FastLogger(LoggerWorker & itsWorker) : worker(itsWorker) {}

private:
    friend class LoggerWorker;

    void AppendWanted(EventLogLine & line, LogComposer * composer) noexcept;

    // Three times a bit for each severity: wanted at all, by the output, by an observer.
    std::atomic<unsigned int> wanted = 0;
    std::atomic<unsigned long long> lost = 0;
    LoggerWorker & worker; // private to the root
};

KESTREL_API extern FastLogger logger;

} // namespace Mu
