#include <Kestrel/Location/RelativeLocation.h>

#include <Kestrel/Location/Internal/AddressNames.h>
#include <Kestrel/Location/Internal/Guard.h>
#include <Kestrel/Location/Internal/Resolvation.h>
#include <Kestrel/Location/Internal/URLNames.h>
#include <Kestrel/Location/Internal/ValidatorTable.h>
#include <Kestrel/Location/LocationResolver.h>
#include <Kestrel/Location/LocationValidator.h>
#include <Kestrel/Root/Log/LogLine.h>
#include <Kestrel/Root/Objects/ClassInfo.h>
#include <Kestrel/Root/Objects/Frame.h>
#include <Kestrel/Root/Streams/IChannel.h>
#include <Kestrel/Root/Streams/OChannel.h>

#include <iterator>

namespace IO {

namespace {

bool IsRelative(std::u16string_view rest) {
    std::size_t colon = rest.find(u':');
    if (colon != rest.npos && IsURLWord(rest.substr(0, colon), u"url")) {
        rest.remove_prefix(colon + 1);
        colon = rest.find(u':');
    }
    return colon != rest.npos && IsURLWord(rest.substr(0, colon), u"rel");
}

} // namespace

RelativeLocation::RelativeLocation(Name const & name) {
    if (!Mu::IsNull(name))
        (void)address.Append(name); // a failure remains in the address
}

RelativeLocation::RelativeLocation(RelativeLocation const & parent, Name const & name)
    : RelativeLocation(parent) {
    (void)Append(name); // a failure remains in the address
}

RelativeLocation::RelativeLocation(Mu::UniString const & text) {
    status = Set(text);
}

RelativeLocation::RelativeLocation(char const * text) {
    status = Set(text);
}

RelativeLocation::RelativeLocation(char16_t const * text) {
    status = Set(text);
}

RelativeLocation::~RelativeLocation() = default;

MuErrCode RelativeLocation::GetStatus() const {
    return address.GetStatus() == NoError ? status : ErrMemoryFull;
}

bool RelativeLocation::IsValid() const {
    return GetStatus() == NoError && IsLegal();
}

MuErrCode RelativeLocation::Check(bool nullArgument) const {
    return nullArgument ? Error : GetStatus();
}

MuErrCode RelativeLocation::GetName(unsigned int index, Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : address.GetName(index, name);
}

MuErrCode RelativeLocation::SetName(unsigned int index, Name const & name) {
    MuErrCode const refusal = Check(Mu::IsNull(name));
    return refusal != NoError ? refusal : address.SetName(index, name);
}

MuErrCode RelativeLocation::DeleteName(unsigned int index) {
    MuErrCode const refusal = GetStatus();
    return refusal != NoError ? refusal : address.DeleteName(index);
}

MuErrCode RelativeLocation::GetLastName(Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : address.GetLastName(name);
}

MuErrCode RelativeLocation::SetLastName(Name const & name) {
    MuErrCode const refusal = Check(Mu::IsNull(name));
    return refusal != NoError ? refusal : address.SetLastName(name);
}

MuErrCode RelativeLocation::DeleteLastName() {
    MuErrCode const refusal = GetStatus();
    return refusal != NoError ? refusal : address.DeleteLastName();
}

MuErrCode RelativeLocation::MoveLastName(Name * name) {
    MuErrCode const refusal = GetLastName(name);
    return refusal != NoError ? refusal : address.DeleteLastName();
}

MuErrCode RelativeLocation::Append(Name const & name) {
    MuErrCode const refusal = Check(Mu::IsNull(name));
    return refusal != NoError ? refusal : address.Append(name);
}

MuErrCode RelativeLocation::Append(RelativeLocation const & other) {
    MuErrCode refusal = Check(Mu::IsNull(other));
    if (refusal == NoError)
        refusal = other.GetStatus();
    return refusal != NoError ? refusal : address.Append(other.address);
}

void RelativeLocation::Clear() {
    status = NoError;
    address.Clear();
}

unsigned int RelativeLocation::GetLength() const {
    return GetStatus() == NoError ? address.GetLength() : 0;
}

bool RelativeLocation::IsEmpty() const {
    return GetStatus() != NoError || address.IsEmpty();
}

void RelativeLocation::SetContent(unsigned short const * names) {
    if (names != nullptr)
        (void)address.Set(names); // a failure remains in the address
}

MuErrCode RelativeLocation::Set(Mu::UniString const & text) {
    if (Mu::IsNull(text))
        return Error;
    status = NoError;
    return WithoutException([&] {
        if (address.GetStatus() == NoError && !Resolve(text)) {
            static Mu::ErrorLogLine line(RefusedTextFormat, "IO", nullptr);
            LogRefusedText(line, text);
            return ErrIllegalRelativeLocation;
        }
        return GetStatus();
    });
}

MuErrCode RelativeLocation::Set(char const * text) {
    return text == nullptr ? Error : WithoutException([&] { return Set(Mu::UniString(text)); });
}

MuErrCode RelativeLocation::Set(char16_t const * text) {
    return text == nullptr ? Error : WithoutException([&] { return Set(Mu::UniString(text)); });
}

bool RelativeLocation::Resolve(Mu::UniString const & text) {
    if (IsURL(text))
        return ResolveURL(text);
    LocationResolver * const resolver = LocationResolver::GetInstance();
    return resolver != nullptr && resolver->PathToRelativeLocation(text, this);
}

bool RelativeLocation::IsRelativeURL(Mu::UniString const & text) {
    return !Mu::IsNull(text) && IsURL(text);
}

// The first bytes decide, and ASCII is the same in every code. So the text is not converted, which
// would take memory.
bool RelativeLocation::IsRelativeURL(char const * text) {
    char16_t units[sizeof("url:rel:") - 1];
    std::size_t count = 0;
    if (text != nullptr)
        for (; count < std::size(units) && text[count] != 0; ++count)
            units[count] = static_cast<unsigned char>(text[count]);
    return IsRelative({units, count});
}

bool RelativeLocation::IsURL(Mu::UniString const & text) {
    return IsRelative(text);
}

MuErrCode RelativeLocation::ToURL(Mu::UniString * url) const {
    MuErrCode const refusal = Check(url == nullptr);
    if (refusal != NoError)
        return refusal;
    return WithoutException([&] {
        Mu::UniString text("rel:///");
        AppendNamesToURL(text, address, EscapedInRelativeURL);
        url->Swap(text);
        return NoError;
    });
}

bool RelativeLocation::ResolveURL(Mu::UniString const & text) {
    std::u16string_view const rest = SkipURLMark(text);
    if (!IsURLWord(rest.substr(0, 4), u"rel:") || rest.substr(4, 3) != u"///")
        return false;
    Clear();
    AppendNamesOfURL(address, rest.substr(7));
    return true;
}

bool RelativeLocation::operator==(RelativeLocation const & other) const {
    return GetStatus() == NoError && !Mu::IsNull(other) && other.GetStatus() == NoError &&
           address == other.address;
}

bool RelativeLocation::operator!=(RelativeLocation const & other) const {
    return GetStatus() == NoError && !Mu::IsNull(other) && other.GetStatus() == NoError &&
           address != other.address;
}

bool RelativeLocation::IsAncestorOf(RelativeLocation const & other) const {
    return GetStatus() == NoError && !Mu::IsNull(other) && other.GetStatus() == NoError &&
           address.GetLength() < other.address.GetLength() && other.address.BeginsWith(address);
}

bool RelativeLocation::IsLegal() const {
    return CheckLegality() == NoError;
}

MuErrCode RelativeLocation::CheckLegality() const {
    if (MuErrCode const found = GetStatus();
        found != NoError && found != ErrIllegalRelativeLocation)
        return found;
    return WithoutException([this] {
        LocationValidator const * const validator = GetValidator(LegalityPlatform);
        return validator != nullptr && validator->IsLegal(*this) ? NoError
                                                                 : ErrIllegalRelativeLocation;
    });
}

bool RelativeLocation::IsMultiplatform() const {
    return CheckMultiplatform() == NoError;
}

MuErrCode RelativeLocation::CheckMultiplatform() const {
    if (MuErrCode const found = GetStatus(); found != NoError)
        return found;
    return WithoutException([this] {
        bool const isLegal = AllValidators(
            [this](LocationValidator const & validator) { return validator.IsLegal(*this); });
        return isLegal ? NoError : ErrIllegalRelativeLocation;
    });
}

unsigned int RelativeLocation::GenerateHashValue() const {
    return address.GenerateHashValue();
}

// RelativeLocation persists as one address in a frame of its own.

Mu::ClassInfo const & RelativeLocation::GetClassInfoStatic() {
    static Mu::ClassInfo const classInfo("IO::RelativeLocation",
                                         Mu::ClassProperty(Mu::ClassVersion(1, 1)));
    return classInfo;
}

Mu::ClassInfo const & RelativeLocation::GetClassInfo() const {
    return GetClassInfoStatic();
}

MuErrCode RelativeLocation::Write(Mu::OChannel & channel) const {
    if (Mu::IsNull(channel))
        return Error;
    MuErrCode written = NoError;
    {
        Mu::OutputFrame const frame(channel, GetClassInfoStatic());
        if (GetStatus() == NoError)
            written = channel.Write(address);
    } // the end of the frame is written, too
    return written != NoError ? written : channel.GetOutputStatus();
}

MuErrCode RelativeLocation::Read(Mu::IChannel & channel) {
    if (Mu::IsNull(channel))
        return Error;
    Clear();
    Mu::InputFrame frame(channel, GetClassInfoStatic());
    if (frame.GetStatus() != NoError)
        return frame.GetStatus();
    if (frame.GetSubVersion() != 0 && frame.GetDataLength() == 0) {
        status = Error;
        return NoError;
    }
    return channel.Read(address);
}

void RelativeLocation::Print(Mu::OChannel & channel) const {
    if (Mu::IsNull(channel))
        return;
    if (GetStatus() != NoError)
        channel << "Error in RelativeLocation state!";
    else
        PrintNames(channel, address, MuMachineCharCode);
}

} // namespace IO
