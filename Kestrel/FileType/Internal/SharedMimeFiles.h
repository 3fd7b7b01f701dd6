#pragma once

#include <Kestrel/FileType/Internal/ContentRules.h>

#include <string_view>

namespace FTM {

// The files of a shared MIME catalogue, each parsed from a text that is complete in memory.

/// Whether the text can be the name of a type: two halves, within the length limit of a FileType.
bool IsMimeName(std::string_view text);

/// "weight:type:pattern:flags", a line of globs2.
struct SharedMimeGlob {
    unsigned int weight;
    std::string_view mime;
    std::string_view pattern;
    bool respectsCase;
};

/// The lines of a file, in sequence. The fields point into the text, in which a zero byte replaces
/// each separator.
class SharedMimeLines {
public:
    explicit SharedMimeLines(Mu::String & text)
        : at(text.IsEmpty() ? nullptr : &text[0]), end(at + text.GetLength()) {}

    // False: the end, or, if not IsGood, the file is malformed.

    bool ReadGlob(SharedMimeGlob * glob);
    /// Two names: in aliases the alias and the type, in subclasses the type and its parent, in
    /// icons the type and the icon.
    bool ReadPair(char separator, std::string_view * first, std::string_view * second);

    bool IsGood() const { return isGood; }

private:
    bool TakeLine(std::string_view * line);
    bool Fail();

    char * at;
    char * end;
    bool isGood = true;
};

/// The rules of all types, section by section.
class SharedMimeMagic {
public:
    /// Parses the text of the rules. Values that are numbers in this machine's byte order are
    /// swapped in place.
    explicit SharedMimeMagic(ContentRules & rules);

    /// Reads the next section and adds its rules. False: the end, or, if not IsGood, the file is
    /// malformed. Throws Mu::OutOfMemoryException.
    bool ReadSection(std::string_view * mime, ContentRules::Test * test);
    bool IsGood() const { return isGood; }

private:
    bool ReadHead(std::string_view * mime);
    bool ReadRule(ContentRules::Rule * rule);
    bool Take(char c);
    bool TakeNumber(unsigned int * number);
    bool TakeBytes(std::size_t count);

    ContentRules & rules;
    char * begin;
    char * at;
    char * end;
    bool isGood;
};

} // namespace FTM
