// The field family: the write path, text forms, defaults and value names.
#include "settings/PropFields.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "foundation/TextCompare.h"
#include "settings/IDEConst.h"
#include "settings/PropSets.h"

namespace ide {

using namespace IDEConst;

void PropError(const std::string& Message) { throw Exception(Message); }

void PropErrorFmt(const char* Format, ...) {
    char buf[1024];
    va_list ap;
    va_start(ap, Format);
    std::vsnprintf(buf, sizeof buf, Format, ap);
    va_end(ap);
    throw Exception(buf);
}

namespace {
// The value as an integer when it has one; the names lookup uses it.
bool SafeInteger(const Variant& v, int32_t& out) {
    try {
        out = v.AsInteger();
        return true;
    } catch (const EVariantError&) {
        return false;
    }
}
}  // namespace

// --- TPropValueNames ---------------------------------------------------------

void TPropValueNames::AddValue(const String& AName, const Variant& AValue) {
    const int32_t v = AValue.AsInteger();
    if (GetDuplicates() != dupAccept && IndexOfValue(v) >= 0) {
        if (GetDuplicates() == dupError) PropErrorFmt(SPropValueDuplicate, v);
        return;
    }
    Add(AName + NameValueSeparator + IntToStr(v));
}

int TPropValueNames::IndexOfValue(int32_t AValue) const {
    const String text = IntToStr(AValue);
    for (int i = 0, n = GetCount(); i < n; ++i)
        if (Values(Names(i)) == text) return i;
    return -1;
}

// --- TPropField --------------------------------------------------------------

TPropField::TPropField(TComponent* AOwner) : TComponent(AOwner), FValueNames(new TPropValueNames) {}

TPropField::~TPropField() {
    Destroying();
    if (FPropSet) FPropSet->RemoveField(this);
    delete FValueNames;
}

void TPropField::Changed() {
    if (OnChange) OnChange(this);
}

int TPropField::GetDataSize() const { return 0; }

String TPropField::GetDefaultControlClass() const { return TCustomPropSet::GetDefaultControlClass(this); }

Variant TPropField::GetDefaultValue() const { return Variant(0); }

void TPropField::GetText(String& Text, bool /*DisplayText*/) { Text = VarToStr(GetValue()); }

void TPropField::Validate(const Variant& Value) {
    if (OnValidate) OnValidate(this, Value);
}

void TPropField::ConvertType(Variant& /*Value*/) {}

void TPropField::ReadState(TReader& Reader) {
    TComponent::ReadState(Reader);
    if (auto* set = dynamic_cast<TPropSet*>(Reader.Parent)) SetPropSet(set);
}

TComponent* TPropField::GetParentComponent() const { return FPropSet; }

void TPropField::SetParentComponent(TComponent* Value) {
    if (InState(csLoading)) return;
    auto* set = dynamic_cast<TPropSet*>(Value);
    if (Value && !set) throw EIntfCastError("Invalid class typecast");
    SetPropSet(set);
}

Variant TPropField::GetValue() {
    Variant result;
    if (FPropSet) FPropSet->GetFieldData(this, result);
    return result;
}

void TPropField::SetValue(const Variant& Value) {
    Variant v = Value;
    ConvertType(v);
    Validate(v);
    if (!FPropSet) return;
    Variant current;
    FPropSet->GetFieldData(this, current);
    if (!(v != current)) return;
    FPropSet->SetFieldData(this, v);
    Change();
}

String TPropField::GetValueName() {
    String result;
    Variant v = GetValue();
    if (FValueNames->GetCount() > 0) {
        int32_t i;
        if (SafeInteger(v, i)) {
            int row = FValueNames->IndexOfValue(i);
            if (row >= 0) result = FValueNames->Names(row);
        }
    }
    if (result.empty()) result = VarToStr(v);
    return result;
}

void TPropField::SetValueName(const String& Text) {
    Variant v(Text);
    if (FValueNames->GetCount() > 0) {
        int row = FValueNames->IndexOfName(Text);
        if (row >= 0) v = Variant(FValueNames->ValueFromIndex(row));
    }
    SetValue(v);
}

String TPropField::GetDisplayText() {
    String text;
    if (OnGetText) OnGetText(this, text, true);
    else GetText(text, true);
    return text;
}

String TPropField::GetEditText() {
    String text;
    if (OnGetText) OnGetText(this, text, false);
    else GetText(text, false);
    return text;
}

void TPropField::SetEditText(const String& Text) {
    if (OnSetText) OnSetText(this, Text);
    else SetValue(Variant(Text));
}

void TPropField::SetFieldName(const String& Value) {
    if (!FFieldName.empty()) PropError(SCantModifyFieldName);
    if (FPropSet) FPropSet->CheckFieldName(Value);
    FFieldName = Value;
    if (FPropSet) {
        FPropSet->FieldNamed(this);
        FPropSet->DataEvent(peFieldListChange, 0);
    }
}

void TPropField::SetPropSet(TCustomPropSet* Value) {
    if (Value == FPropSet) return;
    if (Value) Value->CheckFieldName(FFieldName);
    if (FPropSet) FPropSet->RemoveField(this);
    if (Value) Value->AddField(this);
}

void TPropField::SetValueNames(const TPropValueNames& Value) {
    FValueNames->Assign(Value);
    UpdateAttributes(this);
}

void TPropField::Change() {
    if (FPropSet) FPropSet->DataEvent(peFieldChange, reinterpret_cast<intptr_t>(this));
}

void TPropField::FocusControl() {
    if (!FPropSet) return;
    TPropField* field = this;
    FPropSet->DataEvent(peFocusControl, reinterpret_cast<intptr_t>(&field));
}

void TPropField::UpdateAttributes(TComponent* Component) {
    if (FPropSet) FPropSet->DataEvent(peUpdateAttributes, reinterpret_cast<intptr_t>(Component));
}

String TPropField::GetDisplayLabel() const { return FDisplayLabel.empty() ? FFieldName : FDisplayLabel; }

void TPropField::SetDisplayLabel(const String& Value) {
    FDisplayLabel = Value;
    Change();
}

int TPropField::GetDisplayWidth() const { return FDisplayWidth == 0 ? 20 : FDisplayWidth; }

void TPropField::SetDisplayWidth(int Value) {
    FDisplayWidth = Value;
    Change();
}

String TPropField::GetControlClass() const { return FControlClass.empty() ? GetDefaultControlClass() : FControlClass; }

void TPropField::SetControlClass(const String& Value) {
    FControlClass = Value;
    Change();
}

void TPropField::SetDescription(const String& Value) {
    FDescription = Value;
    Change();
}

void TPropField::SetEditMask(const String& Value) {
    FEditMask = Value;
    Change();
}

void TPropField::SetAlignment(TTextAlignment Value) {
    if (FAlignment == Value) return;
    FAlignment = Value;
    Change();
}

// --- String and colour -------------------------------------------------------

TStringPropField::TStringPropField(TComponent* AOwner) : TPropField(AOwner) {
    FFieldType = ptString;
    FDisplayWidth = 20;
}

void TStringPropField::GetText(String& Text, bool DisplayText) {
    Text = VarToStr(GetValue());
    if (DisplayText && !FEditMask.empty()) Text = FormatMaskText(FEditMask, Text);
}

void TStringPropField::ConvertType(Variant& Value) {
    if (FOleStringsOnly && Value.IsText()) Value = Variant::FromOleStr(Value.AsString());
}

TColorPropField::TColorPropField(TComponent* AOwner) : TPropField(AOwner) {
    FFieldType = ptColor;
    FAlignment = taRightJustify;
}

Variant TColorPropField::GetDefaultValue() const { return Variant(ColorToString(FDefault)); }

void TColorPropField::ConvertType(Variant& Value) {
    if (!Value.IsText()) return;
    try {
        Value = Variant(ColorToString(StringToColor(Value.AsString())));
    } catch (const EConvertError&) {
        PropError(SPropValueNotColor);
    }
}

TColor TColorPropField::GetColor() { return StringToColor(VarToStr(GetValue())); }

void TColorPropField::SetColor(TColor Value) { SetValue(Variant(ColorToString(Value))); }

// --- Numbers -----------------------------------------------------------------

void TNumericPropField::SetDisplayFormat(const String& Value) {
    FDisplayFormat = Value;
    Change();
}

void TNumericPropField::SetEditFormat(const String& Value) {
    FEditFormat = Value;
    Change();
}

const String& TNumericPropField::FormatFor(bool DisplayText) const {
    return (DisplayText || FEditFormat.empty()) ? FDisplayFormat : FEditFormat;
}

TIntegerPropField::TIntegerPropField(TComponent* AOwner) : TNumericPropField(AOwner) {
    FFieldType = ptInteger;
    FAlignment = taRightJustify;
}

void TIntegerPropField::GetText(String& Text, bool DisplayText) {
    Variant v = GetValue();
    const String& format = FormatFor(DisplayText);
    Text = format.empty() ? IntToStr(v.AsInteger()) : FormatFloat(format, v.AsDouble());
}

void TIntegerPropField::Validate(const Variant& Value) {
    if (FMinValue != 0 || FMaxValue != 0) {
        if (Value.Compare(Variant(FMinValue)) == vrLessThan || Value.Compare(Variant(FMaxValue)) == vrGreaterThan)
            PropErrorFmt(SPropValueOutOfRange, FMinValue, FMaxValue);
    }
    TNumericPropField::Validate(Value);
}

void TIntegerPropField::ConvertType(Variant& Value) {
    if (!Value.IsText()) return;
    try {
        Value = Variant(StrToInt(Value.AsString()));
    } catch (const EConvertError&) {
        PropError(SPropValueNotInteger);
    }
}

TFloatPropField::TFloatPropField(TComponent* AOwner) : TNumericPropField(AOwner) { FFieldType = ptReal; }

void TFloatPropField::GetText(String& Text, bool DisplayText) {
    Variant v = GetValue();
    const String& format = FormatFor(DisplayText);
    if (!format.empty()) {
        Text = FormatFloat(format, v.AsDouble());
        return;
    }
    if (FCurrency)
        Text = FloatToStrF(v.AsDouble(), DisplayText ? ffCurrency : ffFixed, FPrecision,
                           FormatSettings().CurrencyDecimals);
    else Text = FloatToStrF(v.AsDouble(), ffGeneral, FPrecision, 0);
}

void TFloatPropField::Validate(const Variant& Value) {
    if (FCheckRange) {
        double d = Value.AsDouble();
        if (d < FMinValue || d > FMaxValue) PropErrorFmt(SPropValueOutOfRangeFloat, FMinValue, FMaxValue);
    }
    TNumericPropField::Validate(Value);
}

void TFloatPropField::ConvertType(Variant& Value) {
    if (!Value.IsText()) return;
    try {
        Value = Variant(StrToFloat(Value.AsString()));
    } catch (const EConvertError&) {
        PropError(SPropValueNotFloat);
    }
}

void TFloatPropField::SetCurrency(bool Value) {
    if (FCurrency == Value) return;
    FCurrency = Value;
    Change();
}

void TFloatPropField::UpdateCheckRange() { FCheckRange = !(FMinValue == 0.0 && FMaxValue == 0.0); }

void TFloatPropField::SetMinValue(double Value) {
    if (FMinValue == Value) return;
    FMinValue = Value;
    UpdateCheckRange();
}

void TFloatPropField::SetMaxValue(double Value) {
    if (FMaxValue == Value) return;
    FMaxValue = Value;
    UpdateCheckRange();
}

void TFloatPropField::SetPrecision(int Value) {
    Value = std::clamp(Value, 2, 15);
    if (FPrecision == Value) return;
    FPrecision = Value;
    Change();
}

// --- Enum and boolean --------------------------------------------------------

TEnumPropField::TEnumPropField(TComponent* AOwner) : TPropField(AOwner) { FFieldType = ptEnum; }

void TEnumPropField::GetText(String& Text, bool /*DisplayText*/) {
    Variant v = GetValue();
    int32_t i;
    int row = SafeInteger(v, i) ? FValueNames->IndexOfValue(i) : -1;
    Text = row >= 0 ? FValueNames->Names(row) : VarToStr(v);
}

void TEnumPropField::Validate(const Variant& Value) {
    if (FStrictValues) {
        int32_t i;
        if (!SafeInteger(Value, i) || FValueNames->IndexOfValue(i) < 0) PropError(sInvalidEnumerationValue);
    }
    TPropField::Validate(Value);
}

TBooleanPropField::TBooleanPropField(TComponent* AOwner) : TPropField(AOwner) {
    FFieldType = ptBoolean;
    FValueNames->SetDuplicates(dupAccept);
    const std::pair<const char16_t*, bool> rows[] = {{u"True", true}, {u"False", false}, {u"Yes", true},
                                                     {u"No", false},  {u"1", true},      {u"0", false}};
    for (auto& [name, value] : rows) FValueNames->AddValue(name, Variant(value));
}

// --- Dates and times ---------------------------------------------------------

TDateTimePropField::TDateTimePropField(TComponent* AOwner) : TPropField(AOwner) { FFieldType = ptDateTime; }

void TDateTimePropField::GetText(String& Text, bool DisplayText) {
    String format;
    if (DisplayText && !FDisplayFormat.empty()) format = FDisplayFormat;
    else if (FFieldType == ptDate) format = FormatSettings().ShortDateFormat;
    else if (FFieldType == ptTime) format = FormatSettings().LongTimeFormat;
    DateTimeToString(Text, format, GetValue().AsDateTime());
}

void TDateTimePropField::ConvertType(Variant& Value) {
    if (!Value.IsText()) return;
    try {
        Value = Variant::FromDate(Value.AsDateTime());
    } catch (const EVariantError&) {
        PropError(SPropValueNotDateTime);
    }
}

void TDateTimePropField::SetDefaultValue(TDateTime Value) {
    if (FFieldType == ptDate) FDefault = std::trunc(Value);
    else if (FFieldType == ptTime) FDefault = Value - std::trunc(Value);
    else FDefault = Value;
}

void TDateTimePropField::SetDisplayFormat(const String& Value) {
    if (FDisplayFormat == Value) return;
    FDisplayFormat = Value;
    Change();
}

TDatePropField::TDatePropField(TComponent* AOwner) : TDateTimePropField(AOwner) { FFieldType = ptDate; }

TTimePropField::TTimePropField(TComponent* AOwner) : TDateTimePropField(AOwner) { FFieldType = ptTime; }

}  // namespace ide
