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

/// The processes of this machine by number, with their servers by port; those that serve, or all. What
/// could not be read of one is said, and `*result` becomes 1.
Json ListProcesses(bool all, int * result);

/// Asks "ipc://host:port/service", and waits for the whole answer. Empty, or why there is none. On one
/// thread of the process, always the same.
std::string AskService(std::string const & place, std::string const & request, double timeout,
                       std::string * answer);

/// What the answer of one of the library's own services says, by the command that was asked and its
/// arguments. Null: it is no such command, or what came is no such answer.
Json ExplainAnswer(std::string const & command, std::vector<std::string> const & arguments,
                   std::string const & answer);

/// Names and values on lines, what is in others below them.
void ShowFields(Json const & fields, unsigned int depth);

} // namespace Tool
