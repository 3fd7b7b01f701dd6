#pragma once

#include "Console.h"

#include <nlohmann/json.hpp>

namespace Tool {

using Json = nlohmann::ordered_json;

/// On a terminal with escapes for all except printable ASCII.
inline void ShowJson(Json const & value) {
    Out() << value.dump(2, ' ', Out().IsTerminal(), Json::error_handler_t::replace).c_str() << "\n";
}

} // namespace Tool
