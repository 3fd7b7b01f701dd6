#include <Kestrel/Root/Objects/Object.h>

#include <Kestrel/Root/Memory/Memory.h>

namespace Mu {

Object::~Object() = default;
Object * Object::Clone() const {
    return nullptr;
}
MuErrCode Object::Read(IChannel &) {
    return Error;
}
MuErrCode Object::Write(OChannel &) const {
    return Error;
}
void Object::Print(OChannel &) const {}
void Object::Dump(OChannel & channel) const {
    Print(channel);
}
MuErrCode Object::CheckState() const {
    return NoError;
}

void * Object::operator new(std::size_t size) {
    return NewOrThrow(size);
}
void Object::operator delete(void * block) noexcept {
    DeleteOperator(block);
}
void * Object::operator new[](std::size_t size) {
    return NewOrThrow(size);
}
void Object::operator delete[](void * block) noexcept {
    DeleteArrayOperator(block);
}

} // namespace Mu
