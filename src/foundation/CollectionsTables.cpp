#include "foundation/CollectionsTables.h"

#include <climits>
#include <string>

#include "foundation/Streams.h"

namespace ide {

namespace detail {

bool SameWord(const void* A, const void* B) noexcept { return A == B; }

bool SameStrWord(const void* A, const void* B) noexcept {
    return *static_cast<const String*>(A) == *static_cast<const String*>(B);
}

bool SameTextWord(const void* A, const void* B) noexcept {
    return AnsiSameText(*static_cast<const String*>(A), *static_cast<const String*>(B));
}

bool ObjectEqualsWord(const void* A, const void* B) {
    if (A == B) return true;
    if (!A || !B) return false;
    return static_cast<TObject*>(const_cast<void*>(A))->Equals(static_cast<TObject*>(const_cast<void*>(B)));
}

namespace {
bool WideSameStrWord(const void* A, const void* B) noexcept {
    return WideSameStr(*static_cast<const String*>(A), *static_cast<const String*>(B));
}
bool WideSameTextWord(const void* A, const void* B) noexcept {
    return WideSameText(*static_cast<const String*>(A), *static_cast<const String*>(B));
}
}  // namespace

}  // namespace detail

TCustomPointerHashTable::TCustomPointerHashTable(uint32_t InitialCapacity, double LoadFactor)
    : TCustomHashTable(InitialCapacity, LoadFactor) {
    FCompareProc = &detail::SameWord;
    FCompareValuesProc = &detail::SameWord;
}

TCustomIntegerHashTable::TCustomIntegerHashTable(uint32_t InitialCapacity, double LoadFactor)
    : TCustomHashTable(InitialCapacity, LoadFactor) {
    FCompareProc = &detail::SameWord;
    FCompareValuesProc = &detail::SameWord;
}

TCustomInterfaceHashTable::TCustomInterfaceHashTable(uint32_t InitialCapacity, double LoadFactor)
    : TCustomHashTable(InitialCapacity, LoadFactor) {
    FCompareProc = &detail::SameWord;
    FCompareValuesProc = &detail::SameWord;
}

TCustomObjectHashTable::TCustomObjectHashTable(uint32_t InitialCapacity, double LoadFactor)
    : TCustomHashTable(InitialCapacity, LoadFactor) {
    FCompareProc = &detail::SameWord;
    FCompareValuesProc = &detail::SameWord;
}

TCustomStringHashTable::TCustomStringHashTable(bool CaseSensitive, uint32_t InitialCapacity, double LoadFactor)
    : TStringKeyedHashTable(CaseSensitive, InitialCapacity, LoadFactor) {
    FHashProc = CaseSensitive ? &StrHash : &StrIHash;
    FCompareProc = CaseSensitive ? &detail::SameStrWord : &detail::SameTextWord;
    FCompareValuesProc = &detail::SameWord;
}

TCustomWideStringHashTable::TCustomWideStringHashTable(bool CaseSensitive, uint32_t InitialCapacity,
                                                       double LoadFactor)
    : TStringKeyedHashTable(CaseSensitive, InitialCapacity, LoadFactor) {
    FHashProc = CaseSensitive ? &ELFHash : &WideStrIHash;
    FCompareProc = CaseSensitive ? &detail::WideSameStrWord : &detail::WideSameTextWord;
    FCompareValuesProc = &detail::SameWord;
}

template class THashTableOf<TCustomPointerHashTable, detail::TPtrValues>;
template class THashTableOf<TCustomIntegerHashTable, detail::TObjValues<&detail::SameWord>>;
template class THashTableOf<TCustomIntegerHashTable, detail::TIntfValues>;
template class THashTableOf<TCustomInterfaceHashTable, detail::TStrValues<TStrEnumerator>>;
template class THashTableOf<TCustomObjectHashTable, detail::TObjValues<&detail::SameWord>>;
template class THashTableOf<TCustomObjectHashTable, detail::TIntfValues>;
template class THashTableOf<TCustomStringHashTable, detail::TStrValues<TStrEnumerator>>;
template class THashTableOf<TCustomStringHashTable, detail::TObjValues<&detail::ObjectEqualsWord>>;
template class THashTableOf<TCustomStringHashTable, detail::TIntfValues>;
template class THashTableOf<TCustomWideStringHashTable, detail::TStrValues<TWideStrEnumerator>>;
template class THashTableOf<TCustomWideStringHashTable, detail::TObjValues<&detail::SameWord>>;
template class THashTableOf<TCustomWideStringHashTable, detail::TIntfValues>;

// ------------------------------------------------------ the string stream

namespace {

void WriteStreamString(TStream& Stream, const String& S) {
    if (S.size() > static_cast<size_t>(INT32_MAX))
        throw EWriteError("Stream write error: a string of " + std::to_string(S.size()) +
                          " characters does not fit the string stream's 4-byte length");
    const uint32_t n = static_cast<uint32_t>(S.size());
    const uint8_t len[4] = {static_cast<uint8_t>(n), static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n >> 16),
                            static_cast<uint8_t>(n >> 24)};
    Stream.WriteBuffer(len, 4);
    // The first Length bytes of the storage: half of the characters.
    Stream.WriteBuffer(S.data(), n);
}

String ReadStreamString(TStream& Stream, int64_t Size, const char* What) {
    const int64_t pos = Stream.GetPosition();
    if (Size - pos < 4)
        throw EReadError(std::string("Stream read error: the ") + What + " length at position " +
                         std::to_string(pos) + " is cut short by the end of the stream (size " +
                         std::to_string(Size) + ")");
    uint8_t len[4];
    Stream.ReadBuffer(len, 4);
    const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(len[0]) | (static_cast<uint32_t>(len[1]) << 8) |
                                           (static_cast<uint32_t>(len[2]) << 16) |
                                           (static_cast<uint32_t>(len[3]) << 24));
    if (n < 0)
        throw EReadError(std::string("Stream read error: negative ") + What + " length " + std::to_string(n) +
                         " at position " + std::to_string(pos));
    if (n > Size - pos - 4)
        throw EReadError(std::string("Stream read error: the ") + What + " length " + std::to_string(n) +
                         " at position " + std::to_string(pos) + " runs past the end of the stream (size " +
                         std::to_string(Size) + ")");
    // Length characters, of which the first Length bytes come from the
    // stream; the rest stays 0.
    String s(static_cast<size_t>(n), Char(0));
    Stream.ReadBuffer(s.data(), n);
    return s;
}

}  // namespace

void TStringHashTable::SaveToStream(TStream& Stream) {
    TPairEnumerator pairs(this);
    while (pairs.MoveNext()) {
        const TPair pair = pairs.GetCurrent();
        WriteStreamString(Stream, pair.Key);
        WriteStreamString(Stream, pair.Value);
    }
}

void TStringHashTable::LoadFromStream(TStream& Stream) {
    const int64_t size = Stream.GetSize();
    while (Stream.GetPosition() < size) {
        String key = ReadStreamString(Stream, size, "key");
        String value = ReadStreamString(Stream, size, "value");
        Add(key, value);
    }
}

}  // namespace ide
