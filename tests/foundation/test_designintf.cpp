// The designer contracts: attribute bit positions are contract (hosts test
// masks), and companions are found by GUID on a property that implements them.
#include <gtest/gtest.h>

#include "foundation/DesignIntf.h"

namespace ide {
namespace {

TEST(DesignIntf, AttributePositionsGiveTheMasksHostsTest) {
    EXPECT_EQ((TPropertyAttributes{paValueList, paDialog, paCustomDropDown}.Bits()), PropAttrMask::AnyButton);
    EXPECT_EQ(TPropertyAttributes{paSubProperties}.Bits(), PropAttrMask::SubProperties);
    EXPECT_EQ(TPropertyAttributes{paFullWidthName}.Bits(), PropAttrMask::FullWidthName);
    EXPECT_EQ(TPropertyAttributes{paDisplayReadOnly}.Bits(), PropAttrMask::DisplayReadOnly);
    EXPECT_EQ((TPropertyAttributes{paReadOnly, paValueEditable}.Bits()), PropAttrMask::ReadOnlyOrValueEditable);
    // Fill-by-typing: value list, read-only and value-editable, not display read-only.
    const auto fill = TPropertyAttributes{paValueList, paReadOnly, paValueEditable, paAutoUpdate};
    EXPECT_EQ(fill.Bits() & PropAttrMask::FillByTyping, 0x4041u);
    auto shown = fill;
    shown.Include(paDisplayReadOnly);
    EXPECT_NE(shown.Bits() & PropAttrMask::FillByTyping, 0x4041u);
    shown.Exclude(paDisplayReadOnly).Exclude(paAutoUpdate);
    EXPECT_EQ(shown, (TPropertyAttributes{paValueList, paReadOnly, paValueEditable}));
    EXPECT_TRUE(TPropertyAttributes{}.Empty());
    EXPECT_TRUE((TPropertyAttributes{paRevertable} | TPropertyAttributes{paVolatileSubProperties}).Contains(paRevertable));
}

class TRefProp : public TInterfacedObject, public IProperty, public IPropertyRefTarget, public IPropertyDefaultQuery {
public:
    void Activate() override {}
    bool AllEqual() override { return true; }
    bool AutoFill() override { return true; }
    void Edit() override {}
    bool HasInstance(const void*) override { return false; }
    TPropertyAttributes GetAttributes() override { return {paSubProperties}; }
    int GetEditLimit() override { return -1; }
    bool GetEditValue(String& Value) override { Value = u"x"; return true; }
    String GetName() override { return u"Parent"; }
    void GetProperties(const TGetPropProc&) override {}
    const TPropInfo* GetPropInfo() override { return nullptr; }
    const TTypeInfo* GetPropType() override { return nullptr; }
    String GetValue() override { return u"x"; }
    void GetValues(const TGetStrProc&) override {}
    void Revert() override {}
    void SetValue(const String&) override {}
    bool ValueAvailable() override { return true; }
    String GetDescription() override { return {}; }
    const void* GetRefTarget() override { return this; }
    bool GetIsDefault() override { return false; }
};

TEST(DesignIntf, CompanionsAreFoundByGuidAndOnlyThose) {
    IntfRef<IProperty> p = Make<TRefProp>();
    void* out = nullptr;
    ASSERT_EQ(p->QueryInterface(IPropertyRefTarget::IID, &out), S_OK);
    static_cast<IInterface*>(static_cast<IPropertyRefTarget*>(out))->Release();
    EXPECT_TRUE(Supports<IPropertyDefaultQuery>(p));
    EXPECT_FALSE(Supports<IPropertyWideValue>(p));
    EXPECT_FALSE(Supports<IPropertyMouseSink>(p));
    EXPECT_EQ(IPropertyRefTarget::IID.ToString(), "{C7EE2B1E-3F89-40AD-9250-D2667BA3D46B}");
}

}  // namespace
}  // namespace ide
