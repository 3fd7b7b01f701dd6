#include "Tests/Support/Root/ByteChannels.h"

#include <Kestrel/Root/Object.h>

#include <algorithm>
#include <cstring>

namespace Tests {

namespace {

ByteIProtocol & GetIProtocol() {
    static ByteIProtocol protocol;
    return protocol;
}

ByteOProtocol & GetOProtocol() {
    static ByteOProtocol protocol;
    return protocol;
}

template <typename T>
void Tell(T * target, unsigned long long value) {
    if (target != nullptr)
        *target = static_cast<T>(value);
}

} // namespace

MuErrCode ByteIProtocol::Read(Mu::IChannel & c, Mu::Object & v) {
    return v.Read(c);
}

MuErrCode ByteOProtocol::Write(Mu::OChannel & c, Mu::Object const & v) {
    return v.Write(c);
}

MuErrCode ByteOProtocol::Write(Mu::OChannel & c, char const * v) {
    unsigned int const length = static_cast<unsigned int>(std::strlen(v));
    MuErrCode const status = Put(c, length);
    return status == Mu::NoError ? c.WriteBin(v, length, nullptr) : status;
}

ByteIChannel::ByteIChannel(std::string source)
    : IChannel(GetIProtocol()), bytes(std::move(source)) {}

MuErrCode ByteIChannel::ReadBin(char * destination, unsigned int count, unsigned int * read) {
    std::size_t const taken = std::min<std::size_t>(count, status == Mu::NoError ? GetLeft() : 0);
    std::memcpy(destination, bytes.data() + position, taken);
    position += taken;
    Tell(read, taken);
    if (taken < count && status == Mu::NoError)
        status = end;
    return status;
}

MuErrCode ByteIChannel::CopyBin(char * destination, unsigned int count, unsigned int * copied) {
    std::size_t const place = position;
    MuErrCode const result = ReadBin(destination, count, copied);
    position = place;
    return result;
}

MuErrCode ByteIChannel::Look(unsigned int offset, char * c) {
    if (status == Mu::NoError && offset >= GetLeft())
        status = end;
    if (status == Mu::NoError)
        *c = bytes[position + offset];
    return status;
}

MuErrCode ByteIChannel::PushBack(char const * source, unsigned int count) {
    bytes.replace(0, position, source, count);
    position = 0;
    return status;
}

MuErrCode ByteIChannel::Skip(unsigned long long count, unsigned long long * skipped) {
    unsigned long long const taken = std::min<unsigned long long>(count, GetLeft());
    position += static_cast<std::size_t>(taken);
    Tell(skipped, taken);
    if (taken < count && status == Mu::NoError)
        status = end;
    return status;
}

MuErrCode ByteIChannel::DirectInputAccess(unsigned int size, char ** data,
                                          unsigned int * available) {
    *data = bytes.data() + position;
    Tell(available, GetLeft());
    return size <= GetLeft() ? status : end;
}

MuErrCode ByteIChannel::GetInputPosition(unsigned long long * at) const {
    *at = position;
    return status;
}

void ByteIChannel::SetDefaultInputProtocol() {
    SetInputProtocol(GetIProtocol());
}

ByteOChannel::ByteOChannel(std::size_t limit) : OChannel(GetOProtocol()), limit(limit) {}

MuErrCode ByteOChannel::WriteBin(char const * source, unsigned int count, unsigned int * written) {
    std::size_t const taken =
        std::min<std::size_t>(count, status == Mu::NoError ? limit - position : 0);
    bytes.replace(position, std::min(taken, bytes.size() - position), source, taken);
    position += taken;
    Tell(written, taken);
    if (taken < count && status == Mu::NoError)
        status = Mu::EOO;
    return status;
}

MuErrCode ByteOChannel::DirectOutputAccess(unsigned int offset, char ** data,
                                           unsigned int * available) {
    std::size_t const place = std::min(position + offset, bytes.size());
    *data = bytes.data() + place;
    Tell(available, bytes.size() - place);
    return status;
}

MuErrCode ByteOChannel::GetOutputPosition(unsigned long long * at) const {
    *at = position;
    return status;
}

void ByteOChannel::SetDefaultOutputProtocol() {
    SetOutputProtocol(GetOProtocol());
}

MuErrCode ByteOChannel::PushMark() {
    marks.push_back(position);
    return status;
}

MuErrCode ByteOChannel::PopMark() {
    if (marks.empty())
        return Mu::Error;
    position = marks.back();
    marks.pop_back();
    return status;
}

unsigned int ByteOChannel::GetOffset() const {
    return static_cast<unsigned int>(bytes.size() - position);
}

} // namespace Tests
