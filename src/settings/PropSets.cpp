// Sets, definitions, sources, links and the designer.
#include "settings/PropSets.h"

#include <algorithm>

#include "foundation/TextCompare.h"
#include "settings/IDEConst.h"

namespace ide {

using namespace IDEConst;

TRegisterPropFieldsProc RegisterPropFieldsProc;

void RegisterPropFields(const std::vector<TPropFieldClass>& FieldClasses) {
    if (!RegisterPropFieldsProc) PropError(SInvalidPropRegProc);
    RegisterPropFieldsProc(FieldClasses);
}

// --- TCustomPropSet ----------------------------------------------------------

TCustomPropSet::TCustomPropSet(TComponent* AOwner) : TComponent(AOwner) {}

TCustomPropSet::~TCustomPropSet() {
    // Links aren't told; their pointers are cleared so a later
    // SetPropSet/destructor of a link doesn't reach a dead set.
    for (TPropLink* l : FLinks) l->FPropSet = nullptr;
    FLinks.clear();
    delete FDesigner;
}

void TCustomPropSet::BeginUpdate() {
    if (FDisableCount == 0) FEnableEvent = peRecordChange;
    ++FDisableCount;
}

void TCustomPropSet::EndUpdate() {
    if (FDisableCount == 0) return;
    if (--FDisableCount == 0) DataEvent(FEnableEvent, 0);
}

void TCustomPropSet::DisableControls() {
    if (FDisableCount == 0) FEnableEvent = peFieldListChange;
    ++FDisableCount;
}

void TCustomPropSet::EnableControls() { TCustomPropSet::EndUpdate(); }

TPropField* TCustomPropSet::FindField(const String& FieldName) {
    for (int i = 0, n = GetFieldCount(); i < n; ++i) {
        TPropField* f = GetField(i);
        if (f && AnsiSameText(f->GetFieldName(), FieldName)) return f;
    }
    return nullptr;
}

TPropField* TCustomPropSet::FieldByName(const String& FieldName) {
    TPropField* f = FindField(FieldName);
    if (!f) PropErrorFmt(SFieldNotFound, Utf8(FieldName).c_str());
    return f;
}

void TCustomPropSet::CheckFieldName(const String& Name) {
    if (Name.empty()) PropError(SFieldNameMissing);
    if (FindField(Name)) PropErrorFmt(SDuplicateFieldName, Utf8(Name).c_str());
}

void TCustomPropSet::NotifyPropLinks(TPropEvent Event, intptr_t Info) {
    // Over the count taken at the start; a link that removes itself shortens
    // the list, and the bound check stops the walk instead of reading past it.
    const size_t count = FLinks.size();
    for (size_t i = 0; i < count; ++i) {
        if (i >= FLinks.size()) throw EListError("List index out of bounds (" + std::to_string(i) + ")");
        FLinks[i]->DataEvent(Event, Info);
    }
}

void TCustomPropSet::AddLink(TPropLink* Link) {
    FLinks.push_back(Link);
    Link->FPropSet = this;
}

void TCustomPropSet::RemoveLink(TPropLink* Link) {
    Link->FPropSet = nullptr;
    FLinks.erase(std::remove(FLinks.begin(), FLinks.end(), Link), FLinks.end());
}

String TCustomPropSet::GetDefaultControlClass(const TPropField* Field) {
    if (dynamic_cast<const TBooleanPropField*>(Field)) return u"TPropCheckBox";
    if (dynamic_cast<const TEnumPropField*>(Field)) return u"TPropComboBox";
    return u"TPropEdit";
}

// --- Definitions -------------------------------------------------------------

TPropFieldDef::TPropFieldDef(TPropFieldDefs* Owner, const String& Name, TPropFieldType DataType, int Size,
                             int FieldNo)
    : FOwner(Owner), FName(Name), FDataType(DataType), FFieldNo(FieldNo), FSize(Size) {
    if (FOwner) {
        FOwner->FItems.push_back(this);
        FOwner->FUpdated = false;
    }
}

TPropFieldDef::~TPropFieldDef() {
    if (FOwner) {
        auto& v = FOwner->FItems;
        v.erase(std::remove(v.begin(), v.end(), this), v.end());
        FOwner->FUpdated = false;
    }
}

TPropField* TPropFieldDef::CreateField(TComponent* Owner) {
    TPropSet* set = FOwner ? FOwner->GetPropSet() : nullptr;
    TPropFieldClass cls = set ? set->GetFieldClass(FDataType) : nullptr;
    if (!cls) PropErrorFmt(SUnknownFieldType, Utf8(FName).c_str());
    TPropField* f = cls(Owner);
    try {
        f->SetFieldName(FName);
        f->SetSize(FSize);
        f->SetFieldNo(FFieldNo);
        f->GetValueNames().Assign(FValueNames);
        if (set) f->SetPropSet(set);
    } catch (...) {
        delete f;
        throw;
    }
    return f;
}

TPropFieldDefs::~TPropFieldDefs() { Clear(); }

TPropFieldDef* TPropFieldDefs::Add(const String& Name, TPropFieldType DataType, int Size, int FieldNo) {
    if (Name.empty()) PropError(SFieldNameMissing);
    if (IndexOf(Name) >= 0) PropErrorFmt(SDuplicateFieldName, Utf8(Name).c_str());
    return new TPropFieldDef(this, Name, DataType, Size, FieldNo);
}

void TPropFieldDefs::Clear() {
    while (!FItems.empty()) delete FItems.back();
    FUpdated = false;
}

int TPropFieldDefs::IndexOf(const String& Name) const {
    for (size_t i = 0; i < FItems.size(); ++i)
        if (AnsiSameText(FItems[i]->FName, Name)) return static_cast<int>(i);
    return -1;
}

TPropFieldDef* TPropFieldDefs::Find(const String& Name) {
    int i = IndexOf(Name);
    if (i < 0)
        PropErrorFmt(SPropSetFieldNotFound, FPropSet ? Utf8(FPropSet->GetName()).c_str() : "", Utf8(Name).c_str());
    return FItems[static_cast<size_t>(i)];
}

void TPropFieldDefs::Update() {
    if (FPropSet) FPropSet->UpdateFieldDefs();
}

TPropFieldDef* TPropFieldDefs::GetItem(int Index) const {
    if (Index < 0 || Index >= GetCount()) throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
    return FItems[static_cast<size_t>(Index)];
}

// --- TPropSet ----------------------------------------------------------------

TPropSet::TPropSet(TComponent* AOwner) : TCustomPropSet(AOwner), FFieldDefs(std::make_unique<TPropFieldDefs>(this)) {}

TPropSet::~TPropSet() {
    Destroying();
    DestroyFields();
}

void TPropSet::AddField(TPropField* Field) {
    FFields.push_back(Field);
    // Appended last: it is the first of its name only if none came before.
    if (FFieldIndexValid && !Field->GetFieldName().empty()) FFieldIndex.emplace(Field->GetFieldName(), Field);
    Field->AttachToSet(this);
    DataEvent(peFieldListChange, 0);
}

void TPropSet::RemoveField(TPropField* Field) {
    Field->AttachToSet(nullptr);
    // Fields mostly go last first (DestroyFields): look from the back.
    auto it = std::find(FFields.rbegin(), FFields.rend(), Field);
    if (it != FFields.rend()) FFields.erase(std::next(it).base());
    // A later field of the same name may now be the first: built again when asked.
    FFieldIndexValid = false;
    if (!InState(csDestroying)) DataEvent(peFieldListChange, 0);
}

void TPropSet::FieldNamed(TPropField* Field) {
    if (FFieldIndexValid) FFieldIndex.emplace(Field->GetFieldName(), Field);
}

TPropField* TPropSet::FindField(const String& FieldName) {
    if (!FFieldIndexValid) {
        FFieldIndex.clear();
        FFieldIndex.reserve(FFields.size());
        for (TPropField* f : FFields)
            if (!f->GetFieldName().empty()) FFieldIndex.emplace(f->GetFieldName(), f);
        FFieldIndexValid = true;
    }
    auto it = FFieldIndex.find(FieldName);
    return it == FFieldIndex.end() ? nullptr : it->second;
}

void TPropSet::DataEvent(TPropEvent Event, intptr_t Info) {
    if (FDisableCount != 0) return;
    NotifyPropLinks(Event, Info);
    if (Event == peFieldChange) {
        if (!Info) PropError("peFieldChange needs the field");
        reinterpret_cast<TPropField*>(Info)->Changed();
    }
    if (FDesigner) FDesigner->DataEvent(Event, Info);
}

TPropField* TPropSet::GetField(int Index) {
    if (Index < 0 || Index >= GetFieldCount())
        throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
    return FFields[static_cast<size_t>(Index)];
}

TPropFieldClass TPropSet::GetFieldClass(TPropFieldType FieldType) {
    switch (FieldType) {
        case ptString: return &FieldClassOf<TStringPropField>;
        case ptInteger: return &FieldClassOf<TIntegerPropField>;
        case ptBoolean: return &FieldClassOf<TBooleanPropField>;
        case ptReal: return &FieldClassOf<TFloatPropField>;
        case ptDate: return &FieldClassOf<TDatePropField>;
        case ptEnum: return &FieldClassOf<TEnumPropField>;
        default: return &FieldClassOf<TPropField>;
    }
}

Variant TPropSet::GetFieldValue(const String& FieldName) {
    if (FieldName.find(u';') == String::npos) return Variant();
    std::vector<TPropField*> fields;
    GetFieldList(fields, FieldName);
    return Variant::FromArray(std::vector<Variant>(fields.size()));
}

void TPropSet::SetFieldValue(const String& FieldName, const Variant& /*Value*/) {
    if (FieldName.find(u';') == String::npos) return;
    std::vector<TPropField*> fields;
    GetFieldList(fields, FieldName);
}

TPropValueNames& TPropSet::GetFieldValuesList(const String& FieldName) {
    FFieldDefs->Update();
    if (FFields.empty() && FFieldDefs->GetCount() > 0) return FFieldDefs->Find(FieldName)->GetValueNames();
    return FieldByName(FieldName)->GetValueNames();
}

void TPropSet::SetState(TPropSetState Value) {
    if (FState == Value) return;
    FState = Value;
    StateChanged();
    NotifyPropLinks(peUpdateState, 0);
}

void TPropSet::GetFieldNames(TStrings& List) {
    List.BeginUpdate();
    try {
        List.Clear();
        if (FFields.empty()) {
            UpdateFieldDefs();
            for (int i = 0; i < FFieldDefs->GetCount(); ++i) List.Add(FFieldDefs->GetItem(i)->GetName());
        } else {
            for (TPropField* f : FFields) List.Add(f->GetFieldName());
        }
    } catch (...) {
        List.EndUpdate();
        throw;
    }
    List.EndUpdate();
}

void TPropSet::GetChildren(const TGetChildProc& Proc, TComponent* Root) {
    for (TPropField* f : FFields)
        if (f->GetOwner() == Root) Proc(f);
}

void TPropSet::LoadPropValues() {
    DoBeforeLoad();
    InternalLoadPropValues();
    DoAfterLoad();
}

void TPropSet::SavePropValues() {
    DoBeforeSave();
    InternalSavePropValues();
    DoAfterSave();
}

void TPropSet::CreateDefaultFields() {
    UpdateFieldDefs();
    for (int i = 0; i < FFieldDefs->GetCount(); ++i) FFieldDefs->GetItem(i)->CreateField(this);
}

void TPropSet::DestroyFields() {
    while (!FFields.empty()) {
        TPropField* f = FFields.back();
        RemoveField(f);
        delete f;
    }
}

void TPropSet::UpdateFieldDefs() {
    if (FFieldDefs->GetUpdated()) return;
    InitFieldDefs();
    FFieldDefs->SetUpdated(true);
}

void TPropSet::GetFieldList(std::vector<TPropField*>& List, const String& FieldNames) {
    size_t pos = 0;
    while (pos <= FieldNames.size()) {
        size_t semi = FieldNames.find(u';', pos);
        size_t end = semi == String::npos ? FieldNames.size() : semi;
        List.push_back(FieldByName(Trim(std::u16string_view(FieldNames).substr(pos, end - pos))));
        if (semi == String::npos) break;
        pos = semi + 1;
    }
}

void TPropSet::DoAfterLoad() {
    if (AfterLoad) AfterLoad(this);
}
void TPropSet::DoAfterSave() {
    if (AfterSave) AfterSave(this);
}
void TPropSet::DoBeforeLoad() {
    if (BeforeLoad) BeforeLoad(this);
}
void TPropSet::DoBeforeSave() {
    if (BeforeSave) BeforeSave(this);
}

void TPropSet::InternalLoadPropValues() { SetState(psActive); }

void TPropSet::InternalSavePropValues() { DataEvent(peUpdateRecord, 0); }

// --- Links -------------------------------------------------------------------

TPropLink::~TPropLink() {
    if (FPropSet) FPropSet->RemoveLink(this);
}

void TPropLink::DataEvent(TPropEvent Event, intptr_t Info) {
    switch (Event) {
        case peUpdateState: UpdateState(); break;
        case peUpdateAttributes: UpdateAttributes(reinterpret_cast<TComponent*>(Info)); break;
        case peFieldChange:
        case peRecordChange:
            if (FActive && !FUpdating) RecordChanged(reinterpret_cast<TPropField*>(Info));
            break;
        case peFocusControl:
            if (FActive) FocusControl(reinterpret_cast<TPropField**>(Info));
            break;
        case peUpdateRecord:
            if (FActive) UpdateRecord();
            break;
        case peFieldListChange: break;
    }
}

void TPropLink::UpdateRecord() {
    FUpdating = true;
    try {
        UpdateData();
    } catch (...) {
        FUpdating = false;
        throw;
    }
    FUpdating = false;
}

void TPropLink::SetPropSet(TCustomPropSet* Value) {
    if (Value == FPropSet) return;
    if (FPropSet) FPropSet->RemoveLink(this);
    if (Value) Value->AddLink(this);
    UpdateState();
}

void TPropLink::UpdateState() { SetActive(FPropSet && FPropSet->GetState() != psInactive); }

void TPropLink::SetActive(bool Value) {
    FActive = Value;
    ActiveChanged();
}

void TFieldPropLink::RecordChanged(TPropField* Field) {
    FUpdating = true;
    try {
        if (!Field || Field == FField) {
            if (OnDataChange) OnDataChange(this);
            FModified = false;
        }
    } catch (...) {
        FUpdating = false;
        throw;
    }
    FUpdating = false;
}

void TFieldPropLink::UpdateData() {
    if (!FModified) return;
    if (FField && OnUpdateData) OnUpdateData(this);
    FModified = false;
}

void TFieldPropLink::SetField(TPropField* Value) {
    if (FField == Value) return;
    FField = Value;
    RecordChanged(nullptr);
}

void TFieldPropLink::SetFieldName(const String& Value) {
    if (FFieldName == Value) return;
    FFieldName = Value;
    UpdateField();
}

void TFieldPropLink::UpdateField() {
    SetField(nullptr);
    if (!FActive || !FPropSet || FFieldName.empty()) return;
    TPropField* f;
    if (FControl) {
        f = FPropSet->FindField(FFieldName);
        if (!f) PropErrorFmt(SPropSetFieldNotFound, Utf8(FControl->GetName()).c_str(), Utf8(FFieldName).c_str());
    } else {
        f = FPropSet->FieldByName(FFieldName);
    }
    SetField(f);
}

void TFieldPropLink::ActiveChanged() {
    UpdateField();
    if (OnActiveChange) OnActiveChange(this);
}

void TFieldPropLink::UpdateAttributes(TComponent* Component) {
    if (Component == FControl && OnAttributesChange) OnAttributesChange(this);
}

void TFieldPropLink::FocusControl(TPropField** Field) {
    if (!Field || !*Field || *Field != FField || !OnTakeFocus) return;
    if (OnTakeFocus()) *Field = nullptr;
}

void TPropSetLink::DataEvent(TPropEvent Event, intptr_t Info) {
    FPropSetSource->DataEvent(Event, Info);
    TPropLink::DataEvent(Event, Info);
}

void TPropSetLink::ActiveChanged() { FPropSetSource->DataEvent(peUpdateState, 0); }

// --- TPropSetSource ----------------------------------------------------------

class TPropSetSource::Guard {
public:
    explicit Guard(TPropSetSource* s) : S(s) {
        if (++S->FDepth > 64) {
            --S->FDepth;
            PropError("Property set sources are linked in a cycle");
        }
    }
    ~Guard() { --S->FDepth; }

private:
    TPropSetSource* S;
};

TPropSetSource::TPropSetSource(TComponent* AOwner)
    : TCustomPropSet(AOwner), FPropSetLink(std::make_unique<TPropSetLink>(this)) {}

TPropSetSource::~TPropSetSource() {
    Destroying();
    FPropSetLink.reset();
}

TCustomPropSet* TPropSetSource::GetPropSet() const { return FPropSetLink ? FPropSetLink->GetPropSet() : nullptr; }

void TPropSetSource::SetPropSet(TCustomPropSet* Value) {
    if (Value == this) PropError(SCircularPropSetSource);
    FPropSetLink->SetPropSet(Value);
    if (Value) Value->FreeNotification(this);
}

void TPropSetSource::Notification(TComponent* AComponent, TOperation Operation) {
    TCustomPropSet::Notification(AComponent, Operation);
    if (Operation == opRemove && FPropSetLink && AComponent == FPropSetLink->GetPropSet())
        FPropSetLink->SetPropSet(nullptr);
}

void TPropSetSource::DataEvent(TPropEvent Event, intptr_t Info) {
    if (FDisableCount != 0 || !GetPropSet()) return;
    Guard g(this);
    NotifyPropLinks(Event, Info);
    if (Event == peFieldChange) {
        if (!Info) PropError("peFieldChange needs the field");
        reinterpret_cast<TPropField*>(Info)->Changed();
    }
    if (FDesigner) FDesigner->DataEvent(Event, Info);
}

#define IDE_FORWARD(expr, otherwise) \
    do {                             \
        TCustomPropSet* s = GetPropSet(); \
        if (!s) otherwise;           \
        Guard g(this);               \
        expr;                        \
    } while (0)

void TPropSetSource::AddField(TPropField* Field) { IDE_FORWARD(s->AddField(Field), return); }
TPropField* TPropSetSource::GetField(int Index) { IDE_FORWARD(return s->GetField(Index), return nullptr); }
TPropFieldClass TPropSetSource::GetFieldClass(TPropFieldType T) { IDE_FORWARD(return s->GetFieldClass(T), return nullptr); }
int TPropSetSource::GetFieldCount() { IDE_FORWARD(return s->GetFieldCount(), return 0); }
bool TPropSetSource::GetFieldData(TPropField* F, Variant& V) { IDE_FORWARD(return s->GetFieldData(F, V), return false); }
TPropFieldDefs* TPropSetSource::GetFieldDefs() { IDE_FORWARD(return s->GetFieldDefs(), return nullptr); }
Variant TPropSetSource::GetFieldValue(const String& N) { IDE_FORWARD(return s->GetFieldValue(N), return Variant()); }
TPropValueNames& TPropSetSource::GetFieldValuesList(const String& N) {
    IDE_FORWARD(return s->GetFieldValuesList(N), return FEmptyValuesList);
}
TPropSetState TPropSetSource::GetState() { IDE_FORWARD(return s->GetState(), return psInactive); }
void TPropSetSource::RemoveField(TPropField* Field) { IDE_FORWARD(s->RemoveField(Field), return); }
void TPropSetSource::SetFieldData(TPropField* F, const Variant& V) { IDE_FORWARD(s->SetFieldData(F, V), return); }
void TPropSetSource::SetFieldValue(const String& N, const Variant& V) { IDE_FORWARD(s->SetFieldValue(N, V), return); }
void TPropSetSource::SetState(TPropSetState V) { IDE_FORWARD(s->SetState(V), return); }
void TPropSetSource::BeginUpdate() { IDE_FORWARD(s->BeginUpdate(), return); }
void TPropSetSource::EndUpdate() { IDE_FORWARD(s->EndUpdate(), return); }
void TPropSetSource::GetFieldNames(TStrings& L) { IDE_FORWARD(s->GetFieldNames(L), return); }

#undef IDE_FORWARD

// --- TPropSetDesigner --------------------------------------------------------

TPropSetDesigner::TPropSetDesigner(TCustomPropSet* PropSet) : FPropSet(PropSet) { FPropSet->FDesigner = this; }

TPropSetDesigner::~TPropSetDesigner() {
    if (FPropSet && FPropSet->FDesigner == this) FPropSet->FDesigner = nullptr;
}

}  // namespace ide
