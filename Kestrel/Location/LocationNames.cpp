#include <Kestrel/Location/Location.h>

#include <Kestrel/Location/Internal/LentAddress.h>
#include <Kestrel/Location/NameEnumerator.h>

// The checked operations on names. An index, or the existence of a last name, is checked by the
// address itself, with the same result.

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
    return refusal != NoError ? refusal : Lend(network)->Append(name);
}

MuErrCode Location::AppendToLocal(Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : Lend(local)->Append(name);
}

MuErrCode Location::GetNetworkName(unsigned int index, Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : Lend(network)->GetName(index, name);
}

MuErrCode Location::GetLocalName(unsigned int index, Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : Lend(local)->GetName(index, name);
}

MuErrCode Location::SetNetworkName(unsigned int index, Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : Lend(network)->SetName(index, name);
}

MuErrCode Location::SetLocalName(unsigned int index, Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : Lend(local)->SetName(index, name);
}

MuErrCode Location::GetLastNetworkName(Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : Lend(network)->GetLastName(name);
}

MuErrCode Location::GetLastLocalName(Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : Lend(local)->GetLastName(name);
}

MuErrCode Location::SetLastNetworkName(Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : Lend(network)->SetLastName(name);
}

MuErrCode Location::SetLastLocalName(Name const & name) {
    MuErrCode const refusal = CheckChange(Mu::IsNull(name));
    return refusal != NoError ? refusal : Lend(local)->SetLastName(name);
}

MuErrCode Location::DeleteNetworkName(unsigned int index) {
    MuErrCode const refusal = CheckChange(false);
    return refusal != NoError ? refusal : Lend(network)->DeleteName(index);
}

MuErrCode Location::DeleteLocalName(unsigned int index) {
    MuErrCode const refusal = CheckChange(false);
    return refusal != NoError ? refusal : Lend(local)->DeleteName(index);
}

MuErrCode Location::DeleteLastNetworkName() {
    MuErrCode const refusal = CheckChange(false);
    return refusal != NoError ? refusal : Lend(network)->DeleteLastName();
}

MuErrCode Location::DeleteLastLocalName() {
    MuErrCode const refusal = CheckChange(false);
    return refusal != NoError ? refusal : Lend(local)->DeleteLastName();
}

MuErrCode Location::MoveLastNetworkName(Name * name) {
    MuErrCode const refusal = GetLastNetworkName(name);
    return refusal != NoError ? refusal : DeleteLastNetworkName();
}

MuErrCode Location::MoveLastLocalName(Name * name) {
    MuErrCode const refusal = GetLastLocalName(name);
    return refusal != NoError ? refusal : DeleteLastLocalName();
}

// An attachment does not change the names themselves, so the result of IsLegal remains valid.

MuErrCode Location::GetNetworkNameAttachment(unsigned int index, Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : Lend(network)->GetNameAttachment(index, name);
}

MuErrCode Location::GetLocalNameAttachment(unsigned int index, Name * name) const {
    MuErrCode const refusal = Check(name == nullptr);
    return refusal != NoError ? refusal : Lend(local)->GetNameAttachment(index, name);
}

MuErrCode Location::SetNetworkNameAttachment(unsigned int index, Name const & name) {
    MuErrCode const refusal = Check(Mu::IsNull(name));
    return refusal != NoError ? refusal : Lend(network)->SetNameAttachment(index, name);
}

MuErrCode Location::SetLocalNameAttachment(unsigned int index, Name const & name) {
    MuErrCode const refusal = Check(Mu::IsNull(name));
    return refusal != NoError ? refusal : Lend(local)->SetNameAttachment(index, name);
}

void Location::ClearNetwork() {
    if (CheckChange(false) == NoError)
        Lend(network)->Clear();
}

void Location::ClearLocal() {
    if (CheckChange(false) == NoError)
        Lend(local)->Clear();
}

unsigned int Location::GetNetworkLength() const {
    return GetStatus() == NoError ? Lend(network)->GetLength() : 0;
}

unsigned int Location::GetLocalLength() const {
    return GetStatus() == NoError ? Lend(local)->GetLength() : 0;
}

MuErrCode Location::EnumerateLocalNames(NameEnumerator * enumerator) const {
    MuErrCode const refusal = Check(enumerator == nullptr);
    return refusal != NoError ? refusal : Lend(local)->EnumerateNames(enumerator);
}

bool Location::IsEmpty() const {
    return GetStatus() != NoError || (Lend(network)->IsEmpty() && Lend(local)->IsEmpty());
}

bool Location::IsRoot() const {
    return GetStatus() != NoError || Lend(local)->IsEmpty();
}

bool Location::IsLocal() const {
    return GetStatus() != NoError || Lend(network)->IsEmpty() ||
           Lend(network)->IsOneName(u"localhost");
}

} // namespace IO
