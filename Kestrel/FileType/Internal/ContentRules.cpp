#include <Kestrel/FileType/Internal/ContentRules.h>

#include <algorithm>
#include <cstring>

namespace FTM {

bool ContentRules::Add(Rule const & rule) {
    auto const length = static_cast<unsigned int>(rule.value.size());
    unsigned long long const end =
        static_cast<unsigned long long>(rule.offset) + rule.places - 1 + length;
    unsigned long long const cost =
        comparisons + static_cast<unsigned long long>(rule.places) * length;
    if (end > MostExtent || cost > MostComparisons)
        return false;
    unsigned int const at = bytes.GetSize();
    bytes.Append(rule.value.data(), length);
    bytes.Append(rule.mask.data(), static_cast<unsigned int>(rule.mask.size()));
    rules.Push({rule.level, rule.offset, rule.places, length, at, !rule.mask.empty()});
    extent = std::max(extent, static_cast<unsigned int>(end));
    comparisons = cost;
    return true;
}

// One pass, whatever the depth: a rule counts only on the levels that those before it have opened.
bool ContentRules::Match(std::string_view content) const {
    unsigned int openLevel = 0;
    for (unsigned int i = 0; i < rules.GetSize(); ++i) {
        Stored const & rule = rules[i];
        if (rule.level > openLevel)
            continue;
        openLevel = rule.level;
        if (!Holds(rule, content))
            continue;
        bool const hasDeeper = i + 1 < rules.GetSize() && rules[i + 1].level > rule.level;
        if (!hasDeeper)
            return true;
        openLevel = rule.level + 1;
    }
    return false;
}

bool ContentRules::Holds(Stored const & rule, std::string_view content) const {
    char const * const value = bytes.GetData() + rule.at;
    char const * const mask = value + rule.length;
    if (rule.offset > content.size() || rule.length > content.size() - rule.offset)
        return false;
    std::size_t const places =
        std::min<std::size_t>(rule.places, content.size() - rule.offset - rule.length + 1);
    char const * at = content.data() + rule.offset;
    if (!rule.hasMask)
        return std::string_view(at, places + rule.length - 1)
                   .find(std::string_view(value, rule.length)) != std::string_view::npos;
    for (char const * const end = at + places; at < end; ++at) {
        unsigned int i = 0;
        while (i < rule.length && ((at[i] ^ value[i]) & mask[i]) == 0)
            ++i;
        if (i == rule.length)
            return true;
    }
    return false;
}

} // namespace FTM
