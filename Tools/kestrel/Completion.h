#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace Tool {

/// What a shell runs to complete the commands and options that `app` parses. Empty for a shell that is
/// not known.
std::string WriteCompletion(CLI::App const & app, std::string const & shell);

} // namespace Tool
