#pragma once

#include <Kestrel/Root/Text/UniString.h>

namespace IO {

/// Puts the bytes of the present time, in reversed order, where the numbers of generated names
/// begin, so that processes which start one after the other draw numbers far apart.
void StartNameGeneration();

/// Each number is drawn once in the process. Any thread.
unsigned int NextGeneratedNumber();

/// The text with a "_" for each unit that some platform does not allow in a name.
Mu::UniString CleanUpNameString(Mu::UniString const & text);

/// The parts of a name with a number: base, "_" and the number, extension; within a length.
class NumberedName {
public:
    /// A `maxLength` of 0 is no limit. Base and extension are cleaned up.
    NumberedName(Mu::UniString const & base, Mu::UniString const & extension,
                 unsigned short maxLength);

    /// Whether the extension leaves a unit for anything else.
    bool LeavesRoom() const { return maxLength == 0 || maxLength > ending.GetLength(); }
    /// Without a call there is no number in the name.
    void SetNumber(unsigned int number);
    /// False: even without the base the name would be too long.
    bool Compose(Mu::UniString * name) const;

private:
    Mu::UniString stem;
    Mu::UniString suffix; // empty, or "_" and the number
    Mu::UniString ending; // empty, or "." and the extension
    unsigned int maxLength;
};

} // namespace IO
