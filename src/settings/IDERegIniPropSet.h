// The two real stores of a property set. Both keep the working values in an
// in-memory ini cache (TMemIniFile): GetFieldData and SetFieldData touch only
// the cache; the outside store is touched by LoadPropValues and
// SavePropValues.
//
// TRegistryPropSet: values under a key (KeyPath) or under one of several
// sibling subkeys (SubKeys, KeyIndex: profiles) of the library's registry
// (settings/Registry.h). The whole field name is the value name, backslashes
// included. Texts, colours, booleans and enums are REG_SZ (booleans and
// enums by the name of their value row), integers REG_DWORD, floats and
// dates 8-byte binary doubles.
//
// TIniPropSet: values in an ini file. A field name with backslashes splits
// into a section below RootName and an ident: with root "Editor", field
// "General\Size" is ident "Size" in section "Editor\General\".
//
// The asymmetries between the two are kept as they are:
//   - the registry save flushes modified controls first (peUpdateRecord) and
//     the registry load refreshes them (peRecordChange); the ini set does
//     neither;
//   - a registry load copies field by field and fills in defaults, an ini
//     load replaces the cache with the file;
//   - a registry set answers a boolean field with a boolean, an ini set with
//     the text "-1"/"0" (or an integer);
//   - the registry save reads floats and dates from the cache with the
//     default 0, not the field's default;
//   - every field is written on every save; nothing is ever deleted.
// After its walk, a registry save also flushes the hive to its file, so the
// values are on disk when SavePropValues returns.
//
// Thread: TIniPropSet UI thread only; TRegistryPropSet any, when ThreadSafe is
// set before first use (a re-entrant lock guards every read, write, load and
// save; links are told inside the lock).
#pragma once

#include <mutex>

#include "settings/PropSets.h"
#include "settings/Registry.h"

namespace ide {

enum TRootKey {
    hkNone, hkCustom, hkClassesRoot, hkCurrentUser, hkLocalMachine, hkUsers, hkPerformanceData,
    hkCurrentConfig, hkDynData,
};

// Thread: any, with ThreadSafe set (see the file head).
class TRegistryPropSet : public TPropSet {
public:
    explicit TRegistryPropSet(TComponent* AOwner);
    ~TRegistryPropSet() override;

    bool GetFieldData(TPropField* Field, Variant& Value) override;
    void SetFieldData(TPropField* Field, const Variant& Value) override;
    void BeginUpdate() override { TPropSet::BeginUpdate(); }
    void EndUpdate() override { TPropSet::EndUpdate(); }

    String GetCurrentPath() const;
    // Opens (creating) the key of a subkey index (-1: the base key);
    // "Unable to open Key: %s" when it can't.
    void OpenKeyIndex(int Index);
    int GetKeyIndex() const { return FKeyIndex; }
    void SetKeyIndex(int Value);
    const String& GetKeyPath() const { return FKeyPath; }
    void SetKeyPath(const String& Value);
    TRootKey GetRootKey() const;
    void SetRootKey(TRootKey Value);
    TStrings& GetSubKeys() { return FSubKeys; }
    void SetSubKeys(const TStrings& Value) { FSubKeys.Assign(Value); }
    bool GetThreadSafe() const { return FThreadSafe; }
    // Set before the set is shared; makes the lock at once.
    void SetThreadSafe(bool Value);
    void Lock();
    void UnLock();

    TRegistry& GetRegistry() { return *FRegistry; }
    TMemIniFile& GetValues() { return *FValues; }

protected:
    void InitFieldDefs() override {}
    void StateChanged() override {}
    void InternalLoadPropValues() override;
    void InternalSavePropValues() override;

private:
    void LoadFields();
    void SaveFields();
    void ForEachKey(void (TRegistryPropSet::*Walk)());

    std::unique_ptr<TRegistry> FRegistry;
    std::unique_ptr<TMemIniFile> FValues;
    String FKeyPath;
    TStringList FSubKeys;
    int FKeyIndex = -1;
    bool FThreadSafe = false;
    std::unique_ptr<std::recursive_mutex> FLock;
};

// Thread: UI thread only.
class TIniPropSet : public TPropSet {
public:
    explicit TIniPropSet(TComponent* AOwner);
    ~TIniPropSet() override;

    bool GetFieldData(TPropField* Field, Variant& Value) override;
    void SetFieldData(TPropField* Field, const Variant& Value) override;

    const String& GetFileName() const { return FValues->GetFileName(); }
    // Names the file without reading it.
    void SetFileName(const String& Value) { FValues->Rename(Value, false); }
    const String& GetRootName() const { return FRootName; }
    void SetRootName(const String& Value) {
        FRootName = Value;
        ++FGeneration;
    }
    String GetSectionName(const String& FieldName) const;
    static String GetValueName(const String& FieldName);

    TMemIniFile& GetValues() { return *FValues; }

protected:
    void InitFieldDefs() override {}
    void StateChanged() override {}
    void InternalLoadPropValues() override;
    void InternalSavePropValues() override;

private:
    // Each field's section and ident, worked out once and kept with the
    // field (TPropField::GetSetData), with its place in the cache: reads
    // and writes are neither string surgery nor look-ups by name.
    struct Names : TPropField::TSetData {
        using TSetData::TSetData;
        String FieldName, Section, Ident;
        TIniPlace Place;
        uint64_t Generation = 0;
    };
    Names& NamesOf(TPropField* Field);

    std::unique_ptr<TMemIniFile> FValues;
    String FRootName;
    // Changes with the root name: names worked out under another are stale.
    uint64_t FGeneration = 1;
    // For a field that another set holds.
    Names FForeign{nullptr};
};

}  // namespace ide
