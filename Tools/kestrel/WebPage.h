#pragma once

#include "Http/HttpServer.h"
#include "Json.h"

#include <string>

namespace Tool {

class InspectedProcess;
class MachineData;

/// A file of the page, by its name; "" is the page itself. Status 404: there is none.
HttpReply GetPageFile(std::string const & name);

/// All data that is useful in a saved page: levels with their tables and the text of things, the
/// nearest first, up to a limit, and that of MachineData. Levels and texts that could not be read are
/// left out and counted; a process that is gone or silent is asked no further.
Json CollectData(InspectedProcess & process, MachineData & machine, std::size_t * leftOut);

/// The page as one self-contained file that shows the data.
std::string BuildSavedPage(Json const & data);

} // namespace Tool
