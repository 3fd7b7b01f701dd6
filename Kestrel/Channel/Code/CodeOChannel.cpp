#include <Kestrel/Channel/Code/CodeOChannel.h>

#include <Kestrel/Channel/Code/Blowfish.h>
#include <Kestrel/Channel/Code/Internal/CodeRecord.h>

#include <Kestrel/Root/Log/Quietly.h>

#include <algorithm>
#include <memory>
#include <new>

namespace IO {

/// The implementation of a CodeOChannel.
class CodeOChannel::CodeOChannelImp final : public OutputBuffer::BinOutput {
public:
    CodeOChannelImp(Mu::OChannel & destination, void const * key, unsigned int length)
        : destinationChannel(&destination), cipher(new Blowfish) {
        cipher->SetPassword(key, length);
    }

    void Close() {
        CodeRecord end{};
        WriteRecord(end);
    }

    MuErrCode InternalWrite(char const * source, unsigned int count,
                            unsigned int * written) override {
        *written = 0;
        MuErrCode status = NoError;
        // Kept: a failed record does not stop the following ones, and the last one's status counts.
        while (*written < count) {
            unsigned int const piece = std::min(count - *written, CodeRecord::DataSize);
            status = WritePlain(source + *written, piece);
            *written += piece;
        }
        return status;
    }

    Mu::OChannel & GetDestination() const { return *destinationChannel; }

private:
    MuErrCode WritePlain(char const * source, unsigned int count) {
        CodeRecord record{};
        record.marker[0] = record.marker[1] = CodeRecord::MarkerByte;
        record.count = static_cast<unsigned char>(count);
        std::copy_n(source, count, record.data);
        cipher->Encrypt(record.data, CodeRecord::DataSize);
        return WriteRecord(record);
    }

    MuErrCode WriteRecord(CodeRecord & record) {
        return destinationChannel->WriteBin(record.GetBytes(), CodeRecord::WireSize, nullptr);
    }

    Mu::OChannel * destinationChannel; // not owned
    std::unique_ptr<Blowfish> cipher;
};

CodeOChannel::CodeOChannel(Mu::OChannel & destination, void const * key, unsigned int length)
    : OChannelAdapter(destination.GetOutputProtocol()) {
    static_assert(sizeof(CodeOChannelImp) <= sizeof storage);
    imp = new (storage) CodeOChannelImp(destination, key, length);
    SetBinOutput(*imp);
    WriteInLine(*this);
}

CodeOChannel::~CodeOChannel() {
    Mu::Quietly([this] { (void)Flush(); });
    Mu::Quietly([this] { imp->Close(); });
    ClearBinOutput();
    imp->~CodeOChannelImp();
}

void CodeOChannel::SetDefaultOutputProtocol() {
    SetOutputProtocol(imp->GetDestination().GetOutputProtocol());
}

} // namespace IO
