#pragma once

#include "Json.h"

#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace Tool {

/// The types of values in requests and answers, by the names in `kestrel call --help`.
bool IsType(std::string const & name);
/// Writes the value of a "TYPE:VALUE". False: it is malformed, or the value does not fit the type.
bool WriteValue(Mu::OChannel & channel, std::string const & argument);
/// Reads a value of that type. False: there is none.
bool ReadValue(Mu::IChannel & channel, std::string const & type, Json * value);

} // namespace Tool
