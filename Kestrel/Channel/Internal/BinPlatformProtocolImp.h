#pragma once

#include <Kestrel/Channel/Internal/Recode.h>
#include <Kestrel/Channel/PlatformProtocol.h>
#include <Kestrel/Channel/Wire.h>
#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Objects/Object.h>
#include <Kestrel/Root/Values/Guid.h>

#include <memory>

namespace IO {

inline constexpr Wire::ByteOrder OrderOf(Mu::PlatformSign sign) {
    return sign == Mu::BigEndianMacSign ? Wire::ByteOrder::HighFirst : Wire::ByteOrder::LowFirst;
}

/// Reads values in the form of `origin`. Stateless; PlatformProtocol.cpp has one instance for each
/// form.
template <Mu::PlatformSign origin, Mu::PlatformSign destination>
class BinPlatformIProtocolImp final : public BinPlatformIProtocol {
public:
    MuErrCode Read(Mu::IChannel & channel, Mu::Guid & value) override {
        if constexpr (order == Wire::ByteOrder::HighFirst)
            return value.ReadStructured(channel);
        else
            return channel.ReadBin(reinterpret_cast<char *>(&value), sizeof value, nullptr);
    }
    MuErrCode Read(Mu::IChannel & channel, Mu::Object & value) override {
        return value.Read(channel);
    }
    MuErrCode Read(Mu::IChannel & channel, char * text) override {
        if (text == nullptr)
            return Error;
        unsigned int length = 0;
        MuErrCode const status = Wire::ReadText(channel, text, &length);
        if (status == NoError)
            Recode(origin, text, length, destination);
        return status;
    }
    MuErrCode Read(Mu::IChannel & channel, long double & value) override {
        return Value(channel, value);
    }
    MuErrCode Read(Mu::IChannel & channel, double & value) override {
        return Value(channel, value);
    }
    MuErrCode Read(Mu::IChannel & channel, float & value) override { return Value(channel, value); }
    MuErrCode Read(Mu::IChannel & channel, unsigned long long & value) override {
        return Value(channel, value);
    }
    MuErrCode Read(Mu::IChannel & channel, long long & value) override {
        return Value(channel, value);
    }
    MuErrCode Read(Mu::IChannel & channel, unsigned long & value) override {
        return Value(channel, value);
    }
    MuErrCode Read(Mu::IChannel & channel, long & value) override { return Value(channel, value); }
    MuErrCode Read(Mu::IChannel & channel, unsigned int & value) override {
        return Value(channel, value);
    }
    MuErrCode Read(Mu::IChannel & channel, int & value) override { return Value(channel, value); }
    MuErrCode Read(Mu::IChannel & channel, unsigned short & value) override {
        return Value(channel, value);
    }
    MuErrCode Read(Mu::IChannel & channel, short & value) override { return Value(channel, value); }
    MuErrCode Read(Mu::IChannel & channel, unsigned char & value) override {
        return Value(channel, value);
    }
    MuErrCode Read(Mu::IChannel & channel, char & value) override { return Value(channel, value); }
    MuErrCode Read(Mu::IChannel & channel, bool & value) override { return Value(channel, value); }
    MuErrCode GetPlatform(Mu::PlatformSign * sign) override {
        *sign = origin;
        return NoError;
    }

private:
    static constexpr Wire::ByteOrder order = OrderOf(origin);

    template <typename T>
    static MuErrCode Value(Mu::IChannel & channel, T & value) {
        return Wire::ReadValue<order>(channel, value);
    }
};

/// Writes values in the form of `destination`. Stateless; PlatformProtocol.cpp has one instance for
/// each form.
template <Mu::PlatformSign origin, Mu::PlatformSign destination>
class BinPlatformOProtocolImp final : public BinPlatformOProtocol {
public:
    MuErrCode Write(Mu::OChannel & channel, Mu::Guid const & value) override {
        if constexpr (order == Wire::ByteOrder::HighFirst)
            return value.WriteStructured(channel);
        else
            return channel.WriteBin(reinterpret_cast<char const *>(&value), sizeof value, nullptr);
    }
    MuErrCode Write(Mu::OChannel & channel, Mu::Object const & value) override {
        return value.Write(channel);
    }
    // Kept: the length is written in the peer's order whatever the channel's protocol is, and a
    // failure to write it ends the operation, both unlike in BinOProtocol.
    MuErrCode Write(Mu::OChannel & channel, char const * text) override {
        unsigned int length = 0;
        if (text == nullptr || !Wire::MeasureText(text, &length))
            return Error;
        MuErrCode const status = Value(channel, length);
        return status != NoError ? status : WriteRecoded(channel, text, length);
    }
    MuErrCode Write(Mu::OChannel & channel, void const * pointer) override {
        return Value(channel,
                     static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
    }
    MuErrCode Write(Mu::OChannel & channel, long double value) override {
        return Value(channel, value);
    }
    MuErrCode Write(Mu::OChannel & channel, double value) override { return Value(channel, value); }
    MuErrCode Write(Mu::OChannel & channel, float value) override { return Value(channel, value); }
    MuErrCode Write(Mu::OChannel & channel, unsigned long long value) override {
        return Value(channel, value);
    }
    MuErrCode Write(Mu::OChannel & channel, long long value) override {
        return Value(channel, value);
    }
    MuErrCode Write(Mu::OChannel & channel, unsigned long value) override {
        return Value(channel, value);
    }
    MuErrCode Write(Mu::OChannel & channel, long value) override { return Value(channel, value); }
    MuErrCode Write(Mu::OChannel & channel, unsigned int value) override {
        return Value(channel, value);
    }
    MuErrCode Write(Mu::OChannel & channel, int value) override { return Value(channel, value); }
    MuErrCode Write(Mu::OChannel & channel, unsigned short value) override {
        return Value(channel, value);
    }
    MuErrCode Write(Mu::OChannel & channel, short value) override { return Value(channel, value); }
    MuErrCode Write(Mu::OChannel & channel, unsigned char value) override {
        return Value(channel, value);
    }
    MuErrCode Write(Mu::OChannel & channel, char value) override { return Value(channel, value); }
    MuErrCode Write(Mu::OChannel & channel, bool value) override { return Value(channel, value); }
    MuErrCode GetPlatform(Mu::PlatformSign * sign) override {
        *sign = destination;
        return NoError;
    }

private:
    static constexpr Wire::ByteOrder order = OrderOf(destination);

    template <typename T>
    static MuErrCode Value(Mu::OChannel & channel, T value) {
        return Wire::WriteValue<order>(channel, value);
    }

    static MuErrCode WriteRecoded(Mu::OChannel & channel, char const * text, unsigned int length) {
        std::size_t const size = static_cast<std::size_t>(length) + 1;
        std::unique_ptr<char, void (*)(void *) noexcept> const copy(
            static_cast<char *>(Mu::NewOrThrow(size)), Mu::DeleteOperator);
        std::memcpy(copy.get(), text, size);
        Recode(origin, copy.get(), length, destination);
        return channel.WriteBin(copy.get(), length, nullptr);
    }
};

} // namespace IO
