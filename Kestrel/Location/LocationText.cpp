#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/AddressNames.h>
#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/Internal/LentAddress.h>
#include <Kestrel/Location/Internal/Resolvation.h>
#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/LocationResolver.h>
#include <Kestrel/Location/LocationValidator.h>
#include <Kestrel/Root/Errors/Exceptions.h>
#include <Kestrel/Root/Log/DebugPrint.h>
#include <Kestrel/Root/Log/LogLine.h>
#include <Kestrel/Root/Streams/OChannel.h>

namespace IO {

namespace {

using TextOperation = bool (LocationResolver::*)(Location const &, Mu::UniString *);

// False also while there is no resolver.
bool CallResolver(TextOperation operation, Location const & location, Mu::UniString * text) {
    LocationResolver * const resolver = LocationResolver::GetInstance();
    return resolver != nullptr && (resolver->*operation)(location, text);
}

template <typename ToText>
MuErrCode ToNarrow(CString<256> * narrow, ToText const & toText) {
    return WithoutException([&] {
        Mu::UniString text;
        MuErrCode const status = toText(narrow == nullptr ? nullptr : &text);
        if (status != NoError)
            return status;
        Mu::CStr const converted = text.ToCStr();
        return narrow->Assign(converted, converted.GetLength()) ? NoError : ErrMemoryFull;
    });
}

} // namespace

MuErrCode Location::Set(Mu::UniString const & text) {
    if (Mu::IsNull(text))
        return Error;
    legality = NotAsked;
    status = NoError;
    return WithoutException([&] {
        if (HasAddresses() && !Resolve(text)) {
            static Mu::ErrorLogLine line(RefusedTextFormat, "IO", nullptr);
            LogRefusedText(line, text);
            return ErrIllegalLocation;
        }
        return GetStatus();
    });
}

MuErrCode Location::Set(char const * text) {
    return text == nullptr ? Error : WithoutException([&] { return Set(Mu::UniString(text)); });
}

MuErrCode Location::Set(char16_t const * text) {
    return text == nullptr ? Error : WithoutException([&] { return Set(Mu::UniString(text)); });
}

bool Location::Resolve(Mu::UniString const & text) {
    if (IsURL(text))
        return ResolveURL(text);
    LocationResolver * const resolver = LocationResolver::GetInstance();
    return resolver != nullptr && resolver->PathToLocation(text, this);
}

MuErrCode Location::ToPath(Mu::UniString * path) const {
    MuErrCode const refusal = Check(path == nullptr);
    if (refusal != NoError)
        return refusal;
    return WithoutException([&] {
        return CallResolver(&LocationResolver::LocationToPath, *this, path) ? NoError : Error;
    });
}

MuErrCode Location::ToDisplayText(Mu::UniString * text) const {
    MuErrCode const refusal = Check(text == nullptr);
    if (refusal != NoError)
        return refusal;
    return WithoutException([&] {
        return CallResolver(&LocationResolver::LocationToDisplayText, *this, text) ? NoError
                                                                                   : Error;
    });
}

void Location::ToLogText(Mu::UniString * text) const {
    if (text == nullptr)
        return;
    if (GetStatus() != NoError)
        *text = "Invalid location";
    else if (!CallResolver(&LocationResolver::LocationToLogText, *this, text))
        text->ClearContent();
}

MuErrCode Location::ToPath(CString<256> * path) const {
    return ToNarrow(path, [this](Mu::UniString * text) { return ToPath(text); });
}

MuErrCode Location::ToDisplayText(CString<256> * text) const {
    return ToNarrow(text, [this](Mu::UniString * wide) { return ToDisplayText(wide); });
}

MuErrCode Location::ToURL(CString<256> * url) const {
    return ToNarrow(url, [this](Mu::UniString * text) { return ToURL(text); });
}

bool Location::IsLegal() const {
    return CheckLegality() == NoError;
}

MuErrCode Location::CheckLegality() const {
    if (!HasAddresses())
        return ErrMemoryFull;
    if (status != NoError && status != ErrIllegalLocation)
        return status;
    if (legality != NotAsked)
        return legality == 0 ? NoError : ErrIllegalLocation;
    return WithoutException([this] {
        LocationValidator const * const validator = GetValidator(LegalityPlatform);
        if (validator != nullptr)
            legality = validator->IsLegal(*this) ? 0 : 1;
        return legality == 0 ? NoError : ErrIllegalLocation;
    });
}

bool Location::IsMultiplatform() const {
    return CheckMultiplatform() == NoError;
}

MuErrCode Location::CheckMultiplatform() const {
    if (MuErrCode const found = GetStatus(); found != NoError)
        return found;
    return WithoutException([this] {
        bool const isLegal = AllValidators(
            [this](LocationValidator const & validator) { return validator.IsLegal(*this); });
        return isLegal ? NoError : ErrIllegalLocation;
    });
}

void Location::Print(Mu::OChannel & channel) const {
    if (Mu::IsNull(channel))
        return;
    if (GetStatus() != NoError) {
        channel << "Error in Location state!";
        return;
    }
    if (IsEmpty())
        return;
    Location onMachine(*this);
    onMachine.ClearNetwork();
    Mu::UniString path;
    if (onMachine.ToPath(&path) == NoError) {
        channel << static_cast<char const *>(path.ToCStr(0, Mu::NotFound, MuLogCharCode));
        return;
    }
    PrintNames(channel, *Lend(network), MuLogCharCode);
    channel << '|';
    PrintNames(channel, *Lend(local), MuLogCharCode);
}

void Location::PrintDebug() const {
    Mu::UniString path;
    (void)ToPath(&path); // a failure prints an empty line
    DBPrintf("%s\n", static_cast<char const *>(path.ToCStr(0, Mu::NotFound, MuLogCharCode)));
}

void Append(Mu::LogComposer & composer, Location const & location) {
    try {
        Mu::UniString text;
        text.SetCapacity(256);
        location.ToLogText(&text);
        composer.Append(text); // as UTF-8, like all of a log, not in the platform's code
    } catch (Mu::OutOfMemoryException const &) {
        composer.Append(""); // so that the values behind this one keep their places
    }
}

} // namespace IO
