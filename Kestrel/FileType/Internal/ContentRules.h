#pragma once

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/String.h>

#include <span>
#include <string_view>

namespace FTM {

/// The content tests of a shared catalogue: for each type, bytes that must occur in the file.
///
/// A rule requires bytes at an offset, or anywhere in a range of offsets, with an optional mask.
/// The rules one level deeper that follow it are alternatives, of which one must hold as well; a
/// test passes when a rule without deeper ones holds, on any level.
///
/// Memory:  the text of the catalogue and one block of rules, shared by all tests.
/// Threads: one at a time while rules are added, any number afterwards; the uses are counted under
///          the file type lock.
/// Failure: adding throws Mu::OutOfMemoryException.
class ContentRules : public Mu::Allocated {
public:
    struct Rule {
        unsigned int level = 0;  // at most one above that of the previous rule
        unsigned int offset = 0; // the first one to try
        unsigned int places = 1; // how many to try
        unsigned int at = 0;     // of the value in `text`
        unsigned short length = 0;
        bool hasMask = false; // directly after the value in `text`, with the same length
    };

    /// The rules of one test, a consecutive range.
    struct Test {
        unsigned int firstRule = 0;
        unsigned int ruleCount = 0;
    };

    /// Whether the test would read too far or compare too much: no catalogue may keep a thread
    /// busy.
    bool IsTooMuch(Test const & test) const;
    /// How many bytes from the beginning of a file the test needs.
    unsigned int GetExtent(Test const & test) const;
    bool Match(Test const & test, std::string_view content) const;

    void Use() { ++uses; }
    /// The last call deletes the object.
    static void Drop(ContentRules * rules) {
        if (--rules->uses == 0)
            delete rules;
    }

    Mu::String text;
    Mu::Array<Rule> rules;

private:
    std::span<Rule const> GetRules(Test const & test) const {
        return {rules.GetData() + test.firstRule, test.ruleCount};
    }
    bool Holds(Rule const & rule, std::string_view content) const;

    unsigned int uses = 1; // the creator's
};

} // namespace FTM
