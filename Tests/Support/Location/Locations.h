#pragma once

#include <Kestrel/Location/Location.h>
#include <Kestrel/Location/RelativeLocation.h>
#include <Kestrel/Root/Objects/Frame.h>

#include "Tests/Support/Root/Persisted.h"
#include "Tests/Support/Text.h"

#include <random>
#include <string>
#include <vector>

namespace Tests {

using Names = std::vector<std::string>;

// The names in UTF-8, empty for an unhealthy location.
Names GetLocal(IO::Location const & location);
Names GetNetwork(IO::Location const & location);
Names GetNames(IO::RelativeLocation const & location);

IO::Location MakeLocation(Names const & network, Names const & local);
IO::RelativeLocation MakeRelative(Names const & names);

/// One whose memory has failed: every operation answers ErrMemoryFull.
IO::Location MakeInvalidLocation();
IO::RelativeLocation MakeInvalidRelative();

/// Up to `most` names of few spellings, so that random locations often agree.
Names MakeRandomNames(std::mt19937 & random, unsigned int most);

/// What a host passes that dereferences a null pointer.
template <typename T>
T & NullReference() {
    T * volatile none = nullptr;
    return *none;
}

/// The bytes of a frame of the class and version with the content that `write` puts there.
template <typename Write>
std::string MakeFrame(Mu::ClassInfo const & info, Mu::ClassVersion version, Write const & write) {
    ByteOChannel channel;
    {
        Mu::FrameVersionScope const scope(info, version);
        Mu::OutputFrame const frame(channel, info);
        write(channel);
    }
    return channel.GetBytes();
}

/// What was printed.
template <typename Object>
std::string Print(Object const & object) {
    ByteOChannel channel;
    object.Print(channel);
    return channel.GetBytes();
}

} // namespace Tests
