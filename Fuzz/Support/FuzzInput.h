#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace Fuzz {

/// What must hold whatever comes in; otherwise the run ends and the input is kept.
inline void Require(bool holds, char const * file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (holds)
        return;
    std::fprintf(stderr, "%s:%d: does not hold\n", file, line);
    std::abort();
}

/// The bytes of one run, taken from the front as choices and texts.
class FuzzInput {
public:
    FuzzInput(std::uint8_t const * data, std::size_t size) : next(data), end(data + size) {}

    bool IsEmpty() const { return next == end; }
    /// 0 when there is none left.
    unsigned int TakeByte() { return IsEmpty() ? 0 : *next++; }
    unsigned int TakeChoice(unsigned int count) { return TakeByte() % count; }
    unsigned int TakeNumber() {
        unsigned int const low = TakeByte();
        return low | TakeByte() << 8;
    }
    /// Up to so many units, each of two bytes.
    std::u16string TakeUnits(std::size_t most) {
        std::u16string units;
        while (units.size() < most && !IsEmpty())
            units += static_cast<char16_t>(TakeNumber());
        return units;
    }
    std::string TakeBytes(std::size_t most) {
        std::string bytes;
        while (bytes.size() < most && !IsEmpty())
            bytes += static_cast<char>(TakeByte());
        return bytes;
    }
    char const * GetRest() const { return reinterpret_cast<char const *>(next); }
    unsigned int GetRestSize() const { return static_cast<unsigned int>(end - next); }

private:
    std::uint8_t const * next;
    std::uint8_t const * end;
};

} // namespace Fuzz
