// String hashing and comparison for the hash tables.
//
// The string and wide string tables both key on ide::String; they differ in
// how a key hashes and compares:
//
//   StrHash      case-sensitive string hash: rotate left by 5 and xor, over
//                the first Length BYTES of the key's storage. Characters are
//                two bytes, so only the first half of the key is hashed;
//                equal strings still hash equal, which is all a table needs.
//                Keys that differ only in their second half share a hash and
//                a chain.
//   StrIHash     case-insensitive string hash: four characters at a time
//                through a 256-entry table that is filled randomly once per
//                process, so the value is never to be stored. Only characters
//                below $20AC (the second character of each group: below $FF)
//                count, through the table entry of their low byte; entries
//                128..255 are empty. ASCII letters of either case hash alike.
//                Letters outside ASCII whose cases differ in the low byte
//                (Cyrillic, Greek) may hash apart although they compare equal
//                case-insensitively: a case-insensitive string table only
//                finds such keys in the case they were added in.
//   ELFHash      wide string hash, case-sensitive: the published ELF hash
//                over the UTF-16 code units.
//   WideStrIHash ELFHash of WideLowerCase(key).
//
// Case mapping is a simple per-code-unit Unicode mapping built into the
// library, independent of the C locale: ASCII, Latin-1, Latin Extended-A,
// Latin Extended Additional, Greek, Cyrillic, Armenian, Roman numerals,
// circled and fullwidth Latin letters. Code units outside those blocks, and
// surrogates, map to themselves. AnsiSameText and WideSameText compare the
// lower-case forms unit by unit; AnsiSameStr and WideSameStr are exact.
#pragma once

#include <cstdint>
#include <string_view>

#include "foundation/Runtime.h"

namespace ide {

uint32_t StrHash(std::u16string_view S) noexcept;
uint32_t StrIHash(std::u16string_view S) noexcept;
uint32_t ELFHash(std::u16string_view S) noexcept;
uint32_t WideStrIHash(std::u16string_view S) noexcept;

// The table behind StrIHash: entry 0 is 1, entries 1..127 random in 1..65535
// with "a".."z" equal to "A".."Z", entries 128..255 zero. Filled on first use
// from the process's random seed (randomised when it is still 0).
const uint16_t* StrIHashTable() noexcept;

Char WideLowerChar(Char C) noexcept;
Char WideUpperChar(Char C) noexcept;
String WideLowerCase(std::u16string_view S);
String WideUpperCase(std::u16string_view S);

bool AnsiSameStr(std::u16string_view A, std::u16string_view B) noexcept;
bool AnsiSameText(std::u16string_view A, std::u16string_view B) noexcept;
bool WideSameStr(std::u16string_view A, std::u16string_view B) noexcept;
bool WideSameText(std::u16string_view A, std::u16string_view B) noexcept;

}  // namespace ide
