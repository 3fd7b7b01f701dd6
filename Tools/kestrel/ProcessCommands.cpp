#include "Answers.h"
#include "Arguments.h"
#include "Commands.h"
#include "Console.h"
#include "Interruption.h"
#include "Json.h"

#include <Kestrel/FileSystem/FileSystem.h>
#include <Kestrel/IPC/ApplicationLauncher.h>
#include <Kestrel/IPC/ProcessInfo.h>
#include <Kestrel/IPC/Setup.h>
#include <Kestrel/Process/Process.h>

#include <algorithm>

namespace Tool {

namespace {

using IO::IPC::ApplicationInfo;
using IO::IPC::ApplicationList;
using IO::IPC::ProcessInfo;
using IO::IPC::ServerInfo;

// Most processes have no file, and need not be queried under a lock. If the file cannot be looked
// up, the query reports the reason.
bool MayHaveServers(IO::Process::Descriptor const & process) {
    IO::Location file = IO::IPC::Setup::Instance().GetDataFolderLocation();
    bool isThere = true;
    return file.AppendToLocal(IO::Name(std::to_string(process.processId).c_str())) != IO::NoError ||
           IO::fileSystem.Contains(file, &isThere) != IO::NoError || isThere;
}

std::vector<std::string> GetServices(ServerInfo const & server) {
    std::vector<std::string> names;
    for (Mu::UniString const & name : server.GetServiceSet())
        names.push_back(ToUtf8(name));
    std::sort(names.begin(), names.end());
    return names;
}

/// A process, and its servers by port.
struct Listed {
    IO::Process::Descriptor process;
    std::vector<ServerInfo> servers;
};

/// The processes of this machine by number: those with servers, or all. Reports each process that
/// could not be read, and sets `*result` to 1 then.
std::vector<Listed> ReadProcesses(bool all, int * result) {
    std::vector<Listed> list;
    Listed one;
    for (int status = IO::Process::GetFirstProcess(&one.process);
         status == IO::NoError && !IsInterrupted();
         status = IO::Process::GetNextProcess(&one.process)) {
        one.servers.clear();
        if (MayHaveServers(one.process)) {
            ProcessInfo info(one.process);
            if (info.RefreshServerSet() != IO::NoError)
                *result = Console::Fail("process " + std::to_string(one.process.processId) +
                                        ": what it serves cannot be read");
            one.servers.assign(info.GetServerSet().begin(), info.GetServerSet().end());
            std::sort(one.servers.begin(), one.servers.end(),
                      [](ServerInfo const & a, ServerInfo const & b) {
                          return a.GetPort() < b.GetPort();
                      });
        }
        if (all || !one.servers.empty())
            list.push_back(one);
    }
    std::sort(list.begin(), list.end(), [](Listed const & a, Listed const & b) {
        return a.process.processId < b.process.processId;
    });
    return list;
}

/// The applications that have run here; reports the reason if they cannot be listed.
bool ReadApplications(ApplicationList & list, Console & console) {
    IO::Location file = IO::IPC::Setup::Instance().GetDataFolderLocation();
    bool isThere = true;
    if (file.AppendToLocal(IO::Name("IPC.11.dat")) == IO::NoError &&
        IO::fileSystem.Contains(file, &isThere) == IO::NoError && !isThere)
        return true; // none has run yet
    return console.Finish(list.Read(), Tool::ToText(file)) == 0;
}

} // namespace

Json ToJson(IO::Process::Descriptor const & process) {
    return {{"process", process.processId},
            {"parent", process.parentProcessId},
            {"name", ToUtf8(process.name)},
            {"path", ToText(process.path)}};
}

Json ToJson(ServerInfo const & server) {
    return {{"port", server.GetPort()}, {"services", GetServices(server)}};
}

Json ToJson(ApplicationInfo const & application) {
    return {{"name", ToText(application.GetName())},
            {"version", application.GetVersion()},
            {"path", ToText(application.GetPath())}};
}

Json ListProcesses(bool all, int * result) {
    Json list = Json::array();
    for (Listed const & one : ReadProcesses(all, result)) {
        Json json = ToJson(one.process);
        json["servers"] = Json::array();
        for (ServerInfo const & server : one.servers)
            json["servers"].push_back(ToJson(server));
        list.push_back(std::move(json));
    }
    return list;
}

int ShowProcesses(Options const & options, Console &) {
    int result = 0;
    if (options.json) {
        ShowJson(ListProcesses(options.all, &result));
        return result;
    }
    std::vector<std::vector<std::string>> rows{{"PROCESS", "NAME", "PORT", "SERVICES"}};
    for (Listed const & one : ReadProcesses(options.all, &result)) {
        std::vector<std::string> const start{std::to_string(one.process.processId),
                                             ToUtf8(one.process.name)};
        if (one.servers.empty())
            rows.push_back(start);
        for (ServerInfo const & server : one.servers) {
            std::string names;
            for (std::string const & name : GetServices(server))
                names += (names.empty() ? "" : ", ") + name;
            rows.push_back({start[0], start[1], std::to_string(server.GetPort()), names});
        }
    }
    ShowTable(rows);
    return result;
}

int ShowServices(Options const & options, Console &) {
    int result = 0;
    std::vector<std::vector<std::string>> rows;
    for (Listed const & one : ReadProcesses(false, &result))
        for (ServerInfo const & server : one.servers)
            for (std::string const & name : GetServices(server))
                rows.push_back({name, std::to_string(server.GetPort()),
                                std::to_string(one.process.processId), ToUtf8(one.process.name)});
    std::sort(rows.begin(), rows.end());
    if (options.json) {
        Json list = Json::array();
        for (auto const & row : rows)
            list.push_back({{"service", row[0]},
                            {"port", std::stoul(row[1])},
                            {"process", std::stol(row[2])},
                            {"name", row[3]}});
        ShowJson(list);
        return result;
    }
    rows.insert(rows.begin(), {"SERVICE", "PORT", "PROCESS", "NAME"});
    ShowTable(rows);
    return result;
}

int ShowApplications(Options const & options, Console & console) {
    ApplicationList list;
    if (!ReadApplications(list, console))
        return 1;
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows{{"NAME", "VERSION", "PROGRAM"}};
    for (auto const & [name, versions] : list)
        for (ApplicationInfo const & application : versions) {
            json.push_back(ToJson(application));
            rows.push_back({ToText(name), std::to_string(application.GetVersion()),
                            ToText(application.GetPath())});
        }
    if (options.json)
        ShowJson(json);
    else
        ShowTable(rows);
    return 0;
}

int LaunchApplication(Options const & options, Console & console) {
    ApplicationList list;
    if (!ReadApplications(list, console))
        return 1;
    ApplicationInfo const * chosen = nullptr;
    for (auto const & [name, versions] : list)
        for (ApplicationInfo const & application : versions)
            if (ToText(name) == options.source &&
                (options.version
                     ? application.GetVersion() == *options.version
                     : chosen == nullptr || application.GetVersion() > chosen->GetVersion()))
                chosen = &application;
    if (chosen == nullptr)
        return console.Fail(options.source + ": no such application has run here");
    Mu::Array<Mu::UniString> parameters;
    for (std::string const & parameter : options.paths)
        parameters.Push(FromUtf8(parameter));
    IO::IPC::ApplicationLauncher::SetThisApp("kestrel", 1);
    int const result = console.Finish(
        IO::IPC::ApplicationLauncher::Instance().Launch(chosen->GetPath(), parameters),
        ToText(chosen->GetPath()));
    if (result == 0 && options.json)
        ShowJson(ToJson(*chosen));
    return result;
}

} // namespace Tool
