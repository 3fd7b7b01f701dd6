#include <Kestrel/Root/Text/UniChar.h>

#include <Kestrel/Root/Text/CaseMapping.h>

#include <algorithm>

namespace Mu {

CompareResult UniChar::Compare(unsigned short const * a, unsigned int lengthA,
                               unsigned short const * b, unsigned int lengthB,
                               CaseComparison comparison) {
    unsigned int const shared = std::min(lengthA, lengthB);
    for (unsigned int i = 0; i < shared; ++i) {
        if (a[i] == b[i])
            continue;
        unsigned short const unitA = comparison == IgnoreCase ? ToUpperUnit(a[i]) : a[i];
        unsigned short const unitB = comparison == IgnoreCase ? ToUpperUnit(b[i]) : b[i];
        if (unitA != unitB)
            return unitA < unitB ? Less : Greater;
    }
    return lengthA == lengthB ? Equal : lengthA < lengthB ? Less : Greater;
}

} // namespace Mu
