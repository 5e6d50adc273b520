// Property fields: one typed, named value of a property set. A field stores
// nothing itself; it asks its set for the value (GetFieldData) and hands a
// new one back (SetFieldData). What it owns is everything around the value:
// conversion of text into its kind, validation, the display and edit text,
// the default and the value names.
//
// The write path, SetValue: copy, ConvertType, Validate, drop when there is
// no set, compare with the current value by the variant inequality, write,
// Change. A refused value raises before the store is touched. Stores send
// peFieldChange from SetFieldData and Change sends it again, so a changed
// value reaches every link, and OnChange, twice; that is the defined
// behaviour.
//
// Oddities kept on purpose:
//   - ConvertType acts only on text: an integer field handed a double keeps
//     the double.
//   - An integer range counts only when a bound is non-zero and isn't
//     normalised (bounds 5 and 0 refuse everything).
//   - A float field's range flag is recomputed only when a bound really
//     changes; SetPrecision clamps to 2..15.
//   - Boolean value names store true as -1 ("True=-1").
//   - IndexOfValue looks each row's value up by its name, so a repeated name
//     answers with its first row's value.
//   - A float field isn't right-justified by its constructor although the
//     numeric fields declare right-justified as the streamed default.
//   - ptTime, ptDateTime, ptCurrency and ptColor definitions create untyped
//     fields (TPropSet::GetFieldClass).
//
// Thread: UI thread only (the thread that uses the field's set).
#pragma once

#include <functional>
#include <memory>

#include "foundation/Conversions.h"
#include "foundation/Strings.h"
#include "foundation/Variant.h"

namespace ide {

class TCustomPropSet;
class TPropSet;
class TPropFieldDefs;

enum TPropFieldType {
    ptString, ptInteger, ptBoolean, ptReal, ptCurrency, ptDate, ptTime, ptDateTime,
    ptEnum, ptUnsupported, ptUserDefined, ptColor,
};

// The text alignment of a field's control (the visual basics' TAlignment is
// the layout set; this is the toolkit's left/right/centre choice).
enum TTextAlignment : uint8_t { taLeftJustify, taRightJustify, taCenter };

using TFieldName = String;
class TPropField;
using TPropFieldRef = TPropField*;
// A class reference: makes a field of the class with an owner.
using TPropFieldClass = TPropField* (*)(TComponent* AOwner);

using TPropFieldNotifyEvent = std::function<void(TPropField* Sender)>;
using TPropFieldValidateEvent = std::function<void(TPropField* Sender, const Variant& NewValue)>;
using TPropFieldGetTextEvent = std::function<void(TPropField* Sender, String& Text, bool DisplayText)>;
using TPropFieldSetTextEvent = std::function<void(TPropField* Sender, const String& Text)>;

// Raise the plain exception class with a message (printf-style arguments).
[[noreturn]] void PropError(const std::string& Message);
[[noreturn]] void PropErrorFmt(const char* Format, ...);

// Rows "name=value" giving values symbolic names, in the order of adding.
// The duplicates policy is read as a policy on the value.
// Thread: UI thread only.
class TPropValueNames : public TStringList {
public:
    // Adds "name=value" unless the policy refuses a value already there
    // (ignore: nothing; error: "Duplicate Value: %d").
    void AddValue(const String& AName, const Variant& AValue);
    // The first row whose value, looked up through its name, is AValue.
    int IndexOfValue(int32_t AValue) const;
};

// Thread: UI thread only.
class TPropField : public TComponent {
public:
    explicit TPropField(TComponent* AOwner);
    ~TPropField() override;

    // Virtual operations, in the order the family adds them.
    virtual void Changed();
    virtual int GetDataSize() const;
    virtual String GetDefaultControlClass() const;
    virtual Variant GetDefaultValue() const;
    virtual void GetText(String& Text, bool DisplayText);
    virtual void Validate(const Variant& Value);
    virtual void ConvertType(Variant& Value);

    // Streaming as a child of the set.
    void ReadState(TReader& Reader) override;
    bool HasParent() const override { return true; }
    TComponent* GetParentComponent() const override;
    void SetParentComponent(TComponent* Value) override;

    // Values.
    Variant GetValue();
    void SetValue(const Variant& Value);
    String GetValueName();
    void SetValueName(const String& Text);
    String GetDisplayText();
    String GetEditText();
    void SetEditText(const String& Text);

    // Membership and names.
    const String& GetFieldName() const { return FFieldName; }
    void SetFieldName(const String& Value);
    TCustomPropSet* GetPropSet() const { return FPropSet; }
    void SetPropSet(TCustomPropSet* Value);
    TPropValueNames& GetValueNames() const { return *FValueNames; }
    void SetValueNames(const TPropValueNames& Value);
    TPropFieldType GetFieldType() const { return FFieldType; }

    // Notifications to the set.
    void Change();
    void FocusControl();
    void UpdateAttributes(TComponent* Component);

    // Plain attributes.
    String GetDisplayLabel() const;
    void SetDisplayLabel(const String& Value);
    int GetDisplayWidth() const;
    void SetDisplayWidth(int Value);
    String GetControlClass() const;
    void SetControlClass(const String& Value);
    const String& GetDescription() const { return FDescription; }
    void SetDescription(const String& Value);
    const String& GetEditMask() const { return FEditMask; }
    void SetEditMask(const String& Value);
    TTextAlignment GetAlignment() const { return FAlignment; }
    void SetAlignment(TTextAlignment Value);
    // Whether streaming writes Alignment: it differs from the class's
    // declared default.
    virtual bool IsAlignmentStored() const { return FAlignment != taLeftJustify; }
    int GetFieldNo() const { return FFieldNo; }
    void SetFieldNo(int Value) { FFieldNo = Value; }
    int GetSize() const { return FSize; }
    void SetSize(int Value) { FSize = Value; }

    TPropFieldNotifyEvent OnChange;
    TPropFieldGetTextEvent OnGetText;
    TPropFieldSetTextEvent OnSetText;
    TPropFieldValidateEvent OnValidate;

    // Called by the set's AddField/RemoveField.
    void AttachToSet(TCustomPropSet* Set) {
        FPropSet = Set;
        FSetData.reset();
    }

    // What the set holding the field keeps about it (an ini set: the field's
    // section, ident and place in its cache), so that reads and writes find
    // it without a look-up. Owner is the set that made it; it is dropped
    // whenever the field joins or leaves a set.
    struct TSetData {
        explicit TSetData(const TCustomPropSet* AOwner) : Owner(AOwner) {}
        virtual ~TSetData() = default;
        const TCustomPropSet* Owner;
    };
    TSetData* GetSetData() const { return FSetData.get(); }
    void SetSetData(std::unique_ptr<TSetData> Data) { FSetData = std::move(Data); }

protected:
    TCustomPropSet* FPropSet = nullptr;
    TPropValueNames* FValueNames;
    String FFieldName;
    int FDisplayWidth = 0;
    String FDisplayLabel;
    String FDescription;
    String FControlClass;
    int FFieldNo = 0;
    int FSize = 0;
    String FEditMask;
    TTextAlignment FAlignment = taLeftJustify;
    TPropFieldType FFieldType = ptString;
    std::unique_ptr<TSetData> FSetData;
};

// Thread: UI thread only.
class TStringPropField : public TPropField {
public:
    explicit TStringPropField(TComponent* AOwner);
    int GetDataSize() const override { return FSize + 1; }
    Variant GetDefaultValue() const override { return Variant(FDefault); }
    void GetText(String& Text, bool DisplayText) override;
    void ConvertType(Variant& Value) override;
    String FDefault;
    bool FOleStringsOnly = false;
};

// A colour's value is always its text in the one stored form
// (ColorToString), never a number.
// Thread: UI thread only.
class TColorPropField : public TPropField {
public:
    explicit TColorPropField(TComponent* AOwner);
    int GetDataSize() const override { return FSize + 1; }
    String GetDefaultControlClass() const override { return u"TPropColorBox"; }
    Variant GetDefaultValue() const override;
    void ConvertType(Variant& Value) override;
    bool IsAlignmentStored() const override { return FAlignment != taRightJustify; }
    TColor GetColor();
    void SetColor(TColor Value);
    TColor FDefault = 0;
};

// Thread: UI thread only.
class TNumericPropField : public TPropField {
public:
    using TPropField::TPropField;
    bool IsAlignmentStored() const override { return FAlignment != taRightJustify; }
    const String& GetDisplayFormat() const { return FDisplayFormat; }
    void SetDisplayFormat(const String& Value);
    const String& GetEditFormat() const { return FEditFormat; }
    void SetEditFormat(const String& Value);

protected:
    // The display format for display text or when there is no edit format.
    const String& FormatFor(bool DisplayText) const;
    String FDisplayFormat;
    String FEditFormat;
};

// Thread: UI thread only.
class TIntegerPropField : public TNumericPropField {
public:
    explicit TIntegerPropField(TComponent* AOwner);
    int GetDataSize() const override { return 4; }
    Variant GetDefaultValue() const override { return Variant(FDefault); }
    void GetText(String& Text, bool DisplayText) override;
    void Validate(const Variant& Value) override;
    void ConvertType(Variant& Value) override;
    int32_t FMinValue = 0;
    int32_t FMaxValue = 0;
    int32_t FDefault = 0;
};

// Thread: UI thread only.
class TFloatPropField : public TNumericPropField {
public:
    explicit TFloatPropField(TComponent* AOwner);
    int GetDataSize() const override { return 8; }
    Variant GetDefaultValue() const override { return Variant(FDefault); }
    void GetText(String& Text, bool DisplayText) override;
    void Validate(const Variant& Value) override;
    void ConvertType(Variant& Value) override;
    void SetCurrency(bool Value);
    void SetMinValue(double Value);
    void SetMaxValue(double Value);
    void SetPrecision(int Value);
    bool GetCurrency() const { return FCurrency; }
    bool GetCheckRange() const { return FCheckRange; }
    int GetPrecision() const { return FPrecision; }
    double GetMinValue() const { return FMinValue; }
    double GetMaxValue() const { return FMaxValue; }
    double FDefault = 0;

protected:
    void UpdateCheckRange();
    bool FCurrency = false;
    bool FCheckRange = false;
    int FPrecision = 15;
    double FMinValue = 0;
    double FMaxValue = 0;
};

// Thread: UI thread only.
class TEnumPropField : public TPropField {
public:
    explicit TEnumPropField(TComponent* AOwner);
    int GetDataSize() const override { return 4; }
    String GetDefaultControlClass() const override { return u"TPropComboBox"; }
    Variant GetDefaultValue() const override { return Variant(FDefault); }
    void GetText(String& Text, bool DisplayText) override;
    void Validate(const Variant& Value) override;
    bool FStrictValues = true;
    int32_t FDefault = 0;
};

// Thread: UI thread only.
class TBooleanPropField : public TPropField {
public:
    explicit TBooleanPropField(TComponent* AOwner);
    int GetDataSize() const override { return 1; }
    String GetDefaultControlClass() const override { return u"TPropCheckBox"; }
    Variant GetDefaultValue() const override { return Variant(FDefault); }
    bool FDefault = false;
};

// Thread: UI thread only.
class TDateTimePropField : public TPropField {
public:
    explicit TDateTimePropField(TComponent* AOwner);
    int GetDataSize() const override { return 8; }
    Variant GetDefaultValue() const override { return Variant::FromDate(FDefault); }
    void GetText(String& Text, bool DisplayText) override;
    void ConvertType(Variant& Value) override;
    // Keeps the whole days for a date field, the fraction for a time field.
    void SetDefaultValue(TDateTime Value);
    TDateTime GetDefault() const { return FDefault; }
    const String& GetDisplayFormat() const { return FDisplayFormat; }
    void SetDisplayFormat(const String& Value);

protected:
    String FDisplayFormat;
    TDateTime FDefault = 0;
};

// Thread: UI thread only.
class TDatePropField : public TDateTimePropField {
public:
    explicit TDatePropField(TComponent* AOwner);
};

// Thread: UI thread only.
class TTimePropField : public TDateTimePropField {
public:
    explicit TTimePropField(TComponent* AOwner);
};

// The class reference of each field class.
template <class T>
TPropField* FieldClassOf(TComponent* AOwner) {
    return new T(AOwner);
}

}  // namespace ide
