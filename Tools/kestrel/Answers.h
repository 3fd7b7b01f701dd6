#pragma once

#include "Json.h"

#include <Kestrel/IPC/ApplicationInfo.h>
#include <Kestrel/IPC/ServerInfo.h>
#include <Kestrel/Process/Descriptor.h>

#include <string>
#include <vector>

namespace Tool {

Json ToJson(IO::Process::Descriptor const & process);
Json ToJson(IO::IPC::ServerInfo const & server);
Json ToJson(IO::IPC::ApplicationInfo const & application);

/// Lists the processes of this machine by number, with their servers by port: those that serve, or
/// all. Reports each process that could not be read, and sets `*result` to 1 then.
Json ListProcesses(bool all, int * result);

/// Sends the request to "ipc://host:port/service" and waits for the whole answer. Returns an empty
/// text, or the cause of the failure. All calls of a process must come from one thread.
std::string AskService(std::string const & place, std::string const & request, double timeout,
                       std::string * answer);

/// Decodes an answer of one of the library's own services, by the command that was sent and its
/// arguments. Null: the command is unknown, or the answer does not fit it.
Json ExplainAnswer(std::string const & command, std::vector<std::string> const & arguments,
                   std::string const & answer);

/// One "name: value" on each line, nested fields indented below their name.
void ShowFields(Json const & fields, unsigned int depth);

} // namespace Tool
