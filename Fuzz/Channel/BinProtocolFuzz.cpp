// Outside bytes through every reader of the floor: typed values, bounded texts, windows and pushing
// back, in the byte form of each platform. The first byte chooses the form, each further one an
// operation on what follows it.

#include <Kestrel/Channel/MemoryIChannel.h>
#include <Kestrel/Channel/PlatformProtocol.h>
#include <Kestrel/Channel/ReadText.h>
#include <Kestrel/Channel/SubIChannel.h>
#include <Kestrel/Root/Guid.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>

namespace {

template <typename T>
MuErrCode ReadOne(Mu::IChannel & channel) {
    T value{};
    return channel.Read(value);
}

MuErrCode ReadBoundedText(Mu::IChannel & channel) {
    char text[20];
    unsigned int length = 0;
    MuErrCode const status = IO::ReadText(channel, text, sizeof text - 4, &length);
    if (status == IO::NoError && (length > 15 || text[length] != '\0'))
        std::abort(); // it promised an end inside the place
    return status;
}

MuErrCode ReadWindow(Mu::IChannel & channel) {
    unsigned char length = 0;
    (void)channel.Read(length);
    IO::SubIChannel window(&channel, length);
    (void)ReadOne<int>(window);
    return ReadBoundedText(window);
}

MuErrCode PushBackSome(Mu::IChannel & channel) {
    char bytes[9] = {};
    unsigned int copied = 0;
    (void)channel.CopyBin(bytes, 9, &copied);
    return channel.PushBack(bytes, copied);
}

MuErrCode SkipFar(Mu::IChannel & channel) {
    unsigned short count = 0;
    (void)channel.Read(count);
    return channel.Skip(count, nullptr);
}

using Operation = MuErrCode (*)(Mu::IChannel & channel);
constexpr Operation operations[] = {ReadOne<bool>,     ReadOne<char>,   ReadOne<short>,
                                    ReadOne<int>,      ReadOne<long>,   ReadOne<long long>,
                                    ReadOne<float>,    ReadOne<double>, ReadOne<long double>,
                                    ReadOne<Mu::Guid>, ReadBoundedText, ReadWindow,
                                    PushBackSome,      SkipFar};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    if (size == 0)
        return 0;
    constexpr Mu::PlatformSign signs[] = {Mu::BigEndianMacSign, Mu::WindowsSign,
                                          Mu::LittleEndianMacSign};
    IO::MemoryIChannel channel(reinterpret_cast<char const *>(data) + 1,
                               static_cast<unsigned int>(size - 1));
    (void)IO::SetPlatformIProtocol(channel, signs[data[0] % 3]);
    if (data[0] & 4)
        channel.DisableInputBuffering();
    unsigned char next = 0;
    for (int i = 0; i < 1000 && channel.Read(next) == IO::NoError; ++i)
        (void)operations[next % std::size(operations)](channel);
    return 0;
}
