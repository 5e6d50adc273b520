#include "settings/PropFieldProperty.h"

#include "foundation/TextCompare.h"

namespace ide {

bool TPropFieldProperty::GetEditValue(String& Value) {
    Value = FPropField->GetEditText();
    return true;
}

String TBooleanPropFieldProperty::GetValue() { return FPropField->GetValue().AsBoolean() ? u"Yes" : u"No"; }

bool TBooleanPropFieldProperty::GetEditValue(String& Value) {
    Value = GetValue();
    return true;
}

void TBooleanPropFieldProperty::GetValues(const TGetStrProc& Proc) {
    Proc(u"No");
    Proc(u"Yes");
}

void TBooleanPropFieldProperty::SetValue(const String& Value) {
    if (SameText(Value, u"Yes")) FPropField->SetValue(Variant(true));
    else if (SameText(Value, u"No")) FPropField->SetValue(Variant(false));
}

String TEnumPropFieldProperty::GetValue() {
    TPropValueNames& names = FPropField->GetValueNames();
    int32_t i;
    try {
        i = FPropField->GetValue().AsInteger();
    } catch (const EVariantError&) {
        return String();
    }
    if (names.GetCount() == 0 || i < 0 || i >= names.GetCount()) return String();
    return names.Names(i);
}

bool TEnumPropFieldProperty::GetEditValue(String& Value) {
    Value = GetValue();
    return true;
}

void TEnumPropFieldProperty::GetValues(const TGetStrProc& Proc) {
    TPropValueNames& names = FPropField->GetValueNames();
    for (int i = 0; i < names.GetCount(); ++i) Proc(names.Names(i));
}

void TEnumPropFieldProperty::SetValue(const String& Value) {
    FPropField->SetValue(Variant(static_cast<int32_t>(FPropField->GetValueNames().IndexOfName(Value))));
}

IntfRef<IProperty> MakePropFieldProperty(TPropField* Field) {
    if (dynamic_cast<TBooleanPropField*>(Field)) return Make<TBooleanPropFieldProperty>(Field);
    if (dynamic_cast<TEnumPropField*>(Field)) return Make<TEnumPropFieldProperty>(Field);
    return Make<TPropFieldProperty>(Field);
}

}  // namespace ide
