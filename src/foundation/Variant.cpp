#include "foundation/Variant.h"

#include <cmath>
#include <limits>

#include "foundation/Conversions.h"
#include "foundation/TextCompare.h"

namespace ide {

Variant Variant::Null() {
    Variant v;
    v.FType = varNull;
    return v;
}

Variant Variant::FromDate(TDateTime d) {
    Variant v(d);
    v.FType = varDate;
    return v;
}

Variant Variant::FromString(const String& s) {
    Variant v(s);
    v.FType = varString;
    return v;
}

Variant Variant::FromOleStr(const String& s) {
    Variant v(s);
    v.FType = varOleStr;
    return v;
}

Variant Variant::FromArray(std::vector<Variant> items) {
    Variant v;
    v.FType = varArray;
    v.FRef = std::make_shared<const std::vector<Variant>>(std::move(items));
    return v;
}

const char* Variant::TypeName(TVarType t) {
    switch (t) {
        case varEmpty: return "Empty";
        case varNull: return "Null";
        case varInteger: return "Integer";
        case varDouble: return "Double";
        case varDate: return "Date";
        case varOleStr: return "OleStr";
        case varBoolean: return "Boolean";
        case varString: return "String";
        case varUString: return "UnicodeString";
        case varArray: return "Array Variant";
    }
    return "Unknown";
}

void Variant::CastError(TVarType to) const {
    throw EVariantError(std::string("Could not convert variant of type (") + TypeName(FType) + ") into type (" +
                        TypeName(to) + ")");
}

namespace {
// Round half to even, as the run-time rounds a double to an integer.
bool RoundToInt(double d, int32_t& out) {
    if (!std::isfinite(d)) return false;
    double fl = std::floor(d);
    double diff = d - fl;
    double r;
    if (diff == 0.5) r = std::fmod(fl, 2.0) == 0 ? fl : fl + 1;
    else r = diff < 0.5 ? fl : fl + 1;
    if (r < std::numeric_limits<int32_t>::min() || r > std::numeric_limits<int32_t>::max()) return false;
    out = static_cast<int32_t>(r);
    return true;
}

bool TextToDouble(std::u16string_view s, double& out) {
    int64_t i;
    if (TryStrToInt64(s, i)) { out = static_cast<double>(i); return true; }
    return TryStrToFloat(s, out);
}

bool TextToBool(std::u16string_view s, bool& out) {
    if (SameText(s, u"True")) { out = true; return true; }
    if (SameText(s, u"False")) { out = false; return true; }
    double d;
    if (TextToDouble(s, d)) { out = d != 0; return true; }
    return false;
}
}  // namespace

int32_t Variant::AsInteger() const {
    switch (FType) {
        case varEmpty: return 0;
        case varInteger: return FInt;
        case varBoolean: return FBool ? -1 : 0;
        case varDouble:
        case varDate: {
            int32_t r;
            if (!RoundToInt(FDouble, r)) CastError(varInteger);
            return r;
        }
        case varString: case varUString: case varOleStr: {
            int32_t r;
            if (TryStrToInt(Text(), r)) return r;
            double d;
            if (TryStrToFloat(Text(), d) && RoundToInt(d, r)) return r;
            CastError(varInteger);
        }
        default: CastError(varInteger);
    }
}

double Variant::AsDouble() const {
    switch (FType) {
        case varEmpty: return 0;
        case varInteger: return FInt;
        case varBoolean: return FBool ? -1.0 : 0.0;
        case varDouble: case varDate: return FDouble;
        case varString: case varUString: case varOleStr: {
            double d;
            if (TextToDouble(Text(), d)) return d;
            CastError(varDouble);
        }
        default: CastError(varDouble);
    }
}

bool Variant::AsBoolean() const {
    switch (FType) {
        case varEmpty: return false;
        case varInteger: return FInt != 0;
        case varBoolean: return FBool;
        case varDouble: case varDate: return FDouble != 0;
        case varString: case varUString: case varOleStr: {
            bool b;
            if (TextToBool(Text(), b)) return b;
            CastError(varBoolean);
        }
        default: CastError(varBoolean);
    }
}

String Variant::AsString() const {
    switch (FType) {
        case varEmpty: return String();
        case varInteger: return IntToStr(FInt);
        case varBoolean: return FBool ? u"True" : u"False";
        case varDouble: return FloatToStr(FDouble);
        case varDate: return DateTimeToStr(FDouble);
        case varString: case varUString: case varOleStr: return Text();
        default: CastError(varUString);
    }
}

TDateTime Variant::AsDateTime() const {
    switch (FType) {
        case varString: case varUString: case varOleStr: {
            TDateTime d;
            if (TryStrToDateTime(Text(), d, FormatSettings())) return d;
            if (TryStrToFloat(Text(), d)) return d;
            CastError(varDate);
        }
        case varNull: case varArray: CastError(varDate);
        default: return AsDouble();
    }
}

const std::vector<Variant>& Variant::AsArray() const {
    if (FType != varArray) CastError(varArray);
    return Items();
}

Variant Variant::ChangeType(TVarType t) const {
    if (t == FType) return *this;
    switch (t) {
        case varEmpty: return Variant();
        case varNull: return Null();
        case varInteger: return Variant(AsInteger());
        case varDouble: return Variant(AsDouble());
        case varDate: return FromDate(AsDateTime());
        case varBoolean: return Variant(AsBoolean());
        case varString: return FromString(AsString());
        case varUString: return Variant(AsString());
        case varOleStr: return FromOleStr(AsString());
        case varArray: CastError(varArray);
    }
    CastError(t);
}

namespace {
template <class T>
TVariantRelationship Rel(T a, T b) {
    return a == b ? vrEqual : (a < b ? vrLessThan : vrGreaterThan);
}

TVariantRelationship RelText(const String& a, const String& b) {
    int c = AnsiCompareStr(a, b);
    return c == 0 ? vrEqual : (c < 0 ? vrLessThan : vrGreaterThan);
}

bool IsZero(const Variant& v) {
    switch (v.Type()) {
        case varInteger: return v.AsInteger() == 0;
        case varDouble: case varDate: return v.AsDouble() == 0;
        case varBoolean: return !v.AsBoolean();
        case varString: case varUString: case varOleStr: return v.AsString().empty();
        default: return false;
    }
}
}  // namespace

TVariantRelationship Variant::Compare(const Variant& o) const {
    const Variant& a = *this;
    if (a.FType == varNull || o.FType == varNull) return a.FType == o.FType ? vrEqual : vrNotEqual;
    if (a.FType == varEmpty || o.FType == varEmpty) {
        if (a.FType == o.FType) return vrEqual;
        const Variant& other = a.FType == varEmpty ? o : a;
        if (IsZero(other)) return vrEqual;
        return vrNotEqual;
    }
    if (a.FType == varArray || o.FType == varArray) {
        if (a.FType != o.FType || a.Items().size() != o.Items().size()) return vrNotEqual;
        for (size_t i = 0; i < a.Items().size(); ++i)
            if (a.Items()[i] != o.Items()[i]) return vrNotEqual;
        return vrEqual;
    }
    if (a.IsText() && o.IsText()) return RelText(a.Text(), o.Text());
    if (a.IsText() || o.IsText()) {
        const Variant& text = a.IsText() ? a : o;
        const Variant& other = a.IsText() ? o : a;
        TVariantRelationship r;
        if (other.FType == varBoolean) {
            bool b;
            if (!TextToBool(text.Text(), b)) r = RelText(text.Text(), other.AsString());
            else r = Rel(b ? -1 : 0, other.FBool ? -1 : 0);
        } else if (other.FType == varDate) {
            TDateTime d;
            if (TryStrToDateTime(text.Text(), d, FormatSettings()) || TextToDouble(text.Text(), d))
                r = Rel(d, other.FDouble);
            else r = RelText(text.Text(), other.AsString());
        } else {
            double d;
            if (TextToDouble(text.Text(), d)) r = Rel(d, other.AsDouble());
            else r = RelText(text.Text(), other.AsString());
        }
        if (&text == &a || r == vrEqual) return r;
        return r == vrLessThan ? vrGreaterThan : vrLessThan;
    }
    if (a.FType == varInteger && o.FType == varInteger) return Rel(a.FInt, o.FInt);
    if (a.FType == varBoolean && o.FType == varBoolean) return Rel(a.FBool ? -1 : 0, o.FBool ? -1 : 0);
    return Rel(a.AsDouble(), o.AsDouble());
}

String VarToStr(const Variant& v) { return v.IsNull() ? String() : v.AsString(); }

}  // namespace ide
