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

/// What the answer of one of the library's own services says, by the command that was asked and its
/// arguments. Null: it is no such command, or what came is no such answer.
Json ExplainAnswer(std::string const & command, std::vector<std::string> const & arguments,
                   std::string const & answer);

/// Names and values on lines, what is in others below them.
void ShowFields(Json const & fields, unsigned int depth);

} // namespace Tool
