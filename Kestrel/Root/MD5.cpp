#include <Kestrel/Root/MD5.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace MD5 {

namespace {

constexpr unsigned int blockSize = 64;

// The whole part of 2^32 * |sin(step + 1)|.
constexpr unsigned int addends[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};
constexpr int rotations[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

unsigned int LoadLittleEndian(unsigned char const * bytes) {
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<unsigned int>(bytes[3]) << 24;
}

// One of the 64 steps; all indices are known when it is compiled, so the words stay in registers.
template <unsigned int step>
inline void Step(unsigned int (&v)[4], unsigned int const (&words)[16]) {
    constexpr unsigned int round = step / 16;
    constexpr unsigned int factor[4] = {1, 5, 3, 7};
    constexpr unsigned int offset[4] = {0, 1, 5, 0};
    unsigned int & a = v[(64 - step) % 4];
    unsigned int const b = v[(65 - step) % 4];
    unsigned int const c = v[(66 - step) % 4];
    unsigned int const d = v[(67 - step) % 4];

    a += words[(factor[round] * step + offset[round]) % 16] + addends[step];
    if constexpr (round == 0) {
        a += d ^ (b & (c ^ d));
    } else if constexpr (round == 1) {
        // The two halves have no bit in common, so adding is or-ing; and the half without b, the
        // word that was ready last, need not wait for it.
        a += c & ~d;
        a += b & d;
    } else if constexpr (round == 2) {
        a += b ^ (c ^ d);
    } else {
        a += c ^ (b | ~d);
    }
    a = std::rotl(a, rotations[round][step % 4]) + b;
}

template <std::size_t... steps>
inline void AllSteps(unsigned int (&v)[4], unsigned int const (&words)[16],
                     std::index_sequence<steps...>) {
    (Step<steps>(v, words), ...);
}

void Digest(unsigned int (&state)[4], unsigned char const * data, std::size_t blocks) {
    unsigned int v[4] = {state[0], state[1], state[2], state[3]};
    for (; blocks > 0; --blocks, data += blockSize) {
        unsigned int words[16];
        for (unsigned int i = 0; i < 16; ++i)
            words[i] = LoadLittleEndian(data + 4 * i);
        unsigned int const before[4] = {v[0], v[1], v[2], v[3]};
        AllSteps(v, words, std::make_index_sequence<64>());
        for (unsigned int i = 0; i < 4; ++i)
            v[i] += before[i];
    }
    std::copy_n(v, 4, state);
}

} // namespace

void Generator::Reset() {
    constexpr unsigned int start[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    std::copy_n(start, 4, state);
    length = 0;
}

void Generator::Update(void const * data, unsigned int count) {
    auto const * bytes = static_cast<unsigned char const *>(data);
    unsigned int const held = static_cast<unsigned int>(length % blockSize);
    length += count;
    if (held > 0) {
        unsigned int const more = std::min(count, blockSize - held);
        std::memcpy(block + held, bytes, more);
        if (held + more < blockSize)
            return;
        Digest(state, block, 1);
        bytes += more;
        count -= more;
    }
    Digest(state, bytes, count / blockSize);
    if (unsigned int const rest = count % blockSize; rest > 0)
        std::memcpy(block, bytes + (count - rest), rest);
}

void Generator::Finish(FingerPrint & digest) {
    constexpr unsigned char padding[blockSize] = {0x80};
    unsigned long long const bits = length * 8;
    unsigned int const held = static_cast<unsigned int>(length % blockSize);
    unsigned char tail[8];
    for (unsigned int i = 0; i < 8; ++i)
        tail[i] = static_cast<unsigned char>(bits >> (8 * i));
    Update(padding, held < 56 ? 56 - held : 120 - held);
    Update(tail, sizeof(tail));
    for (unsigned int i = 0; i < FingerPrint::Size; ++i)
        digest.bytes[i] = static_cast<unsigned char>(state[i / 4] >> (8 * (i % 4)));
    Reset();
}

} // namespace MD5
