#include "MachineData.h"

#include "Answers.h"
#include "Arguments.h"
#include "InspectedProcess.h"
#include "LogLines.h"

#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>
#include <Kestrel/Root/Time/Clock.h>

#include <algorithm>
#include <future>

namespace Tool {

namespace {

constexpr double Patience = 1; // seconds
constexpr std::size_t MostCursors = 32;
constexpr std::size_t MostLogFiles = 200;
constexpr std::size_t FilesAtFirst = 4;
constexpr unsigned long long ShortestPause = 5000000; // microseconds between searches for a log
constexpr unsigned int DeepestFolder = 60;

std::string ToRequest(char const * command, unsigned int const * socket = nullptr) {
    IO::MemoryOChannel request;
    request.Write(Mu::String(command));
    if (socket != nullptr) {
        request.Write(*socket);
        request.Write('b');
    }
    return std::string(static_cast<IO::MemoryOChannel const &>(request).GetDestination(),
                       request.GetDataSize());
}

// The lengths of its queues for reading and sending. Null: it was closed meanwhile.
Json CountQueues(Json const & details) {
    if (details.is_null())
        return details;
    Json const & input = details["input"];
    Json const & output = details["output"];
    auto const get = [&](char const * name) { return output[name].get<long long>(); };
    long long const unsent = get("blocks") == 0 ? 0
                                                : get("blocks") * get("block size") -
                                                      get("first offset") - get("last free");
    return {{"in", {{"bytes", input["available"]}, {"messages", input["separators"].size()}}},
            {"out", {{"bytes", std::max(unsent, 0ll)}, {"messages", output["separators"]}}}};
}

void AddCommunicators(Json * server) {
    std::string const place =
        "ipc://localhost:" + std::to_string((*server)["port"].get<unsigned int>()) + "/Processes";
    std::string answer;
    std::string const failure = AskService(place, ToRequest("Communicators"), Patience, &answer);
    Json list = failure.empty() ? ExplainAnswer("Communicators", {}, answer) : Json();
    if (!list.is_array()) {
        (*server)["failure"] = failure.empty() ? "it says something else" : failure;
        return;
    }
    for (Json & one : list) {
        if (one["kind"] != "client" && one["kind"] != "connection")
            continue;
        auto const socket = one["socket"].get<unsigned int>();
        if (AskService(place, ToRequest("Inspect", &socket), Patience, &answer).empty())
            one["queues"] = CountQueues(ExplainAnswer("Inspect", {"", "char:b"}, answer));
    }
    (*server)["communicators"] = list;
}

// The newest first.
std::vector<LogFile> ListNewestLogFiles(IO::Folder const & folder, std::string const & base) {
    std::vector<LogFile> files;
    static_cast<void>(ListLogFiles(folder, &files));
    std::erase_if(files, [&](LogFile const & file) { return file.name.rfind(base, 0) != 0; });
    std::sort(files.begin(), files.end(), [](LogFile const & a, LogFile const & b) {
        return a.time != b.time ? a.time > b.time : a.name > b.name;
    });
    files.resize(std::min(files.size(), MostLogFiles));
    return files;
}

// What the names of the log files of a process begin with, by the name of one of them, as
// FileLogOutput chooses them: "Log-", digits that end with the number of the process, "-", the
// number of the file, and ".log". Empty: it is none of them.
std::string GetLogBase(std::string const & name, std::string const & owner) {
    std::size_t const end = name.rfind('-');
    bool const isOne = name.rfind("Log-", 0) == 0 && end != name.npos && end > 4 + owner.size() &&
                       name.find_first_not_of("0123456789", 4) == end &&
                       name.compare(end - owner.size(), owner.size(), owner) == 0 &&
                       name.find_first_not_of("0123456789", end + 1) == name.size() - 4 &&
                       name.compare(name.size() - 4, 4, ".log") == 0;
    return isOne ? name.substr(0, end + 1) : "";
}

// The name of a node of a walk down the address tree; empty unless the process reports a text.
std::string GetNodeName(Json const & node) {
    return node.size() > 3 && node[3].is_string() ? node[3].get<std::string>() : "";
}

// The folders that lead to a node of that walk, the drive first. False: it lies on no drive.
bool GetFolder(Json const & nodes, std::size_t node, IO::Location * folder) {
    std::vector<std::string> names;
    for (int at = nodes[node][0]; at > 0; at = nodes[static_cast<std::size_t>(at)][0])
        names.push_back(GetNodeName(nodes[static_cast<std::size_t>(at)])); // 0 is the root
    if (names.empty() || names.back().size() != 2 || names.back()[1] != ':')
        return false;
    for (; !names.empty(); names.pop_back())
        if (folder->AppendToLocal(IO::Name(FromUtf8(names.back()))) != IO::NoError)
            return false;
    return folder->IsLegal();
}

} // namespace

MachineData::MachineData(std::string const & logFolder, InspectedProcess & process)
    : process(process), isGiven(!logFolder.empty()) {
    if (isGiven)
        log.folder = ToLocation(logFolder);
}

// The names are whatever the process says they are: only files with the names of logs are read, and
// on drives alone, as a path to another machine would reveal the user to it.
bool MachineData::FindLog(LogSeries * found) {
    std::lock_guard const guard(search);
    unsigned long long const begin = Mu::GetClock().GetMonotonicMicroseconds();
    if (!isGiven && process.IsHere() && begin >= nextSearch) {
        try {
            unsigned int const number = process.GetTarget()["process"];
            if (log.folder.IsEmpty() || number != owner) {
                Json const walk = process.Walk({"Kestrel", "AddressTree"},
                                               InspectedProcess::MostNodes, DeepestFolder, true);
                Json const & nodes = walk["nodes"];
                for (std::size_t i = 0; i < nodes.size(); ++i) {
                    LogSeries one{{}, GetLogBase(GetNodeName(nodes[i]), std::to_string(number))};
                    if (!one.base.empty() && GetFolder(nodes, i, &one.folder)) {
                        log = one;
                        owner = number;
                    }
                }
            }
        } catch (InspectedProcess::Unanswered const &) {
            // What it logged last is there, also when it has ended.
        }
        unsigned long long const end = Mu::GetClock().GetMonotonicMicroseconds();
        nextSearch = end + std::max(ShortestPause, 10 * (end - begin));
    }
    *found = log;
    return !log.folder.IsEmpty();
}

MachineData::~MachineData() {
    {
        std::lock_guard const guard(turn);
        isOver = true;
    }
    changed.notify_all();
    if (asker.joinable())
        asker.join();
}

void MachineData::RunQuestions() {
    std::unique_lock lock(turn);
    for (;;) {
        changed.wait(lock, [&] { return isOver || !questions.empty(); });
        if (isOver)
            return;
        std::function<void()> const question = std::move(questions.front());
        questions.pop_front();
        lock.unlock();
        question();
        lock.lock();
    }
}

Json MachineData::GetConnections() {
    auto const question =
        std::make_shared<std::packaged_task<Json()>>([this] { return ReadConnections(); });
    std::future<Json> answer = question->get_future();
    {
        std::lock_guard const guard(turn);
        questions.push_back([question] { (*question)(); });
        if (!asker.joinable())
            asker = std::thread([this] { RunQuestions(); });
    }
    changed.notify_all();
    return answer.get();
}

Json MachineData::ReadConnections() {
    int ignored = 0;
    Json list = ListProcesses(false, &ignored);
    for (Json & one : list)
        for (Json & server : one["servers"])
            for (Json const & service : server["services"])
                if (service == "Processes") {
                    AddCommunicators(&server);
                    break;
                }
    return list;
}

Json MachineData::GetLog(unsigned int cursor) {
    LogSeries series;
    if (!FindLog(&series))
        return nullptr;
    Ends ends;
    bool isKnown = false;
    {
        std::lock_guard const guard(turn);
        for (auto const & [number, known] : cursors)
            if (number == cursor) {
                ends = known;
                isKnown = true;
            }
    }
    IO::Folder const folder(series.folder);
    std::vector<LogFile> const files = ListNewestLogFiles(folder, series.base);
    Json lines = Json::array();
    for (std::size_t i = files.size(); i-- > 0;) { // the newest last
        LogFile const & file = files[i];
        unsigned long long & end = ends[file.name];
        if (!isKnown) // none of old files, the end of new ones
            end = i >= FilesAtFirst          ? file.size
                  : file.size > MostLogBytes ? file.size - MostLogBytes
                                             : 0;
        end = std::min(end, file.size);
        bool const isFirstCut = !isKnown && end > 0;
        std::vector<std::string> read;
        static_cast<void>(ReadLogLines(folder, file, false, &end, &read));
        for (std::size_t line = isFirstCut ? 1 : 0; line < read.size(); ++line)
            lines.push_back({file.name, read[line]});
    }
    std::lock_guard const guard(turn);
    cursors.emplace_back(++lastCursor, std::move(ends));
    if (cursors.size() > MostCursors)
        cursors.pop_front();
    return {{"folder", ToText(series.folder)}, {"cursor", lastCursor}, {"lines", lines}};
}

} // namespace Tool
