#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/NameEnumerator.h>

// The checked operations on names. What is asked of an index, or of a last name, the address checks
// itself, with the same result.

namespace IO {

MuErrCode Location::Check(bool nullArgument) const {
    return nullArgument ? Error : GetStatus();
}

MuErrCode Location::CheckChange(bool nullArgument) {
    legality = NotAsked;
    return Check(nullArgument);
}

MuErrCode Location::AppendToNetwork(Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : network.Append(name);
}

MuErrCode Location::AppendToLocal(Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : local.Append(name);
}

MuErrCode Location::GetNetworkName(unsigned int index, Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : network.GetName(index, name);
}

MuErrCode Location::GetLocalName(unsigned int index, Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : local.GetName(index, name);
}

MuErrCode Location::SetNetworkName(unsigned int index, Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : network.SetName(index, name);
}

MuErrCode Location::SetLocalName(unsigned int index, Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : local.SetName(index, name);
}

MuErrCode Location::GetLastNetworkName(Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : network.GetLastName(name);
}

MuErrCode Location::GetLastLocalName(Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : local.GetLastName(name);
}

MuErrCode Location::SetLastNetworkName(Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : network.SetLastName(name);
}

MuErrCode Location::SetLastLocalName(Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : local.SetLastName(name);
}

MuErrCode Location::DeleteNetworkName(unsigned int index) {
    MuErrCode const refusal = CheckChange(false);
    return refusal != NoError ? refusal : network.DeleteName(index);
}

MuErrCode Location::DeleteLocalName(unsigned int index) {
    MuErrCode const refusal = CheckChange(false);
    return refusal != NoError ? refusal : local.DeleteName(index);
}

MuErrCode Location::DeleteLastNetworkName() {
    MuErrCode const refusal = CheckChange(false);
    return refusal != NoError ? refusal : network.DeleteLastName();
}

MuErrCode Location::DeleteLastLocalName() {
    MuErrCode const refusal = CheckChange(false);
    return refusal != NoError ? refusal : local.DeleteLastName();
}

MuErrCode Location::MoveLastNetworkName(Name * name) {
    MuErrCode const refusal = GetLastNetworkName(name);
    return refusal != NoError ? refusal : DeleteLastNetworkName();
}

MuErrCode Location::MoveLastLocalName(Name * name) {
    MuErrCode const refusal = GetLastLocalName(name);
    return refusal != NoError ? refusal : DeleteLastLocalName();
}

// An attachment does not change what the names say, so the result of IsLegal stays.

MuErrCode Location::GetNetworkNameAttachment(unsigned int index, Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : network.GetNameAttachment(index, name);
}

MuErrCode Location::GetLocalNameAttachment(unsigned int index, Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : local.GetNameAttachment(index, name);
}

MuErrCode Location::SetNetworkNameAttachment(unsigned int index, Name const & name) {
    MuErrCode const refusal = Check(Mu::IsNull(name));
    return refusal != NoError ? refusal : network.SetNameAttachment(index, name);
}

MuErrCode Location::SetLocalNameAttachment(unsigned int index, Name const & name) {
    MuErrCode const refusal = Check(Mu::IsNull(name));
    return refusal != NoError ? refusal : local.SetNameAttachment(index, name);
}

void Location::ClearNetwork() {
    if (CheckChange(false) == NoError)
        network.Clear();
}

void Location::ClearLocal() {
    if (CheckChange(false) == NoError)
        local.Clear();
}

unsigned int Location::GetNetworkLength() const {
    return GetStatus() == NoError ? network.GetLength() : 0;
}

unsigned int Location::GetLocalLength() const {
    return GetStatus() == NoError ? local.GetLength() : 0;
}

MuErrCode Location::EnumerateLocalNames(NameEnumerator * enumerator) const {
    MuErrCode const refusal = Check(enumerator == nullptr);
    return refusal != NoError ? refusal : local.EnumerateNames(enumerator);
}

bool Location::IsEmpty() const {
    return GetStatus() != NoError || (network.IsEmpty() && local.IsEmpty());
}

bool Location::IsRoot() const {
    return GetStatus() != NoError || local.IsEmpty();
}

bool Location::IsLocal() const {
    return GetStatus() != NoError || network.IsEmpty() || network.IsOneName(u"localhost");
}

} // namespace IO
