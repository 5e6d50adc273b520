// Fuzz target for the ini reader: any bytes load or are refused with
// EIniFileException/EFileError; what loads saves, and the saved bytes load
// back to the same cache (load -> save -> load). A write through the cache
// must survive the same round trip, and reads through remembered places
// must agree with reads by name.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "settings/IniFiles.h"

using namespace ide;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    const std::string bytes(reinterpret_cast<const char*>(Data), Size);
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
