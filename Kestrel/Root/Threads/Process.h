#pragma once

#include <Kestrel/Root/Export.h>

namespace Mu {

/// The current process.
class KESTREL_API Process {
public:
    /// The system's number of this process.
    static unsigned int GetCurrentProcessId();
};

} // namespace Mu
