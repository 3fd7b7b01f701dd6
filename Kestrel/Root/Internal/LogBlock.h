#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Log/LogLine.h>

#include <cstddef>

namespace Mu {

/// Formatted log lines in sequence, on their way to the channel. A part of the logger.
///
/// Memory:  one block, which grows; a fixed one of the owner can be used until then.
/// Threads: one at a time.
/// Failure: false when out of memory.
class LogBlock {
public:
    constexpr LogBlock() = default;
    LogBlock(char * givenFixed, std::size_t givenCapacity)
        : bytes(givenFixed), capacity(givenCapacity), fixed(givenFixed) {}
    LogBlock(LogBlock const &) = delete;
    LogBlock & operator=(LogBlock const &) = delete;

    char const * GetBytes() const { return bytes; }
    std::size_t GetSize() const { return used; }
    void SetSize(std::size_t size) { used = size; }
    void Release();
    void Swap(LogBlock & other);

    bool Add(char const * text, std::size_t length);
    bool Add(char c) { return Add(&c, 1); }
    /// With line breaks as \n, and each byte that could inject terminal sequences as \xNN: control
    /// characters, marks that change the direction of writing or are invisible, and invalid UTF-8.
    bool AddEscaped(char const * text, std::size_t length);
    bool AddNumber(unsigned int value);
    /// The line's format with the composer's values, which may be null, in its placeholders.
    bool AddText(EventLogLine const & line, LogComposer const * composer, bool escaped);

private:
    bool Grow(std::size_t minimum);
    bool AddPiece(char const * text, std::size_t length, bool escaped);

    char * bytes = nullptr;
    std::size_t used = 0;
    std::size_t capacity = 0;
    char * fixed = nullptr; // the owner's block, if there is one
};

/// Time stamps, cheap while the second is the same.
class LogStamp {
public:
    static constexpr unsigned int Length = 29;

    /// Writes "2026-03-01T09:30:00.123+01:00"; valid until the next call.
    char const * Get(unsigned long long wallMilliseconds);

private:
    void Format(unsigned long long second);

    unsigned long long second = ~0ull; // the one in the text
    char text[Length] = {};
};

} // namespace Mu
