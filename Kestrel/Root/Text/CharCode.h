#pragma once

/// The encoding of a narrow text. A narrow text without a stated code is in the machine's. Other
/// numbers count as the machine's, too.
enum MuCharCode : unsigned int {
    MuMachineCharCode = 0, ///< UTF-8 on Linux, the ANSI code page on Windows
    MuLogCharCode = 99,    ///< the code of printed text: UTF-8 everywhere
};

namespace Mu {

/// The treatment of a unit that the narrow code cannot represent.
enum OnConversionError : unsigned int {
    ReplaceOnConversionError = 0, ///< U+FFFD, or the code's own replacement character
    ThrowOnConversionError = 1,   ///< Mu::ConversionErrorException
};

enum CaseComparison : unsigned int {
    RespectCase = 0,
    IgnoreCase = 1, ///< equal if equal unit by unit after conversion to upper case
};
using CaseType = CaseComparison;

enum CompareResult : int { Less = 0, Equal = 1, Greater = 2 };

} // namespace Mu
