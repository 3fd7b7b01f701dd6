#pragma once

#include "Console.h"

#include <Kestrel/FileSystem/TransferScope.h>
#include <Kestrel/Location/Location.h>

#include <string>

namespace Tool {

/// What stands beside long work: a line on the terminal that says how far it has come, how fast, and
/// how long it will take; each entry that failed, on which the work goes on; and its end on Ctrl-C.
class Watch final : private IO::TransferObserver {
public:
    Watch(char const * verb, Console & console);
    ~Watch() override;

    /// What is worked on next: where it is, and how the user named it.
    void SetRoot(IO::Location const & root, std::string const & path);
    /// Adds to the bytes that there are in all.
    void AddTotal(IO::Location const & location);

    /// Entries below the root were left out since SetRoot; each has been named.
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
    unsigned long long counted = 0; // of the scope's bytes, before the work began
    unsigned long long began;
    IO::TransferScope scope; // the last: it calls the others
};

/// "1.2 GiB".
std::string ToSizeText(unsigned long long size);
/// What is known of a failure, in the words of the system where it has some. `line` is a line of the
/// library's log or what it says of the system, and may be empty.
std::string GetCause(MuErrCode status, std::string const & line);
/// Asks on the terminal, or wherever standard input comes from. Only an answer with y is one.
bool Confirm(std::string const & question);

} // namespace Tool
