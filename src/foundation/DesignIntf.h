// The designer contracts: how an object inspector meets the properties of
// the objects it shows.
//
// A host's designer hands the inspector `IProperty` references: one per
// property of the selected object(s). The inspector asks them for a name, a
// value as text, attributes and sub-properties, and hands text back through
// `SetValue`, which raises to refuse a value (the exception's message is
// what the user sees). Everything else is optional: a property that can do
// more (tell whether its value is the default, refer to another object, draw
// itself, take the mouse) also implements one of the companion contracts
// below, which the inspector asks for by GUID. The GUIDs of the companions
// are fixed; the inspector never needs a property to implement one.
//
// These are plain C++ contracts (no toolkit types beyond forward
// declarations), so both the settings layer (its design-time adapters) and
// the inspector see them without depending on each other.
//
// Text is ide::String (UTF-16) throughout. The "wide" companions exist
// because a host may keep a narrow and a wide form of the same text; a
// property that implements them is asked through them first.
#pragma once

#include <cstdint>
#include <functional>

#include "foundation/Interface.h"

class QWidget;

namespace ide {

class TCanvas;  // the painting surface of the visual basics
struct TRect;   // Left, Top, Right, Bottom

// ---------------------------------------------------------------------------
// Attributes

// What a property can do, by bit position. The positions are part of the
// contract: hosts test masks such as 0x2005 ("has a button") or 0x4040
// (read-only unless value-editable) directly.
enum TPropertyAttribute : uint8_t {
    paValueList = 0,              // offers a list of values (GetValues)
    paSubProperties = 1,          // has sub-properties (GetProperties)
    paDialog = 2,                 // Edit opens a dialog (the "..." button)
    paMultiSelect = 3,            // shown when several objects are selected
    paAutoUpdate = 4,             // every change of the text is written at once
    paSortList = 5,               // the value list is to be sorted
    paReadOnly = 6,               // the text can't be typed into
    paRevertable = 7,             // Revert gives the value back its default
    paFullWidthName = 8,          // the name takes the whole row; no value cell
    paVolatileSubProperties = 9,  // sub-properties change when the value does
    paNotNestable = 11,           // not shown below another property
    paDisplayReadOnly = 12,       // shown read-only, in the read-only colour
    paCustomDropDown = 13,        // the property drops down its own control
    paValueEditable = 14,         // read-only text whose value can still be set
};

// A set of TPropertyAttribute, stored as the bit mask the positions give.
class TPropertyAttributes {
public:
    constexpr TPropertyAttributes() = default;
    constexpr TPropertyAttributes(std::initializer_list<TPropertyAttribute> Items) {
        for (auto a : Items) FBits |= Bit(a);
    }
    static constexpr TPropertyAttributes FromBits(uint32_t Bits) {
        TPropertyAttributes r;
        r.FBits = Bits;
        return r;
    }
    constexpr bool Contains(TPropertyAttribute a) const { return (FBits & Bit(a)) != 0; }
    constexpr TPropertyAttributes& Include(TPropertyAttribute a) {
        FBits |= Bit(a);
        return *this;
    }
    constexpr TPropertyAttributes& Exclude(TPropertyAttribute a) {
        FBits &= ~Bit(a);
        return *this;
    }
    constexpr uint32_t Bits() const { return FBits; }
    constexpr bool Empty() const { return FBits == 0; }
    friend constexpr TPropertyAttributes operator|(TPropertyAttributes a, TPropertyAttributes b) {
        return FromBits(a.FBits | b.FBits);
    }
    friend constexpr bool operator==(TPropertyAttributes, TPropertyAttributes) = default;

private:
    static constexpr uint32_t Bit(TPropertyAttribute a) { return 1u << static_cast<unsigned>(a); }
    uint32_t FBits = 0;
};

// The masks the inspector tests, by the positions above.
namespace PropAttrMask {
constexpr uint32_t SubProperties = 0x2;
constexpr uint32_t FullWidthName = 0x100;
constexpr uint32_t DisplayReadOnly = 0x1000;
constexpr uint32_t AnyButton = 0x2005;          // value list, dialog or custom drop-down
constexpr uint32_t ListOrDisplayReadOnly = 0x1001;
constexpr uint32_t ReadOnlyOrValueEditable = 0x4040;  // writable unless this gives 0x40
constexpr uint32_t FillByTyping = 0x5041;             // fill-by-typing when this gives 0x4041
}  // namespace PropAttrMask

// ---------------------------------------------------------------------------
// Run-time type information a property may expose

enum TTypeKind : uint8_t {
    tkUnknown,
    tkInteger,
    tkChar,
    tkEnumeration,
    tkFloat,
    tkString,
    tkSet,
    tkClass,
    tkMethod,
    tkVariant,
    tkRecord,
    tkInterface,
    tkInt64,
};

// The type of a property's value. Owned by whoever hands it out; lives at
// least as long as the property.
struct TTypeInfo {
    String Name;
    TTypeKind Kind = tkUnknown;
};

// The published description of a property. `HasWriter` is the write
// accessor: a property without one is shown read-only. Owned by the
// property; lives as long as it does.
struct TPropInfo {
    String Name;
    const TTypeInfo* PropType = nullptr;
    bool HasWriter = false;
};

// Shift and button state handed to a property that takes the mouse.
enum TShiftStateItem : uint8_t { ssShift, ssAlt, ssCtrl, ssLeft, ssRight, ssMiddle, ssDouble };
using TShiftState = uint32_t;  // bit (1 << TShiftStateItem)
constexpr TShiftState ShiftBit(TShiftStateItem s) { return 1u << static_cast<unsigned>(s); }
enum TMouseButton : uint8_t { mbLeft, mbRight, mbMiddle };

// ---------------------------------------------------------------------------
// The property

struct IProperty;
using TGetPropProc = std::function<void(const IntfRef<IProperty>&)>;
using TGetStrProc = std::function<void(const String&)>;

// One property of the selected object(s), as the designer presents it.
// Thread: UI thread only.
struct IProperty : virtual IInterface {
    IDE_INTERFACE(IProperty, "9044E2B7-A9E4-4425-84E4-76DBCAAB76F3")
    // Called when the row becomes current.
    virtual void Activate() = 0;
    // True when all selected objects have the same value (else the value
    // cell shows nothing and no hint).
    virtual bool AllEqual() = 0;
    // True when typing into a value list completes to the first match.
    virtual bool AutoFill() = 0;
    // Opens the property's own editor (dialog, double click).
    virtual void Edit() = 0;
    // True when `Instance` (an object's identity) is among the objects edited.
    virtual bool HasInstance(const void* Instance) = 0;
    virtual TPropertyAttributes GetAttributes() = 0;
    // Maximum length of the text; 0 or less means no limit.
    virtual int GetEditLimit() = 0;
    // The text to edit; answers whether the text may be edited.
    virtual bool GetEditValue(String& Value) = 0;
    virtual String GetName() = 0;
    // One call of `Proc` per sub-property, in display order.
    virtual void GetProperties(const TGetPropProc& Proc) = 0;
    // nil when the property has no published description.
    virtual const TPropInfo* GetPropInfo() = 0;
    // nil when the type is not known.
    virtual const TTypeInfo* GetPropType() = 0;
    // The value as the value cell shows it.
    virtual String GetValue() = 0;
    // One call of `Proc` per entry of the value list, in list order.
    virtual void GetValues(const TGetStrProc& Proc) = 0;
    // Gives the value back its default (paRevertable).
    virtual void Revert() = 0;
    // Writes a value given as text. Raises to refuse it; the message is the
    // text the user sees, and the value must be left as it was.
    virtual void SetValue(const String& Value) = 0;
    // False when the value can't be read now (e.g. a write-only property).
    virtual bool ValueAvailable() = 0;
    // A line of help text for the property; may be empty.
    virtual String GetDescription() = 0;
};

// --- Optional companions, asked of an IProperty by GUID ---------------------

// The property refers to another object; its sub-properties are that
// object's properties. Expansion stops where an ancestor row refers to the
// same object.
struct IPropertyRefTarget : virtual IInterface {
    IDE_INTERFACE(IPropertyRefTarget, "C7EE2B1E-3F89-40AD-9250-D2667BA3D46B")
    // The identity of the object referred to, or nil. Compared, never
    // dereferenced by the inspector.
    virtual const void* GetRefTarget() = 0;
};

// Shows the property in the reference colour although it has no target.
struct IPropertyRefVisibility : virtual IInterface {
    IDE_INTERFACE(IPropertyRefVisibility, "ECD009DA-C711-4C7F-912B-3AB5A6A4B290")
    virtual bool ShowReferenceProperty() = 0;
};

// Told the dotted path of its row ("Font.Style") when the row is made.
struct IPropertyPathSink : virtual IInterface {
    IDE_INTERFACE(IPropertyPathSink, "265F5E34-8999-4B9B-AC30-A2AED60885DF")
    virtual void SetPropertyPath(const String& Path) = 0;
};

// The value as wide text; asked before GetValue, GetEditValue and SetValue.
struct IPropertyWideValue : virtual IInterface {
    IDE_INTERFACE(IPropertyWideValue, "ACBF6140-1378-4AAC-94D6-D4660DFE7053")
    virtual String GetValueW() = 0;
    virtual bool GetEditValueW(String& Value) = 0;
    virtual void SetValueW(const String& Value) = 0;
};

// The name and the value list as wide text; asked before GetName and
// GetValues.
struct IPropertyWideName : virtual IInterface {
    IDE_INTERFACE(IPropertyWideName, "EB335848-4AD4-4423-8598-37FFDF5984D5")
    virtual String GetNameW() = 0;
    virtual void GetValuesW(const TGetStrProc& Proc) = 0;
};

// Whether the value is its default: a non-default value is shown in the
// non-default colour and style.
struct IPropertyDefaultQuery : virtual IInterface {
    IDE_INTERFACE(IPropertyDefaultQuery, "57B97F18-B47F-4635-94CB-3344783E7069")
    virtual bool GetIsDefault() = 0;
};

// Draws the name and the value itself instead of the plain text.
struct IPropertyCustomDraw : virtual IInterface {
    IDE_INTERFACE(IPropertyCustomDraw, "E1A50419-1288-4B26-9EFA-6608A35F0824")
    virtual void PropDrawName(TCanvas& Canvas, const TRect& Rect, bool Selected) = 0;
    virtual void PropDrawValue(TCanvas& Canvas, const TRect& Rect, bool Selected) = 0;
};

// Adjusts the name and value rectangles before anything is drawn in them.
struct IPropertyCustomRects : virtual IInterface {
    IDE_INTERFACE(IPropertyCustomRects, "73100176-DF0B-4900-AA52-4E67D7D04895")
    virtual void PropDrawNameRect(TRect& Rect) = 0;
    virtual void PropDrawValueRect(TRect& Rect) = 0;
};

// Takes mouse events on its row. `InNameRect` says which side the point is
// on; `Rect` is the row cut at the divider (see the list box for the cut).
// A true answer means handled: the list box does nothing else with it, and a
// handled press captures the mouse for the row until the release.
struct IPropertyMouseSink : virtual IInterface {
    IDE_INTERFACE(IPropertyMouseSink, "60E3EB3A-23DD-459C-8936-0607A27D11A8")
    virtual bool MouseDown(TMouseButton Button, TShiftState Shift, int X, int Y, bool InNameRect,
                           const TRect& Rect) = 0;
    virtual bool MouseMove(TShiftState Shift, int X, int Y, bool InNameRect, const TRect& Rect) = 0;
    virtual bool MouseUp(TMouseButton Button, TShiftState Shift, int X, int Y, bool InNameRect,
                         const TRect& Rect) = 0;
    // May replace the hint text and the rectangle it stands on; true takes
    // the hint over.
    virtual bool HintShow(int X, int Y, bool InNameRect, const TRect& Rect, String& HintText) = 0;
};

// A property of a debugger inspector: flags for the query button.
struct IDebugInspectProperty : virtual IInterface {
    IDE_INTERFACE(IDebugInspectProperty, "A9A8E4E7-8F96-4425-95FF-B7EC768506E3")
    static constexpr uint32_t QueryButtonVisible = 1u << 4;
    static constexpr uint32_t QueryButtonDown = 1u << 5;
    virtual uint32_t GetQueryFlags() = 0;
};

// ---------------------------------------------------------------------------
// What the host and the inspector give each other

// Something to activate after a commit by Enter (the host's active form).
struct IActivatable : virtual IInterface {
    IDE_INTERFACE(IActivatable, "D7A1290E-F7BA-4930-9C52-2A7D85EB4975")
    virtual void Activate() = 0;
};

// The inspector, as seen by a property that drops down its own control
// (paCustomDropDown): it shows the control under the row's button.
struct IPropertyHost : virtual IInterface {
    IDE_INTERFACE(IPropertyHost, "B5CB55C4-5D5A-4FF7-8D67-9338E738FE29")
    virtual void DropDownControl(QWidget* Control) = 0;
    virtual void CloseDropDown() = 0;
    // The width a dropped control should take: the value cell's.
    virtual int GetDropDownWidth() = 0;
};

// The source of properties of a list box: the top-level properties, and
// for an opened row, the sub-properties of the property made parent by
// SelectParent. Implemented by the host.
struct IPropListBoxSelection : virtual IInterface {
    IDE_INTERFACE(IPropListBoxSelection, "4E0CA9D0-A11F-4F31-A6AA-1735BA6A76BA")
    virtual int GetCount() = 0;
    virtual IntfRef<IProperty> GetProperty(int Index) = 0;
    // nil selects no parent.
    virtual void SelectParent(const IntfRef<IProperty>& Prop) = 0;
    virtual IntfRef<IProperty> GetParent() = 0;
    virtual int GetSubCount() = 0;
    virtual IntfRef<IProperty> GetSubProperty(int Index) = 0;
};

}  // namespace ide
