#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace Tool {

/// A script with which a shell completes the commands and options that `app` parses. Empty for an
/// unknown shell.
std::string WriteCompletion(CLI::App const & app, std::string const & shell);

} // namespace Tool
