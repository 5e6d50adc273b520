#include "settings/IDERegIniPropSet.h"

#include "settings/IDEConst.h"

namespace ide {

using namespace IDEConst;

namespace {

// The cache read of a field, shared by both stores.
bool ReadCache(TMemIniFile& ini, const String& section, const String& ident, TPropField* f, Variant& value,
               bool booleanAsBoolean) {
    const Variant def = f->GetDefaultValue();
    switch (f->GetFieldType()) {
        case ptString:
        case ptColor: value = Variant(ini.ReadString(section, ident, VarToStr(def))); return true;
        case ptInteger: value = Variant(ini.ReadInteger(section, ident, def.AsInteger())); return true;
        case ptReal: value = Variant(ini.ReadFloat(section, ident, def.AsDouble())); return true;
        case ptDate: value = Variant::FromDate(ini.ReadDate(section, ident, def.AsDouble())); return true;
        case ptTime: value = Variant::FromDate(ini.ReadTime(section, ident, def.AsDouble())); return true;
        case ptDateTime: value = Variant::FromDate(ini.ReadDateTime(section, ident, def.AsDouble())); return true;
        case ptBoolean:
        case ptEnum: {
            String text = ini.ReadString(section, ident, String());
            TPropValueNames& names = f->GetValueNames();
            int row = names.IndexOfName(text);
            if (row >= 0) value = Variant(names.ValueFromIndex(row));
            else value = Variant(ini.ReadInteger(section, ident, def.AsInteger()));
            if (booleanAsBoolean && f->GetFieldType() == ptBoolean) value = Variant(value.AsBoolean());
            return true;
        }
        default: return false;
    }
}

void WriteCache(TMemIniFile& ini, const String& section, const String& ident, TPropField* f, const Variant& value) {
    switch (f->GetFieldType()) {
        case ptString:
        case ptColor: ini.WriteString(section, ident, VarToStr(value)); break;
        case ptInteger: ini.WriteInteger(section, ident, value.AsInteger()); break;
        case ptBoolean:
        case ptEnum: {
            int32_t i = value.AsInteger();
            TPropValueNames& names = f->GetValueNames();
            int row = names.IndexOfValue(i);
            if (row >= 0) ini.WriteString(section, ident, names.Names(row));
            else ini.WriteInteger(section, ident, i);
            break;
        }
        case ptReal: ini.WriteFloat(section, ident, value.AsDouble()); break;
        case ptDate: ini.WriteDate(section, ident, value.AsDateTime()); break;
        case ptTime: ini.WriteTime(section, ident, value.AsDateTime()); break;
        case ptDateTime: ini.WriteDateTime(section, ident, value.AsDateTime()); break;
        default: break;
    }
}

class LockGuard {
public:
    explicit LockGuard(TRegistryPropSet* s) : S(s) { S->Lock(); }
    ~LockGuard() { S->UnLock(); }

private:
    TRegistryPropSet* S;
};

}  // namespace

// --- TRegistryPropSet --------------------------------------------------------

TRegistryPropSet::TRegistryPropSet(TComponent* AOwner)
    : TPropSet(AOwner), FRegistry(std::make_unique<TRegistry>()), FValues(std::make_unique<TMemIniFile>()) {
    SetState(psActive);
}

TRegistryPropSet::~TRegistryPropSet() {
    Destroying();
    DestroyFields();
}

void TRegistryPropSet::SetThreadSafe(bool Value) {
    FThreadSafe = Value;
    if (Value && !FLock) FLock = std::make_unique<std::recursive_mutex>();
}

void TRegistryPropSet::Lock() {
    if (!FThreadSafe) return;
    if (!FLock) FLock = std::make_unique<std::recursive_mutex>();
    FLock->lock();
}

void TRegistryPropSet::UnLock() {
    if (FThreadSafe && FLock) FLock->unlock();
}

String TRegistryPropSet::GetCurrentPath() const {
    String sub;
    if (FKeyIndex > -1 && FSubKeys.GetCount() > 0) sub = FSubKeys.Get(FKeyIndex);
    if (!sub.empty() && sub[0] != u'\\') sub = u"\\" + sub;
    return FKeyPath + sub;
}

void TRegistryPropSet::OpenKeyIndex(int Index) {
    FKeyIndex = Index;
    const String path = GetCurrentPath();
    if (!FRegistry->OpenKey(path, true)) PropErrorFmt(sCantOpenKey, Utf8(path).c_str());
}

void TRegistryPropSet::SetKeyIndex(int Value) {
    if (FKeyIndex == Value) return;
    FKeyIndex = Value;
    DataEvent(peRecordChange, 0);
}

void TRegistryPropSet::SetKeyPath(const String& Value) {
    if (AnsiSameText(FKeyPath, Value)) return;
    FKeyPath = Value;
    DataEvent(peRecordChange, 0);
}

TRootKey TRegistryPropSet::GetRootKey() const {
    HKEY h = FRegistry->GetRootKey();
    if (h >= HKEY_CLASSES_ROOT && h <= HKEY_DYN_DATA) return static_cast<TRootKey>(hkClassesRoot + (h - HKEY_CLASSES_ROOT));
    return h ? hkCustom : hkNone;
}

void TRegistryPropSet::SetRootKey(TRootKey Value) {
    HKEY h = (Value == hkNone || Value == hkCustom) ? 0 : HKEY_CLASSES_ROOT + static_cast<HKEY>(Value - hkClassesRoot);
    if (h == FRegistry->GetRootKey()) return;
    FRegistry->CloseKey();
    if (h != 0) FRegistry->SetRootKey(h);
}

bool TRegistryPropSet::GetFieldData(TPropField* Field, Variant& Value) {
    LockGuard g(this);
    return ReadCache(*FValues, GetCurrentPath(), Field->GetFieldName(), Field, Value, true);
}

void TRegistryPropSet::SetFieldData(TPropField* Field, const Variant& Value) {
    LockGuard g(this);
    WriteCache(*FValues, GetCurrentPath(), Field->GetFieldName(), Field, Value);
    DataEvent(peFieldChange, reinterpret_cast<intptr_t>(Field));
}

void TRegistryPropSet::ForEachKey(void (TRegistryPropSet::*Walk)()) {
    if (FSubKeys.GetCount() == 0) {
        OpenKeyIndex(-1);
        (this->*Walk)();
        return;
    }
    const int remembered = FKeyIndex;
    try {
        for (int i = 0; i < FSubKeys.GetCount(); ++i) {
            OpenKeyIndex(i);
            (this->*Walk)();
        }
    } catch (...) {
        FKeyIndex = remembered;
        try {
            OpenKeyIndex(remembered);
        } catch (...) {  // the first failure is the one to report
        }
        throw;
    }
    OpenKeyIndex(remembered);
}

void TRegistryPropSet::InternalLoadPropValues() {
    LockGuard g(this);
    ForEachKey(&TRegistryPropSet::LoadFields);
    DataEvent(peRecordChange, 0);
}

void TRegistryPropSet::InternalSavePropValues() {
    LockGuard g(this);
    TPropSet::InternalSavePropValues();
    ForEachKey(&TRegistryPropSet::SaveFields);
    FRegistry->Flush();
}

void TRegistryPropSet::LoadFields() {
    const String section = GetCurrentPath();
    TRegistry& r = *FRegistry;
    TMemIniFile& c = *FValues;
    for (TPropField* f : FFields) {
        const String& name = f->GetFieldName();
        const TPropFieldType t = f->GetFieldType();
        if (t == ptCurrency || t == ptUnsupported || t == ptUserDefined) continue;
        if (r.ValueExists(name)) {
            switch (t) {
                case ptInteger: c.WriteInteger(section, name, r.ReadInteger(name)); break;
                case ptReal: c.WriteFloat(section, name, r.ReadFloat(name)); break;
                case ptDate: c.WriteDate(section, name, r.ReadDate(name)); break;
                case ptTime: c.WriteTime(section, name, r.ReadTime(name)); break;
                case ptDateTime: c.WriteDateTime(section, name, r.ReadDateTime(name)); break;
                default: c.WriteString(section, name, r.ReadString(name)); break;
            }
            continue;
        }
        const Variant def = f->GetDefaultValue();
        switch (t) {
            case ptEnum: {
                int32_t d = def.AsInteger();
                int row = f->GetValueNames().IndexOfValue(d);
                c.WriteString(section, name, row >= 0 ? f->GetValueNames().Names(row) : VarToStr(def));
                break;
            }
            case ptInteger: c.WriteInteger(section, name, def.AsInteger()); break;
            case ptReal: c.WriteFloat(section, name, def.AsDouble()); break;
            case ptDate: c.WriteDate(section, name, def.AsDateTime()); break;
            case ptTime: c.WriteTime(section, name, def.AsDateTime()); break;
            case ptDateTime: c.WriteDateTime(section, name, def.AsDateTime()); break;
            default: c.WriteString(section, name, VarToStr(def)); break;
        }
    }
}

void TRegistryPropSet::SaveFields() {
    const String section = GetCurrentPath();
    TRegistry& r = *FRegistry;
    TMemIniFile& c = *FValues;
    for (TPropField* f : FFields) {
        const String& name = f->GetFieldName();
        switch (f->GetFieldType()) {
            case ptString:
            case ptColor:
            case ptBoolean:
            case ptEnum: r.WriteString(name, c.ReadString(section, name, VarToStr(f->GetDefaultValue()))); break;
            case ptInteger: r.WriteInteger(name, c.ReadInteger(section, name, f->GetDefaultValue().AsInteger())); break;
            case ptReal: r.WriteFloat(name, c.ReadFloat(section, name, 0)); break;
            case ptDate: r.WriteDate(name, c.ReadDate(section, name, 0)); break;
            case ptTime: r.WriteTime(name, c.ReadTime(section, name, 0)); break;
            case ptDateTime: r.WriteDateTime(name, c.ReadDateTime(section, name, 0)); break;
            default: break;
        }
    }
}

// --- TIniPropSet -------------------------------------------------------------

TIniPropSet::TIniPropSet(TComponent* AOwner) : TPropSet(AOwner), FValues(std::make_unique<TMemIniFile>()) {
    SetState(psActive);
}

TIniPropSet::~TIniPropSet() {
    Destroying();
    DestroyFields();
}

String TIniPropSet::GetSectionName(const String& FieldName) const {
    size_t p = FieldName.rfind(u'\\');
    String dir = p == String::npos ? String() : FieldName.substr(0, p + 1);
    if (!dir.empty() && dir[0] != u'\\') dir = u"\\" + dir;
    return FRootName + dir;
}

String TIniPropSet::GetValueName(const String& FieldName) {
    size_t p = FieldName.rfind(u'\\');
    return p == String::npos ? FieldName : FieldName.substr(p + 1);
}

const TIniPropSet::Names& TIniPropSet::NamesOf(const TPropField* Field) {
    Names& n = FNames[Field];
    if (n.FieldName != Field->GetFieldName() || (n.Section.empty() && n.Ident.empty())) {
        n.FieldName = Field->GetFieldName();
        n.Section = GetSectionName(n.FieldName);
        n.Ident = GetValueName(n.FieldName);
    }
    return n;
}

bool TIniPropSet::GetFieldData(TPropField* Field, Variant& Value) {
    const Names& n = NamesOf(Field);
    return ReadCache(*FValues, n.Section, n.Ident, Field, Value, false);
}

void TIniPropSet::SetFieldData(TPropField* Field, const Variant& Value) {
    const Names& n = NamesOf(Field);
    WriteCache(*FValues, n.Section, n.Ident, Field, Value);
    DataEvent(peFieldChange, reinterpret_cast<intptr_t>(Field));
}

void TIniPropSet::InternalLoadPropValues() { FValues->Rename(FValues->GetFileName(), true); }

void TIniPropSet::InternalSavePropValues() { FValues->UpdateFile(); }

}  // namespace ide
