#include <Kestrel/FileType/Internal/ContentRules.h>

#include <algorithm>

namespace FTM {

namespace {

constexpr unsigned long long MostExtent = 1 << 16;
constexpr unsigned long long MostComparisons = 1 << 20;

unsigned long long GetEnd(ContentRules::Rule const & rule) {
    return 0ull + rule.offset + rule.places - 1 + rule.length;
}

} // namespace

bool ContentRules::IsTooMuch(Test const & test) const {
    unsigned long long comparisons = 0;
    for (Rule const & rule : GetRules(test)) {
        comparisons += 1ull * rule.places * rule.length;
        if (GetEnd(rule) > MostExtent || comparisons > MostComparisons)
            return true;
    }
    return false;
}

unsigned int ContentRules::GetExtent(Test const & test) const {
    unsigned long long extent = 0;
    for (Rule const & rule : GetRules(test))
        extent = std::max(extent, GetEnd(rule));
    return static_cast<unsigned int>(extent);
}

// One pass, at any depth: a rule counts only on the levels that the rules before it have opened.
bool ContentRules::Match(Test const & test, std::string_view content) const {
    std::span<Rule const> const all = GetRules(test);
    unsigned int openLevel = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].level > openLevel)
            continue;
        openLevel = all[i].level;
        if (!Holds(all[i], content))
            continue;
        bool const hasDeeper = i + 1 < all.size() && all[i + 1].level > all[i].level;
        if (!hasDeeper)
            return true;
        openLevel = all[i].level + 1;
    }
    return false;
}

bool ContentRules::Holds(Rule const & rule, std::string_view content) const {
    char const * const value = text.ToCStr() + rule.at;
    char const * const mask = value + rule.length + 1;
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
