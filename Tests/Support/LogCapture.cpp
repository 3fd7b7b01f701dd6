#include "Tests/Support/LogCapture.h"

#include <ostream>

namespace Tests {

LogCapture::LogCapture() {
    Mu::logger.Attach(*this);
}

LogCapture::~LogCapture() {
    Mu::logger.Detach(*this);
}

std::vector<LogCapture::Line> LogCapture::GetLines() const {
    std::lock_guard guard(mutex);
    return lines;
}

bool LogCapture::Contains(std::string_view text) const {
    std::lock_guard guard(mutex);
    for (Line const & line : lines)
        if (line.text.find(text) != std::string::npos)
            return true;
    return false;
}

void LogCapture::Clear() {
    std::lock_guard guard(mutex);
    lines.clear();
}

void LogCapture::LineAppended(Mu::LogSeverity severity, char const * domain, char const * text) {
    std::lock_guard guard(mutex);
    lines.push_back({severity, domain, text});
}

std::ostream & operator<<(std::ostream & stream, LogCapture::Line const & line) {
    return stream << static_cast<unsigned int>(line.severity) << ' ' << line.domain << ' '
                  << line.text;
}

} // namespace Tests
