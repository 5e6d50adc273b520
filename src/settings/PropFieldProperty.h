// Design-time adapters: a field presented to the designer's inspector as an
// IProperty. The plain adapter shows the field's label, value and
// description and writes text through the field's SetValue; the boolean
// adapter offers "No"/"Yes"; the enum adapter offers the value names.
//
// Oddity kept on purpose: the enum adapter reads and writes the position of
// a name in the list, while the enum field treats the number after the
// equals sign as the value; they agree only when the names are numbered 0,
// 1, 2 in order.
//
// The adapter holds the field by pointer and must not outlive it.
// Thread: UI thread only.
#pragma once

#include "foundation/DesignIntf.h"
#include "settings/PropFields.h"

namespace ide {

// Thread: UI thread only.
class TPropFieldProperty : public TInterfacedObject, public IProperty, public IPropertyDefaultQuery {
public:
    explicit TPropFieldProperty(TPropField* APropField) : FPropField(APropField) {}

    void Activate() override {}
    bool AllEqual() override { return true; }
    bool AutoFill() override { return true; }
    void Edit() override {}
    bool HasInstance(const void* /*Instance*/) override { return false; }
    TPropertyAttributes GetAttributes() override { return {}; }
    int GetEditLimit() override { return -1; }
    bool GetEditValue(String& Value) override;
    String GetName() override { return FPropField->GetDisplayLabel(); }
    void GetProperties(const TGetPropProc& /*Proc*/) override {}
    const TPropInfo* GetPropInfo() override { return nullptr; }
    const TTypeInfo* GetPropType() override { return nullptr; }
    String GetValue() override { return VarToStr(FPropField->GetValue()); }
    void GetValues(const TGetStrProc& /*Proc*/) override {}
    void Revert() override {}
    void SetValue(const String& Value) override { FPropField->SetValue(Variant(Value)); }
    bool ValueAvailable() override { return true; }
    String GetDescription() override { return FPropField->GetDescription(); }
    bool GetIsDefault() override { return false; }

    TPropField* GetPropField() const { return FPropField; }

protected:
    TPropField* FPropField;
};

// Thread: UI thread only.
class TBooleanPropFieldProperty : public TPropFieldProperty {
public:
    using TPropFieldProperty::TPropFieldProperty;
    TPropertyAttributes GetAttributes() override { return {paValueList}; }
    String GetValue() override;
    bool GetEditValue(String& Value) override;
    void GetValues(const TGetStrProc& Proc) override;
    // "Yes" or "No" in any case; any other text is ignored.
    void SetValue(const String& Value) override;
};

// Thread: UI thread only.
class TEnumPropFieldProperty : public TPropFieldProperty {
public:
    using TPropFieldProperty::TPropFieldProperty;
    TPropertyAttributes GetAttributes() override { return {paValueList, paAutoUpdate}; }
    String GetValue() override;
    bool GetEditValue(String& Value) override;
    void GetValues(const TGetStrProc& Proc) override;
    void SetValue(const String& Value) override;
};

// The adapter that fits a field's class.
IntfRef<IProperty> MakePropFieldProperty(TPropField* Field);

}  // namespace ide
