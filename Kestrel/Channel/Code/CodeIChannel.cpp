#include <Kestrel/Channel/Code/CodeIChannel.h>

#include <Kestrel/Channel/Code/Blowfish.h>
#include <Kestrel/Channel/Code/Internal/CodeRecord.h>

#include <algorithm>
#include <memory>
#include <new>

namespace IO {

/// The implementation of a CodeIChannel.
class CodeIChannel::CodeIChannelImp final : public InputBuffer::BinInput {
public:
    CodeIChannelImp(Mu::IChannel & source, void const * key, unsigned int length)
        : sourceChannel(&source), cipher(new Blowfish) {
        cipher->SetPassword(key, length);
    }

    MuErrCode InternalRead(char * destination, unsigned int count, unsigned int * read) override {
        *read = 0;
        if (count == 0)
            return NoError;
        MuErrCode const status = Fill(destination, count, read);
        totalOutput += *read;
        return status;
    }

    MuErrCode GetCodeError() const { return codeError; }
    MuErrCode FindNextBlock();
    unsigned long long GetTotalOutput() const { return totalOutput; }
    Mu::IChannel & GetSource() const { return *sourceChannel; }

private:
    MuErrCode Fill(char * destination, unsigned int count, unsigned int * read);
    void TakeSome(char * destination, unsigned int count);
    bool FetchRecord(MuErrCode * status);
    void Decipher() { cipher->Decrypt(record.data, CodeRecord::DataSize); }

    Mu::IChannel * sourceChannel; // not owned
    unsigned long long totalOutput = 0;
    std::unique_ptr<Blowfish> cipher;
    // The count is that of the plain bytes not yet read, which are at the front. A damaged stream
    // may specify up to 255 of them; the room behind the record is for those, and remains zero.
    struct : CodeRecord {
        char beyond[255 - DataSize];
        char * GetPlain() { return GetBytes() + 3; }
    } record{};
    MuErrCode codeError = NoError;
};

// Reads one record ahead, so that the end is reported together with the last bytes. Kept: the
// status of fetching counts only when the request is filled. At the end of a truncated source, the
// record is unchanged, is deciphered once more and returned.
MuErrCode CodeIChannel::CodeIChannelImp::Fill(char * destination, unsigned int count,
                                              unsigned int * read) {
    MuErrCode status = NoError;
    for (;;) {
        unsigned int const here = record.count;
        unsigned int const rest = count - *read;
        if (here > rest) {
            TakeSome(destination + *read, rest);
            *read += rest;
        } else {
            std::copy_n(record.GetPlain(), here, destination + *read);
            *read += here;
            if (!FetchRecord(&status))
                return InputFailure;
        }
        if (record.count == 0)
            return EOI;
        if (*read == count)
            return status;
    }
}

void CodeIChannel::CodeIChannelImp::TakeSome(char * destination, unsigned int count) {
    char * const plain = record.GetPlain();
    unsigned int const left = record.count - count;
    std::copy_n(plain, count, destination);
    std::copy_n(plain + count, left, plain);
    std::fill_n(plain + left, count, '\0');
    record.count = static_cast<unsigned char>(left);
}

bool CodeIChannel::CodeIChannelImp::FetchRecord(MuErrCode * status) {
    *status = sourceChannel->ReadBin(record.GetBytes(), CodeRecord::WireSize, nullptr);
    if (record.count != 0 && !record.HasMarker()) {
        codeError = CodeDataError;
        return false;
    }
    Decipher();
    return true;
}

MuErrCode CodeIChannel::CodeIChannelImp::FindNextBlock() {
    CodeRecord found;
    for (;;) {
        found = {}; // a single byte at the end must not form a marker with an earlier one
        MuErrCode const status = sourceChannel->ReadBin(found.marker, 2, nullptr);
        if (found.HasMarker())
            break;
        if (status != NoError)
            return status;
    }
    std::copy_n(found.marker, 2, record.marker);
    codeError = sourceChannel->ReadBin(record.GetBytes() + 2, CodeRecord::WireSize - 2, nullptr);
    Decipher();
    return codeError;
}

CodeIChannel::CodeIChannel(Mu::IChannel & source, void const * key, unsigned int length)
    : IChannelAdapter(source.GetInputProtocol()) {
    static_assert(sizeof(CodeIChannelImp) <= sizeof storage);
    imp = new (storage) CodeIChannelImp(source, key, length);
    SetBinInput(*imp);
    ReadInLine(*this);
}

CodeIChannel::~CodeIChannel() {
    ClearBinInput();
    imp->~CodeIChannelImp();
}

MuErrCode CodeIChannel::GetInputPosition(unsigned long long * position) const {
    // Bytes pushed back before the start leave the position at 0.
    unsigned long long const total = imp->GetTotalOutput();
    *position = total - std::min<unsigned long long>(total, GetDataSizeInInputBuffer());
    return NoError;
}

void CodeIChannel::SetDefaultInputProtocol() {
    SetInputProtocol(imp->GetSource().GetInputProtocol());
}

MuErrCode CodeIChannel::GetCodeError() const {
    return imp->GetCodeError();
}

MuErrCode CodeIChannel::FindNextBlock() {
    MuErrCode const found = imp->FindNextBlock();
    ResetInputStatus();
    return found;
}

} // namespace IO
