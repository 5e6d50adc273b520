// Variant: the conversion table and the mixed-kind comparison table. A
// field writes only when the comparison says the values differ, so every
// row here decides whether a store write happens.
#include <gtest/gtest.h>

#include "foundation/Conversions.h"
#include "foundation/Variant.h"

using namespace ide;

namespace {
Variant Txt(const char16_t* s) { return Variant(String(s)); }
}  // namespace

TEST(Variant, ConversionTable) {
    struct Row {
        Variant V;
        int32_t I;
        double D;
        bool B;
        const char16_t* S;
    };
    const Row rows[] = {
        {Variant(), 0, 0.0, false, u""},
        {Variant(7), 7, 7.0, true, u"7"},
        {Variant(-3), -3, -3.0, true, u"-3"},
        {Variant(true), -1, -1.0, true, u"True"},
        {Variant(false), 0, 0.0, false, u"False"},
        {Variant(2.5), 2, 2.5, true, u"2.5"},      // half to even
        {Variant(3.5), 4, 3.5, true, u"3.5"},
        {Variant(-2.5), -2, -2.5, true, u"-2.5"},
        {Txt(u"42"), 42, 42.0, true, u"42"},
        {Txt(u"$10"), 16, 16.0, true, u"$10"},
        {Txt(u"1.5"), 2, 1.5, true, u"1.5"},
        {Txt(u"-1"), -1, -1.0, true, u"-1"},
        {Txt(u"0"), 0, 0.0, false, u"0"},
        {Variant::FromDate(45000.5), 45000, 45000.5, true, u"2023-03-15 12:00:00"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(Utf8(r.S));
        EXPECT_EQ(r.V.AsInteger(), r.I);
        EXPECT_DOUBLE_EQ(r.V.AsDouble(), r.D);
        EXPECT_EQ(r.V.AsBoolean(), r.B);
        EXPECT_EQ(r.V.AsString(), String(r.S));
    }
    // Text to boolean: names in any case, else any number.
    EXPECT_TRUE(Txt(u"true").AsBoolean());
    EXPECT_FALSE(Txt(u"FALSE").AsBoolean());
    EXPECT_TRUE(Txt(u"2").AsBoolean());
    // Text to date: date text, else a number of days.
    EXPECT_DOUBLE_EQ(Txt(u"2023-03-15").AsDateTime(), 45000.0);
    EXPECT_DOUBLE_EQ(Txt(u"45000.25").AsDateTime(), 45000.25);
}

TEST(Variant, FailedConversionsNameBothKinds) {
    auto msg = [](auto fn) {
        try {
            fn();
        } catch (const EVariantError& e) {
            return std::string(e.what());
        }
        return std::string("no error");
    };
    EXPECT_EQ(msg([] { (void)Txt(u"abc").AsInteger(); }),
              "Could not convert variant of type (UnicodeString) into type (Integer)");
    EXPECT_EQ(msg([] { (void)Variant::FromString(u"x").AsDouble(); }),
              "Could not convert variant of type (String) into type (Double)");
    EXPECT_EQ(msg([] { (void)Variant::Null().AsInteger(); }),
              "Could not convert variant of type (Null) into type (Integer)");
    EXPECT_EQ(msg([] { (void)Txt(u"maybe").AsBoolean(); }),
              "Could not convert variant of type (UnicodeString) into type (Boolean)");
    EXPECT_EQ(msg([] { (void)Variant(1e12).AsInteger(); }),
              "Could not convert variant of type (Double) into type (Integer)");
    EXPECT_EQ(msg([] { (void)Txt(u"soon").AsDateTime(); }),
              "Could not convert variant of type (UnicodeString) into type (Date)");
    EXPECT_EQ(VarToStr(Variant::Null()), u"");
}

TEST(Variant, KindsSurviveCopiesAndChangeType) {
    EXPECT_EQ(Variant::FromString(u"a").Type(), varString);
    EXPECT_EQ(Txt(u"a").Type(), varUString);
    EXPECT_EQ(Variant::FromOleStr(u"a").Type(), varOleStr);
    Variant copy = Variant::FromOleStr(u"a");
    EXPECT_EQ(copy.Type(), varOleStr);
    EXPECT_EQ(Txt(u"12").ChangeType(varInteger).Type(), varInteger);
    EXPECT_EQ(Variant(12).ChangeType(varOleStr).AsString(), u"12");
    EXPECT_EQ(Variant(1.0).ChangeType(varDate).Type(), varDate);
    EXPECT_THROW(Variant(1).AsArray(), EVariantError);
}

TEST(Variant, EqualityAcrossKinds) {
    struct Row {
        Variant A, B;
        bool Equal;
    };
    const Row rows[] = {
        {Variant(), Variant(), true},
        {Variant(), Variant(0), true},           // empty is its partner's zero
        {Variant(), Txt(u""), true},
        {Variant(), Variant(false), true},
        {Variant(), Variant(1), false},
        {Variant(), Variant::Null(), false},
        {Variant::Null(), Variant::Null(), true},
        {Variant::Null(), Variant(0), false},
        {Txt(u"5"), Variant(5), true},           // text that is a number compares as one
        {Txt(u"5.0"), Variant(5), true},
        {Txt(u"05"), Txt(u"5"), false},          // two texts compare as texts
        {Txt(u"abc"), Txt(u"ABC"), false},       // case-sensitive
        {Variant::FromString(u"a"), Variant::FromOleStr(u"a"), true},
        {Txt(u"abc"), Variant(5), false},        // not a number: compared as texts
        {Variant(true), Variant(-1), true},      // boolean counts as -1
        {Variant(true), Variant(1), false},
        {Variant(true), Txt(u"-1"), true},
        {Variant(true), Txt(u"True"), true},
        {Variant(false), Txt(u"0"), true},
        {Variant(true), Txt(u"Yes"), false},
        {Variant(2), Variant(2.0), true},
        {Variant(2), Variant(2.5), false},
        {Variant::FromDate(45000.0), Variant(45000), true},
        {Variant::FromDate(45000.0), Txt(u"2023-03-15"), true},
        {Variant::FromArray({Variant(1), Txt(u"a")}), Variant::FromArray({Variant(1), Txt(u"a")}), true},
        {Variant::FromArray({Variant(1)}), Variant::FromArray({Variant(2)}), false},
        {Variant::FromArray({}), Variant(0), false},
    };
    int i = 0;
    for (const auto& r : rows) {
        SCOPED_TRACE(i++);
        EXPECT_EQ(r.A == r.B, r.Equal);
        EXPECT_EQ(r.B == r.A, r.Equal);  // symmetric
        EXPECT_EQ(r.A != r.B, !r.Equal);
    }
}

TEST(Variant, OrderingAcrossKinds) {
    EXPECT_EQ(Variant(1).Compare(Variant(2)), vrLessThan);
    EXPECT_EQ(Txt(u"10").Compare(Variant(9)), vrGreaterThan);  // numeric, not "10" < "9"
    EXPECT_EQ(Variant(9).Compare(Txt(u"10")), vrLessThan);
    EXPECT_EQ(Txt(u"10").Compare(Txt(u"9")), vrLessThan);      // texts: by code unit
    EXPECT_EQ(Variant(true).Compare(Variant(0)), vrLessThan);  // -1 < 0
    EXPECT_EQ(Txt(u"b").Compare(Variant(5)), vrGreaterThan);   // "b" > "5"
    EXPECT_EQ(Variant::Null().Compare(Variant(1)), vrNotEqual);
}
