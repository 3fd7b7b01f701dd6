#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/CharCode.h>

// Operations on narrow text in place. A length of -1 means up to the terminating zero. A null text
// counts as empty. Case means the case of whole characters, including those beyond ASCII.
//
// Memory:  none for patterns and compared texts of up to 128 bytes; a block for each longer one.
// Threads: any.
// Failure: Mu::OutOfMemoryException, if there is such a block.

/// The first occurrence of the unit in `text`; null if there is none.
KESTREL_API char const * CHSearchCharLeft(unsigned short unit, char const * text, int length,
                                          MuCharCode code);

/// The first occurrence of `pattern`, which is zero-terminated, in `text`; null if there is none.
/// The empty pattern is found at the start.
KESTREL_API char const * CHSearchSubstring(char const * pattern, char const * text, int length,
                                           Mu::CaseType caseType, MuCharCode code);

/// Compares character by character; a prefix comes first.
KESTREL_API Mu::CompareResult CHCompareTexts(char const * a, int lengthA, char const * b,
                                             int lengthB, Mu::CaseType caseType, MuCharCode code);

/// Copies a zero-terminated text with its terminator and returns its length. The space is not
/// checked.
KESTREL_API unsigned int CHCopyC(char const * from, char * to);

/// Converts to lower case in place. Characters whose lower case has another length are unchanged.
KESTREL_API void CHtoLower(char * text, int length, MuCharCode code);
