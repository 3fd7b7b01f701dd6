#include <Kestrel/Location/Internal/NameText.h>

#include <Kestrel/Root/Memory/Memory.h>
#include <Kestrel/Root/Text/CaseMapping.h>

#include <algorithm>

namespace IO {

static constexpr unsigned short AttachmentMark[] = {':', ':', '<'};
static constexpr unsigned int MarkLength = 3;

// The ">" that ends the attachment; null for a text without one.
static unsigned short const * FindAttachmentEnd(Mu::ConstSubstring const & text) {
    if (text.GetLength() < MarkLength ||
        !std::equal(AttachmentMark, AttachmentMark + MarkLength, text.begin()))
        return nullptr;
    unsigned short const * const end = std::find(text.begin() + MarkLength, text.end(), '>');
    return end == text.end() ? nullptr : end;
}

Mu::ConstSubstring WithoutAttachment(Mu::ConstSubstring const & text) {
    unsigned short const * const end = FindAttachmentEnd(text);
    if (end == nullptr)
        return text;
    return {end + 1, static_cast<unsigned int>(text.end() - (end + 1))};
}

Mu::ConstSubstring AttachmentOf(Mu::ConstSubstring const & text) {
    unsigned short const * const end = FindAttachmentEnd(text);
    if (end == nullptr)
        return {};
    unsigned short const * const begin = text.begin() + MarkLength;
    return {begin, static_cast<unsigned int>(end - begin)};
}

NameReader::NameReader(NameTable const & names, unsigned int name) : names(&names), chunk(name) {
    if (names.GetChunks()[name].units[0] == AttachmentMark[0])
        PassAttachment();
}

unsigned short NameReader::Next() {
    if (chunk == NoIndex)
        return 0;
    NameTable::Record const & record = names->GetChunks()[chunk];
    unsigned short const unit = record.units[at];
    if (unit == 0)
        chunk = NoIndex;
    else if (++at == NameTable::ChunkSize) {
        chunk = record.next;
        at = 0;
    }
    return unit;
}

void NameReader::PassAttachment() {
    NameReader ahead = *this;
    for (unsigned short const mark : AttachmentMark)
        if (ahead.Next() != mark)
            return;
    unsigned short unit;
    do {
        unit = ahead.Next();
        if (unit == 0)
            return;
    } while (unit != '>');
    *this = ahead;
}

bool HaveSameUnits(NameReader a, NameReader b, Mu::CaseComparison comparison) {
    for (;;) {
        unsigned short const first = a.Next();
        unsigned short const second = b.Next();
        if (first != second &&
            (comparison == Mu::RespectCase || Mu::ToUpperUnit(first) != Mu::ToUpperUnit(second)))
            return false;
        if (first == 0)
            return second == 0;
    }
}

bool IsNameLess(NameReader a, NameReader b) {
    for (;;) {
        unsigned short const first = a.Next();
        unsigned short const second = b.Next();
        if (first != second || first == 0)
            return first < second;
    }
}

StoredText::StoredText(NameTable const & names, unsigned int name)
    : units(inlineUnits), length(names.GetLength(name)) {
    if (length > InlineSize) {
        block = BMAllocatePtr(std::size_t{length} * sizeof(unsigned short), 0, 0);
        units = reinterpret_cast<unsigned short *>(block);
    }
    if (units != nullptr)
        names.Copy(name, units);
}

StoredText::~StoredText() {
    BMKillPtr(&block);
}

} // namespace IO
