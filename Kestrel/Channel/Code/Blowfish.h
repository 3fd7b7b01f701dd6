#pragma once

#include <Kestrel/Root/Export.h>
#include <Kestrel/Root/Memory/Memory.h>

namespace IO {

/// A block cipher of 8-byte blocks: Blowfish in a variant of its own.
///
/// Rounds, tables and the steps of the key schedule are the published ones. Three things differ,
/// and with them every ciphertext: the halves of a block are read low byte first, the round
/// function takes its boxes from the low byte up, and the key's words are put together low byte
/// first. So nothing that deciphers published Blowfish deciphers this.
///
/// Each block is enciphered by itself: equal blocks give equal ciphertext, and nobody notices a
/// block that was exchanged. It hides text from eyes; it proves nothing.
///
/// Memory:  4168 bytes, in the object.
/// Threads: one at a time; Encrypt and Decrypt of one object, any number at once.
/// Failure: none. What cannot be done is not done, as described below.
class KESTREL_API Blowfish : public Mu::Allocated {
public:
    /// A half of a block, as a number and as the bytes that it has in the machine's memory.
    union Word {
        unsigned int word;
        unsigned char bytes[4];
    };

    /// Ready to use, with no key: the published tables.
    Blowfish() { Reset(); }
    /// Leaves no key behind in memory.
    ~Blowfish() { Reset(); }
    Blowfish(Blowfish const &) = default;
    Blowfish & operator=(Blowfish const &) = default;

    /// As without a key.
    void Reset();
    /// Of any length; a key and its repetition are the same key. A null or empty one changes
    /// nothing, so that a key set before stays.
    void SetPassword(void const * key, unsigned int length);
    /// The same upon the present tables: keys on keys.
    void GenerateSubKeys(void const * key, unsigned int length);

    /// In place, block by block. A size that is no multiple of 8 changes nothing.
    void Encrypt(void * data, unsigned int size) const;
    void Decrypt(void * data, unsigned int size) const;

    // One block, in place.
    void BF_En(Word * left, Word * right) const;
    void BF_De(Word * left, Word * right) const;

private:
    static constexpr unsigned int rounds = 16;

    unsigned int F(unsigned int x) const;
    void Encipher(unsigned int & left, unsigned int & right) const;
    void Decipher(unsigned int & left, unsigned int & right) const;

    unsigned int P[rounds + 2];
    unsigned int S[4][256];
};

} // namespace IO
