#include <Kestrel/Root/Streams/BinaryChannel.h>

#include <Kestrel/Root/Errors/Exceptions.h>

namespace Mu {

IBinaryChannel::~IBinaryChannel() = default;
OBinaryChannel::~OBinaryChannel() = default;

void IBinaryChannel::Read(char * destination, unsigned int count, ReadAllModeSelector) {
    if (IBinaryChannelUtilities::ReadFully(*this, destination, count) < count)
        throw IOException("End of input.", __FILE__, __LINE__, NoCauseException, EOI);
}

unsigned int IBinaryChannelUtilities::ReadFully(IBinaryChannel & channel, char * destination,
                                                unsigned int count) {
    unsigned int done = 0;
    while (done < count) {
        unsigned int const got = channel.Read(destination + done, count - done);
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

} // namespace Mu
