#pragma once

#include "Tests/Support/OwnProcess.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace Tests {

/// What a run of the tool came to.
struct ToolRun {
    int exitCode;
    std::string out;
    std::string error;
};

inline std::string ReadAll(std::filesystem::path const & path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

#if defined(_WIN32)

/// Sends a standard stream into a file as long as it lives.
class Redirection {
public:
    Redirection(int stream, char const * path) : stream(stream), earlier(_dup(stream)) {
        int const file = _open(path, _O_CREAT | _O_TRUNC | _O_WRONLY | _O_BINARY, 0600);
        _dup2(file, stream);
        _close(file);
    }
    ~Redirection() {
        _dup2(earlier, stream);
        _close(earlier);
    }
    Redirection(Redirection const &) = delete;
    Redirection & operator=(Redirection const &) = delete;

private:
    int stream;
    int earlier;
};

/// To its end, with what it says in the two files.
inline int Start(std::string const & program, std::vector<std::string> const & arguments) {
    Redirection const out(1, "host-out.log");
    Redirection const error(2, "host-error.log");
    return RunProgram("./" + program, arguments);
}

#else

inline int Start(std::string const & program, std::vector<std::string> const & arguments) {
    std::string command = "./" + program;
    for (std::string const & argument : arguments)
        command += " '" + argument + "'";
    return std::system((command + " >host-out.log 2>host-error.log").c_str()) >> 8;
}

#endif

inline bool Has(std::string const & text, std::string const & part) {
    return text.find(part) != std::string::npos;
}

/// Runs the tool, or another program beside it, to its end. No argument may hold a quotation mark.
inline ToolRun RunTool(std::vector<std::string> const & arguments,
                       std::string const & program = KESTREL_TOOL) {
    int const exitCode = Start(program, arguments);
    return {exitCode, ReadAll("host-out.log"), ReadAll("host-error.log")};
}

} // namespace Tests
