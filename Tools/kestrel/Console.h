#pragma once

#include <Kestrel/Root/ErrorCodes.h>
#include <Kestrel/Root/Logger.h>
#include <Kestrel/Root/UniString.h>

#include <string>

namespace Tool {

/// What the tool says: results on standard output, what goes wrong on standard error.
///
/// A failure is told in the words of the library's own log line; only where the library has none
/// does the tool add the meaning of the status.
class Console : public Mu::LogObserver {
public:
    /// Verbose shows every line of the library, otherwise warnings and errors alone.
    explicit Console(bool verbose);
    ~Console() override;

    void LineAppended(Mu::LogSeverity severity, char const * domain, char const * text) override;

    /// 0 for NoError. Otherwise 1, after a line about `subject` when the library wrote none since
    /// the last call.
    int Finish(MuErrCode status, std::string const & subject);
    /// Says it, and answers 1.
    int Fail(std::string const & message);

private:
    bool told = false;
};

/// UTF-8, for output.
std::string ToUtf8(Mu::UniString const & text);
Mu::UniString FromUtf8(std::string const & text);

} // namespace Tool
