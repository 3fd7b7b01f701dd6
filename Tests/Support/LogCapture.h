#pragma once

#include <Kestrel/Root/Log/Logger.h>

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Tests {

/// Collects what any thread logs during its life, down to trace lines.
class LogCapture final : private Mu::LogObserver {
public:
    struct Line {
        Mu::LogSeverity severity;
        std::string domain;
        std::string text;
    };

    LogCapture();
    ~LogCapture() override;
    LogCapture(LogCapture const &) = delete;
    LogCapture & operator=(LogCapture const &) = delete;

    std::vector<Line> GetLines() const;
    /// Whether the text of some line has this in it.
    bool Contains(std::string_view text) const;
    void Clear();

private:
    void LineAppended(Mu::LogSeverity severity, char const * domain, char const * text) override;

    mutable std::mutex mutex;
    std::vector<Line> lines; // under mutex
};

/// For the messages of failed assertions.
std::ostream & operator<<(std::ostream & stream, LogCapture::Line const & line);

} // namespace Tests
