#include "MachineData.h"

#include "Answers.h"
#include "Arguments.h"

#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/FileSystem/File.h>
#include <Kestrel/FileSystem/Folder.h>

#include <algorithm>
#include <future>

namespace Tool {

namespace {

constexpr double Patience = 1; // seconds
constexpr std::size_t MostCursors = 32;
constexpr std::size_t MostLogFiles = 200;
constexpr unsigned long long LargestPiece = 128u << 10; // of one file in an answer
constexpr std::size_t FilesAtFirst = 4;

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

// What waits to be read there, and what to be sent. Null: it was closed meanwhile.
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

struct LogFile {
    std::string name;
    int time = 0;
    unsigned long long size = 0;
};

// The newest first.
std::vector<LogFile> ListLogFiles(IO::Location const & place) {
    std::vector<LogFile> files;
    struct Call {
        static bool Found(IO::Folder const & folder, IO::Name const & name, bool isFolder,
                          void * data) {
            std::string const text = ToText(name);
            if (isFolder || text.size() < 4 || text.compare(text.size() - 4, 4, ".log") != 0)
                return true;
            IO::File const file(folder, name);
            LogFile found{text};
            if (file.GetModificationTime(&found.time) == IO::NoError &&
                file.GetDataLength(&found.size) == IO::NoError)
                static_cast<std::vector<LogFile> *>(data)->push_back(found);
            return true;
        }
    };
    static_cast<void>(IO::Folder(place).Enumerate(Call::Found, &files));
    std::sort(files.begin(), files.end(), [](LogFile const & a, LogFile const & b) {
        return a.time != b.time ? a.time > b.time : a.name > b.name;
    });
    files.resize(std::min(files.size(), MostLogFiles));
    return files;
}

// Whole lines from there on, or up to the largest piece; the first one is left out when it may be the
// end of one. Returns how far that went.
unsigned long long ReadLines(IO::Folder const & folder, LogFile const & from,
                             unsigned long long begin, bool isFirstCut, Json * lines) {
    IO::File file(folder, IO::Name(from.name.c_str()));
    std::string text(static_cast<std::size_t>(std::min(from.size - begin, LargestPiece)), '\0');
    unsigned int read = 0;
    if (file.Open(IO::File::OpenMode::ReadOnlySharedToReadWrite) != IO::NoError ||
        file.SetPosition(begin) != IO::NoError)
        return begin;
    static_cast<void>(file.ReadBin(text.data(), static_cast<unsigned int>(text.size()), &read));
    text.resize(read);
    std::size_t at = isFirstCut ? text.find('\n') + 1 : 0; // 0 where there is none
    for (std::size_t end = 0; (end = text.find('\n', at)) != text.npos; at = end + 1)
        lines->push_back({from.name, text.substr(at, end - at)});
    if (at == 0 && text.size() == LargestPiece) { // no end of a line for so long
        lines->push_back({from.name, text});
        at = text.size();
    }
    return begin + at;
}

} // namespace

MachineData::MachineData(std::string logFolder) : logFolder(std::move(logFolder)) {}

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
    for (Json & process : list)
        for (Json & server : process["servers"])
            for (Json const & service : server["services"])
                if (service == "Processes") {
                    AddCommunicators(&server);
                    break;
                }
    return list;
}

Json MachineData::GetLog(unsigned int cursor) {
    if (logFolder.empty())
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
    IO::Location const place = ToLocation(logFolder);
    std::vector<LogFile> const files = ListLogFiles(place);
    Json lines = Json::array();
    IO::Folder const folder(place);
    for (std::size_t i = files.size(); i-- > 0;) { // what came last stands last
        LogFile const & file = files[i];
        unsigned long long & end = ends[file.name];
        if (!isKnown) // of old ones nothing, of new ones the last piece
            end = i >= FilesAtFirst          ? file.size
                  : file.size > LargestPiece ? file.size - LargestPiece
                                             : 0;
        end = std::min(end, file.size);
        if (end < file.size)
            end = ReadLines(folder, file, end, !isKnown && end > 0, &lines);
    }
    std::lock_guard const guard(turn);
    cursors.emplace_back(++lastCursor, std::move(ends));
    if (cursors.size() > MostCursors)
        cursors.pop_front();
    return {{"folder", logFolder}, {"cursor", lastCursor}, {"lines", lines}};
}

} // namespace Tool
