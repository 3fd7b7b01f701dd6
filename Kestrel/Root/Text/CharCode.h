#pragma once

/// How the bytes of a narrow text are to be understood. A narrow text without a stated code is in
/// the machine's. Other numbers are taken as the machine's, too.
enum MuCharCode : unsigned int {
    MuMachineCharCode = 0, ///< UTF-8 on Linux, the ANSI code page on Windows
    MuLogCharCode = 99,    ///< the code of printed text: UTF-8 everywhere
};

namespace Mu {

/// What becomes of a unit that the narrow code cannot express.
enum OnConversionError : unsigned int {
    ReplaceOnConversionError = 0, ///< U+FFFD, or the code's own mark where it has none
    ThrowOnConversionError = 1,   ///< Mu::ConversionErrorException
};

enum CaseComparison : unsigned int {
    RespectCase = 0,
    IgnoreCase = 1, ///< equal when equal unit by unit after upper-casing
};
using CaseType = CaseComparison;

enum CompareResult : int { Less = 0, Equal = 1, Greater = 2 };

} // namespace Mu
