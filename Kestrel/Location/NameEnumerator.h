#pragma once

#include <Kestrel/Root/Export.h>

namespace IO {

class Name;

/// Gets the names of a sequence one after another, first to last.
///
/// Override NameFound and hand the object to an operation such as Address::EnumerateNames.
///
/// Memory:  none of its own.
/// Threads: called on the thread that started the walk, which may hold the lock of the address tree
///          meanwhile: be short, and wait for no other thread.
/// Failure: what NameFound throws passes through to the caller of the walk; nothing is lost by it.
class KESTREL_API NameEnumerator {
public:
    virtual ~NameEnumerator();

    /// The name is the caller's and valid during the call only. Does nothing unless overridden.
    virtual void NameFound(Name const & name);
};

} // namespace IO
