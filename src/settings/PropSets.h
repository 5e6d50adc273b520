// Property sets and links. A set owns a list of fields, stores or forwards
// their values and keeps the controls that show them in step: one current
// set of values, a state (active or inactive), a load and a save, and a
// one-to-many notification from the set to its links by event and one
// integer-sized Info.
//
//   TCustomPropSet   the abstract set: links, disabling, name lookups
//   TPropSet         real fields and definitions, load/save; no store
//   TPropSetSource   forwards everything to another set (chains)
//   TPropLink        one listener of a set; TFieldPropLink serves a control
//   TPropSetDesigner the designer's view of a set
//
// Oddities kept on purpose:
//   - The opening BeginUpdate/DisableControls decides the closing event;
//     events while disabled are dropped, not queued, and fire no OnChange.
//   - SetState reaches the links directly, past the disable count.
//   - An inactive link's UpdateData clears Modified: a pending edit is lost;
//     an exception from OnUpdateData leaves Modified set.
//   - GetFieldValue/SetFieldValue are unfinished by design.
//   - A source refuses a direct link to itself only; a longer cycle is caught
//     when an event or a read goes round it more than 64 times, with
//     "Property set sources are linked in a cycle".
//   - A set that is destroyed doesn't tell its links (controls drop it in
//     their Notification); the links' pointers to it are cleared silently.
//
// Thread: UI thread only.
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "foundation/TextCompare.h"
#include "settings/PropFields.h"

namespace ide {

enum TPropSetState { psActive, psInactive };
enum TPropEvent {
    peFieldChange, peUpdateState, peUpdateAttributes, peRecordChange, peFocusControl, peFieldListChange,
    peUpdateRecord,
};

class TPropLink;
class TPropSetDesigner;
class TPropFieldDefs;

// Thread: UI thread only.
class TCustomPropSet : public TComponent {
public:
    explicit TCustomPropSet(TComponent* AOwner);
    ~TCustomPropSet() override;

    virtual void AddField(TPropField* Field) = 0;
    virtual void DataEvent(TPropEvent Event, intptr_t Info) = 0;
    virtual TPropField* GetField(int Index) = 0;
    virtual TPropFieldClass GetFieldClass(TPropFieldType FieldType) = 0;
    virtual int GetFieldCount() = 0;
    virtual bool GetFieldData(TPropField* Field, Variant& Value) = 0;
    virtual TPropFieldDefs* GetFieldDefs() = 0;
    virtual Variant GetFieldValue(const String& FieldName) = 0;
    virtual TPropValueNames& GetFieldValuesList(const String& FieldName) = 0;
    virtual TPropSetState GetState() = 0;
    virtual void RemoveField(TPropField* Field) = 0;
    virtual void SetFieldData(TPropField* Field, const Variant& Value) = 0;
    virtual void SetFieldValue(const String& FieldName, const Variant& Value) = 0;
    virtual void SetState(TPropSetState Value) = 0;
    virtual void BeginUpdate();
    virtual void EndUpdate();
    virtual void GetFieldNames(TStrings& List) = 0;

    // "Field '%s' not found" when missing.
    TPropField* FieldByName(const String& FieldName);
    // First field of that name (case-insensitive), or nil. This walks
    // GetField in order; a set that holds its fields indexes them.
    virtual TPropField* FindField(const String& FieldName);
    void CheckFieldName(const String& Name);
    void DisableControls();
    void EnableControls();
    void NotifyPropLinks(TPropEvent Event, intptr_t Info);
    void AddLink(TPropLink* Link);
    void RemoveLink(TPropLink* Link);
    int GetLinkCount() const { return static_cast<int>(FLinks.size()); }
    // Told by a field of this set when it gets its name.
    virtual void FieldNamed(TPropField* /*Field*/) {}
    // "TPropCheckBox" for boolean fields, "TPropComboBox" for enum fields,
    // else "TPropEdit" (by the class of Field).
    static String GetDefaultControlClass(const TPropField* Field);
    TPropSetDesigner* GetDesigner() const { return FDesigner; }

protected:
    friend class TPropSetDesigner;
    TPropSetDesigner* FDesigner = nullptr;
    std::vector<TPropLink*> FLinks;
    TPropValueNames FEmptyValuesList;
    int FDisableCount = 0;
    TPropEvent FEnableEvent = peRecordChange;
};

// A field definition: the shape of a field before it exists.
// Thread: UI thread only.
class TPropFieldDef : public TObject {
public:
    TPropFieldDef(TPropFieldDefs* Owner, const String& Name, TPropFieldType DataType, int Size, int FieldNo);
    ~TPropFieldDef() override;
    virtual TPropField* CreateField(TComponent* Owner);
    const String& GetName() const { return FName; }
    TPropFieldType GetDataType() const { return FDataType; }
    TPropValueNames& GetValueNames() { return FValueNames; }
    int GetFieldNo() const { return FFieldNo; }
    int GetSize() const { return FSize; }

private:
    friend class TPropFieldDefs;
    TPropFieldDefs* FOwner;
    String FName;
    TPropFieldType FDataType;
    TPropValueNames FValueNames;
    int FFieldNo;
    int FSize;
};

// Thread: UI thread only.
class TPropFieldDefs : public TObject {
public:
    explicit TPropFieldDefs(TPropSet* PropSet) : FPropSet(PropSet) {}
    ~TPropFieldDefs() override;
    // "Field name missing" / "Duplicate field name '%s'".
    TPropFieldDef* Add(const String& Name, TPropFieldType DataType, int Size = 0, int FieldNo = 0);
    void Clear();
    // "%s: Field '%s' not found" with the set's name.
    TPropFieldDef* Find(const String& Name);
    int IndexOf(const String& Name) const;
    void Update();
    TPropFieldDef* GetItem(int Index) const;
    int GetCount() const { return static_cast<int>(FItems.size()); }
    bool GetUpdated() const { return FUpdated; }
    void SetUpdated(bool Value) { FUpdated = Value; }
    TPropSet* GetPropSet() const { return FPropSet; }

private:
    friend class TPropFieldDef;
    TPropSet* FPropSet;
    std::vector<TPropFieldDef*> FItems;
    bool FUpdated = false;
};

// Thread: UI thread only.
class TPropSet : public TCustomPropSet {
public:
    explicit TPropSet(TComponent* AOwner);
    ~TPropSet() override;

    void AddField(TPropField* Field) override;
    void DataEvent(TPropEvent Event, intptr_t Info) override;
    TPropField* GetField(int Index) override;
    TPropFieldClass GetFieldClass(TPropFieldType FieldType) override;
    int GetFieldCount() override { return static_cast<int>(FFields.size()); }
    TPropFieldDefs* GetFieldDefs() override { return FFieldDefs.get(); }
    Variant GetFieldValue(const String& FieldName) override;
    TPropValueNames& GetFieldValuesList(const String& FieldName) override;
    TPropSetState GetState() override { return FState; }
    void RemoveField(TPropField* Field) override;
    void SetFieldValue(const String& FieldName, const Variant& Value) override;
    void SetState(TPropSetState Value) override;
    void GetFieldNames(TStrings& List) override;
    void GetChildren(const TGetChildProc& Proc, TComponent* Root) override;

    void LoadPropValues();
    void SavePropValues();
    void CreateDefaultFields();
    void DestroyFields();
    void UpdateFieldDefs();
    // Cuts FieldNames at ";", trims each piece and adds FieldByName(piece).
    void GetFieldList(std::vector<TPropField*>& List, const String& FieldNames);

    TNotifyEvent BeforeSave, AfterSave, BeforeLoad, AfterLoad;

    void FieldNamed(TPropField* Field) override;
    TPropField* FindField(const String& FieldName) override;

protected:
    virtual void DoAfterLoad();
    virtual void DoAfterSave();
    virtual void DoBeforeLoad();
    virtual void DoBeforeSave();
    virtual void InitFieldDefs() = 0;
    virtual void InternalSavePropValues();
    virtual void InternalLoadPropValues();
    virtual void StateChanged() = 0;

    std::vector<TPropField*> FFields;
    // The first field of each name, by folded name; built on the first
    // look-up after a removal, kept up to date by additions and naming.
    std::unordered_map<String, TPropField*, TFoldedHash, TFoldedEqual> FFieldIndex;
    bool FFieldIndexValid = false;
    std::unique_ptr<TPropFieldDefs> FFieldDefs;
    TPropSetState FState = psInactive;
    bool FDestroyingFields = false;
};

class TPropSetSource;

// Thread: UI thread only.
class TPropLink : public TObject {
public:
    TPropLink() = default;
    ~TPropLink() override;
    TPropLink(const TPropLink&) = delete;
    TPropLink& operator=(const TPropLink&) = delete;

    virtual void DataEvent(TPropEvent Event, intptr_t Info);
    void UpdateRecord();
    TCustomPropSet* GetPropSet() const { return FPropSet; }
    void SetPropSet(TCustomPropSet* Value);
    void UpdateState();
    void SetActive(bool Value);
    bool GetActive() const { return FActive; }
    bool GetUpdating() const { return FUpdating; }

protected:
    friend class TCustomPropSet;
    virtual void FocusControl(TPropField** Field) { (void)Field; }
    virtual void UpdateData() {}
    virtual void RecordChanged(TPropField* Field) { (void)Field; }
    virtual void ActiveChanged() {}
    virtual void UpdateAttributes(TComponent* Component) { (void)Component; }

    TCustomPropSet* FPropSet = nullptr;
    bool FUpdating = false;
    bool FActive = false;
};

// The link a control owns: resolves its field by name, refreshes the control
// (OnDataChange) and writes back (OnUpdateData).
// Thread: UI thread only.
class TFieldPropLink : public TPropLink {
public:
    void Modified() { FModified = true; }
    bool GetModified() const { return FModified; }
    void Reset() { RecordChanged(nullptr); }
    TPropField* GetField() const { return FField; }
    void SetField(TPropField* Value);
    const String& GetFieldName() const { return FFieldName; }
    void SetFieldName(const String& Value);
    void UpdateField();
    TComponent* GetControl() const { return FControl; }
    void SetControl(TComponent* Value) { FControl = Value; }

    TNotifyEvent OnDataChange, OnUpdateData, OnActiveChange, OnAttributesChange;
    // Gives the control the focus when it can take it; answers whether it
    // did. Set by windowed controls.
    std::function<bool()> OnTakeFocus;

protected:
    void FocusControl(TPropField** Field) override;
    void UpdateData() override;
    void RecordChanged(TPropField* Field) override;
    void ActiveChanged() override;
    void UpdateAttributes(TComponent* Component) override;

    TPropField* FField = nullptr;
    String FFieldName;
    TComponent* FControl = nullptr;
    bool FModified = false;
};

// The link by which a source listens to the set it forwards to.
// Thread: UI thread only.
class TPropSetLink : public TPropLink {
public:
    explicit TPropSetLink(TPropSetSource* Source) : FPropSetSource(Source) {}
    void DataEvent(TPropEvent Event, intptr_t Info) override;

protected:
    void ActiveChanged() override;
    TPropSetSource* FPropSetSource;
};

// Thread: UI thread only.
class TPropSetSource : public TCustomPropSet {
public:
    explicit TPropSetSource(TComponent* AOwner);
    ~TPropSetSource() override;

    void AddField(TPropField* Field) override;
    void DataEvent(TPropEvent Event, intptr_t Info) override;
    TPropField* GetField(int Index) override;
    TPropFieldClass GetFieldClass(TPropFieldType FieldType) override;
    int GetFieldCount() override;
    bool GetFieldData(TPropField* Field, Variant& Value) override;
    TPropFieldDefs* GetFieldDefs() override;
    Variant GetFieldValue(const String& FieldName) override;
    TPropValueNames& GetFieldValuesList(const String& FieldName) override;
    TPropSetState GetState() override;
    void RemoveField(TPropField* Field) override;
    void SetFieldData(TPropField* Field, const Variant& Value) override;
    void SetFieldValue(const String& FieldName, const Variant& Value) override;
    void SetState(TPropSetState Value) override;
    void BeginUpdate() override;
    void EndUpdate() override;
    void GetFieldNames(TStrings& List) override;

    TCustomPropSet* GetPropSet() const;
    // "Cannot link a TPropSetSource to itself" for the source itself.
    void SetPropSet(TCustomPropSet* Value);

protected:
    void Notification(TComponent* AComponent, TOperation Operation) override;

private:
    // Counts nested forwarding, to stop a cycle of sources.
    class Guard;
    std::unique_ptr<TPropSetLink> FPropSetLink;
    int FDepth = 0;
};

// Thread: UI thread only.
class TPropSetDesigner : public TObject {
public:
    explicit TPropSetDesigner(TCustomPropSet* PropSet);
    ~TPropSetDesigner() override;
    virtual void DataEvent(TPropEvent Event, intptr_t Info) { (void)Event; (void)Info; }
    void BeginDesign() { FPropSet->DisableControls(); }
    void EndDesign() { FPropSet->EnableControls(); }
    TCustomPropSet* GetPropSet() const { return FPropSet; }

protected:
    TCustomPropSet* FPropSet;
};

// Set by a design-time package; nil in the library.
using TRegisterPropFieldsProc = std::function<void(const std::vector<TPropFieldClass>& FieldClasses)>;
extern TRegisterPropFieldsProc RegisterPropFieldsProc;
// "Invalid Prop Field registration proc" when the procedure isn't set.
void RegisterPropFields(const std::vector<TPropFieldClass>& FieldClasses);

}  // namespace ide
