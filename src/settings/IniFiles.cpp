#include "settings/IniFiles.h"

#include <atomic>

#include "foundation/Conversions.h"
#include "foundation/Utf8.h"
#include "settings/FileIO.h"

namespace ide {

// --- TCustomIniFile: typed access through text -------------------------------

int32_t TCustomIniFile::ReadInteger(const String& S, const String& I, int32_t Default) {
    int32_t v;
    return TryStrToInt(ReadString(S, I, String()), v) ? v : Default;
}

void TCustomIniFile::WriteInteger(const String& S, const String& I, int32_t Value) { WriteString(S, I, IntToStr(Value)); }

bool TCustomIniFile::ReadBool(const String& S, const String& I, bool Default) {
    return ReadInteger(S, I, Default ? 1 : 0) != 0;
}

void TCustomIniFile::WriteBool(const String& S, const String& I, bool Value) { WriteString(S, I, Value ? u"1" : u"0"); }

double TCustomIniFile::ReadFloat(const String& S, const String& I, double Default) {
    double v;
    return TryStrToFloat(ReadString(S, I, String()), v) ? v : Default;
}

void TCustomIniFile::WriteFloat(const String& S, const String& I, double Value) { WriteString(S, I, FloatToStr(Value)); }

TDateTime TCustomIniFile::ReadDate(const String& S, const String& I, TDateTime Default) {
    TDateTime v;
    return TryStrToDate(ReadString(S, I, String()), v, FormatSettings()) ? v : Default;
}

void TCustomIniFile::WriteDate(const String& S, const String& I, TDateTime Value) { WriteString(S, I, DateToStr(Value)); }

TDateTime TCustomIniFile::ReadTime(const String& S, const String& I, TDateTime Default) {
    TDateTime v;
    return TryStrToTime(ReadString(S, I, String()), v, FormatSettings()) ? v : Default;
}

void TCustomIniFile::WriteTime(const String& S, const String& I, TDateTime Value) { WriteString(S, I, TimeToStr(Value)); }

TDateTime TCustomIniFile::ReadDateTime(const String& S, const String& I, TDateTime Default) {
    TDateTime v;
    return TryStrToDateTime(ReadString(S, I, String()), v, FormatSettings()) ? v : Default;
}

void TCustomIniFile::WriteDateTime(const String& S, const String& I, TDateTime Value) {
    WriteString(S, I, DateTimeToStr(Value));
}

// --- The document behind TMemIniFile -----------------------------------------

namespace {

enum class Encoding { Utf8, Utf8Bom, Utf16LE, Utf16BE };

// UTF-8 to UTF-16 keeping invalid bytes: a byte that starts no valid
// sequence becomes U+DC00 + byte (a lone low surrogate, which valid UTF-8
// never yields), and goes back to the same byte on writing.
String DecodeUtf8Keeping(std::string_view s) {
    String out;
    out.reserve(s.size());
    size_t i = 0;
    const size_t n = s.size();
    auto cont = [&](size_t k) { return k < n && (static_cast<unsigned char>(s[k]) & 0xC0) == 0x80; };
    while (i < n) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        if (c < 0x80) { out.push_back(c); ++i; continue; }
        uint32_t cp = 0;
        size_t len = 0;
        if (c >= 0xC2 && c <= 0xDF && cont(i + 1)) {
            cp = ((c & 0x1Fu) << 6) | (s[i + 1] & 0x3F);
            len = 2;
        } else if ((c & 0xF0) == 0xE0 && cont(i + 1) && cont(i + 2)) {
            cp = ((c & 0x0Fu) << 12) | ((s[i + 1] & 0x3Fu) << 6) | (s[i + 2] & 0x3F);
            len = (cp >= 0x800 && (cp < 0xD800 || cp > 0xDFFF)) ? 3 : 0;
        } else if (c >= 0xF0 && c <= 0xF4 && cont(i + 1) && cont(i + 2) && cont(i + 3)) {
            cp = ((c & 0x07u) << 18) | ((s[i + 1] & 0x3Fu) << 12) | ((s[i + 2] & 0x3Fu) << 6) | (s[i + 3] & 0x3F);
            len = (cp >= 0x10000 && cp <= 0x10FFFF) ? 4 : 0;
        }
        if (len == 0) { out.push_back(Char(0xDC00 + c)); ++i; continue; }
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(Char(0xD800 + (cp >> 10)));
            out.push_back(Char(0xDC00 + (cp & 0x3FF)));
        } else out.push_back(Char(cp));
        i += len;
    }
    return out;
}

void EncodeUtf8Keeping(std::u16string_view t, std::string& out) {
    for (size_t i = 0; i < t.size(); ++i) {
        uint32_t cp = t[i];
        if (cp < 0x80) {
            // A run of ASCII goes out in one piece.
            size_t j = i + 1;
            while (j < t.size() && t[j] < 0x80) ++j;
            const size_t at = out.size();
            out.resize(at + (j - i));
            char* dst = out.data() + at;
            for (size_t k = i; k < j; ++k) *dst++ = static_cast<char>(t[k]);
            i = j - 1;
            continue;
        }
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < t.size() && t[i + 1] >= 0xDC00 && t[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (t[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xDC80 && cp <= 0xDCFF) {
            out.push_back(static_cast<char>(cp - 0xDC00));  // a kept invalid byte
            continue;
        }
        AppendUtf8(out, cp);
    }
}

bool HasLineBreak(std::u16string_view s) { return s.find_first_of(u"\r\n") != std::u16string_view::npos; }

// White space and control characters trimmed at both ends, without a copy.
std::u16string_view TrimView(std::u16string_view s) {
    size_t b = 0, e = s.size();
    while (b < e && s[b] <= u' ') ++b;
    while (e > b && s[e - 1] <= u' ') --e;
    return s.substr(b, e - b);
}

// A line's terminator.
enum class Eol : uint8_t { None, Lf, CrLf, Cr };

std::u16string_view EolText(Eol e) {
    switch (e) {
        case Eol::Lf: return u"\n";
        case Eol::CrLf: return u"\r\n";
        case Eol::Cr: return u"\r";
        case Eol::None: break;
    }
    return {};
}

// Every new cache and every change of a cache's shape (a section or line
// removed, lines moved) takes a new number from here, so a remembered place can tell
// whether it still points where it did, even into another cache.
std::atomic<uint64_t> NextShape{1};

}  // namespace

struct TMemIniFile::Doc {
    // Shape: changes whenever a section or line is removed or lines move
    // (appending moves nothing); places remembered under another shape are
    // looked up again.
    //
    // Every line keeps its own terminator (None for a last line without
    // one), so an untouched file is written back byte for byte; new lines
    // take the file's first terminator. An entry read in the plain form
    // "ident=value" keeps no copy of its text: it is written back from its
    // ident and value, which give the same bytes.
    struct Line {
        String Raw;
        String Key;
        String Value;
        Eol End = Eol::None;
        bool Entry = false;
        bool Dirty = false;
        bool Plain = false;  // an untouched entry whose text is Key=Value
    };
    struct Section {
        String Name;
        String HeaderRaw;
        Eol HeaderEnd = Eol::None;
        bool HeaderDirty = true;
        std::vector<Line> Lines;
        std::unordered_map<String, size_t, TFoldedHash, TFoldedEqual> Index;

        void Reindex() {
            Index.clear();
            for (size_t i = 0; i < Lines.size(); ++i)
                if (Lines[i].Entry) Index.emplace(Lines[i].Key, i);
        }
        const Line* Find(std::u16string_view key) const {
            auto it = Index.find(key);
            return it == Index.end() ? nullptr : &Lines[it->second];
        }
    };

    std::vector<Line> Preamble;
    std::vector<std::unique_ptr<Section>> Sections;
    std::unordered_map<String, size_t, TFoldedHash, TFoldedEqual> SecIndex;
    Encoding Enc = Encoding::Utf8;
    Eol FileEol = Eol::Lf;
    int Merged = 0;
    uint64_t Shape = NextShape.fetch_add(1);

    void Reshaped() { Shape = NextShape.fetch_add(1); }

    // The position of a section, or Sections.size() when there is none.
    size_t SectionAt(std::u16string_view name) const {
        auto it = SecIndex.find(name);
        return it == SecIndex.end() ? Sections.size() : it->second;
    }

    Section* FindSection(std::u16string_view name) const {
        const size_t at = SectionAt(name);
        return at < Sections.size() ? Sections[at].get() : nullptr;
    }

    Section* AddSection(const String& name) {
        Sections.push_back(std::make_unique<Section>());
        Sections.back()->Name = name;
        SecIndex.emplace(name, Sections.size() - 1);
        return Sections.back().get();  // an appended section moves nothing
    }

    // Same sections (names as written) with the same lines, entries at the
    // same positions with the same idents: a place means the same line in
    // both.
    static bool SameShape(const Doc& a, const Doc& b) {
        if (a.Sections.size() != b.Sections.size()) return false;
        for (size_t i = 0; i < a.Sections.size(); ++i) {
            const Section& x = *a.Sections[i];
            const Section& y = *b.Sections[i];
            if (x.Name != y.Name || x.Lines.size() != y.Lines.size()) return false;
            for (size_t k = 0; k < x.Lines.size(); ++k) {
                const Line& l = x.Lines[k];
                const Line& m = y.Lines[k];
                if (l.Entry != m.Entry || (l.Entry && l.Key != m.Key)) return false;
            }
        }
        return true;
    }

    void ReindexSections() {
        SecIndex.clear();
        for (size_t i = 0; i < Sections.size(); ++i) SecIndex.emplace(Sections[i]->Name, i);
        Reshaped();
    }

    // The file's text in UTF-16, and its encoding.
    static String Decode(const std::string& bytes, const std::string& file, Encoding& enc) {
        std::string_view b(bytes);
        String text;
        auto unit = [&](size_t k, bool le) {
            unsigned char x = static_cast<unsigned char>(b[k]), y = static_cast<unsigned char>(b[k + 1]);
            return Char(le ? (x | (y << 8)) : ((x << 8) | y));
        };
        if (b.size() >= 2 && (b.substr(0, 2) == "\xFF\xFE" || b.substr(0, 2) == "\xFE\xFF")) {
            bool le = b[0] == '\xFF';
            enc = le ? Encoding::Utf16LE : Encoding::Utf16BE;
            if (b.size() % 2 != 0) throw EIniFileException(file + ": truncated UTF-16 text (odd byte count)");
            text.reserve(b.size() / 2);
            for (size_t k = 2; k + 1 < b.size(); k += 2) text.push_back(unit(k, le));
        } else if (b.size() >= 3 && b.substr(0, 3) == "\xEF\xBB\xBF") {
            enc = Encoding::Utf8Bom;
            text = DecodeUtf8Keeping(b.substr(3));
        } else {
            enc = Encoding::Utf8;
            text = DecodeUtf8Keeping(b);
        }
        return text;
    }

    // Calls f(line, end) for every line of text (the line without its
    // terminator); answers the first terminator seen, or None.
    template <class F>
    static Eol ForEachLine(const String& text, const std::string& file, F&& f) {
        Eol first = Eol::None;
        size_t lineNo = 0, i = 0;
        const size_t n = text.size();
        while (i < n) {
            size_t j = i;
            while (j < n && text[j] != u'\n' && text[j] != u'\r') ++j;
            ++lineNo;
            if (j - i > MaxLineLength)
                throw EIniFileException(file + ":" + std::to_string(lineNo) + ": line too long");
            if (lineNo > MaxLines) throw EIniFileException(file + ":" + std::to_string(lineNo) + ": too many lines");
            Eol end = Eol::None;
            size_t next = j;
            if (next < n) {
                const bool crlf = text[next] == u'\r' && next + 1 < n && text[next + 1] == u'\n';
                end = crlf ? Eol::CrLf : (text[next] == u'\r' ? Eol::Cr : Eol::Lf);
                if (first == Eol::None) first = end;
                next += crlf ? 2 : 1;
            }
            f(std::u16string_view(text.data() + i, j - i), end);
            i = next;
        }
        return first;
    }

    // What one line is: a section header (with its name), an entry (with
    // its ident and value; only inside a section) or anything else.
    struct Parsed {
        bool Header = false;
        bool Entry = false;
        bool Plain = false;
        std::u16string_view Name, Key, Value;
    };
    static Parsed Classify(std::u16string_view line, bool inSection) {
        Parsed p;
        const std::u16string_view trimmed = TrimView(line);
        if (trimmed.size() >= 2 && trimmed.front() == u'[' && trimmed.back() == u']') {
            p.Header = true;
            p.Name = TrimView(trimmed.substr(1, trimmed.size() - 2));
            return p;
        }
        const size_t eq = line.find(u'=');
        if (inSection && eq != std::u16string_view::npos && !trimmed.empty() && trimmed[0] != u';' &&
            trimmed[0] != u'#') {
            p.Key = TrimView(line.substr(0, eq));
            if (!p.Key.empty()) {
                p.Value = TrimView(line.substr(eq + 1));
                p.Entry = true;
                p.Plain = p.Key.size() + 1 + p.Value.size() == line.size();
            }
        }
        return p;
    }

    static void Parse(Doc& d, const std::string& bytes, const std::string& file) {
        const String text = Decode(bytes, file, d.Enc);
        Section* cur = nullptr;
        const Eol first = ForEachLine(text, file, [&](std::u16string_view line, Eol end) {
            const Parsed p = Classify(line, cur != nullptr);
            if (p.Header) {
                cur = d.FindSection(p.Name);
                if (!cur) {
                    cur = d.AddSection(String(p.Name));
                    cur->HeaderRaw = String(line);
                    cur->HeaderEnd = end;
                    cur->HeaderDirty = false;
                } else {
                    ++d.Merged;
                }
                return;
            }
            Line l;
            l.End = end;
            if (p.Entry) {
                l.Key = String(p.Key);
                l.Value = String(p.Value);
                l.Entry = true;
                l.Plain = p.Plain;
            }
            if (!l.Plain) l.Raw = String(line);
            if (cur) {
                cur->Lines.push_back(std::move(l));
                const Line& added = cur->Lines.back();
                if (added.Entry) cur->Index.emplace(added.Key, cur->Lines.size() - 1);
            } else d.Preamble.push_back(std::move(l));
        });
        if (first != Eol::None) d.FileEol = first;
    }

    // Reads bytes into this cache in place when they hold the same lines as
    // it does (sections with the same names in the same order, entries at
    // the same positions with the same idents, no merged headers): only
    // values, spellings and line ends are taken over, and every remembered
    // place stays good. Answers false, having changed nothing, otherwise.
    // The result is what a fresh Parse would give.
    bool ReloadInPlace(const std::string& bytes, const std::string& file) {
        if (Merged != 0) return false;
        Encoding enc;
        const String text = Decode(bytes, file, enc);
        // First pass: the same shape?
        bool same = true;
        size_t section = 0, row = 0, preamble = 0;
        const Section* cur = nullptr;
        auto lineCountsMatch = [&] {
            return cur ? row == cur->Lines.size() : preamble == Preamble.size();
        };
        ForEachLine(text, file, [&](std::u16string_view line, Eol) {
            if (!same) return;
            const Parsed p = Classify(line, cur != nullptr);
            if (p.Header) {
                if (!lineCountsMatch() || section >= Sections.size() || Sections[section]->Name != p.Name) {
                    same = false;
                    return;
                }
                cur = Sections[section++].get();
                row = 0;
                return;
            }
            if (!cur) {
                ++preamble;
                return;
            }
            if (row >= cur->Lines.size()) {
                same = false;
                return;
            }
            const Line& l = cur->Lines[row++];
            if (l.Entry != p.Entry || (p.Entry && l.Key != p.Key)) same = false;
        });
        if (!same || !lineCountsMatch() || section != Sections.size()) return false;
        // Second pass: take the new text over.
        section = 0;
        row = 0;
        preamble = 0;
        Section* into = nullptr;
        const Eol first = ForEachLine(text, file, [&](std::u16string_view line, Eol end) {
            const Parsed p = Classify(line, into != nullptr);
            if (p.Header) {
                into = Sections[section++].get();
                into->HeaderRaw.assign(line);
                into->HeaderEnd = end;
                into->HeaderDirty = false;
                row = 0;
                return;
            }
            Line& l = into ? into->Lines[row++] : Preamble[preamble++];
            l.End = end;
            l.Dirty = false;
            l.Plain = p.Plain;
            if (p.Entry) l.Value.assign(p.Value);
            if (l.Plain) l.Raw.clear();
            else l.Raw.assign(line);
        });
        Enc = enc;
        FileEol = first != Eol::None ? first : Eol::Lf;
        return true;
    }

    // Writes UTF-16 pieces in the file's encoding.
    struct Writer {
        Encoding Enc;
        std::string Out;
        void Put(std::u16string_view t) {
            switch (Enc) {
                case Encoding::Utf8:
                case Encoding::Utf8Bom: EncodeUtf8Keeping(t, Out); break;
                case Encoding::Utf16LE:
                case Encoding::Utf16BE: {
                    const bool le = Enc == Encoding::Utf16LE;
                    for (Char c : t) {
                        char lo = static_cast<char>(c & 0xFF), hi = static_cast<char>(c >> 8);
                        Out.push_back(le ? lo : hi);
                        Out.push_back(le ? hi : lo);
                    }
                    break;
                }
            }
        }
    };

    std::string Bytes() const {
        // Checked first: a save that can't keep the file's shape writes nothing.
        size_t estimate = 0;
        for (const auto& s : Sections) {
            if (s->HeaderDirty && HasLineBreak(s->Name))
                throw EIniFileException("Section '" + Utf8(s->Name) + "' can't be saved: it holds a line break");
            for (const auto& l : s->Lines) {
                if (l.Entry && l.Dirty && (HasLineBreak(l.Key) || HasLineBreak(l.Value)))
                    throw EIniFileException("Value '" + Utf8(l.Key) + "' in section '" + Utf8(s->Name) +
                                            "' can't be saved: it holds a line break");
                estimate += l.Raw.size() + l.Key.size() + l.Value.size() + 3;
            }
        }
        Writer w{Enc, {}};
        const bool wide = Enc == Encoding::Utf16LE || Enc == Encoding::Utf16BE;
        w.Out.reserve(wide ? 2 * estimate + 2 : estimate + 3);
        switch (Enc) {
            case Encoding::Utf8: break;
            case Encoding::Utf8Bom: w.Out = "\xEF\xBB\xBF"; break;
            case Encoding::Utf16LE: w.Out = "\xFF\xFE"; break;
            case Encoding::Utf16BE: w.Out = "\xFE\xFF"; break;
        }
        // A line with a terminator keeps it; one without (a last line, or a
        // new one) takes the file's, unless it is an old line that is still
        // the last, which stays so. The end is written when the next line
        // comes, so that "still the last" is known.
        bool pending = false;  // a line was written, its end not yet
        Eol pendingEnd = Eol::None;
        bool pendingNew = false;
        auto finish = [&](bool more) {
            if (!pending) return;
            const bool fill = pendingEnd == Eol::None && (more || pendingNew);
            w.Put(EolText(fill ? FileEol : pendingEnd));
            pending = false;
        };
        auto begin = [&](Eol end, bool isNew) {
            finish(true);
            pending = true;
            pendingEnd = end;
            pendingNew = isNew;
        };
        for (const auto& p : Preamble) {
            begin(p.End, false);
            w.Put(p.Raw);
        }
        for (const auto& s : Sections) {
            begin(s->HeaderEnd, s->HeaderDirty);
            if (s->HeaderDirty) {
                w.Put(u"[");
                w.Put(s->Name);
                w.Put(u"]");
            } else w.Put(s->HeaderRaw);
            for (const auto& l : s->Lines) {
                const bool made = l.Entry && l.Dirty;
                begin(l.End, made);
                if (made || l.Plain) {
                    w.Put(l.Key);
                    w.Put(u"=");
                    w.Put(l.Value);
                } else w.Put(l.Raw);
            }
        }
        finish(false);
        return std::move(w.Out);
    }
};

TMemIniFile::TMemIniFile(const String& FileName) : TCustomIniFile(FileName), FDoc(std::make_unique<Doc>()) {
    Rename(FileName, true);
}

TMemIniFile::~TMemIniFile() = default;

void TMemIniFile::Clear() { FDoc = std::make_unique<Doc>(); }

void TMemIniFile::LoadFromBytes(const std::string& Bytes, const std::string& FileName) {
    // The usual reload (the same file, only values changed) reuses the
    // cache's lines and keeps the places remembered in it.
    if (FDoc->ReloadInPlace(Bytes, FileName)) return;
    auto d = std::make_unique<Doc>();
    Doc::Parse(*d, Bytes, FileName);
    // The same sections and idents in the same order, but merged headers:
    // the places name the same lines all the same.
    if (Doc::SameShape(*FDoc, *d)) d->Shape = FDoc->Shape;
    FDoc = std::move(d);
}

std::string TMemIniFile::SaveToBytes() const { return FDoc->Bytes(); }

int TMemIniFile::MergedSectionCount() const { return FDoc->Merged; }

void TMemIniFile::Rename(const String& FileName, bool Reload) {
    FFileName = FileName;
    if (!Reload) return;
    if (FFileName.empty()) {
        Clear();
        return;
    }
    std::string bytes;
    const std::string path = Utf8(FFileName);
    if (!ReadWholeFile(path, bytes)) {
        Clear();
        return;
    }
    LoadFromBytes(bytes, path);
}

void TMemIniFile::UpdateFile() {
    if (FFileName.empty()) throw EIniFileException("Cannot save the ini file: it has no file name");
    WriteFileAtomic(Utf8(FFileName), SaveToBytes());
}

const String* TMemIniFile::FindValue(std::u16string_view Section, std::u16string_view Ident) const {
    const Doc::Section* s = FDoc->FindSection(Section);
    const Doc::Line* l = s ? s->Find(Ident) : nullptr;
    return l ? &l->Value : nullptr;
}

const String* TMemIniFile::FindValue(std::u16string_view Section, std::u16string_view Ident, TIniPlace& Place) const {
    if (Place.Shape == FDoc->Shape) return &FDoc->Sections[Place.Section]->Lines[Place.Line].Value;
    const size_t at = FDoc->SectionAt(Section);
    if (at == FDoc->Sections.size()) return nullptr;
    const Doc::Section* s = FDoc->Sections[at].get();
    auto it = s->Index.find(Ident);
    if (it == s->Index.end()) return nullptr;
    Place = TIniPlace{FDoc->Shape, at, it->second};
    return &s->Lines[it->second].Value;
}

int32_t TMemIniFile::ReadInteger(const String& Section, const String& Ident, int32_t Default) {
    const String* v = FindValue(Section, Ident);
    int32_t r;
    return v && TryStrToInt(*v, r) ? r : Default;
}

String TMemIniFile::ReadString(const String& Section, const String& Ident, const String& Default) {
    const String* v = FindValue(Section, Ident);
    return v ? *v : Default;
}

void TMemIniFile::WriteString(const String& Section, const String& Ident, const String& Value) {
    Write(Section, Ident, Value, nullptr);
}

void TMemIniFile::WriteString(const String& Section, const String& Ident, const String& Value, TIniPlace& Place) {
    Write(Section, Ident, Value, &Place);
}

void TMemIniFile::Write(std::u16string_view Section, std::u16string_view Ident, const String& Value,
                        TIniPlace* Place) {
    const std::u16string_view key = TrimView(Ident);
    if (key.empty() || key.find(u'=') != std::u16string_view::npos || key[0] == u';' || key[0] == u'#' ||
        key[0] == u'[' || HasLineBreak(key))
        throw EIniFileException("'" + Utf8(Ident) + "' is not a valid ini ident");
    auto update = [&](Doc::Line& l) {
        if (l.Value == Value && !l.Dirty) return;  // keep the line as the file had it
        l.Value = Value;
        l.Dirty = true;
    };
    if (Place && Place->Shape == FDoc->Shape) {
        update(FDoc->Sections[Place->Section]->Lines[Place->Line]);
        return;
    }
    const std::u16string_view name = TrimView(Section);
    // A place is remembered only for names a read finds the same way.
    const bool remember = Place && key.size() == Ident.size() && name.size() == Section.size();
    const size_t section = FDoc->SectionAt(name);
    Doc::Section* s = section < FDoc->Sections.size() ? FDoc->Sections[section].get() : FDoc->AddSection(String(name));
    auto it = s->Index.find(key);
    if (it != s->Index.end()) {
        update(s->Lines[it->second]);
        if (remember) *Place = TIniPlace{FDoc->Shape, section, it->second};
        return;
    }
    // New idents go after the section's last non-blank line.
    size_t at = s->Lines.size();
    while (at > 0 && !s->Lines[at - 1].Entry && TrimView(s->Lines[at - 1].Raw).empty()) --at;
    // The line it follows may have been the file's last, without a terminator.
    Doc::Line l;
    l.Key = String(key);
    l.Value = Value;
    l.Entry = true;
    l.Dirty = true;
    s->Lines.insert(s->Lines.begin() + static_cast<std::ptrdiff_t>(at), std::move(l));
    if (at + 1 == s->Lines.size()) s->Index.emplace(s->Lines[at].Key, at);
    else {
        // Lines after it moved: every remembered place is stale.
        s->Reindex();
        FDoc->Reshaped();
    }
    if (remember) *Place = TIniPlace{FDoc->Shape, section, at};
}

bool TMemIniFile::SectionExists(const String& Section) { return FDoc->FindSection(Section) != nullptr; }

bool TMemIniFile::ValueExists(const String& Section, const String& Ident) {
    const Doc::Section* s = FDoc->FindSection(Section);
    return s && s->Find(Ident);
}

void TMemIniFile::ReadSection(const String& Section, TStrings& Idents) {
    Idents.BeginUpdate();
    try {
        Idents.Clear();
        if (const Doc::Section* s = FDoc->FindSection(Section))
            for (size_t i = 0; i < s->Lines.size(); ++i) {
                const auto& l = s->Lines[i];
                if (l.Entry && s->Index.find(l.Key)->second == i) Idents.Add(l.Key);
            }
    } catch (...) {
        Idents.EndUpdate();
        throw;
    }
    Idents.EndUpdate();
}

void TMemIniFile::ReadSections(TStrings& Sections) {
    Sections.BeginUpdate();
    try {
        Sections.Clear();
        for (const auto& s : FDoc->Sections) Sections.Add(s->Name);
    } catch (...) {
        Sections.EndUpdate();
        throw;
    }
    Sections.EndUpdate();
}

void TMemIniFile::EraseSection(const String& Section) {
    auto it = FDoc->SecIndex.find(std::u16string_view(Section));
    if (it == FDoc->SecIndex.end()) return;
    FDoc->Sections.erase(FDoc->Sections.begin() + static_cast<std::ptrdiff_t>(it->second));
    FDoc->ReindexSections();
}

void TMemIniFile::DeleteKey(const String& Section, const String& Ident) {
    Doc::Section* s = FDoc->FindSection(Section);
    if (!s) return;
    auto it = s->Index.find(std::u16string_view(Ident));
    if (it == s->Index.end()) return;
    s->Lines.erase(s->Lines.begin() + static_cast<std::ptrdiff_t>(it->second));
    s->Reindex();
    FDoc->Reshaped();
}

String TMemIniFile::CacheText() const {
    String t;
    for (const auto& s : FDoc->Sections) {
        t += u"[" + s->Name + u"]\n";
        for (size_t i = 0; i < s->Lines.size(); ++i) {
            const auto& l = s->Lines[i];
            if (l.Entry && s->Index.find(l.Key)->second == i) t += l.Key + u"=" + l.Value + u"\n";
        }
    }
    return t;
}

// --- List sections -----------------------------------------------------------

String ListSectionName(const String& BaseSection, const String& Name) { return BaseSection + u"\\" + Name; }

void ReadListSection(TCustomIniFile& Ini, const String& BaseSection, const String& Name, TStrings& List,
                     int32_t MaxCount) {
    const String section = ListSectionName(BaseSection, Name);
    List.BeginUpdate();
    try {
        List.Clear();
        if (Ini.SectionExists(section) && Ini.ValueExists(section, u"Count")) {
            int32_t count = Ini.ReadInteger(section, u"Count", 0);
            if (count < 0 || count > MaxCount)
                throw EIniFileException("List '" + Utf8(section) + "': Count " + std::to_string(count) +
                                        " is out of range (0 to " + std::to_string(MaxCount) + ")");
            for (int32_t i = 0; i < count; ++i) List.Add(Ini.ReadString(section, u"Item" + IntToStr(i), String()));
        }
    } catch (...) {
        List.EndUpdate();
        throw;
    }
    List.EndUpdate();
}

void WriteListSection(TCustomIniFile& Ini, const String& BaseSection, const String& Name, const TStrings* List) {
    if (Name.empty()) return;
    const String section = ListSectionName(BaseSection, Name);
    if (!List || List->GetCount() == 0) {
        Ini.EraseSection(section);
        return;
    }
    Ini.WriteInteger(section, u"Count", List->GetCount());
    for (int i = 0; i < List->GetCount(); ++i) Ini.WriteString(section, u"Item" + IntToStr(i), List->Get(i));
}

}  // namespace ide
