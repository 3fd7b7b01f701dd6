#pragma once

#include <Kestrel/Root/Text/UniString.h>

namespace IO {

/// Starts the numbers of generated names at the bytes of the present time in reversed order, so
/// that processes that start shortly after each other draw numbers far apart.
void StartNameGeneration();

/// Each number is returned once in the process. Any thread.
unsigned int NextGeneratedNumber();

/// The text with "_" for each unit that some platform does not allow in a name.
Mu::UniString CleanUpNameString(Mu::UniString const & text);

/// The parts of a name with a number: base, "_" and the number, extension; within a length.
class NumberedName {
public:
    /// A `maxLength` of 0 means no limit. Base and extension are made legal.
    NumberedName(Mu::UniString const & base, Mu::UniString const & extension,
                 unsigned short maxLength);

    /// Whether the extension leaves room for at least one more unit.
    bool LeavesRoom() const { return maxLength == 0 || maxLength > ending.GetLength(); }
    /// Without this call the name has no number.
    void SetNumber(unsigned int number);
    /// False: the name would be too long even without the base.
    bool Compose(Mu::UniString * name) const;

private:
    Mu::UniString stem;
    Mu::UniString suffix; // empty, or "_" and the number
    Mu::UniString ending; // empty, or "." and the extension
    unsigned int maxLength;
};

} // namespace IO
