#include <Kestrel/FileType/ContentTests.h>

#include <Kestrel/Root/Errors/ErrorCodes.h>
#include <Kestrel/Root/Streams/IChannel.h>

#include <string_view>

namespace FTM {

namespace {

bool BeginsWith(Mu::IChannel & channel, std::string_view signature) {
    char bytes[8];
    return channel.ReadBin(bytes, static_cast<unsigned int>(signature.size()), nullptr) ==
               Mu::NoError &&
           std::string_view(bytes, signature.size()) == signature;
}

bool TestImage(Mu::IChannel & channel, std::string_view signature, void * info,
               ImageTypeCallbackInfo const & values) {
    if (!BeginsWith(channel, signature))
        return false;
    if (info != nullptr)
        *static_cast<ImageTypeCallbackInfo *>(info) = values;
    return true;
}

} // namespace

bool BMPTypeCallback(Mu::IChannel & channel, void * info) {
    return TestImage(channel, "BM", info, {16, 640, 480});
}

bool GIFTypeCallback(Mu::IChannel & channel, void * info) {
    return TestImage(channel, "GIF89", info, {32, 320, 200});
}

bool EXETypeCallback(Mu::IChannel & channel, void *) {
    return BeginsWith(channel, "MZ");
}

bool TextTypeCallback(Mu::IChannel &, void *) {
    return false;
}

constinit ContentTest & TIFFTypeCallback = TextTypeCallback;
constinit ContentTest & JPEGTypeCallback = TextTypeCallback;
constinit ContentTest & EMFTypeCallback = TextTypeCallback;
constinit ContentTest & WMFTypeCallback = TextTypeCallback;
constinit ContentTest & HTMTypeCallback = TextTypeCallback;
constinit ContentTest & PDFTypeCallback = TextTypeCallback;

} // namespace FTM
