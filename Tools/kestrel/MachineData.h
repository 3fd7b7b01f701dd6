#pragma once

#include "Json.h"

#include <Kestrel/Location/Location.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace Tool {

class InspectedProcess;

/// Data of this machine next to that of an inspected process, as JSON: servers and their
/// connections, and new lines of log files.
///
/// Memory:  the result, and an offset for each log file.
/// Threads: any. Services are queried on a thread of its own, as their pool requires.
/// Failure: data that cannot be read is left out, or the result contains the cause.
class MachineData {
public:
    /// With an empty folder the log lines are those of the process itself, if it runs on this
    /// machine and logs into files: the names of its locations show where. The process must outlive
    /// this object.
    MachineData(std::string const & logFolder, InspectedProcess & process);
    ~MachineData();
    MachineData(MachineData const &) = delete;
    MachineData & operator=(MachineData const &) = delete;

    /// The processes that serve, as `kestrel ps --json`. A server with a service "Processes", as
    /// ProcessInfoService registers it, also has {communicators: [{socket, kind, ..., queues},
    /// ...]}, or {failure} when it does not respond within a second.
    Json GetConnections();
    /// Lines added to the log files since the result with that cursor; 0 returns the ends of the
    /// newest files: {folder, cursor, lines: [[file, text], ...]}. Null: no folder is known.
    Json GetLog(unsigned int cursor);

private:
    /// Log files of one folder.
    struct LogSeries {
        IO::Location folder;
        std::string base; ///< what their names begin with
    };
    using Ends = std::map<std::string, unsigned long long>; // how far each file has been read

    void RunQuestions();
    Json ReadConnections();
    bool FindLog(LogSeries * found);

    InspectedProcess & process;
    bool const isGiven;                // the folder of the log
    std::mutex search;                 // guards the following
    LogSeries log;                     // empty: none is known
    unsigned int owner = 0;            // the number of the process that `log` was found in
    unsigned long long nextSearch = 0; // microseconds
    std::mutex turn;                   // guards the following
    std::deque<std::pair<unsigned int, Ends>> cursors; // the newest last
    unsigned int lastCursor = 0;
    std::deque<std::function<void()>> questions;
    bool isOver = false;
    std::condition_variable changed;
    std::thread asker; // started by the first request
};

} // namespace Tool
