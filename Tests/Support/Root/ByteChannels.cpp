#include "Tests/Support/Root/ByteChannels.h"

#include <algorithm>

namespace Tests {

MuErrCode ByteOChannel::WriteBin(char const * source, unsigned int count, unsigned int * written) {
    std::size_t const taken =
        std::min<std::size_t>(count, status == Mu::NoError ? limit - position : 0);
    bytes.replace(position, std::min(taken, bytes.size() - position), source, taken);
    position += taken;
    if (written != nullptr)
        *written = static_cast<unsigned int>(taken);
    if (taken < count && status == Mu::NoError)
        status = Mu::EOO;
    return status;
}

MuErrCode ByteOChannel::DirectOutputAccess(unsigned int offset, char ** data,
                                           unsigned int * available) {
    std::size_t const place = std::min(position + offset, bytes.size());
    *data = bytes.data() + place;
    *available = static_cast<unsigned int>(bytes.size() - place);
    return status;
}

MuErrCode ByteOChannel::GetOutputPosition(unsigned long long * at) const {
    *at = position;
    return status;
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
