// Ini files. TCustomIniFile is the interface every ini-like store offers
// (sections of ident=value text, typed reads and writes through the text
// conversions); TMemIniFile is the library's in-memory ini cache over a real
// file; the list-section codec stores string lists in any of them.
//
// TMemIniFile:
//   - A load (the constructor, Rename(Name, true)) replaces the whole cache;
//     a missing file is an empty cache; a file that can't be read raises and
//     leaves the cache as it was.
//   - Lookups of sections and idents are case-insensitive and keep the case
//     they were written in; section names may hold backslashes ("Editor\General\").
//   - Lines: "[section]", "ident=value" (white space around both trimmed),
//     comments (";" or "#") and blank lines. Comments, the order of lines,
//     untouched lines byte for byte, the encoding (UTF-8 with or without
//     BOM, UTF-16 LE/BE with BOM) and each line's end (LF, CRLF, CR, or none
//     on the last line) survive a save; new lines take the file's first
//     line end. A duplicate section is merged into the first; a duplicate ident
//     answers its first value. Bytes that aren't valid UTF-8 are kept as they
//     are and written back unchanged.
//   - UpdateFile writes atomically (temporary file, fsync, rename).
//   - Values and section names with line breaks stay in the cache, but a save
//     (which would change the file's shape) raises EIniFileException naming
//     them. An ident must be non-empty, without "=" or a line break, and not
//     start with ";", "#" or "[".
//
// Thread: one at a time.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/Strings.h"
#include "foundation/TextCompare.h"

namespace ide {

IDE_DECLARE_EXCEPTION(EIniFileException, Exception)

// Thread: one at a time.
class TCustomIniFile : public TObject {
public:
    explicit TCustomIniFile(const String& FileName) : FFileName(FileName) {}
    const String& GetFileName() const { return FFileName; }

    virtual String ReadString(const String& Section, const String& Ident, const String& Default) = 0;
    virtual void WriteString(const String& Section, const String& Ident, const String& Value) = 0;
    virtual bool SectionExists(const String& Section) = 0;
    virtual bool ValueExists(const String& Section, const String& Ident) = 0;
    virtual void ReadSection(const String& Section, TStrings& Idents) = 0;
    virtual void ReadSections(TStrings& Sections) = 0;
    virtual void EraseSection(const String& Section) = 0;
    virtual void DeleteKey(const String& Section, const String& Ident) = 0;
    virtual void UpdateFile() = 0;

    // Typed access through the text conversions; a read whose text doesn't
    // convert answers the default.
    virtual int32_t ReadInteger(const String& Section, const String& Ident, int32_t Default);
    virtual void WriteInteger(const String& Section, const String& Ident, int32_t Value);
    virtual bool ReadBool(const String& Section, const String& Ident, bool Default);
    virtual void WriteBool(const String& Section, const String& Ident, bool Value);
    virtual double ReadFloat(const String& Section, const String& Ident, double Default);
    virtual void WriteFloat(const String& Section, const String& Ident, double Value);
    virtual TDateTime ReadDate(const String& Section, const String& Ident, TDateTime Default);
    virtual void WriteDate(const String& Section, const String& Ident, TDateTime Value);
    virtual TDateTime ReadTime(const String& Section, const String& Ident, TDateTime Default);
    virtual void WriteTime(const String& Section, const String& Ident, TDateTime Value);
    virtual TDateTime ReadDateTime(const String& Section, const String& Ident, TDateTime Default);
    virtual void WriteDateTime(const String& Section, const String& Ident, TDateTime Value);

protected:
    String FFileName;
};

// Where one value sits in a TMemIniFile's cache (see FindValue). Empty: not
// yet known.
struct TIniPlace {
    uint64_t Shape = 0;
    size_t Section = 0;  // the section's position in the cache
    size_t Line = 0;
};

// Thread: one at a time.
class TMemIniFile : public TCustomIniFile {
public:
    // Loads FileName (an empty name or a missing file gives an empty cache).
    explicit TMemIniFile(const String& FileName = String());
    ~TMemIniFile() override;

    String ReadString(const String& Section, const String& Ident, const String& Default) override;
    int32_t ReadInteger(const String& Section, const String& Ident, int32_t Default) override;
    void WriteString(const String& Section, const String& Ident, const String& Value) override;
    // The cached text of a value without a copy; nil when absent. Valid
    // until the next change of the cache.
    const String* FindValue(std::u16string_view Section, std::u16string_view Ident) const;
    // The same read and write through a remembered place of the value: a
    // caller that reads and writes the same names again and again (a
    // property set's fields) keeps one place per name. While the cache keeps
    // its shape the place skips the look-ups by name; after a load, or once
    // a section or line was removed or lines moved, the name is looked up
    // and the place remembered again. A place belongs to one section and
    // ident: pass the same names with it every time.
    const String* FindValue(std::u16string_view Section, std::u16string_view Ident, TIniPlace& Place) const;
    void WriteString(const String& Section, const String& Ident, const String& Value, TIniPlace& Place);
    bool SectionExists(const String& Section) override;
    bool ValueExists(const String& Section, const String& Ident) override;
    void ReadSection(const String& Section, TStrings& Idents) override;
    void ReadSections(TStrings& Sections) override;
    void EraseSection(const String& Section) override;
    void DeleteKey(const String& Section, const String& Ident) override;
    // Writes the cache to the file, atomically. No file name: raises.
    void UpdateFile() override;

    // Names the file; with Reload, rereads it (replacing the cache).
    void Rename(const String& FileName, bool Reload);
    void Clear();

    // The whole file as text, bytes, and the parser behind LoadFromFile.
    std::string SaveToBytes() const;
    // Replaces the cache from the bytes of a file; raises EIniFileException
    // naming FileName and the line on hostile input, leaving the cache alone.
    void LoadFromBytes(const std::string& Bytes, const std::string& FileName = "<memory>");
    // The cache as "[section]" / "ident=value" text, for comparisons.
    String CacheText() const;
    // How many duplicate section headers the last load merged away (their
    // header lines aren't written back).
    int MergedSectionCount() const;

    // Limits on what a file may hold; beyond them a load is refused.
    static constexpr size_t MaxLineLength = 1 << 20;
    static constexpr size_t MaxLines = 4 << 20;

private:
    struct Doc;
    void Write(std::u16string_view Section, std::u16string_view Ident, const String& Value, TIniPlace* Place);
    std::unique_ptr<Doc> FDoc;
};

// The persisted form of string lists: section "<base>\<name>", ident "Count"
// and "Item0", "Item1", ... (most recent first). Reading needs the section
// and Count; a missing item reads as an empty row; Count beyond MaxCount (or
// negative) raises EIniFileException. Writing a non-empty list writes Count
// and the items and leaves higher items of an earlier, longer list in place;
// writing an empty list erases the section; an empty name is skipped.
constexpr int32_t DefaultListMaxCount = 100000;
String ListSectionName(const String& BaseSection, const String& Name);
void ReadListSection(TCustomIniFile& Ini, const String& BaseSection, const String& Name, TStrings& List,
                     int32_t MaxCount = DefaultListMaxCount);
void WriteListSection(TCustomIniFile& Ini, const String& BaseSection, const String& Name, const TStrings* List);

}  // namespace ide
