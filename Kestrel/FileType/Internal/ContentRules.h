#pragma once

#include <Kestrel/Root/Array.h>
#include <Kestrel/Root/Memory.h>

#include <string_view>

namespace FTM {

/// The content test of a type out of a shared catalogue: bytes that must stand somewhere.
///
/// A rule asks for bytes at a place, or anywhere in a range of places, with or without a mask. Rules
/// one level deeper behind it ask for more, of which one must hold; the test passes when a rule holds
/// that has no deeper ones, or one of these.
///
/// Memory:  a block for the rules and one for their bytes.
/// Threads: one at a time while rules are added, any number afterwards.
/// Failure: Add throws Mu::OutOfMemoryException.
class ContentRules : public Mu::Allocated {
public:
    struct Rule {
        unsigned int level = 0;
        unsigned int offset = 0; // the first place
        unsigned int places = 1; // how many
        std::string_view value;
        std::string_view mask; // empty, or as long as the value
    };

    /// What a test may look at and compare at most, so that no catalogue can keep a thread busy.
    static constexpr unsigned int MostExtent = 1 << 16;
    static constexpr unsigned long long MostComparisons = 1 << 20;

    /// Appends the rule, whose value is not empty and whose level is at most one above that of the
    /// rule before. False: the test would look too far or for too long, and the rule is not added.
    bool Add(Rule const & rule);
    /// How many bytes from the beginning on the test looks at.
    unsigned int GetExtent() const { return extent; }
    bool Match(std::string_view content) const;

private:
    struct Stored {
        unsigned int level;
        unsigned int offset;
        unsigned int places;
        unsigned int length;
        unsigned int at; // of the value in `bytes`, with the mask behind it if there is one
        bool hasMask;
    };

    bool Holds(Stored const & rule, std::string_view content) const;

    Mu::Array<Stored> rules;
    Mu::Array<char> bytes;
    unsigned int extent = 0;
    unsigned long long comparisons = 0;
};

} // namespace FTM
