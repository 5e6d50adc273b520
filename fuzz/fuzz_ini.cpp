// Fuzz target for the ini reader: any bytes load or are refused with
// EIniFileException/EFileError; what loads saves, and the saved bytes load
// back to the same cache (load -> save -> load). A write through the cache
// must survive the same round trip, and reads through remembered places
// must agree with reads by name. A reload over a cache that was written to
// (which reuses the cache's lines when the file keeps its shape) must give
// exactly what a fresh load gives.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "settings/IniFiles.h"

using namespace ide;

namespace {

void CheckReloadOverAUsedCache(const std::string& before, const std::string& after) {
    TMemIniFile used, fresh;
    try {
        used.LoadFromBytes(before, "before.ini");
    } catch (const EIniFileException&) {
        return;
    }
    TStringList sections, idents;
    used.ReadSections(sections);
    for (int s = 0; s < sections.Count(); ++s) {
        used.ReadSection(sections[s], idents);
        for (int i = 0; i < idents.Count(); ++i) {
            try {
                used.WriteString(sections[s], idents[i], u"written");
            } catch (const EIniFileException&) {
                // an ident a foreign file may hold but a write refuses
            }
        }
    }
    bool usedRefused = false, freshRefused = false;
    try {
        used.LoadFromBytes(after, "after.ini");
    } catch (const EIniFileException&) {
        usedRefused = true;
    }
    try {
        fresh.LoadFromBytes(after, "after.ini");
    } catch (const EIniFileException&) {
        freshRefused = true;
    }
    if (usedRefused != freshRefused) std::abort();
    if (freshRefused) return;
    if (used.CacheText() != fresh.CacheText() || used.MergedSectionCount() != fresh.MergedSectionCount() ||
        used.SaveToBytes() != fresh.SaveToBytes())
        std::abort();
    // The lines' flags and ends agree too: the same writes save the same.
    fresh.ReadSections(sections);
    const String section = sections.Count() > 0 ? sections[0] : String(u"S");
    fresh.ReadSection(section, idents);
    auto writeAndSave = [&](TMemIniFile& ini) -> std::string {
        try {
            if (idents.Count() > 0) ini.WriteString(section, idents[0], u"changed");
            ini.WriteString(section, u"AddedByTheCheck", u"1");
            return ini.SaveToBytes();
        } catch (const EIniFileException& e) {
            return std::string("refused: ") + e.what();
        }
    };
    if (writeAndSave(used) != writeAndSave(fresh)) std::abort();
}

// The same text with something after every first "=" of a line, and with
// other line ends: mostly the same shape with other values and spellings.
std::string WithOtherValues(const std::string& bytes) {
    std::string out;
    bool seen = false;
    for (char c : bytes) {
        out.push_back(c);
        if (c == '\n' || c == '\r') seen = false;
        else if (c == '=' && !seen) {
            out += " v2";
            seen = true;
        }
    }
    return out;
}

std::string WithCrLf(const std::string& bytes) {
    std::string out;
    for (char c : bytes) {
        if (c == '\n') out += "\r\n";
        else out.push_back(c);
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    const std::string bytes(reinterpret_cast<const char*>(Data), Size);
    CheckReloadOverAUsedCache(bytes, bytes);
    CheckReloadOverAUsedCache(bytes, WithOtherValues(bytes));
    CheckReloadOverAUsedCache(bytes, WithCrLf(bytes));
    CheckReloadOverAUsedCache(WithOtherValues(bytes), bytes);
    TMemIniFile ini;
    try {
        ini.LoadFromBytes(bytes, "fuzz.ini");
    } catch (const EIniFileException&) {
        return 0;
    }
    const String cache = ini.CacheText();
    const std::string saved = ini.SaveToBytes();
    TMemIniFile again;
    again.LoadFromBytes(saved, "saved.ini");
    if (again.CacheText() != cache) std::abort();
    // An untouched file is written back byte for byte (merged duplicate
    // section headers excepted).
    if (ini.MergedSectionCount() == 0 && saved != bytes) std::abort();
    // A write into an existing section and into a new one round-trips.
    TStringList sections;
    ini.ReadSections(sections);
    const String section = sections.Count() > 0 ? sections[0] : String(u"New");
    // Reads through remembered places answer what reads by name answer,
    // also after a line was removed and another added.
    TStringList idents;
    ini.ReadSection(section, idents);
    std::vector<TIniPlace> places(static_cast<size_t>(idents.Count()));
    auto agree = [&] {
        for (int i = 0; i < idents.Count(); ++i)
            if (ini.FindValue(section, idents[i], places[static_cast<size_t>(i)]) != ini.FindValue(section, idents[i]))
                std::abort();
    };
    agree();
    if (idents.Count() > 1) ini.DeleteKey(section, idents[0]);
    ini.WriteString(section, u"FuzzKey", u"v=1; x");
    agree();
    ini.WriteString(u"Fuzz\\Section\\", u"K", u"w");
    std::string second;
    try {
        second = ini.SaveToBytes();
    } catch (const EIniFileException&) {
        return 0;  // a section name with a line break can't be written
    }
    TMemIniFile third;
    third.LoadFromBytes(second, "second.ini");
    if (third.ReadString(section, u"FuzzKey", u"") != u"v=1; x") {
        // A section whose name trims differently can't be found again only
        // when the file already held an unusual header; everything else must.
        if (Trim(section) == section) std::abort();
    }
    if (third.ReadString(u"Fuzz\\Section\\", u"K", u"") != u"w") std::abort();
    return 0;
}
