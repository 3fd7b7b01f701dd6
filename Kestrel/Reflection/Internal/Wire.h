#pragma once

#include <Kestrel/Channel/MemoryOChannel.h>
#include <Kestrel/Reflection/Reflectable.h>
#include <Kestrel/Root/BinaryChannel.h>

namespace IO {

/// A block of memory to read from, which stays the caller's.
class BlockIChannel : public Mu::IBinaryChannel {
public:
    BlockIChannel(char const * block, unsigned int size) : at(block), left(size) {}
    BlockIChannel(BlockIChannel const & other) : at(other.at), left(other.left) {}
    using IBinaryChannel::Read;
    unsigned int Read(char * destination, unsigned int count) override;
    unsigned int GetAvailable() override { return left; }
    void Close() override { left = 0; }

private:
    char const * at;
    unsigned int left;
};

/// An answer under way: written into memory, so that it goes out in one piece.
class AnswerBlock : public Mu::OBinaryChannel {
public:
    /// Throws Mu::OutOfMemoryException.
    void Write(char const * source, unsigned int count) override;
    void Flush() override {}
    void Close() override {}
    /// Puts it behind what the other one holds, with its size in front.
    void AppendTo(AnswerBlock & other);
    /// Sends all of it. With a size, that of what stands behind it is put into the first 4 bytes.
    void Send(Mu::OBinaryChannel & output, bool withSize);

private:
    char * GetBlock();

    MemoryOChannel bytes;
};

/// Bytes of a length that somebody announced: memory is taken as they arrive.
class ArrivedBlock {
public:
    ArrivedBlock() = default;
    ~ArrivedBlock();
    ArrivedBlock(ArrivedBlock const &) = delete;
    ArrivedBlock & operator=(ArrivedBlock const &) = delete;

    /// False: there is no memory; what came was read then. Throws what the channel throws.
    bool ReadFrom(Mu::IBinaryChannel & channel, unsigned int count);
    char const * GetBytes() const { return block; }
    unsigned int GetSize() const { return size; }

private:
    char * block = nullptr; // owned
    unsigned int size = 0;
};

/// A text of at most so many bytes. Throws the text "Text is too long" for a longer one.
void ReadText(Mu::IBinaryChannel & channel, Mu::UniString * text, unsigned int limit);

/// The kind of the value in a byte, and what belongs to the kind.
void WriteValue(Mu::OBinaryChannel & channel, Reflectable::AttributeValue const & value);
/// Throws the text "Unknown reflection type" for another kind.
void ReadValue(Mu::IBinaryChannel & channel, Reflectable::AttributeValue * value,
               unsigned int limit);

} // namespace IO
