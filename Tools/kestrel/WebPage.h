#pragma once

#include "Http/HttpServer.h"
#include "Json.h"

#include <string>

namespace Tool {

class InspectedProcess;
class MachineData;

/// A file of the page, by its name; "" is the page itself. Status 404: there is none.
HttpReply GetPageFile(std::string const & name);

/// Everything that the page can show, as far as it is of use in a file: levels with their tables and
/// the text of things, the nearest first, up to a limit, and what MachineData knows.
Json CollectData(InspectedProcess & process, MachineData & machine);

/// The page as one file that needs nothing else, and shows the data.
std::string BuildSavedPage(Json const & data);

} // namespace Tool
