#pragma once

namespace IO {

/// The settings of a ZipOChannel. A plain value.
class ZipOChannelOptions {
public:
    /// zlib's levels: DefaultLevel, or any number from 0 (none) to 9 (most).
    enum CompressionLevel : int { DefaultLevel = -1, NoCompression = 0, Fastest = 1, Best = 9 };
    enum MultiThreading : unsigned int {
        WritingThread = 0, ///< the writer waits for the compressor
        WorkerThread = 1   ///< a thread of the channel compresses
    };

    ZipOChannelOptions() = default;
    ZipOChannelOptions(CompressionLevel level, unsigned int givenAutoFullFlushAfterBytesOfData,
                       MultiThreading givenMultiThreading)
        : compressionLevel(level),
          autoFullFlushAfterBytesOfData(givenAutoFullFlushAfterBytesOfData),
          multiThreading(givenMultiThreading) {}

    CompressionLevel GetCompressionLevel() const { return compressionLevel; }
    void SetCompressionLevel(CompressionLevel level) { compressionLevel = level; }

    /// After more than this number of bytes a full flush point is set, from which a damaged stream
    /// can be read again. Checked each time the channel's buffer is passed on, so the distance of
    /// the points is a multiple of its block size. 0: none.
    unsigned int GetAutoFullFlushAfterBytesOfData() const { return autoFullFlushAfterBytesOfData; }
    void SetAutoFullFlushAfterBytesOfData(unsigned int bytes) {
        autoFullFlushAfterBytesOfData = bytes;
    }

    MultiThreading GetMT() const { return multiThreading; }
    void SetMT(MultiThreading threading) { multiThreading = threading; }

private:
    CompressionLevel compressionLevel = DefaultLevel;
    unsigned int autoFullFlushAfterBytesOfData = 0;
    MultiThreading multiThreading = WorkerThread;
};

} // namespace IO
