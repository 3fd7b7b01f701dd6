#pragma once

#include <Kestrel/Root/Export.h>

namespace IO {

class Name;

/// Receives the names of a sequence one by one, first to last.
///
/// Override NameFound and pass the object to an operation such as Address::EnumerateNames.
///
/// Memory:  none of its own.
/// Threads: called on the thread that started the enumeration, possibly with the lock of the
///          address tree held: be short, and do not wait for other threads.
/// Failure: exceptions of NameFound are passed to the caller; nothing is leaked.
class KESTREL_API NameEnumerator {
public:
    virtual ~NameEnumerator();

    /// The name is owned by the caller and valid during the call only. Does nothing unless
    /// overridden.
    virtual void NameFound(Name const & name);
};

} // namespace IO
