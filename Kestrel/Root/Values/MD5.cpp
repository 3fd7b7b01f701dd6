#include <Kestrel/Root/Values/MD5.h>

#include <algorithm>
#include <bit>
#include <cstring>

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

// Prevents the compiler from reordering a sum: each step waits for the one before it, so the word
// that was computed last must be added last.
[[gnu::always_inline]] inline unsigned int Settled(unsigned int sum) {
#if defined(__GNUC__)
    asm("" : "+r"(sum));
#endif
    return sum;
}

// One of the 64 steps: returns the new value of `a`. `b` is the word that was computed last.
template <unsigned int step>
[[gnu::always_inline]] inline unsigned int Step(unsigned int a, unsigned int b, unsigned int c,
                                                unsigned int d, unsigned char const * data) {
    constexpr unsigned int round = step / 16;
    constexpr unsigned int factor[4] = {1, 5, 3, 7};
    constexpr unsigned int offset[4] = {0, 1, 5, 0};
    constexpr unsigned int word = (factor[round] * step + offset[round]) % 16;

    unsigned int sum = Settled(a + LoadLittleEndian(data + 4 * word) + addends[step]);
    if constexpr (round == 0)
        sum += d ^ (b & (c ^ d));
    else if constexpr (round == 1)
        // The halves have no bit in common, so adding is or-ing, and only one waits for b.
        sum = Settled(sum + (c & ~d)) + (b & d);
    else if constexpr (round == 2)
        sum += b ^ (c ^ d);
    else
        sum += c ^ (b | ~d);
    return std::rotl(sum, rotations[round][step % 4]) + b;
}

template <unsigned int step>
[[gnu::always_inline]] inline void FourSteps(unsigned int & a, unsigned int & b, unsigned int & c,
                                             unsigned int & d, unsigned char const * data) {
    a = Step<step>(a, b, c, d, data);
    d = Step<step + 1>(d, a, b, c, data);
    c = Step<step + 2>(c, d, a, b, data);
    b = Step<step + 3>(b, c, d, a, data);
}

template <unsigned int round>
[[gnu::always_inline]] inline void Round(unsigned int & a, unsigned int & b, unsigned int & c,
                                         unsigned int & d, unsigned char const * data) {
    FourSteps<16 * round>(a, b, c, d, data);
    FourSteps<16 * round + 4>(a, b, c, d, data);
    FourSteps<16 * round + 8>(a, b, c, d, data);
    FourSteps<16 * round + 12>(a, b, c, d, data);
}

void Digest(unsigned int (&state)[4], unsigned char const * data, std::size_t blocks) {
    unsigned int a = state[0], b = state[1], c = state[2], d = state[3];
    for (; blocks > 0; --blocks, data += blockSize) {
        unsigned int const before[4] = {a, b, c, d};
        Round<0>(a, b, c, d, data);
        Round<1>(a, b, c, d, data);
        Round<2>(a, b, c, d, data);
        Round<3>(a, b, c, d, data);
        a += before[0];
        b += before[1];
        c += before[2];
        d += before[3];
    }
    state[0] = a;
    state[1] = b;
    state[2] = c;
    state[3] = d;
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
