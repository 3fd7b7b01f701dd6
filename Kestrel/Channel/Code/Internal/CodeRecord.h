#pragma once

namespace IO {

/// One record of a code stream in its wire form: the marker, the number of plain bytes, and two
/// blocks. The record that ends a stream is all zero.
struct CodeRecord {
    static constexpr unsigned int DataSize = 16;
    static constexpr unsigned int WireSize = 19;
    static constexpr char MarkerByte = 0x7F;

    char marker[2];
    unsigned char count;
    char data[DataSize];

    bool HasMarker() const { return marker[0] == MarkerByte && marker[1] == MarkerByte; }
    char * GetBytes() { return reinterpret_cast<char *>(this); }
};
static_assert(sizeof(CodeRecord) == CodeRecord::WireSize);

} // namespace IO
