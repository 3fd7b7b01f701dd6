#include <Kestrel/Root/Text/CaseMapping.h>

#include <Kestrel/Root/Platform/CaseRules.h>

#include <atomic>

namespace Mu {

namespace {

/// One case of all units, queried from the system page by page as they are needed.
///
/// Threads that need the same page both fill it, with the same values, so no thread has to wait. An
/// empty table is all zeros, which take no space in the library's file.
template <unsigned short (*rule)(unsigned short) noexcept>
class CaseTable {
public:
    unsigned short Map(unsigned short unit) noexcept {
        if (!isFilled[unit >> 8].load(std::memory_order_acquire))
            Fill(unit & 0xFF00u);
        return units[unit].load(std::memory_order_relaxed);
    }

private:
    void Fill(unsigned int first) noexcept {
        bool const isSurrogates = first >= 0xD800 && first < 0xE000;
        for (unsigned int unit = first; unit < first + 256; ++unit) {
            unsigned short const asked = static_cast<unsigned short>(unit);
            units[unit].store(isSurrogates ? asked : rule(asked), std::memory_order_relaxed);
        }
        isFilled[first >> 8].store(true, std::memory_order_release);
    }

    std::atomic<bool> isFilled[256] = {};
    std::atomic<unsigned short> units[65536] = {};
};

constinit CaseTable<Platform::QueryUpperCase> upperTable;
constinit CaseTable<Platform::QueryLowerCase> lowerTable;

struct AsIs {
    unsigned short operator()(unsigned short unit) const { return unit; }
};

struct UpperCased {
    unsigned short operator()(unsigned short unit) const { return ToUpperUnit(unit); }
};

// Multiplying spreads a unit only upwards; the shifts at the end move the high bits down to the
// ones that tables use.
template <typename Mapping>
unsigned int Hash(unsigned short const * units, unsigned int length, Mapping mapping) {
    unsigned int hash = length;
    for (unsigned int i = 0; i < length; ++i)
        hash = (hash ^ mapping(units[i])) * 0x9E3779B1u;
    hash = (hash ^ hash >> 16) * 0x85EBCA6Bu;
    return hash ^ hash >> 13;
}

} // namespace

unsigned short ToUpperUnitBeyondAscii(unsigned short unit) noexcept {
    return upperTable.Map(unit);
}

unsigned short ToLowerUnitBeyondAscii(unsigned short unit) noexcept {
    return lowerTable.Map(unit);
}

unsigned int HashUnits(unsigned short const * units, unsigned int length) noexcept {
    return Hash(units, length, AsIs());
}

unsigned int HashUnitsUpperCased(unsigned short const * units, unsigned int length) noexcept {
    return Hash(units, length, UpperCased());
}

bool EqualUnitsUpperCased(unsigned short const * a, unsigned short const * b,
                          unsigned int length) noexcept {
    for (unsigned int i = 0; i < length; ++i)
        if (a[i] != b[i] && ToUpperUnit(a[i]) != ToUpperUnit(b[i]))
            return false;
    return true;
}

} // namespace Mu
