#pragma once

#include "Fuzz/Support/FuzzInput.h"

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Channel/PlatformProtocol.h>
#include <Kestrel/Root/Objects/Frame.h>

#include <iterator>

namespace Fuzz {

template <typename T>
bool IsHealthy(T const & object) {
    if constexpr (requires { object.GetStatus(); })
        return object.GetStatus() == IO::NoError;
    else
        return true;
}

/// Reads an object from the input, whose first byte chooses the platform that wrote it and the
/// version to write what was read in again. What was read can be read again from every version,
/// though not every version can tell of an unhealthy object, and is the same from the newest, which
/// comes last.
template <typename T, std::size_t Versions>
void ReadWriteRead(FuzzInput input, Mu::ClassVersion const (&versions)[Versions],
                   bool (*isSame)(T const & a, T const & b)) {
    constexpr Mu::PlatformSign signs[] = {Mu::WindowsSign, Mu::BigEndianMacSign,
                                          Mu::LittleEndianMacSign};
    unsigned int const choice = input.TakeByte();
    Mu::PlatformSign const sign = signs[choice / 16 % std::size(signs)];
    std::size_t const version = choice % Versions;
    IO::MemoryIChannel source(input.GetRest(), input.GetRestSize());
    (void)IO::SetPlatformIProtocol(source, sign);
    T object;
    if (object.Read(source) != IO::NoError)
        return;
    IO::MemoryOChannel written;
    (void)IO::SetPlatformOProtocol(written, sign);
    {
        Mu::FrameVersionScope const scope(T::GetClassInfoStatic(), versions[version]);
        Require(object.Write(written) == IO::NoError);
    }
    char const * const bytes = written.GetDestination();
    IO::MemoryIChannel again(bytes, written.GetDataSize());
    (void)IO::SetPlatformIProtocol(again, sign);
    T copy;
    if (copy.Read(again) != IO::NoError)
        return Require(!IsHealthy(object) && version == 0);
    Require(version + 1 < Versions || isSame(object, copy));
}

} // namespace Fuzz
