// A property for tests: a value held as text, optional validation, a value
// list, children, and a count of every call the inspector makes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "foundation/DesignIntf.h"
#include "foundation/Graphics.h"

namespace ide::test {

class TFakeProp : public TInterfacedObject, public virtual IProperty {
public:
    explicit TFakeProp(String Name, String Value = {}, TPropertyAttributes Attrs = {})
        : FName(std::move(Name)), FValue(std::move(Value)), FAttrs(Attrs) {
        FInfo.Name = FName;
        FInfo.HasWriter = true;
    }

    void Activate() override { ++Calls["Activate"]; }
    bool AllEqual() override { return FAllEqual; }
    bool AutoFill() override { return FAutoFill; }
    void Edit() override { ++Calls["Edit"]; }
    bool HasInstance(const void*) override { return false; }
    TPropertyAttributes GetAttributes() override {
        ++Calls["GetAttributes"];
        return FAttrs;
    }
    int GetEditLimit() override { return FEditLimit; }
    bool GetEditValue(String& Value) override {
        ++Calls["GetEditValue"];
        Value = FValue;
        return FEditable;
    }
    String GetName() override { return FName; }
    void GetProperties(const TGetPropProc& Proc) override {
        ++Calls["GetProperties"];
        for (auto& c : FChildren) Proc(c);
    }
    const TPropInfo* GetPropInfo() override { return FHasInfo ? &FInfo : nullptr; }
    const TTypeInfo* GetPropType() override { return nullptr; }
    String GetValue() override { return FValue; }
    void GetValues(const TGetStrProc& Proc) override {
        ++Calls["GetValues"];
        for (auto& v : FValues) Proc(v);
    }
    void Revert() override {
        ++Calls["Revert"];
        FValue = FDefault;
    }
    void SetValue(const String& Value) override {
        ++Calls["SetValue"];
        Written.push_back(Value);
        if (FIntegerOnly) {
            bool ok = !Value.empty();
            for (char16_t c : Value) ok = ok && ((c >= u'0' && c <= u'9') || c == u'-');
            if (!ok) throw Exception("'" + Utf8(Value) + "' is not a valid integer value");
        }
        if (FRefuseAll) throw Exception("Invalid property value");
        FValue = Value;
        if (AfterSet) AfterSet();
    }
    bool ValueAvailable() override { return true; }
    String GetDescription() override { return {}; }

    int Count(const char* Op) const {
        auto it = Calls.find(Op);
        return it == Calls.end() ? 0 : it->second;
    }

    String FName, FValue, FDefault;
    TPropertyAttributes FAttrs;
    std::vector<String> FValues;
    std::vector<IntfRef<IProperty>> FChildren;
    TPropInfo FInfo;
    bool FHasInfo = true;
    bool FAllEqual = true;
    bool FAutoFill = true;
    bool FEditable = true;
    bool FIntegerOnly = false;
    bool FRefuseAll = false;
    int FEditLimit = 0;
    std::function<void()> AfterSet;
    std::map<std::string, int> Calls;
    std::vector<String> Written;
};

// A property that refers to another object (identified by a pointer).
class TFakeRefProp : public TFakeProp, public IPropertyRefTarget {
public:
    TFakeRefProp(String Name, const void* Target) : TFakeProp(std::move(Name), u"(object)", {paSubProperties}), FTarget(Target) {}
    const void* GetRefTarget() override { return FTarget; }
    const void* FTarget;
};

// A property that knows its default.
class TFakeDefaultProp : public TFakeProp, public IPropertyDefaultQuery {
public:
    using TFakeProp::TFakeProp;
    bool GetIsDefault() override { return FValue == FDefault; }
};

// A property told its path.
class TFakePathProp : public TFakeProp, public IPropertyPathSink {
public:
    using TFakeProp::TFakeProp;
    void SetPropertyPath(const String& Path) override { FPath = Path; }
    String FPath;
};

// A property that takes the mouse.
class TFakeMouseProp : public TFakeProp, public IPropertyMouseSink {
public:
    using TFakeProp::TFakeProp;
    bool MouseDown(TMouseButton, TShiftState, int, int, bool InNameRect, const TRect& Rect) override {
        ++Calls["MouseDown"];
        LastInName = InNameRect, LastRect = Rect;
        return Take;
    }
    bool MouseMove(TShiftState, int, int, bool InNameRect, const TRect& Rect) override {
        ++Calls["MouseMove"];
        LastInName = InNameRect, LastRect = Rect;
        return false;
    }
    bool MouseUp(TMouseButton, TShiftState, int, int, bool, const TRect&) override {
        ++Calls["MouseUp"];
        return Take;
    }
    bool HintShow(int, int, bool, const TRect&, String&) override { return false; }
    bool Take = true;
    bool LastInName = false;
    TRect LastRect;
};

template <class T = TFakeProp, class... A>
IntfRef<T> Prop(A&&... a) {
    return Make<T>(std::forward<A>(a)...);
}

}  // namespace ide::test
