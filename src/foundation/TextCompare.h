// Case-insensitive text comparison that gives the same answer on every
// machine: characters are folded by the library's own per-code-unit table
// (foundation/CollectionsStrings.h: WideLowerChar), then compared by code
// unit. Names of fields, keys, sections and value names all compare this
// way, so a settings file reads the same whatever the user's locale is.
//
// Thread: any.
#pragma once

#include "foundation/CollectionsStrings.h"

namespace ide {

// The upper-case form of one UTF-16 code unit (unchanged when it has none).
Char UpCaseChar(Char C);
Char LowCaseChar(Char C);

String AnsiUpperCase(std::u16string_view S);
String AnsiLowerCase(std::u16string_view S);
// <0, 0 or >0, comparing the folded texts code unit by code unit.
// AnsiSameText (equality of the folded texts) is in CollectionsStrings.h.
int AnsiCompareText(std::u16string_view A, std::u16string_view B);
// Case-sensitive ordinal comparison (<0, 0, >0).
int AnsiCompareStr(std::u16string_view A, std::u16string_view B);
// File names on this platform are case-sensitive: ordinal comparison.
int AnsiCompareFileName(std::u16string_view A, std::u16string_view B);

// ASCII-only folding, for identifiers and format letters.
int CompareText(std::u16string_view A, std::u16string_view B);
bool SameText(std::u16string_view A, std::u16string_view B);
String UpperCase(std::u16string_view S);
String LowerCase(std::u16string_view S);

// White space and control characters (<= U+0020) removed at both ends.
String Trim(std::u16string_view S);
String TrimLeft(std::u16string_view S);
String TrimRight(std::u16string_view S);

// A hash that agrees with AnsiSameText (equal folded texts hash alike).
size_t HashFolded(std::u16string_view S);

// Hash and equality of texts under the locale-free case folding, usable with
// string views for look-ups without a copy.
struct TFoldedHash {
    using is_transparent = void;
    size_t operator()(std::u16string_view S) const { return HashFolded(S); }
};
struct TFoldedEqual {
    using is_transparent = void;
    bool operator()(std::u16string_view A, std::u16string_view B) const { return AnsiSameText(A, B); }
};

}  // namespace ide
