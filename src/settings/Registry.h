// The registry: typed, named values under keys, kept in the library's own
// hive files, and TRegistry, the object through which the settings layer
// reads and writes them.
//
// Where the hives live: one file per root, "<dir>/HKEY_CURRENT_USER.reg" and
// so on, where <dir> is $IDE_REGISTRY_DIR when set (tests and the gallery
// point it at a directory of their own), else
// $XDG_CONFIG_HOME/ide-shell/registry (~/.config/ide-shell/registry).
// HKEY_LOCAL_MACHINE is the machine's: read from the first entry of
// $XDG_CONFIG_DIRS (/etc/xdg/ide-shell/registry), or <dir> under the
// override, and never written by the library, so OpenKey on it fails and
// OpenKeyReadOnly works. The performance and dynamic-data roots have no
// store and never open.
//
// The hive file is text a person can read and diff:
//
//     ide-registry-hive 1
//     [Software\Vendor\Editor]
//     "Name"="text with \"quotes\" and \\ backslashes"
//     "Size"=dword:0000000c
//     "Ratio"=hex:00,00,00,00,00,00,f8,3f
//     "Other"=hex(7):41,00,00,00
//
// Keys are matched case-insensitively and keep the case they were made in;
// value names may hold backslashes. Text escapes: \\ \" \n \r \t and \uXXXX
// for other control characters and lone surrogates. A file that doesn't
// follow the format raises ERegistryException naming the file and line, and
// nothing of it is loaded.
//
// One in-memory hive per file is shared by every TRegistry of the process,
// so a write is visible to every reader at once. Changes are written by
// Flush (CloseKey, the TRegistry's destructor, TRegistryPropSet's save):
// under an exclusive lock on "<file>.lock" the current file is read again
// when another process changed it, this process's changes are applied to it,
// and the result replaces the file atomically. Two processes that write
// different values therefore both keep theirs.
//
// Thread: any for the hive (a mutex guards it); TRegistry: one at a time.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "settings/IniFiles.h"

namespace ide {

IDE_DECLARE_EXCEPTION(ERegistryException, Exception)

using HKEY = uintptr_t;
constexpr HKEY HKEY_CLASSES_ROOT = 0x80000000;
constexpr HKEY HKEY_CURRENT_USER = 0x80000001;
constexpr HKEY HKEY_LOCAL_MACHINE = 0x80000002;
constexpr HKEY HKEY_USERS = 0x80000003;
constexpr HKEY HKEY_PERFORMANCE_DATA = 0x80000004;
constexpr HKEY HKEY_CURRENT_CONFIG = 0x80000005;
constexpr HKEY HKEY_DYN_DATA = 0x80000006;

// Data kinds of values (the numbers are the file's hex(N) kinds).
constexpr uint32_t REG_NONE = 0;
constexpr uint32_t REG_SZ = 1;
constexpr uint32_t REG_EXPAND_SZ = 2;
constexpr uint32_t REG_BINARY = 3;
constexpr uint32_t REG_DWORD = 4;

enum TRegDataType { rdUnknown, rdString, rdExpandString, rdInteger, rdBinary };

struct TRegValue {
    uint32_t Kind = REG_NONE;
    String Text;                 // REG_SZ, REG_EXPAND_SZ
    uint32_t DWord = 0;          // REG_DWORD
    std::vector<uint8_t> Bytes;  // everything else
    bool operator==(const TRegValue&) const = default;
};

// One hive: keys (full paths from the root, case preserved) with their
// values in the order they were made. Thread: any.
class THive {
public:
    struct Key {
        String Path;
        std::vector<std::pair<String, TRegValue>> Values;
        std::unordered_map<String, size_t, TFoldedHash, TFoldedEqual> Index;
        const TRegValue* Find(std::u16string_view Name) const;
        void Set(const String& Name, const TRegValue& Value);
        bool Remove(std::u16string_view Name);
    };

    // The shared hive of a file (made on first use, loaded from the file).
    static std::shared_ptr<THive> Open(const std::string& Path, bool Writable);
    // Forgets the shared hives (tests that swap directories).
    static void ResetAll();

    // A hive of its own over Path (not the shared one): another process's
    // view of the same file, for tests and tools.
    THive(std::string Path, bool Writable);
    ~THive();
    const std::string& Path() const { return FPath; }
    bool Writable() const { return FWritable; }

    // All operations take the hive's lock. Paths are normalised
    // ("A\\B\\" is "A\B").
    bool KeyExists(const String& Path);
    void CreateKey(const String& Path);
    bool DeleteKey(const String& Path);  // with its subkeys
    bool GetValue(const String& Path, const String& Name, TRegValue& Value);
    void SetValue(const String& Path, const String& Name, const TRegValue& Value);
    bool DeleteValue(const String& Path, const String& Name);
    std::vector<String> ValueNames(const String& Path);
    std::vector<String> SubKeyNames(const String& Path);

    // Writes this process's changes (see the file head); nothing when there
    // are none.
    void Flush();
    bool Dirty();
    // The hive as file text (what Flush would write).
    std::string Text();

    // The format, for the reader's fuzz target and the tests.
    static void Parse(const std::string& Bytes, const std::string& FileName, std::map<String, Key>& Keys);
    static std::string Format(const std::map<String, Key>& Keys);
    static String Normalize(std::u16string_view Path);
    static String FoldKey(std::u16string_view Path);

private:
    struct Change;
    void ReloadIfChanged();
    Key& Touch(const String& Path);

    std::mutex FLock;
    std::string FPath;
    bool FWritable;
    std::map<String, Key> FKeys;  // by folded path, so a file lists keys in order
    std::vector<Change> FJournal;
    struct Stamp {
        long long Mtime = 0, Size = -1, Inode = 0;
        bool operator==(const Stamp&) const = default;
    } FStamp;
};

// The directory of the hives (see the file head) and the file of a root.
std::string RegistryDir();
std::string HiveFileName(HKEY Root);

// Thread: one at a time.
class TRegistry : public TObject {
public:
    TRegistry();
    ~TRegistry() override;

    HKEY GetRootKey() const { return FRootKey; }
    // Closes the open key and selects another root.
    void SetRootKey(HKEY Value);
    const String& GetCurrentPath() const { return FCurrentPath; }
    bool HasCurrentKey() const { return FOpen; }

    // A key with a leading backslash is absolute; without one it is relative
    // to the open key. False when the root can't be written or the key is
    // missing and CanCreate is false.
    bool OpenKey(const String& Key, bool CanCreate);
    bool OpenKeyReadOnly(const String& Key);
    // Writes pending changes of the hive (Flush), then closes the key.
    void CloseKey();
    void Flush();
    bool KeyExists(const String& Key);
    bool CreateKey(const String& Key);
    bool DeleteKey(const String& Key);
    void GetKeyNames(TStrings& List);
    void GetValueNames(TStrings& List);

    // On the open key.
    bool ValueExists(const String& Name);
    bool DeleteValue(const String& Name);
    TRegDataType GetDataType(const String& Name);
    // A missing value reads as "" for text; the other readers raise "Invalid
    // data type for '<name>'" for a missing value or one of another kind
    // (a float, date or time must be 8 bytes of binary data).
    String ReadString(const String& Name);
    int32_t ReadInteger(const String& Name);
    double ReadFloat(const String& Name);
    TDateTime ReadDate(const String& Name);
    TDateTime ReadTime(const String& Name);
    TDateTime ReadDateTime(const String& Name);
    std::vector<uint8_t> ReadBinaryData(const String& Name);
    bool ReadBool(const String& Name) { return ReadInteger(Name) != 0; }
    // Writers raise "Failed to set data for '<name>'" without a writable open
    // key.
    void WriteString(const String& Name, const String& Value);
    void WriteInteger(const String& Name, int32_t Value);
    void WriteFloat(const String& Name, double Value);
    void WriteDate(const String& Name, TDateTime Value);
    void WriteTime(const String& Name, TDateTime Value);
    void WriteDateTime(const String& Name, TDateTime Value);
    void WriteBinaryData(const String& Name, const std::vector<uint8_t>& Data);
    void WriteBool(const String& Name, bool Value) { WriteInteger(Name, Value ? 1 : 0); }

private:
    THive* Hive(bool ForWrite);
    String Resolve(const String& Key) const;
    const TRegValue& Get(const String& Name, TRegValue& Buf);
    double ReadDouble(const String& Name);
    void WriteDouble(const String& Name, double Value);
    void Put(const String& Name, const TRegValue& Value);

    HKEY FRootKey = HKEY_CURRENT_USER;
    String FCurrentPath;
    bool FOpen = false;
    bool FReadOnly = false;
    std::shared_ptr<THive> FHive;
};

// An ini-file view of a registry key: section = subkey, ident = value name;
// integers are written as REG_DWORD. Erasing a section deletes the key.
// Thread: one at a time.
class TRegistryIniFile : public TCustomIniFile {
public:
    // FileName is the base key path; Root the root.
    explicit TRegistryIniFile(const String& FileName, HKEY Root = HKEY_CURRENT_USER);
    String ReadString(const String& Section, const String& Ident, const String& Default) override;
    void WriteString(const String& Section, const String& Ident, const String& Value) override;
    int32_t ReadInteger(const String& Section, const String& Ident, int32_t Default) override;
    void WriteInteger(const String& Section, const String& Ident, int32_t Value) override;
    bool SectionExists(const String& Section) override;
    bool ValueExists(const String& Section, const String& Ident) override;
    void ReadSection(const String& Section, TStrings& Idents) override;
    void ReadSections(TStrings& Sections) override;
    void EraseSection(const String& Section) override;
    void DeleteKey(const String& Section, const String& Ident) override;
    void UpdateFile() override;
    TRegistry& GetRegistry() { return FReg; }

private:
    String Key(const String& Section) const;
    TRegistry FReg;
};

}  // namespace ide
