#include "settings/Registry.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/Conversions.h"
#include "settings/FileIO.h"

namespace ide {

namespace {

const char* const kHeader = "ide-registry-hive 1";

[[noreturn]] void InvalidType(const String& name) {
    throw ERegistryException("Invalid data type for '" + Utf8(name) + "'");
}

[[noreturn]] void SetFailed(const String& name) {
    throw ERegistryException("Failed to set data for '" + Utf8(name) + "'");
}

bool ValidKeyName(std::u16string_view s) {
    for (size_t i = 0; i < s.size(); ++i) {
        Char c = s[i];
        if (c < 0x20 || c == 0x7F) return false;
        if (c >= 0xD800 && c <= 0xDBFF) {
            if (i + 1 >= s.size() || s[i + 1] < 0xDC00 || s[i + 1] > 0xDFFF) return false;
            ++i;
        } else if (c >= 0xDC00 && c <= 0xDFFF) return false;
    }
    return true;
}

// Strict UTF-8 to UTF-16; false on any invalid sequence.
bool DecodeStrict(std::string_view s, String& out) {
    out.clear();
    out.reserve(s.size());
    size_t i = 0;
    const size_t n = s.size();
    auto cont = [&](size_t k) { return k < n && (static_cast<unsigned char>(s[k]) & 0xC0) == 0x80; };
    while (i < n) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        uint32_t cp;
        if (c < 0x80) { out.push_back(c); ++i; continue; }
        if (c >= 0xC2 && c <= 0xDF && cont(i + 1)) { cp = ((c & 0x1Fu) << 6) | (s[i + 1] & 0x3F); i += 2; }
        else if ((c & 0xF0) == 0xE0 && cont(i + 1) && cont(i + 2)) {
            cp = ((c & 0x0Fu) << 12) | ((s[i + 1] & 0x3Fu) << 6) | (s[i + 2] & 0x3F);
            if (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
            i += 3;
        } else if (c >= 0xF0 && c <= 0xF4 && cont(i + 1) && cont(i + 2) && cont(i + 3)) {
            cp = ((c & 0x07u) << 18) | ((s[i + 1] & 0x3Fu) << 12) | ((s[i + 2] & 0x3Fu) << 6) | (s[i + 3] & 0x3F);
            if (cp < 0x10000 || cp > 0x10FFFF) return false;
            i += 4;
        } else return false;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(Char(0xD800 + (cp >> 10)));
            out.push_back(Char(0xDC00 + (cp & 0x3FF)));
        } else out.push_back(Char(cp));
    }
    return true;
}

void Quote(std::u16string_view s, std::string& out) {
    out.push_back('"');
    String plain;
    auto flush = [&] {
        out += Utf8(plain);
        plain.clear();
    };
    for (size_t i = 0; i < s.size(); ++i) {
        Char c = s[i];
        bool pair = c >= 0xD800 && c <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF;
        if (pair) { plain.push_back(c); plain.push_back(s[++i]); continue; }
        const char* esc = nullptr;
        switch (c) {
            case u'\\': esc = "\\\\"; break;
            case u'"': esc = "\\\""; break;
            case u'\n': esc = "\\n"; break;
            case u'\r': esc = "\\r"; break;
            case u'\t': esc = "\\t"; break;
            default: break;
        }
        if (esc) { flush(); out += esc; continue; }
        if (c < 0x20 || c == 0x7F || (c >= 0xD800 && c <= 0xDFFF)) {
            flush();
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", static_cast<unsigned>(c));
            out += buf;
            continue;
        }
        plain.push_back(c);
    }
    flush();
    out.push_back('"');
}

int HexDigit(Char c) {
    if (c >= u'0' && c <= u'9') return c - u'0';
    if (c >= u'a' && c <= u'f') return c - u'a' + 10;
    if (c >= u'A' && c <= u'F') return c - u'A' + 10;
    return -1;
}

struct LineReader {
    std::u16string_view L;
    size_t P = 0;
    const std::string& File;
    size_t Line;

    [[noreturn]] void Fail(const std::string& what) const {
        throw ERegistryException(File + ":" + std::to_string(Line) + ": " + what);
    }
    bool Take(std::u16string_view w) {
        if (L.substr(P, w.size()) == w) { P += w.size(); return true; }
        return false;
    }
    String Quoted() {
        if (!Take(u"\"")) Fail("expected '\"'");
        String r;
        for (;;) {
            if (P >= L.size()) Fail("unterminated text");
            Char c = L[P++];
            if (c == u'"') return r;
            if (c != u'\\') { r.push_back(c); continue; }
            if (P >= L.size()) Fail("unterminated escape");
            Char e = L[P++];
            switch (e) {
                case u'\\': r.push_back(u'\\'); break;
                case u'"': r.push_back(u'"'); break;
                case u'n': r.push_back(u'\n'); break;
                case u'r': r.push_back(u'\r'); break;
                case u't': r.push_back(u'\t'); break;
                case u'u': {
                    unsigned v = 0;
                    for (int k = 0; k < 4; ++k) {
                        int d = P < L.size() ? HexDigit(L[P]) : -1;
                        if (d < 0) Fail("bad \\u escape");
                        v = v * 16 + static_cast<unsigned>(d);
                        ++P;
                    }
                    r.push_back(Char(v));
                    break;
                }
                default: Fail("unknown escape");
            }
        }
    }
    uint32_t Hex(size_t minDigits, size_t maxDigits) {
        uint32_t v = 0;
        size_t k = 0;
        while (k < maxDigits && P < L.size() && HexDigit(L[P]) >= 0) v = v * 16 + static_cast<uint32_t>(HexDigit(L[P++])), ++k;
        if (k < minDigits) Fail("bad hexadecimal number");
        return v;
    }
    std::vector<uint8_t> Bytes() {
        std::vector<uint8_t> b;
        if (P >= L.size()) return b;
        for (;;) {
            b.push_back(static_cast<uint8_t>(Hex(2, 2)));
            if (P >= L.size()) return b;
            if (!Take(u",")) Fail("expected ','");
        }
    }
};

struct Stat {
    long long Mtime = 0, Size = -1, Inode = 0;
};

Stat StatOf(const std::string& path) {
    struct stat st{};
    Stat s;
    if (::stat(path.c_str(), &st) == 0) {
        s.Mtime = static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
        s.Size = static_cast<long long>(st.st_size);
        s.Inode = static_cast<long long>(st.st_ino);
    }
    return s;
}

std::string EnvOr(const char* name, const std::string& def) {
    const char* v = std::getenv(name);
    return (v && *v) ? std::string(v) : def;
}

std::mutex gHivesLock;
std::map<std::string, std::shared_ptr<THive>>& Hives() {
    static auto* m = new std::map<std::string, std::shared_ptr<THive>>;
    return *m;
}

// Writes what is still pending when the process ends.
struct FlushAtExit {
    ~FlushAtExit() {
        std::lock_guard<std::mutex> g(gHivesLock);
        for (auto& [path, hive] : Hives()) {
            try {
                hive->Flush();
            } catch (...) {  // nothing to report to at exit
            }
        }
    }
} gFlushAtExit;

}  // namespace

// --- Keys --------------------------------------------------------------------

const TRegValue* THive::Key::Find(std::u16string_view name) const {
    auto it = Index.find(name);
    return it == Index.end() ? nullptr : &Values[it->second].second;
}

void THive::Key::Set(const String& name, const TRegValue& v) {
    auto it = Index.find(std::u16string_view(name));
    if (it != Index.end()) {
        Values[it->second].second = v;
        return;
    }
    Values.emplace_back(name, v);
    Index.emplace(name, Values.size() - 1);
}

bool THive::Key::Remove(std::u16string_view name) {
    auto it = Index.find(name);
    if (it == Index.end()) return false;
    Values.erase(Values.begin() + static_cast<std::ptrdiff_t>(it->second));
    Index.clear();
    for (size_t i = 0; i < Values.size(); ++i) Index.emplace(Values[i].first, i);
    return true;
}

// --- Format ------------------------------------------------------------------

String THive::Normalize(std::u16string_view p) {
    String r;
    size_t i = 0;
    while (i < p.size()) {
        size_t j = p.find(u'\\', i);
        if (j == std::u16string_view::npos) j = p.size();
        if (j > i) {
            if (!r.empty()) r.push_back(u'\\');
            r.append(p.substr(i, j - i));
        }
        i = j + 1;
    }
    return r;
}

String THive::FoldKey(std::u16string_view p) { return WideLowerCase(Normalize(p)); }

void THive::Parse(const std::string& bytes, const std::string& file, std::map<String, Key>& keys) {
    keys.clear();
    std::map<String, Key> out;
    Key* cur = nullptr;
    size_t lineNo = 0, i = 0;
    String text;
    while (i < bytes.size()) {
        size_t j = bytes.find('\n', i);
        if (j == std::string::npos) j = bytes.size();
        ++lineNo;
        std::string_view raw(bytes.data() + i, j - i);
        i = j + 1;
        if (!raw.empty() && raw.back() == '\r') raw.remove_suffix(1);
        if (raw.size() > (size_t(16) << 20))
            throw ERegistryException(file + ":" + std::to_string(lineNo) + ": line too long");
        if (!DecodeStrict(raw, text))
            throw ERegistryException(file + ":" + std::to_string(lineNo) + ": not valid UTF-8");
        LineReader r{text, 0, file, lineNo};
        if (lineNo == 1) {
            if (text != Str(kHeader)) r.Fail(std::string("not a registry hive (expected \"") + kHeader + "\")");
            continue;
        }
        if (text.empty() || text[0] == u';') continue;
        if (text[0] == u'[') {
            if (text.back() != u']') r.Fail("expected ']'");
            String path = Normalize(std::u16string_view(text).substr(1, text.size() - 2));
            if (!ValidKeyName(path)) r.Fail("invalid key name");
            String folded = WideLowerCase(path);
            if (out.count(folded)) r.Fail("duplicate key [" + Utf8(path) + "]");
            // Parents exist whenever a child does.
            for (size_t k = path.find(u'\\'); k != String::npos; k = path.find(u'\\', k + 1)) {
                String parent = path.substr(0, k);
                out.try_emplace(WideLowerCase(parent)).first->second.Path = parent;
            }
            cur = &out[folded];
            cur->Path = path;
            continue;
        }
        if (!cur) r.Fail("value outside a key");
        String name = r.Quoted();
        if (!r.Take(u"=")) r.Fail("expected '='");
        TRegValue v;
        if (r.P < text.size() && text[r.P] == u'"') {
            v.Kind = REG_SZ;
            v.Text = r.Quoted();
        } else if (r.Take(u"expand:")) {
            v.Kind = REG_EXPAND_SZ;
            v.Text = r.Quoted();
        } else if (r.Take(u"dword:")) {
            v.Kind = REG_DWORD;
            v.DWord = r.Hex(8, 8);
        } else if (r.Take(u"hex:")) {
            v.Kind = REG_BINARY;
            v.Bytes = r.Bytes();
        } else if (r.Take(u"hex(")) {
            v.Kind = r.Hex(1, 8);
            if (!r.Take(u"):")) r.Fail("expected '):'");
            if (v.Kind == REG_SZ || v.Kind == REG_EXPAND_SZ || v.Kind == REG_DWORD) r.Fail("kind written in its own form");
            v.Bytes = r.Bytes();
        } else r.Fail("unknown value form");
        if (r.P != text.size()) r.Fail("unexpected text after the value");
        if (cur->Find(name)) r.Fail("duplicate value \"" + Utf8(name) + "\"");
        cur->Set(name, v);
    }
    if (bytes.empty()) throw ERegistryException(file + ":1: empty file (expected \"" + std::string(kHeader) + "\")");
    keys.swap(out);
}

std::string THive::Format(const std::map<String, Key>& keys) {
    std::string out = kHeader;
    out += "\n";
    for (const auto& [folded, k] : keys) {
        // Keys without values are written too (they exist); the root only
        // when it has values.
        if (folded.empty() && k.Values.empty()) continue;
        out += "\n[" + Utf8(k.Path) + "]\n";
        for (const auto& [name, v] : k.Values) {
            Quote(name, out);
            out.push_back('=');
            char buf[32];
            switch (v.Kind) {
                case REG_SZ: Quote(v.Text, out); break;
                case REG_EXPAND_SZ: out += "expand:"; Quote(v.Text, out); break;
                case REG_DWORD:
                    std::snprintf(buf, sizeof buf, "dword:%08x", v.DWord);
                    out += buf;
                    break;
                default:
                    if (v.Kind == REG_BINARY) out += "hex:";
                    else {
                        std::snprintf(buf, sizeof buf, "hex(%x):", v.Kind);
                        out += buf;
                    }
                    for (size_t b = 0; b < v.Bytes.size(); ++b) {
                        std::snprintf(buf, sizeof buf, b ? ",%02x" : "%02x", v.Bytes[b]);
                        out += buf;
                    }
            }
            out.push_back('\n');
        }
    }
    return out;
}

// --- THive -------------------------------------------------------------------

struct THive::Change {
    enum Op { SetValue, DeleteValue, CreateKey, DeleteKey } What;
    String Path;
    String Name;
    TRegValue Value;
};

namespace {
void Apply(std::map<String, THive::Key>& keys, const String& path, const std::function<void(THive::Key&)>& f) {
    for (size_t k = path.find(u'\\'); k != String::npos; k = path.find(u'\\', k + 1)) {
        String parent = path.substr(0, k);
        keys.try_emplace(WideLowerCase(parent)).first->second.Path = parent;
    }
    auto [it, fresh] = keys.try_emplace(WideLowerCase(path));
    if (fresh) it->second.Path = path;
    f(it->second);
}

bool EraseTree(std::map<String, THive::Key>& keys, const String& path) {
    if (path.empty()) return false;  // the root stays
    String folded = WideLowerCase(path);
    bool any = keys.erase(folded) > 0;
    String prefix = folded + u"\\";
    for (auto it = keys.lower_bound(prefix); it != keys.end() && it->first.compare(0, prefix.size(), prefix) == 0;) {
        it = keys.erase(it);
        any = true;
    }
    return any;
}
}  // namespace

THive::THive(std::string Path, bool Writable) : FPath(std::move(Path)), FWritable(Writable) {
    FKeys[String()].Path = String();
}

THive::~THive() = default;

std::shared_ptr<THive> THive::Open(const std::string& Path, bool Writable) {
    std::lock_guard<std::mutex> g(gHivesLock);
    auto& m = Hives();
    auto it = m.find(Path);
    if (it != m.end()) {
        std::lock_guard<std::mutex> h(it->second->FLock);
        it->second->ReloadIfChanged();
        return it->second;
    }
    auto hive = std::make_shared<THive>(Path, Writable);
    {
        std::lock_guard<std::mutex> h(hive->FLock);
        hive->ReloadIfChanged();
    }
    m[Path] = hive;
    return hive;
}

void THive::ResetAll() {
    std::lock_guard<std::mutex> g(gHivesLock);
    Hives().clear();
}

void THive::ReloadIfChanged() {
    Stat s = StatOf(FPath);
    Stamp now{s.Mtime, s.Size, s.Inode};
    if (now == FStamp) return;
    std::map<String, Key> keys;
    std::string bytes;
    if (ReadWholeFile(FPath, bytes)) Parse(bytes, FPath, keys);
    keys[String()].Path = String();
    // This process's unsaved changes go on top of what the file says now.
    for (const auto& c : FJournal) {
        switch (c.What) {
            case Change::SetValue: Apply(keys, c.Path, [&](Key& k) { k.Set(c.Name, c.Value); }); break;
            case Change::DeleteValue: Apply(keys, c.Path, [&](Key& k) { k.Remove(c.Name); }); break;
            case Change::CreateKey: Apply(keys, c.Path, [](Key&) {}); break;
            case Change::DeleteKey: EraseTree(keys, c.Path); break;
        }
    }
    FKeys.swap(keys);
    FStamp = now;
}

THive::Key& THive::Touch(const String& path) {
    Key* result = nullptr;
    Apply(FKeys, path, [&](Key& k) { result = &k; });
    return *result;
}

bool THive::KeyExists(const String& Path) {
    std::lock_guard<std::mutex> g(FLock);
    return FKeys.count(FoldKey(Path)) > 0;
}

void THive::CreateKey(const String& Path) {
    std::lock_guard<std::mutex> g(FLock);
    String p = Normalize(Path);
    if (FKeys.count(WideLowerCase(p))) return;
    Touch(p);
    FJournal.push_back({Change::CreateKey, p, String(), TRegValue()});
}

bool THive::DeleteKey(const String& Path) {
    std::lock_guard<std::mutex> g(FLock);
    String p = Normalize(Path);
    if (!EraseTree(FKeys, p)) return false;
    FJournal.push_back({Change::DeleteKey, p, String(), TRegValue()});
    return true;
}

bool THive::GetValue(const String& Path, const String& Name, TRegValue& Value) {
    std::lock_guard<std::mutex> g(FLock);
    auto it = FKeys.find(FoldKey(Path));
    if (it == FKeys.end()) return false;
    const TRegValue* v = it->second.Find(Name);
    if (!v) return false;
    Value = *v;
    return true;
}

void THive::SetValue(const String& Path, const String& Name, const TRegValue& Value) {
    std::lock_guard<std::mutex> g(FLock);
    String p = Normalize(Path);
    Touch(p).Set(Name, Value);
    FJournal.push_back({Change::SetValue, p, Name, Value});
}

bool THive::DeleteValue(const String& Path, const String& Name) {
    std::lock_guard<std::mutex> g(FLock);
    auto it = FKeys.find(FoldKey(Path));
    if (it == FKeys.end() || !it->second.Remove(Name)) return false;
    FJournal.push_back({Change::DeleteValue, Normalize(Path), Name, TRegValue()});
    return true;
}

std::vector<String> THive::ValueNames(const String& Path) {
    std::lock_guard<std::mutex> g(FLock);
    std::vector<String> r;
    auto it = FKeys.find(FoldKey(Path));
    if (it != FKeys.end())
        for (const auto& v : it->second.Values) r.push_back(v.first);
    return r;
}

std::vector<String> THive::SubKeyNames(const String& Path) {
    std::lock_guard<std::mutex> g(FLock);
    std::vector<String> r;
    String folded = FoldKey(Path);
    String prefix = folded.empty() ? String() : folded + u"\\";
    for (auto it = FKeys.lower_bound(prefix); it != FKeys.end() && it->first.compare(0, prefix.size(), prefix) == 0;
         ++it) {
        if (it->first.size() == prefix.size()) continue;
        if (it->first.find(u'\\', prefix.size()) != String::npos) continue;
        r.push_back(it->second.Path.substr(prefix.size()));
    }
    return r;
}

bool THive::Dirty() {
    std::lock_guard<std::mutex> g(FLock);
    return !FJournal.empty();
}

std::string THive::Text() {
    std::lock_guard<std::mutex> g(FLock);
    return Format(FKeys);
}

void THive::Flush() {
    std::lock_guard<std::mutex> g(FLock);
    if (FJournal.empty()) return;
    if (!FWritable) throw ERegistryException(FPath + ": the hive is read-only");
    auto slash = FPath.rfind('/');
    if (slash != std::string::npos) ForceDirectories(FPath.substr(0, slash));
    const std::string lockPath = FPath + ".lock";
    int fd = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) throw ERegistryException(lockPath + ": cannot open the lock file: " + std::strerror(errno));
    struct Unlock {
        int F;
        ~Unlock() {
            ::flock(F, LOCK_UN);
            ::close(F);
        }
    } unlock{fd};
    while (::flock(fd, LOCK_EX) != 0)
        if (errno != EINTR) throw ERegistryException(lockPath + ": cannot lock: " + std::strerror(errno));
    ReloadIfChanged();  // merge with what another process wrote meanwhile
    WriteFileAtomic(FPath, Format(FKeys));
    FJournal.clear();
    Stat s = StatOf(FPath);
    FStamp = Stamp{s.Mtime, s.Size, s.Inode};
}

// --- Locations ---------------------------------------------------------------

std::string RegistryDir() {
    const char* over = std::getenv("IDE_REGISTRY_DIR");
    if (over && *over) return over;
    std::string home = EnvOr("HOME", "/tmp");
    return EnvOr("XDG_CONFIG_HOME", home + "/.config") + "/ide-shell/registry";
}

std::string HiveFileName(HKEY Root) {
    const char* name = nullptr;
    switch (Root) {
        case HKEY_CLASSES_ROOT: name = "HKEY_CLASSES_ROOT"; break;
        case HKEY_CURRENT_USER: name = "HKEY_CURRENT_USER"; break;
        case HKEY_USERS: name = "HKEY_USERS"; break;
        case HKEY_CURRENT_CONFIG: name = "HKEY_CURRENT_CONFIG"; break;
        case HKEY_LOCAL_MACHINE: {
            const char* over = std::getenv("IDE_REGISTRY_DIR");
            if (over && *over) return std::string(over) + "/HKEY_LOCAL_MACHINE.reg";
            std::string dirs = EnvOr("XDG_CONFIG_DIRS", "/etc/xdg");
            return dirs.substr(0, dirs.find(':')) + "/ide-shell/registry/HKEY_LOCAL_MACHINE.reg";
        }
        default: return std::string();
    }
    return RegistryDir() + "/" + name + ".reg";
}

// --- TRegistry ---------------------------------------------------------------

TRegistry::TRegistry() = default;

TRegistry::~TRegistry() {
    try {
        CloseKey();
    } catch (...) {  // the changes stay pending; the exit flush tries again
    }
}

void TRegistry::SetRootKey(HKEY Value) {
    CloseKey();
    FRootKey = Value;
    FHive.reset();
}

THive* TRegistry::Hive(bool ForWrite) {
    std::string file = HiveFileName(FRootKey);
    if (file.empty()) return nullptr;
    const bool writable = FRootKey != HKEY_LOCAL_MACHINE;
    if (ForWrite && !writable) return nullptr;
    FHive = THive::Open(file, writable);
    return FHive.get();
}

String TRegistry::Resolve(const String& Key) const {
    if (!Key.empty() && Key[0] == u'\\') return THive::Normalize(Key);
    if (FOpen && !FCurrentPath.empty()) return THive::Normalize(FCurrentPath + u"\\" + Key);
    return THive::Normalize(Key);
}

bool TRegistry::OpenKey(const String& Key, bool CanCreate) {
    String path = Resolve(Key);
    THive* h = Hive(true);
    if (!h || !ValidKeyName(path)) return false;
    if (!h->KeyExists(path)) {
        if (!CanCreate) return false;
        h->CreateKey(path);
    }
    FCurrentPath = path;
    FOpen = true;
    FReadOnly = false;
    return true;
}

bool TRegistry::OpenKeyReadOnly(const String& Key) {
    String path = Resolve(Key);
    THive* h = Hive(false);
    if (!h || !h->KeyExists(path)) return false;
    FCurrentPath = path;
    FOpen = true;
    FReadOnly = true;
    return true;
}

void TRegistry::Flush() {
    if (FHive && FHive->Writable()) FHive->Flush();
}

void TRegistry::CloseKey() {
    if (!FOpen) return;
    FOpen = false;
    FCurrentPath.clear();
    Flush();
}

bool TRegistry::KeyExists(const String& Key) {
    THive* h = Hive(false);
    return h && h->KeyExists(Resolve(Key));
}

bool TRegistry::CreateKey(const String& Key) {
    String path = Resolve(Key);
    THive* h = Hive(true);
    if (!h || !ValidKeyName(path)) throw ERegistryException("Failed to create key " + Utf8(Key));
    h->CreateKey(path);
    return true;
}

bool TRegistry::DeleteKey(const String& Key) {
    THive* h = Hive(true);
    return h && h->DeleteKey(Resolve(Key));
}

void TRegistry::GetKeyNames(TStrings& List) {
    List.Clear();
    if (THive* h = FOpen ? FHive.get() : nullptr)
        for (auto& n : h->SubKeyNames(FCurrentPath)) List.Add(n);
}

void TRegistry::GetValueNames(TStrings& List) {
    List.Clear();
    if (THive* h = FOpen ? FHive.get() : nullptr)
        for (auto& n : h->ValueNames(FCurrentPath)) List.Add(n);
}

const TRegValue& TRegistry::Get(const String& Name, TRegValue& Buf) {
    Buf = TRegValue();
    if (FOpen && FHive) FHive->GetValue(FCurrentPath, Name, Buf);
    return Buf;
}

bool TRegistry::ValueExists(const String& Name) {
    TRegValue v;
    return FOpen && FHive && FHive->GetValue(FCurrentPath, Name, v);
}

bool TRegistry::DeleteValue(const String& Name) {
    return FOpen && !FReadOnly && FHive && FHive->DeleteValue(FCurrentPath, Name);
}

TRegDataType TRegistry::GetDataType(const String& Name) {
    TRegValue b;
    switch (Get(Name, b).Kind) {
        case REG_SZ: return rdString;
        case REG_EXPAND_SZ: return rdExpandString;
        case REG_DWORD: return rdInteger;
        case REG_BINARY: return rdBinary;
        default: return rdUnknown;
    }
}

String TRegistry::ReadString(const String& Name) {
    TRegValue b;
    const TRegValue& v = Get(Name, b);
    if (v.Kind == REG_NONE) return String();
    if (v.Kind != REG_SZ && v.Kind != REG_EXPAND_SZ) InvalidType(Name);
    return v.Text;
}

int32_t TRegistry::ReadInteger(const String& Name) {
    TRegValue b;
    const TRegValue& v = Get(Name, b);
    if (v.Kind != REG_DWORD) InvalidType(Name);
    return static_cast<int32_t>(v.DWord);
}

double TRegistry::ReadDouble(const String& Name) {
    TRegValue b;
    const TRegValue& v = Get(Name, b);
    if (v.Kind != REG_BINARY || v.Bytes.size() != 8) InvalidType(Name);
    uint64_t bits = 0;
    for (int i = 7; i >= 0; --i) bits = (bits << 8) | v.Bytes[static_cast<size_t>(i)];
    double d;
    std::memcpy(&d, &bits, 8);
    return d;
}

double TRegistry::ReadFloat(const String& Name) { return ReadDouble(Name); }
TDateTime TRegistry::ReadDate(const String& Name) { return ReadDouble(Name); }
TDateTime TRegistry::ReadTime(const String& Name) { return ReadDouble(Name); }
TDateTime TRegistry::ReadDateTime(const String& Name) { return ReadDouble(Name); }

std::vector<uint8_t> TRegistry::ReadBinaryData(const String& Name) {
    TRegValue b;
    const TRegValue& v = Get(Name, b);
    if (v.Kind != REG_BINARY) InvalidType(Name);
    return v.Bytes;
}

void TRegistry::Put(const String& Name, const TRegValue& Value) {
    if (!FOpen || FReadOnly || !FHive || !FHive->Writable()) SetFailed(Name);
    FHive->SetValue(FCurrentPath, Name, Value);
}

void TRegistry::WriteString(const String& Name, const String& Value) {
    TRegValue v;
    v.Kind = REG_SZ;
    v.Text = Value;
    Put(Name, v);
}

void TRegistry::WriteInteger(const String& Name, int32_t Value) {
    TRegValue v;
    v.Kind = REG_DWORD;
    v.DWord = static_cast<uint32_t>(Value);
    Put(Name, v);
}

void TRegistry::WriteDouble(const String& Name, double Value) {
    TRegValue v;
    v.Kind = REG_BINARY;
    uint64_t bits;
    std::memcpy(&bits, &Value, 8);
    for (int i = 0; i < 8; ++i) v.Bytes.push_back(static_cast<uint8_t>(bits >> (8 * i)));
    Put(Name, v);
}

void TRegistry::WriteFloat(const String& Name, double Value) { WriteDouble(Name, Value); }
void TRegistry::WriteDate(const String& Name, TDateTime Value) { WriteDouble(Name, Value); }
void TRegistry::WriteTime(const String& Name, TDateTime Value) { WriteDouble(Name, Value); }
void TRegistry::WriteDateTime(const String& Name, TDateTime Value) { WriteDouble(Name, Value); }

void TRegistry::WriteBinaryData(const String& Name, const std::vector<uint8_t>& Data) {
    TRegValue v;
    v.Kind = REG_BINARY;
    v.Bytes = Data;
    Put(Name, v);
}

// --- TRegistryIniFile --------------------------------------------------------

TRegistryIniFile::TRegistryIniFile(const String& FileName, HKEY Root) : TCustomIniFile(FileName) {
    FReg.SetRootKey(Root);
}

String TRegistryIniFile::Key(const String& Section) const { return u"\\" + FFileName + u"\\" + Section; }

String TRegistryIniFile::ReadString(const String& Section, const String& Ident, const String& Default) {
    if (!FReg.OpenKeyReadOnly(Key(Section)) || !FReg.ValueExists(Ident)) return Default;
    if (FReg.GetDataType(Ident) == rdInteger) return IntToStr(FReg.ReadInteger(Ident));
    return FReg.ReadString(Ident);
}

void TRegistryIniFile::WriteString(const String& Section, const String& Ident, const String& Value) {
    if (!FReg.OpenKey(Key(Section), true)) throw ERegistryException("Failed to create key " + Utf8(Key(Section)));
    FReg.WriteString(Ident, Value);
}

int32_t TRegistryIniFile::ReadInteger(const String& Section, const String& Ident, int32_t Default) {
    if (!FReg.OpenKeyReadOnly(Key(Section)) || !FReg.ValueExists(Ident)) return Default;
    if (FReg.GetDataType(Ident) == rdInteger) return FReg.ReadInteger(Ident);
    return StrToIntDef(FReg.ReadString(Ident), Default);
}

void TRegistryIniFile::WriteInteger(const String& Section, const String& Ident, int32_t Value) {
    if (!FReg.OpenKey(Key(Section), true)) throw ERegistryException("Failed to create key " + Utf8(Key(Section)));
    FReg.WriteInteger(Ident, Value);
}

bool TRegistryIniFile::SectionExists(const String& Section) { return FReg.KeyExists(Key(Section)); }

bool TRegistryIniFile::ValueExists(const String& Section, const String& Ident) {
    return FReg.OpenKeyReadOnly(Key(Section)) && FReg.ValueExists(Ident);
}

void TRegistryIniFile::ReadSection(const String& Section, TStrings& Idents) {
    Idents.Clear();
    if (FReg.OpenKeyReadOnly(Key(Section))) FReg.GetValueNames(Idents);
}

void TRegistryIniFile::ReadSections(TStrings& Sections) {
    Sections.Clear();
    if (FReg.OpenKeyReadOnly(u"\\" + FFileName)) FReg.GetKeyNames(Sections);
}

void TRegistryIniFile::EraseSection(const String& Section) { FReg.DeleteKey(Key(Section)); }

void TRegistryIniFile::DeleteKey(const String& Section, const String& Ident) {
    if (FReg.OpenKey(Key(Section), false)) FReg.DeleteValue(Ident);
}

void TRegistryIniFile::UpdateFile() { FReg.Flush(); }

}  // namespace ide
