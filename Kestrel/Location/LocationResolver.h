#pragma once

#include <Kestrel/Location/Location.h>

namespace IO {

class RelativeLocation;

/// How the platform writes locations as text, and reads them: one instance for the process.
///
/// The floor of the file system makes it; until then no text can be read and no location written.
/// It decides nothing about legality or about what is on the disk.
///
/// Threads: any; implementations keep nothing.
/// Failure: yes or no. The callers log and turn a no into a status.
class KESTREL_API LocationResolver {
public:
    /// Reads what WritePDI wrote. This one passes over a block of any size and keeps nothing.
    virtual MuErrCode ReadPDI(Mu::IChannel & channel, Location & location);
    /// Writes what the platform must know beyond the names. This one writes an empty block.
    virtual MuErrCode WritePDI(Mu::OChannel & channel, Location const & location);

    /// Takes the instance back.
    virtual ~LocationResolver();

    // Text to location; a text that cannot be understood may leave names behind.
    virtual bool PathToRelativeLocation(Mu::UniString const & text,
                                        RelativeLocation * relative) = 0;
    virtual bool PathToLocation(Mu::UniString const & text, Location * location) = 0;

    // Location to text; the text is empty when the result is no.
    virtual bool LocationToPath(Location const & location, Mu::UniString * path) = 0;
    virtual bool LocationToDisplayText(Location const & location, Mu::UniString * text) = 0;
    /// Never asks for legality. This one gives the display text.
    virtual bool LocationToLogText(Location const & location, Mu::UniString * text);

    LocationResolver(LocationResolver const &) = delete;
    LocationResolver & operator=(LocationResolver const &) = delete;

    /// The instance, or null.
    static LocationResolver * GetInstance();

protected:
    /// Publishes the instance.
    LocationResolver();

    // The only way to a location's content. Lists of names are zero-terminated texts one after
    // another, ended by an empty one; a null list does nothing.
    static void SetContent(Location & location, unsigned short const * network,
                           unsigned short const * local, Location::NetworkModel model);
    static void SetContent(RelativeLocation & relative, unsigned short const * names);

    /// Appends the local names of a healthy location to the text, with `\` between them, with their
    /// attachments or without. ErrMemoryFull: the text holds some of them, or none.
    static MuErrCode AppendLocalNames(Location const & location, bool withAttachments,
                                      Mu::UniString * text);

    // And to its private data. SetPDI takes what it is given; null clears.
    static Location::PDI * GetPDI(Location const & location);
    static void SetPDI(Location & location, Location::PDI * pdi);

    // Whether the location was found to be legal, and to remember that, for a resolver to which its
    // text shows it.
    static bool IsKnownLegal(Location const & location);
    static void RememberLegal(Location const & location);

private:
    friend class Location;

    static MuErrCode SkipPDI(Mu::IChannel & channel);
    static MuErrCode WriteNoPDI(Mu::OChannel & channel);
};

} // namespace IO
