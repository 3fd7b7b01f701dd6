#pragma once

#include <Kestrel/Root/Containers/Array.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/String.h>

#include <span>
#include <string_view>

namespace FTM {

/// The content tests of a shared catalogue: for each type, bytes that must stand somewhere.
///
/// A rule asks for bytes at a place, or anywhere in a range of places, with or without a mask. Rules
/// one level deeper behind it ask for more, of which one must hold; a test passes when a rule holds
/// that has no deeper ones, or one of these.
///
/// Memory:  the text of the catalogue and a block for the rules, which all tests share.
/// Threads: one at a time while rules are added, any number afterwards; the uses are counted under the
///          file type lock.
/// Failure: adding throws Mu::OutOfMemoryException.
class ContentRules : public Mu::Allocated {
public:
    struct Rule {
        unsigned int level = 0;  // at most one above that of the rule before
        unsigned int offset = 0; // the first place
        unsigned int places = 1; // how many
        unsigned int at = 0;     // of the value in `text`
        unsigned short length = 0;
        bool hasMask = false; // which stands one byte behind the value, and is as long
    };

    /// The rules of one test, which stand one behind the other.
    struct Test {
        unsigned int firstRule = 0;
        unsigned int ruleCount = 0;
    };

    /// Whether the test would look too far or compare too much: no catalogue may keep a thread busy.
    bool IsTooMuch(Test const & test) const;
    /// How many bytes from the beginning on the test looks at.
    unsigned int GetExtent(Test const & test) const;
    bool Match(Test const & test, std::string_view content) const;

    void Use() { ++uses; }
    /// The last one deletes the object.
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

    unsigned int uses = 1; // that of the maker
};

} // namespace FTM
