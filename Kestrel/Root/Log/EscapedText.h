#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Text/String.h>

#include <string_view>

namespace Mu {

/// A text from outside as the log would write it, so that it steers no terminal and no viewer: line
/// breaks become \n; other control characters, marks that turn the direction of writing or show as
/// nothing, and bytes that are no UTF-8 become \xNN.
///
/// Threads: any. Failure: Mu::OutOfMemoryException.
KESTREL_API String EscapeText(std::string_view text);

} // namespace Mu
