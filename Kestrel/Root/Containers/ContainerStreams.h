#pragma once

#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Objects/Frame.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <type_traits>
#include <utility>

// The format of containers as objects: a frame with the class record of the kind of container, the
// number of elements as an unsigned int, and the elements. Elements can be all types that a channel
// writes, and classes with Write(OChannel &) and Read(IChannel &), including containers.

namespace Mu {

struct ArrayPrivate {
    KESTREL_API static ClassInfo const classInfo;

    template <typename Container>
    static MuErrCode WriteElements(OChannel & channel, Container const & container);
    template <typename Container>
    static MuErrCode ReadElements(IChannel & channel, Container & container);
};

struct HashTablePrivate {
    KESTREL_API static ClassInfo const classInfo;
};

struct HashSetPrivate {
    KESTREL_API static ClassInfo const classInfo;
};

namespace ContainerPrivate {

template <typename T>
MuErrCode WriteElement(OChannel & channel, T const & element) {
    if constexpr (std::is_class_v<T>)
        return element.Write(channel);
    else
        return channel.Write(element);
}

template <typename T>
MuErrCode ReadElement(IChannel & channel, T & element) {
    MuErrCode status;
    if constexpr (std::is_class_v<T>)
        status = element.Read(channel);
    else
        status = channel.Read(element);
    return status == NoError ? status : IChannel::ConvertObjectReadError(status);
}

/// Opens the frame and writes the number of elements, then each with `writeOne(element)`.
template <typename Container, typename WriteOne>
MuErrCode WriteFramed(OChannel & channel, ClassInfo const & classInfo, Container const & container,
                      WriteOne writeOne) {
    {
        OutputFrame frame(channel, classInfo);
        channel.Write(container.GetSize());
        for (auto const & element : container)
            if (MuErrCode const status = writeOne(element); status != NoError)
                return status;
    }
    return channel.GetOutputStatus();
}

/// Reads the frame and calls `readOne()` for each element. The number is not trusted: no memory is
/// reserved for it, and one that exceeds the rest of the frame is refused at once. A shortage of
/// memory is ErrMemoryFull, and the container contains the elements read so far.
template <typename ReadOne>
MuErrCode ReadFramed(IChannel & channel, ClassInfo const & classInfo, ReadOne readOne) {
    InputFrame frame(channel, classInfo);
    if (frame.GetStatus() != NoError)
        return frame.GetStatus();
    if (frame.GetDataLength() == 0)
        return NoError;
    unsigned int count = 0;
    if (MuErrCode const status = channel.Read(count); status != NoError)
        return IChannel::ConvertObjectReadError(status);
    if (count > channel.GetReadLimit())
        return Error;
    try {
        for (unsigned int i = 0; i < count; ++i)
            if (MuErrCode const status = readOne(); status != NoError)
                return status;
    } catch (OutOfMemoryException const &) {
        return ErrMemoryFull;
    }
    return NoError;
}

} // namespace ContainerPrivate

template <typename Container>
MuErrCode ArrayPrivate::WriteElements(OChannel & channel, Container const & container) {
    return ContainerPrivate::WriteFramed(channel, classInfo, container, [&](auto const & element) {
        return ContainerPrivate::WriteElement(channel, element);
    });
}

template <typename Container>
MuErrCode ArrayPrivate::ReadElements(IChannel & channel, Container & container) {
    container.Truncate(0);
    return ContainerPrivate::ReadFramed(channel, classInfo, [&] {
        typename Container::value_type element{};
        MuErrCode const status = ContainerPrivate::ReadElement(channel, element);
        if (status == NoError)
            container.Push(std::move(element));
        return status;
    });
}

} // namespace Mu
