#include <Kestrel/Channel/InputBuffer.h>

#include <Kestrel/Root/Memory/Memory.h>

#include <algorithm>

namespace IO {

// Hosts compiled without optimisation take the addresses.
constexpr unsigned int InputBuffer::DefaultBufferSize;
constexpr unsigned int InputBuffer::MinBufferSize;
constexpr unsigned int InputBuffer::MaxInitialBufferSize;
constexpr double InputBuffer::DefaultReservedRatio;

namespace {

constinit InputBuffer::BinInput nullInput;

} // namespace

MuErrCode InputBuffer::BinInput::InternalRead(char *, unsigned int, unsigned int * read) {
    *read = 0;
    return EOI;
}

InputBuffer::InputBuffer(BinInput * input, unsigned int bufferSize, unsigned int maxBufferSize,
                         double reservedRatio)
    : bufferSize(std::clamp(bufferSize != 0 ? bufferSize : DefaultBufferSize, MinBufferSize,
                            MaxInitialBufferSize)),
      maxBufferSize(std::max(maxBufferSize != 0 ? maxBufferSize : 0xFFFFFFFFu, this->bufferSize)),
      binInput(input != nullptr ? input : &nullInput),
      // Written so that a NaN becomes 0.0.
      reservedRatio(reservedRatio > 0.0 ? std::min(reservedRatio, 1.0) : 0.0) {
    ComputeReadBlockLength();
}

InputBuffer::~InputBuffer() {
    BMKillPtr(&buffer);
}

void InputBuffer::ComputeReadBlockLength() {
    double const length = (1.0 - reservedRatio) * bufferSize + 0.5;
    // In 64 bits: for the largest ring the sum may round up to 2^32.
    unsigned long long const whole = static_cast<unsigned long long>(length);
    readBlockLength =
        static_cast<unsigned int>(std::clamp<unsigned long long>(whole, 1, bufferSize));
}

char * InputBuffer::AllocateBuffer(unsigned int size) {
    char * const block = BMAllocatePtr(size, 0, 0);
    if (block == nullptr)
        status = ErrMemoryFull;
    return block;
}

// After a failed allocation, none is attempted until the status is reset.
char * InputBuffer::GetBuffer() {
    if (buffer == nullptr && status != ErrMemoryFull)
        buffer = AllocateBuffer(bufferSize);
    return buffer;
}

// Grows by exactly what one operation lacks, without doubling: a single growth is no reason to hold
// twice as much for the lifetime of the channel.
bool InputBuffer::ReallocBuffer(unsigned long long newSize) {
    if (newSize > maxBufferSize) {
        status = Error;
        return false;
    }
    unsigned int const size = static_cast<unsigned int>(newSize);
    char * const block = AllocateBuffer(size);
    if (block == nullptr)
        return false;
    CopyDataFromBuffer(block, dataSize);
    BMKillPtr(&buffer);
    buffer = block;
    start = 0;
    bufferSize = size;
    ComputeReadBlockLength();
    return true;
}

// The only place that calls the source and defers its failures.
unsigned int InputBuffer::ReadData(char * destination, unsigned int minimum, unsigned int maximum) {
    if (status != NoError)
        return 0;
    if (pendingStatus != NoError) {
        status = pendingStatus;
        return 0;
    }
    unsigned int read = 0;
    MuErrCode const result = binInput->InternalRead(destination, maximum, &read);
    read = std::min(read, maximum); // a host's source may report more
    if (result != NoError) {
        pendingStatus = result;
        if (read < minimum)
            status = result;
    }
    return read;
}

// Reads until the ring holds `count` more bytes. Counts in 64 bits, so that sums of callers cannot
// wrap: more than a ring can hold ends as Error in ReallocBuffer.
bool InputBuffer::ReadDataToBuffer(unsigned long long count) {
    if (GetBuffer() == nullptr)
        return false;
    if (dataSize == 0)
        start = 0;
    if (dataSize + count > bufferSize && !ReallocBuffer(dataSize + count))
        return false;

    unsigned int const needed = static_cast<unsigned int>(count);
    bool const ahead = bufferingEnabled && dataSize + count < readBlockLength;
    unsigned int const wanted = ahead ? readBlockLength - dataSize : needed;
    unsigned int const position = After(start, dataSize);
    unsigned int const firstPart = std::min(bufferSize - position, wanted);
    unsigned int const got = ReadData(buffer + position, std::min(needed, firstPart), firstPart);
    dataSize += got;
    if (got >= needed)
        return true;
    if (got < firstPart)
        return false;
    unsigned int const got2 = ReadData(buffer, needed - firstPart, wanted - firstPart);
    dataSize += got2;
    return got2 >= needed - firstPart;
}

unsigned int InputBuffer::GetRest(char * destination, unsigned int count) {
    unsigned int const given = dataSize;
    MoveDataFromBuffer(destination, given);
    unsigned int const rest = count - given;
    if (rest >= readBlockLength || !bufferingEnabled)
        return given + ReadData(destination + given, rest, rest);

    if (GetBuffer() == nullptr)
        return 0;
    dataSize = ReadData(buffer, rest, readBlockLength);
    unsigned int const more = std::min(rest, dataSize);
    start = 0;
    MoveDataFromBuffer(destination + given, more);
    return given + more;
}

// Returns the value of `start` for when the bytes are consumed.
unsigned int InputBuffer::CopyDataFromBuffer(char * destination, unsigned int count) const {
    unsigned int const tail = bufferSize - start;
    if (count < tail) {
        CopyBytes(destination, buffer + start, count);
        return start + count;
    }
    CopyBytes(destination, buffer + start, tail);
    CopyBytes(destination + tail, buffer, count - tail);
    return count - tail;
}

void InputBuffer::MoveDataFromBuffer(char * destination, unsigned int count) {
    start = CopyDataFromBuffer(destination, count);
    dataSize -= count;
}

// The cases other than a few contiguous bytes.
MuErrCode InputBuffer::GetMany(char * destination, unsigned int count, unsigned int * read) {
    if (count <= dataSize) {
        MoveDataFromBuffer(destination, count);
        *read = count;
    } else {
        *read = GetRest(destination, count);
    }
    return status;
}

MuErrCode InputBuffer::Copy(char * destination, unsigned int count, unsigned int * copied) {
    if (count > dataSize)
        ReadDataToBuffer(count - dataSize); // what is then buffered is copied in any case
    *copied = std::min(count, dataSize);
    CopyDataFromBuffer(destination, *copied);
    return status;
}

MuErrCode InputBuffer::Look(unsigned int offset, char * c) {
    if (offset >= dataSize && !ReadDataToBuffer(offset - dataSize + 1ull))
        return status;
    *c = buffer[After(start, offset)];
    return status;
}

MuErrCode InputBuffer::PushBack(char c) {
    return PushBack(&c, 1);
}

MuErrCode InputBuffer::PushBack(char const * source, unsigned int count) {
    if (GetBuffer() == nullptr)
        return status;
    if (status == EOI)
        status = NoError; // the pending one remains, and is reported again after the pushed bytes
    if (!MakeRoom(count))
        return status;
    start = Before(start, count);
    dataSize += count;
    unsigned int const tail = std::min(count, bufferSize - start);
    CopyBytes(buffer + start, source, tail);
    CopyBytes(buffer, source + tail, count - tail);
    return status;
}

bool InputBuffer::MakeRoom(unsigned int count) {
    return count <= bufferSize - dataSize ||
           ReallocBuffer(static_cast<unsigned long long>(dataSize) + count);
}

MuErrCode InputBuffer::Skip(unsigned long long count, unsigned long long * skipped) {
    if (count <= dataSize) {
        start = After(start, static_cast<unsigned int>(count));
        dataSize -= static_cast<unsigned int>(count);
        *skipped = count;
        return status;
    }
    if (GetBuffer() == nullptr)
        return status;
    unsigned long long left = count - dataSize;
    ClearContent();
    while (left >= bufferSize) {
        unsigned int const got = ReadData(buffer, bufferSize, bufferSize);
        left -= got;
        if (got < bufferSize) {
            *skipped = count - left;
            return status;
        }
    }
    if (left != 0) {
        unsigned int const rest = static_cast<unsigned int>(left);
        unsigned int const maximum = bufferingEnabled ? std::max(readBlockLength, rest) : rest;
        unsigned int const got = ReadData(buffer, rest, maximum);
        if (got > rest) {
            start = rest;
            dataSize = got - rest;
        }
        left -= std::min(got, rest);
    }
    *skipped = count - left;
    return status;
}

MuErrCode InputBuffer::DirectAccess(unsigned int size, char ** data, unsigned int * available) {
    *data = nullptr;
    *available = 0;
    unsigned int const whole = bufferingEnabled ? bufferSize - start : 1;
    unsigned int const wanted = size != 0 ? size : whole;
    if (wanted > dataSize && !ReadDataToBuffer(wanted - dataSize)) {
        if (status != EOI)
            return status;
        if (size == 0)
            status = NoError; // without a size, whatever is buffered will do
    }
    unsigned int const there = std::min(wanted, dataSize);
    if (there <= bufferSize - start || Compact())
        *available = there;
    *data = buffer + start;
    return status;
}

// Moves the unread bytes to the start of the ring, in order.
bool InputBuffer::Compact() {
    char * block = AllocateBuffer(dataSize);
    if (block == nullptr)
        return false;
    CopyDataFromBuffer(block, dataSize);
    CopyBytes(buffer, block, dataSize);
    BMKillPtr(&block);
    start = 0;
    return true;
}

bool InputBuffer::IsEOI() {
    return dataSize == 0 && !ReadDataToBuffer(1);
}

void InputBuffer::ResetInputStatus() {
    status = NoError;
    pendingStatus = NoError;
}

void InputBuffer::ResetEOI() {
    if (status == EOI)
        status = NoError;
    if (pendingStatus == EOI)
        pendingStatus = NoError;
}

void InputBuffer::ClearContent() {
    start = 0;
    dataSize = 0;
}

void InputBuffer::Reset() {
    ClearContent();
    BMKillPtr(&buffer);
    ResetInputStatus();
}

void InputBuffer::SetBinInput(BinInput & input) {
    binInput = &input;
}

void InputBuffer::ClearBinInput() {
    binInput = &nullInput;
}

// from + by, wrapped once at the end of the ring; written so that no sum can pass 2^32.
unsigned int InputBuffer::After(unsigned int from, unsigned int by) const {
    return by < bufferSize - from ? from + by : by - (bufferSize - from);
}

unsigned int InputBuffer::Before(unsigned int from, unsigned int by) const {
    return by <= from ? from - by : bufferSize - (by - from);
}

} // namespace IO
