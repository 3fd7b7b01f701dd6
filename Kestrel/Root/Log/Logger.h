#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Log/LogLine.h>

#include <atomic>

namespace Mu {

class LoggerWorker;
class OChannel;

/// Receives each line when it is appended, on the appending thread. Lines that an observer appends
/// itself, in LineAppended, are logged but not passed to observers.
class KESTREL_API LogObserver {
public:
    virtual ~LogObserver() = default;
    /// `text` is UTF-8 with the values filled in; nothing is escaped.
    virtual void LineAppended(LogSeverity severity, char const * domain, char const * text) = 0;

private:
    friend class LoggerWorker;
    LogObserver * next = nullptr;
    LogSeverity least = LogSeverity::Trace;
};

/// The central logger. It writes each line as UTF-8 text,
///
///     2026-03-01T09:30:00.123+01:00 ERROR IO 7 Opening file "a" in folder "C:\b" ...
///
/// that is: local time with its offset, severity, domain (with "/subdomain" if there is one),
/// number of the thread, text. Line breaks in a text become \n; other control characters,
/// bidirectional and invisible marks, and bytes that are not UTF-8 become \xNN. So each event is
/// one line for grep, sort and any viewer, and contains no terminal sequences.
///
/// A line without a listener costs one test of a flag. One that is written costs a copy; blocks of
/// whole lines are written to the channel when they are full, by Flush, for each error, and at the
/// end.
///
/// Memory:  two blocks while an output is set. Without memory a line is lost, and counted.
/// Threads: any; writes to the channel and calls of the Control are serialised. A channel may log
///          while it is written to. Waits for a blocked channel are short, so a channel may even
///          wait for a lock whose holder logs.
/// Failure: none is reported, and no exception is thrown. GetLostCount returns the number of lost
///          lines.
class KESTREL_API FastLogger {
public:
    using LogComposer = Mu::LogComposer;

    /// The callbacks to the owner of the output. They come one at a time, never during a write, and
    /// must not change the output.
    class KESTREL_API Control {
    public:
        virtual ~Control() = default;
        /// Called between blocks of output. Returns true if a new file was started.
        virtual bool StartNewBlock() = 0;
        /// Called after an error line was written, and by Flush: everything written must survive a
        /// crash of the process from now on.
        virtual void SeriousErrorEncountered() = 0;
        /// Nothing more will be written. The output is already detached.
        virtual void ApplicationTerminated() = 0;
    };

    FastLogger(FastLogger const &) = delete;
    FastLogger & operator=(FastLogger const &) = delete;

    void Append(EventLogLine & line) noexcept { Append(line, nullptr); }
    /// The composer, which may be null, contains the values for the placeholders of the format. A
    /// placeholder without a value remains "%"; surplus values are ignored.
    void Append(EventLogLine & line, LogComposer * composer) noexcept {
        if (IsWanted(line.GetSeverity()))
            AppendWanted(line, composer);
    }

    /// Whether there is a listener for lines of this severity. Check it before computing expensive
    /// values.
    bool IsWanted(LogSeverity severity) const {
        return (wanted.load(std::memory_order_relaxed) >> static_cast<unsigned int>(severity)) & 1u;
    }

    /// Writes lines to `channel` from now on. The earlier channel first gets everything appended so
    /// far. Nulls end the output. Neither is owned.
    void SetOutput(OChannel * channel, Control * control) noexcept;
    /// Ends the output if it is this channel; call it before the channel is destroyed.
    void RemoveOutput(OChannel * channel) noexcept;
    /// Lines below this severity are not written. Info by default.
    void SetOutputLevel(LogSeverity least) noexcept;

    /// The observer receives lines of this severity and above until it is detached; attaching it
    /// again changes the severity. It is not called any more after Detach has returned.
    void Attach(LogObserver & observer, LogSeverity least = LogSeverity::Trace) noexcept;
    void Detach(LogObserver & observer) noexcept;

    /// Writes everything appended so far to the channel, flushes it, and has the Control secure it.
    void Flush() noexcept;
    /// The process is ending: flushes, detaches the output and notifies its Control. Gives up after
    /// a while if a terminated thread has left the logger locked.
    void Terminate() noexcept;

    /// The number of lines that could not be stored or written.
    unsigned long long GetLostCount() const { return lost.load(std::memory_order_relaxed); }

    explicit constexpr FastLogger(LoggerWorker & itsWorker) : worker(itsWorker) {}

private:
    friend class LoggerWorker;

    void AppendWanted(EventLogLine & line, LogComposer * composer) noexcept;

    // Three bits for each severity: wanted at all, by the output, by an observer.
    std::atomic<unsigned int> wanted = 0;
    std::atomic<unsigned long long> lost = 0;
    LoggerWorker & worker; // private to the root
};

KESTREL_API extern FastLogger logger;

} // namespace Mu
