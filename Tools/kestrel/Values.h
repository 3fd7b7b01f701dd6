#pragma once

#include "Json.h"

#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace Tool {

/// The types of values in requests and answers, by the names that `kestrel call --help` lists.
bool IsType(std::string const & name);
/// Writes what a "TYPE:VALUE" says. False: it says nothing, or the value does not fit the type.
bool WriteValue(Mu::OChannel & channel, std::string const & argument);
/// Reads a value of that type. False: none is there.
bool ReadValue(Mu::IChannel & channel, std::string const & type, Json * value);

} // namespace Tool
