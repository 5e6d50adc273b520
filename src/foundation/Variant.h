// Variant: the tagged value in which field values travel. Kinds: empty,
// null, 32-bit integer, double, boolean, date-time, the two string kinds of
// the run-time (varString and varUString; both hold UTF-16 here, the kind is
// kept so a value says what it was made from), the OLE wide string, and an
// array of variants.
//
// Conversions (AsInteger, AsDouble, AsBoolean, AsString, AsDateTime) follow
// one table, pinned in tests/foundation/test_variant.cpp:
//   empty   -> 0, 0.0, false, "", 0.0          null -> raises (text "")
//   boolean -> -1/0, -1.0/0.0, "True"/"False"
//   double  -> integer by rounding half to even; text by FloatToStr
//   date    -> its number; text by DateTimeToStr
//   text    -> integer by StrToInt, else by StrToFloat and rounding;
//              boolean "True"/"False" in any case, else a number != 0;
//              date by StrToDateTime, else StrToFloat
// A failed conversion raises EVariantError "Could not convert variant of
// type (X) into type (Y)".
//
// Comparison (==, !=, Compare) across kinds, also pinned in tests:
//   - empty equals empty, and a value of another kind when that value is
//     its kind's zero (0, 0.0, false, ""); null equals only null;
//   - two texts compare by code unit, case-sensitive;
//   - text against a number, boolean or date: when the text converts to that
//     kind, as that kind; otherwise as texts;
//   - numbers of different kinds compare as doubles; a boolean counts as -1/0;
//   - arrays are equal when their elements are; ordering arrays raises.
//
// Thread: any (a Variant is a value; copies share nothing mutable).
#pragma once

#include <memory>
#include <vector>

#include "foundation/Runtime.h"

namespace ide {

IDE_DECLARE_EXCEPTION(EVariantError, Exception)

enum TVarType : uint16_t {
    varEmpty = 0x0000,
    varNull = 0x0001,
    varInteger = 0x0003,
    varDouble = 0x0005,
    varDate = 0x0007,
    varOleStr = 0x0008,
    varBoolean = 0x000B,
    varString = 0x0100,
    varUString = 0x0102,
    varArray = 0x2000,
};

enum TVariantRelationship { vrEqual, vrLessThan, vrGreaterThan, vrNotEqual };

class Variant {
public:
    Variant() = default;
    Variant(int32_t V) : FType(varInteger), FInt(V) {}
    Variant(double V) : FType(varDouble), FDouble(V) {}
    Variant(bool V) : FType(varBoolean), FBool(V) {}
    Variant(const String& V) : FType(varUString), FRef(std::make_shared<const String>(V)) {}
    Variant(String&& V) : FType(varUString), FRef(std::make_shared<const String>(std::move(V))) {}
    Variant(std::u16string_view V) : Variant(String(V)) {}
    Variant(const char16_t* V) : Variant(String(V)) {}
    // Without these a char* or a long would pick the boolean or be ambiguous.
    Variant(const char* V) = delete;
    Variant(int64_t V) = delete;

    static Variant Null();
    static Variant FromDate(TDateTime V);
    static Variant FromString(const String& V);   // varString
    static Variant FromOleStr(const String& V);   // varOleStr
    static Variant FromArray(std::vector<Variant> Items);

    TVarType Type() const { return FType; }
    bool IsEmpty() const { return FType == varEmpty; }
    bool IsNull() const { return FType == varNull; }
    bool IsText() const { return FType == varString || FType == varUString || FType == varOleStr; }
    bool IsNumeric() const { return FType == varInteger || FType == varDouble || FType == varDate; }

    int32_t AsInteger() const;
    double AsDouble() const;
    bool AsBoolean() const;
    String AsString() const;
    TDateTime AsDateTime() const;
    const std::vector<Variant>& AsArray() const;

    // The value converted to another kind (the same conversions).
    Variant ChangeType(TVarType Type) const;

    TVariantRelationship Compare(const Variant& Other) const;
    friend bool operator==(const Variant& A, const Variant& B) { return A.Compare(B) == vrEqual; }
    friend bool operator!=(const Variant& A, const Variant& B) { return !(A == B); }

    // The run-time's name of a kind ("Integer", "UnicodeString", ...).
    static const char* TypeName(TVarType Type);

private:
    [[noreturn]] void CastError(TVarType To) const;

    TVarType FType = varEmpty;
    union {
        int32_t FInt;
        double FDouble = 0;
        bool FBool;
    };
    // The text of a text kind, the items of an array; shared by copies.
    std::shared_ptr<const void> FRef;
    const String& Text() const { return *static_cast<const String*>(FRef.get()); }
    const std::vector<Variant>& Items() const { return *static_cast<const std::vector<Variant>*>(FRef.get()); }
};

// Null-safe text of a variant: empty and null give "".
String VarToStr(const Variant& V);

}  // namespace ide
