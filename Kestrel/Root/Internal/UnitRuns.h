#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

// Loops over the units of a text, several at a time: a compiler makes them vectors of the processor
// where it has such, and other code where not.

namespace Mu::UnitRuns {

template <std::size_t UnitSize, std::size_t Count>
struct RunOf;
template <std::size_t Count>
struct RunOf<1, Count> {
    typedef unsigned char Type __attribute__((vector_size(Count)));
};
template <std::size_t Count>
struct RunOf<2, Count> {
    typedef unsigned short Type __attribute__((vector_size(2 * Count)));
};
/// Units of one byte or two, on which operators work one by one. A comparison results in all bits
/// or none. Not of more than 16 bytes, which not every processor can pass on in one piece.
template <typename Unit, std::size_t Count>
using Run = typename RunOf<sizeof(Unit), Count>::Type;

/// Calls `step(at, count)` for runs that together cover `size` units: of `Count` units, a constant,
/// the last of which may lie partly in the one before it; or a single one of fewer.
template <std::size_t Count, typename OnStep>
inline void Cover(std::size_t size, OnStep const & step) {
    constexpr std::integral_constant<std::size_t, Count> whole;
    if (size < Count) {
        if (size != 0)
            step(0, size);
        return;
    }
    for (std::size_t at = 0; at < size - Count; at += Count)
        step(at, whole);
    step(size - Count, whole);
}

template <typename Run, typename Unit>
inline void Load(Run & run, Unit const * from, std::size_t count) {
    using Scalar = std::conditional_t<sizeof(Unit) == 1, unsigned char, unsigned short>;
    run = Run{} + static_cast<Scalar>(from[0]); // so that what is missing is no other unit
    std::memcpy(&run, from, count * sizeof(Unit));
}
template <typename Run, typename Unit, std::size_t Count>
inline void Load(Run & run, Unit const * from, std::integral_constant<std::size_t, Count>) {
    std::memcpy(&run, from, sizeof run);
}

/// Sets to[i] to convert(from[i]), for a `convert` of runs whose result stays when it is converted
/// once more. The two may be one array, and must not overlap otherwise.
template <typename From, typename To, typename Convert>
inline void ConvertAll(From const * from, std::size_t size, To * to, Convert const & convert) {
    constexpr std::size_t Count = 8;
    Cover<Count>(size, [=](std::size_t at, auto count) {
        Run<From, Count> run;
        Load(run, from + at, count);
        auto const converted = __builtin_convertvector(convert(run), Run<To, Count>);
        std::memcpy(to + at, &converted, count * sizeof(To));
    });
}

/// Whether `test(units[i]...)`, of runs, is not 0 for any i below `size`.
template <typename Test, typename Unit, typename... More>
inline bool Any(std::size_t size, Test const & test, Unit const * units, More const *... more) {
    constexpr std::size_t Count = 16 / sizeof(Unit);
    auto const load = [](auto const * from, auto count) {
        Run<Unit, Count> run;
        Load(run, from, count);
        return run;
    };
    unsigned long long parts[2] = {};
    decltype(test(load(units, size), load(more, size)...)) found{};
    Cover<Count>(size, [&](std::size_t at, auto count) {
        found |= test(load(units + at, count), load(more + at, count)...);
    });
    std::memcpy(parts, &found, sizeof found);
    return (parts[0] | parts[1]) != 0;
}

} // namespace Mu::UnitRuns
