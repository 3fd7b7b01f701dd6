#pragma once

#include "Console.h"

#include <Kestrel/FileSystem/TransferScope.h>
#include <Kestrel/Location/Location.h>

#include <string>

namespace Tool {

/// Accompanies long work: shows progress, speed and remaining time on the terminal, reports each
/// entry that failed while the work continues, and ends the work on Ctrl-C.
class Watch final : private IO::TransferObserver {
public:
    Watch(char const * verb, Console & console);
    ~Watch() override;

    /// Sets the current root: its location, and the path as the user typed it.
    void SetRoot(IO::Location const & root, std::string const & path);
    /// Adds the bytes below a location to the total.
    void AddTotal(IO::Location const & location);

    /// Whether entries below the root were left out since SetRoot; each has been reported.
    bool HasFailures() const { return hasFailures; }
    bool IsEnded() const { return scope.IsEnded(); }
    /// 1 when any entry was left out.
    int Finish();

private:
    bool Advanced(IO::TransferProgress const & now) override;
    bool Failed(Mu::UniString const & place, MuErrCode status, char const * causes) override;

    std::string verb;
    Console & console;
    Mu::UniString root;
    std::string path;
    bool isShown;
    bool hasFailures = false;
    unsigned int failures = 0;
    unsigned long long total = 0;
    unsigned long long counted = 0; // bytes in the scope's progress before the work began
    unsigned long long began;
    IO::TransferScope scope; // the last member, as it calls the others
};

/// "1.2 GiB".
std::string ToSizeText(unsigned long long size);
/// The cause of a failure, in the words of the system if there are any. `line` is a line of the
/// library's log or its part about the system, and may be empty.
std::string GetCause(MuErrCode status, std::string const & line);
/// Asks on the terminal, or wherever standard input comes from. True if the answer begins with y or
/// Y.
bool Confirm(std::string const & question);

} // namespace Tool
