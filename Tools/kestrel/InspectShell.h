#pragma once

#include "Commands.h"

#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/Name.h>

#include <string>
#include <vector>

namespace Tool {

/// A position inside a process, and commands relative to it.
class InspectShell {
public:
    /// `target` is a PORT or a HOST:PORT.
    InspectShell(std::string const & target, Options const & options, Console & console);

    /// Until the input ends.
    int Run();
    /// Executes one command with its arguments. Returns the exit code of the process.
    int Execute(std::string const & line);

private:
    using Words = std::vector<std::string>;
    using Path = std::vector<IO::Name>;
    struct Command {
        char const * name;
        char const * arguments;
        char const * description;
        int (InspectShell::*execute)(Words const & words);
    };
    static Command const commands[];

    int ShowHelp(Words const & words);
    int ListEntries(Words const & words);
    int ChangeFolder(Words const & words);
    int ShowContent(Words const & words);
    int ShowValues(Words const & words);
    int ShowTree(Words const & words);
    int FindNames(Words const & words);
    int Watch(Words const & words);
    int TakeCopy(Words const & words);
    int Compare(Words const & words);
    int Quit(Words const & words);

    int RunHere(Words const & words, std::string Options::*here, std::string Options::*other,
                int (*command)(Options const & options, Console & console));
    Path ToPath(std::string const & text) const;
    IO::Location ToPlace(Path const & path) const;
    static std::string ToText(Path const & path);
    std::vector<std::string> Complete(std::string const & word) const;
    int Finish(MuErrCode status, Path const & path);

    std::string const target;
    Options const & options;
    Console & console;
    IO::Location const top;
    Path here;
    bool isEnded = false;
};

} // namespace Tool
