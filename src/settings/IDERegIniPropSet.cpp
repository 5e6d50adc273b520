#include "settings/IDERegIniPropSet.h"

#include "settings/IDEConst.h"

namespace ide {

using namespace IDEConst;

namespace {

// The cache read of a field, shared by both stores. With a place, the value
// is found through it (TMemIniFile::FindValue); a field's default is made
// only when the cache has no value.
bool ReadCache(TMemIniFile& ini, const String& section, const String& ident, TPropField* f, Variant& value,
               bool booleanAsBoolean, TIniPlace* place) {
    const TPropFieldType type = f->GetFieldType();
    switch (type) {
        case ptString: case ptColor: case ptInteger: case ptReal: case ptDate: case ptTime: case ptDateTime:
        case ptBoolean: case ptEnum: break;
        default: return false;
    }
    const String* text = place ? ini.FindValue(section, ident, *place) : ini.FindValue(section, ident);
    switch (type) {
        case ptString:
        case ptColor: value = text ? Variant(*text) : Variant(VarToStr(f->GetDefaultValue())); return true;
        case ptInteger: {
            int32_t i;
            value = Variant(text && TryStrToInt(*text, i) ? i : f->GetDefaultValue().AsInteger());
            return true;
        }
        case ptReal: {
            double d;
            value = Variant(text && TryStrToFloat(*text, d) ? d : f->GetDefaultValue().AsDouble());
            return true;
        }
        case ptDate:
        case ptTime:
        case ptDateTime: {
            TDateTime d;
            bool ok = false;
            if (text) {
                const TFormatSettings& fs = FormatSettings();
                if (type == ptDate) ok = TryStrToDate(*text, d, fs);
                else if (type == ptTime) ok = TryStrToTime(*text, d, fs);
                else ok = TryStrToDateTime(*text, d, fs);
            }
            value = Variant::FromDate(ok ? d : f->GetDefaultValue().AsDouble());
            return true;
        }
        default: {  // ptBoolean, ptEnum: a value name, else a number, else the default
            const std::u16string_view t = text ? std::u16string_view(*text) : std::u16string_view();
            TPropValueNames& names = f->GetValueNames();
            int row = names.IndexOfName(String(t));
            int32_t i;
            if (row >= 0) value = Variant(names.ValueFromIndex(row));
            else value = Variant(text && TryStrToInt(t, i) ? i : f->GetDefaultValue().AsInteger());
            if (booleanAsBoolean && type == ptBoolean) value = Variant(value.AsBoolean());
            return true;
        }
    }
}

void WriteText(TMemIniFile& ini, const String& section, const String& ident, const String& text, TIniPlace* place) {
    if (place) ini.WriteString(section, ident, text, *place);
    else ini.WriteString(section, ident, text);
}

void WriteCache(TMemIniFile& ini, const String& section, const String& ident, TPropField* f, const Variant& value,
                TIniPlace* place) {
    switch (f->GetFieldType()) {
        case ptString:
        case ptColor: WriteText(ini, section, ident, VarToStr(value), place); break;
        case ptInteger: WriteText(ini, section, ident, IntToStr(value.AsInteger()), place); break;
        case ptBoolean:
        case ptEnum: {
            int32_t i = value.AsInteger();
            TPropValueNames& names = f->GetValueNames();
            int row = names.IndexOfValue(i);
            WriteText(ini, section, ident, row >= 0 ? names.Names(row) : IntToStr(i), place);
            break;
        }
        case ptReal: WriteText(ini, section, ident, FloatToStr(value.AsDouble()), place); break;
        case ptDate: WriteText(ini, section, ident, DateToStr(value.AsDateTime()), place); break;
        case ptTime: WriteText(ini, section, ident, TimeToStr(value.AsDateTime()), place); break;
        case ptDateTime: WriteText(ini, section, ident, DateTimeToStr(value.AsDateTime()), place); break;
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
    return ReadCache(*FValues, GetCurrentPath(), Field->GetFieldName(), Field, Value, true, nullptr);
}

void TRegistryPropSet::SetFieldData(TPropField* Field, const Variant& Value) {
    LockGuard g(this);
    WriteCache(*FValues, GetCurrentPath(), Field->GetFieldName(), Field, Value, nullptr);
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

TIniPropSet::Names& TIniPropSet::NamesOf(TPropField* Field) {
    Names* n = nullptr;
    if (Field->GetPropSet() == this) {
        auto* d = Field->GetSetData();
        n = d && d->Owner == this ? static_cast<Names*>(d) : nullptr;
        if (!n) {
            auto made = std::make_unique<Names>(this);
            n = made.get();
            Field->SetSetData(std::move(made));
        }
    } else n = &FForeign;
    // A field's name, once given, never changes (SetFieldName refuses), but
    // a field may join the set before it has one; and the root may change.
    // (The one record for fields of other sets compares the whole name.)
    const String& name = Field->GetFieldName();
    if (n->Generation != FGeneration || n->FieldName.size() != name.size() || (n == &FForeign && n->FieldName != name)) {
        n->FieldName = name;
        n->Section = GetSectionName(n->FieldName);
        n->Ident = GetValueName(n->FieldName);
        n->Place = TIniPlace();
        n->Generation = FGeneration;
    }
    return *n;
}

bool TIniPropSet::GetFieldData(TPropField* Field, Variant& Value) {
    Names& n = NamesOf(Field);
    return ReadCache(*FValues, n.Section, n.Ident, Field, Value, false, &n.Place);
}

void TIniPropSet::SetFieldData(TPropField* Field, const Variant& Value) {
    Names& n = NamesOf(Field);
    WriteCache(*FValues, n.Section, n.Ident, Field, Value, &n.Place);
    DataEvent(peFieldChange, reinterpret_cast<intptr_t>(Field));
}

void TIniPropSet::InternalLoadPropValues() { FValues->Rename(FValues->GetFileName(), true); }

void TIniPropSet::InternalSavePropValues() { FValues->UpdateFile(); }

}  // namespace ide
