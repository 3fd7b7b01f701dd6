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

/// What this machine knows beside what a process shows of itself, as JSON: who serves and who is
/// connected, and what is written to log files.
///
/// Memory:  the answer, and a number for each log file.
/// Threads: any. What asks services has a thread of its own, as their pool wants it.
/// Failure: what cannot be read is left out, or says why in the answer.
class MachineData {
public:
    /// Without a folder there are no log lines.
    explicit MachineData(std::string logFolder);
    ~MachineData();
    MachineData(MachineData const &) = delete;
    MachineData & operator=(MachineData const &) = delete;

    /// The processes that serve, as `kestrel ps --json`. A server with a service "Processes", as
    /// ProcessInfoService is registered, also has {communicators: [{socket, kind, ..., queues}, ...]},
    /// or {failure} when it does not answer within a second.
    Json GetConnections();
    /// What has come into the log files since the answer with the cursor; 0 gives the ends of the
    /// newest ones: {folder, cursor, lines: [[file, text], ...]}. Null without a folder.
    Json GetLog(unsigned int cursor);

private:
    using Ends = std::map<std::string, unsigned long long>; // how far each file has been read

    void RunQuestions();
    Json ReadConnections();

    std::string const logFolder;
    std::mutex turn;                                   // on what follows
    std::deque<std::pair<unsigned int, Ends>> cursors; // the newest last
    unsigned int lastCursor = 0;
    std::deque<std::function<void()>> questions;
    bool isOver = false;
    std::condition_variable changed;
    std::thread asker; // started by the first question
};

} // namespace Tool
