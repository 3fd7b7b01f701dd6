#include <Kestrel/FileType/GeneralID.h>

namespace FTM {

constinit unsigned int TypeID::nextID = TypeID::First;
constinit unsigned int GroupID::nextID = GroupID::First;

TypeID TypeID::NextID() {
    return nextID > Last ? TypeID() : TypeID(GeneralID(static_cast<int>(nextID++)));
}

GroupID GroupID::NextID() {
    return nextID > Last ? GroupID() : GroupID(GeneralID(static_cast<int>(nextID++)));
}

constinit TypeID const UnknownType;
constinit GroupID const UnknownGroup;
constinit GroupID const RootGroup("root");

namespace {

constinit GroupID imageGroup;
constinit GroupID documentGroup;
constinit TypeID textFileType;
constinit TypeID tiffFileType;
constinit TypeID jpegFileType;
constinit TypeID bmpFileType;
constinit TypeID emfFileType;
constinit TypeID wmfFileType;
constinit TypeID htmFileType;
constinit TypeID pdfFileType;
constinit TypeID gifFileType;
constinit TypeID exeFileType;

} // namespace

constinit GroupID & ImageGroup = imageGroup;
constinit GroupID & DocumentGroup = documentGroup;
constinit TypeID & TextFileType = textFileType;
constinit TypeID & TIFFFileType = tiffFileType;
constinit TypeID & JPEGFileType = jpegFileType;
constinit TypeID & BMPFileType = bmpFileType;
constinit TypeID & EMFFileType = emfFileType;
constinit TypeID & WMFFileType = wmfFileType;
constinit TypeID & HTMFileType = htmFileType;
constinit TypeID & PDFFileType = pdfFileType;
constinit TypeID & GIFFileType = gifFileType;
constinit TypeID & EXEFileType = exeFileType;

} // namespace FTM
