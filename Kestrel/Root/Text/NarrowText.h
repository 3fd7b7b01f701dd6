#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/CharCode.h>

// Narrow text where it lies. A length of -1 means up to the zero byte. A null text is an empty one.
// Case means the case of whole characters, beyond ASCII too.
//
// Memory:  none for patterns and compared texts of up to 128 bytes; a block for each longer one.
// Threads: any.
// Failure: Mu::OutOfMemoryException, where there is such a block.

/// The first occurrence of the unit in `text`, null when there is none.
KESTREL_API char const * CHSearchCharLeft(unsigned short unit, char const * text, int length,
                                          MuCharCode code);

/// The first occurrence of `pattern`, which is zero-terminated, in `text`; null when there is none.
/// The empty pattern occurs at the start.
KESTREL_API char const * CHSearchSubstring(char const * pattern, char const * text, int length,
                                           Mu::CaseType caseType, MuCharCode code);

/// Character by character, the shorter first when it begins the longer.
KESTREL_API Mu::CompareResult CHCompareTexts(char const * a, int lengthA, char const * b,
                                             int lengthB, Mu::CaseType caseType, MuCharCode code);

/// Copies a zero-terminated text with its terminator and returns its length. The room is the
/// caller's word.
KESTREL_API unsigned int CHCopyC(char const * from, char * to);

/// To lower case in place. A character whose lower case takes another number of bytes stays.
KESTREL_API void CHtoLower(char * text, int length, MuCharCode code);
