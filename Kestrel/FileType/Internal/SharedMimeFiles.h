#pragma once

#include <Kestrel/FileType/Internal/ContentRules.h>

#include <string_view>

namespace FTM {

// The files of a shared MIME catalogue, each from a text that is whole in memory.

/// Whether the text can be the name of a type: two halves, no longer than a FileType takes it.
bool IsMimeName(std::string_view text);

/// "weight:type:pattern:flags", a line of globs2.
struct SharedMimeGlob {
    unsigned int weight;
    std::string_view mime;
    std::string_view pattern;
    bool respectsCase;
};

/// The lines of a file, one after the other. What is read lies in the text, with a zero byte behind it
/// in the place of what separated it.
class SharedMimeLines {
public:
    explicit SharedMimeLines(Mu::String & text)
        : at(text.IsEmpty() ? nullptr : &text[0]), end(at + text.GetLength()) {}

    // False: there is no more, or, with IsGood, this is no such file.

    bool ReadGlob(SharedMimeGlob * glob);
    /// Two names: of aliases the other one and the type, of subclasses the type and its parent, of
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
    /// From the text of the rules, in which values that are written as numbers of this machine are
    /// turned round where they lie.
    explicit SharedMimeMagic(ContentRules & rules);

    /// The next section with its rules, which are added. False: there is no more, or, with IsGood, this
    /// is no such file. Throws Mu::OutOfMemoryException.
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
