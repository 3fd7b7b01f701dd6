#pragma once

#include "Json.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace Tool {

/// Data of this machine next to that of an inspected process, as JSON: servers and their
/// connections, and new lines of log files.
///
/// Memory:  the result, and an offset for each log file.
/// Threads: any. Services are queried on a thread of its own, as their pool requires.
/// Failure: data that cannot be read is left out, or the result contains the cause.
class MachineData {
public:
    /// With an empty folder there are no log lines.
    explicit MachineData(std::string logFolder);
    ~MachineData();
    MachineData(MachineData const &) = delete;
    MachineData & operator=(MachineData const &) = delete;

    /// The processes that serve, as `kestrel ps --json`. A server with a service "Processes", as
    /// ProcessInfoService registers it, also has {communicators: [{socket, kind, ..., queues},
    /// ...]}, or {failure} when it does not respond within a second.
    Json GetConnections();
    /// Lines added to the log files since the result with that cursor; 0 returns the ends of the
    /// newest files: {folder, cursor, lines: [[file, text], ...]}. Null without a folder.
    Json GetLog(unsigned int cursor);

private:
    using Ends = std::map<std::string, unsigned long long>; // how far each file has been read

    void RunQuestions();
    Json ReadConnections();

    std::string const logFolder;
    std::mutex turn;                                   // guards the following
    std::deque<std::pair<unsigned int, Ends>> cursors; // the newest last
    unsigned int lastCursor = 0;
    std::deque<std::function<void()>> questions;
    bool isOver = false;
    std::condition_variable changed;
    std::thread asker; // started by the first request
};

} // namespace Tool
