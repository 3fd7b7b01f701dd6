#pragma once

#include <Kestrel/Location/Location.h>

namespace IO {

class RelativeLocation;

/// Converts locations to the platform's text and back: one instance per process.
///
/// The file system creates it; before that no text can be read and no location written. It checks
/// neither legality nor the content of the disk.
///
/// Threads: any; implementations have no state.
/// Failure: bool. The callers log failures and return a status.
class KESTREL_API LocationResolver {
public:
    /// Reads what WritePDI wrote. This one skips a block of any size and stores nothing.
    virtual MuErrCode ReadPDI(Mu::IChannel & channel, Location & location);
    /// Writes the platform's data beyond the names. This one writes an empty block.
    virtual MuErrCode WritePDI(Mu::OChannel & channel, Location const & location);

    /// Unregisters the instance.
    virtual ~LocationResolver();

    // Text to location; an invalid text may leave some names in it.
    virtual bool PathToRelativeLocation(Mu::UniString const & text,
                                        RelativeLocation * relative) = 0;
    virtual bool PathToLocation(Mu::UniString const & text, Location * location) = 0;

    // Location to text; the text is empty if the result is false.
    virtual bool LocationToPath(Location const & location, Mu::UniString * path) = 0;
    virtual bool LocationToDisplayText(Location const & location, Mu::UniString * text) = 0;
    /// Never checks legality. This one returns the display text.
    virtual bool LocationToLogText(Location const & location, Mu::UniString * text);

    LocationResolver(LocationResolver const &) = delete;
    LocationResolver & operator=(LocationResolver const &) = delete;

    /// The instance, or null.
    static LocationResolver * GetInstance();

protected:
    /// Registers the instance.
    LocationResolver();

    // The only access to a location's content. Name lists are zero-terminated texts one after
    // another, followed by an empty one; a null list does nothing.
    static void SetContent(Location & location, unsigned short const * network,
                           unsigned short const * local, Location::NetworkModel model);
    static void SetContent(RelativeLocation & relative, unsigned short const * names);

    /// Appends the local names of a healthy location to the text, separated by `\`, with or without
    /// their attachments. ErrMemoryFull: the text contains some of them, or none.
    static MuErrCode AppendLocalNames(Location const & location, bool withAttachments,
                                      Mu::UniString * text);

    // Access to the platform's data. SetPDI takes ownership; null clears.
    static Location::PDI * GetPDI(Location const & location);
    static void SetPDI(Location & location, Location::PDI * pdi);

    // Whether the location was found to be legal, and to store that, for a resolver that can decide
    // it by the text.
    static bool IsKnownLegal(Location const & location);
    static void RememberLegal(Location const & location);

private:
    friend class Location;

    static MuErrCode SkipPDI(Mu::IChannel & channel);
    static MuErrCode WriteNoPDI(Mu::OChannel & channel);
};

} // namespace IO
