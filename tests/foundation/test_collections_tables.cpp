// The typed hash tables: string keys and their hashes, ownership, reference
// counts, Assign, and the string stream.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <unistd.h>
#include <vector>

#include "foundation/CollectionsTables.h"
#include "foundation/Streams.h"

using namespace ide;

namespace {

int gAlive = 0;

class TCounted : public TObject {
public:
    explicit TCounted(int Id = 0) : FId(Id) { ++gAlive; }
    ~TCounted() override { --gAlive; }
    bool Equals(TObject* Obj) override {
        auto* other = dynamic_cast<TCounted*>(Obj);
        return other && other->FId == FId;
    }
    int32_t GetHashCode() override { return 7; }  // every key in one chain

private:
    int FId;
};

class TThing : public TInterfacedObject {};

std::vector<uint8_t> Bytes(std::initializer_list<int> b) {
    std::vector<uint8_t> v;
    for (int x : b) v.push_back(static_cast<uint8_t>(x));
    return v;
}

void Put(TMemoryStream& s, const std::vector<uint8_t>& b) {
    s.Clear();
    s.WriteBuffer(b.data(), static_cast<int64_t>(b.size()));
    s.SetPosition(0);
}

}  // namespace

TEST(StringHashes, CaseSensitiveHashCoversHalfTheStorage) {
    EXPECT_EQ(StrHash(u""), 0u);
    EXPECT_EQ(StrHash(u"A"), 0x41u);               // one byte: 'A'
    EXPECT_EQ(StrHash(u"AB"), 0x41u << 5);         // bytes 'A', 0
    EXPECT_EQ(StrHash(u"ABCD"), StrHash(u"ABXY"));  // second half unseen
    EXPECT_NE(StrHash(u"ABCD"), StrHash(u"AXCD"));
    // Any length and any code units: rotate left by 5 and xor, byte by byte.
    uint32_t seed = 12345;
    for (size_t len = 1; len < 40; ++len) {
        String s(len, u'\0');
        for (auto& c : s) c = static_cast<Char>((seed = seed * 1103515245u + 12345u) >> 8);
        const auto* bytes = reinterpret_cast<const uint8_t*>(s.data());
        uint32_t h = 0;
        for (size_t i = 0; i < len; ++i) h = ((h << 5) | (h >> 27)) ^ bytes[i];
        EXPECT_EQ(StrHash(s), h) << len;
    }
}

TEST(StringHashes, CaseInsensitiveTableAndItsLimits) {
    const uint16_t* t = StrIHashTable();
    EXPECT_EQ(t[0], 1);
    for (int i = 1; i < 128; ++i) EXPECT_NE(t[i], 0) << i;
    for (int i = 128; i < 256; ++i) EXPECT_EQ(t[i], 0) << i;
    for (int c = 'a'; c <= 'z'; ++c) EXPECT_EQ(t[c], t[c - 32]);

    EXPECT_EQ(StrIHash(u""), 0u);
    EXPECT_EQ(StrIHash(u"Hello, World"), StrIHash(u"hELLO, wORLD"));
    EXPECT_EQ(StrIHash(std::u16string_view(u"AB\0CD", 5)), StrIHash(u"AB"));  // stops at the first 0
    // First position: below $20AC the low byte counts, at or above nothing.
    EXPECT_EQ(StrIHash(u"\u2041"), StrIHash(u"A"));
    EXPECT_EQ(StrIHash(u"\u2141"), 0u);
    // Second position: the limit is $FF.
    EXPECT_EQ(StrIHash(u"A\u0141"), StrIHash(u"A"));
    EXPECT_EQ(StrIHash(u"\u0141A"), StrIHash(u"AA"));
}

TEST(StringHashes, ElfHashAndCaseMapping) {
    EXPECT_EQ(ELFHash(u"hello"), 0x6EC32Fu);
    EXPECT_LT(ELFHash(u"a rather long key that overflows the top nibble"), 0x10000000u);
    EXPECT_EQ(WideStrIHash(u"ÄÖÜ Кот Σ"), ELFHash(u"äöü кот σ"));
    EXPECT_EQ(WideLowerCase(u"ÀÉÎŸ ĀŁ ΆΩ ЁЯ Ｚ"), u"àéîÿ āł άω ёя ｚ");
    EXPECT_EQ(WideUpperCase(u"àéîÿ āł άως ёя ｚ"), u"ÀÉÎŸ ĀŁ ΆΩΣ ЁЯ Ｚ");
    EXPECT_TRUE(AnsiSameText(u"Straße", u"STRAßE"));
    EXPECT_FALSE(AnsiSameText(u"abc", u"abd"));
    EXPECT_FALSE(AnsiSameStr(u"abc", u"ABC"));
    EXPECT_TRUE(WideSameText(u"Кот", u"кОТ"));
}

TEST(StringTables, CaseInsensitiveKeysShareAnEntry) {
    TStringHashTable ci(false, 0, 1.0);
    ci.Add(u"ABC", u"first");
    ci.Add(u"abc", u"second");
    EXPECT_EQ(ci.GetCount(), 1);
    EXPECT_EQ(ci.GetItem(u"aBc"), u"second");
    for (const String& k : ci.GetKeysEnumerator()) EXPECT_EQ(k, u"ABC");  // the first key stays
    EXPECT_TRUE(ci.ContainsValue(u"SECOND"));  // values compare like the keys

    TStringHashTable cs(true, 0, 1.0);
    cs.Add(u"ABC", u"first");
    cs.Add(u"abc", u"second");
    EXPECT_EQ(cs.GetCount(), 2);
    EXPECT_FALSE(cs.ContainsValue(u"SECOND"));
    String v = u"stale";
    EXPECT_FALSE(cs.Contains(u"Abc", v));
    EXPECT_EQ(v, u"");
    EXPECT_TRUE(cs.Contains(u"abc", v));
    EXPECT_EQ(v, u"second");
    cs.Remove(u"ABC");
    EXPECT_FALSE(cs.ContainsKey(u"ABC"));
    EXPECT_TRUE(cs.ContainsKey(u"abc"));

    TWideStringHashTable wide(false, 0, 1.0);
    wide.Add(u"Кот", u"cat");
    wide.SetItem(u"кОТ", u"tomcat");
    EXPECT_EQ(wide.GetCount(), 1);
    EXPECT_EQ(wide.GetItem(u"КОТ"), u"tomcat");
}

TEST(StringTables, ManyKeysSurviveGrowthAndShareOfHalfHashedKeys) {
    // Keys that differ only in their second half share a hash: they must
    // still be told apart by comparison.
    TStringHashTable t(true, 0, 0.75);
    for (int i = 0; i < 2000; ++i) {
        String k = u"samehalf" + Str(std::to_string(100000 + i));
        t.Add(k, Str(std::to_string(i)));
    }
    EXPECT_EQ(t.GetCount(), 2000);
    for (int i = 0; i < 2000; ++i) ASSERT_EQ(t.GetItem(u"samehalf" + Str(std::to_string(100000 + i))), Str(std::to_string(i)));
    EXPECT_EQ(t.GetItem(u"absent"), u"");
}

TEST(OwningTables, FreeRemovedReplacedAndClearedValues) {
    gAlive = 0;
    {
        TStringObjHashTable t(true, okValues, 0, 1.0);
        t.Add(u"a", new TCounted(1));
        t.Add(u"b", new TCounted(2));
        t.Add(u"c", new TCounted(3));
        EXPECT_EQ(gAlive, 3);
        t.Remove(u"a");
        EXPECT_EQ(gAlive, 2);
        t.Add(u"b", new TCounted(4));  // replacing frees the old value
        EXPECT_EQ(gAlive, 2);

        TObject* kept = t.Extract(u"c");
        ASSERT_NE(kept, nullptr);
        EXPECT_EQ(gAlive, 2);  // handed back alive
        EXPECT_FALSE(t.ContainsKey(u"c"));
        EXPECT_EQ(t.GetOwnershipKind(), okValues);
        delete kept;
        EXPECT_EQ(t.Extract(u"missing"), nullptr);

        // Replacing a value with the same object frees it too.
        auto* same = new TCounted(5);
        t.Add(u"s", same);
        t.Add(u"s", same);
        EXPECT_EQ(gAlive, 1);
        t.Extract(u"s");  // the entry holds a freed pointer: take it out unfreed
        t.Add(u"x", new TCounted(6));
    }
    EXPECT_EQ(gAlive, 0);  // the destructor freed the rest

    TObjectHashTable borrowed(okNone, 0, 1.0);
    TCounted k1(1), k2(1), v(9);
    borrowed.Add(&k1, &v);
    borrowed.Add(&k2, &v);  // same hash code, different identity
    EXPECT_EQ(borrowed.GetCount(), 2);
    borrowed.Clear();
    EXPECT_EQ(gAlive, 3);
}

TEST(OwningTables, ValueEqualityPerTable) {
    TStringObjHashTable byEquals(true, okNone, 0, 1.0);
    TWideStringObjHashTable byIdentity(true, okNone, 0, 1.0);
    TCounted a(1), b(1);
    byEquals.Add(u"k", &a);
    byIdentity.Add(u"k", &a);
    EXPECT_TRUE(byEquals.ContainsValue(&b));
    EXPECT_FALSE(byIdentity.ContainsValue(&b));
    EXPECT_TRUE(byIdentity.ContainsValue(&a));
}

TEST(InterfaceTables, TakeAndReleaseReferences) {
    IntfRef<TThing> a = Make<TThing>(), b = Make<TThing>();
    {
        TIntegerIHashTable t(0, 1.0);
        t.Add(1, a);
        EXPECT_EQ(a->RefCount(), 2);
        t.Add(1, b);  // replaced: a released, b taken
        EXPECT_EQ(a->RefCount(), 1);
        EXPECT_EQ(b->RefCount(), 2);
        EXPECT_TRUE(SameObject(t.GetItem(1), b));
        EXPECT_EQ(t.GetItem(2), nullptr);
        t.Add(2, a);
        t.Remove(2);
        EXPECT_EQ(a->RefCount(), 1);

        TInterfaceStrHashTable keys(0, 1.0);
        keys.Add(a, u"a");
        keys.Add(a, u"again");
        EXPECT_EQ(keys.GetCount(), 1);
        EXPECT_EQ(a->RefCount(), 2);
        EXPECT_EQ(keys.GetItem(a), u"again");
        EXPECT_FALSE(keys.ContainsKey(b));
    }
    EXPECT_EQ(a->RefCount(), 1);
    EXPECT_EQ(b->RefCount(), 1);
}

TEST(AssignTables, CopiesSameClassAndRefusesOthers) {
    TStringHashTable src(true, 0, 1.0), dst(true, 0, 1.0);
    src.Add(u"k1", u"v1");
    src.Add(u"k2", u"v2");
    dst.Add(u"old", u"gone");
    dst.Assign(&src);
    EXPECT_EQ(dst.GetCount(), 2);
    EXPECT_FALSE(dst.ContainsKey(u"old"));
    EXPECT_EQ(dst.GetItem(u"k2"), u"v2");
    dst.Assign(&dst);
    EXPECT_EQ(dst.GetCount(), 2);

    TWideStringHashTable other(true, 0, 1.0);
    try {
        other.Assign(&src);
        ADD_FAILURE();
    } catch (const EConvertError& e) {
        EXPECT_STREQ(e.what(), "Cannot assign a TStringHashTable to a TWideStringHashTable");
    }
    try {
        other.Assign(nullptr);
        ADD_FAILURE();
    } catch (const EConvertError& e) {
        EXPECT_STREQ(e.what(), "Cannot assign a nil to a TWideStringHashTable");
    }

    TIntegerObjHashTable owning(okValues, 0, 1.0), plain(okNone, 0, 1.0), plain2(okNone, 0, 1.0);
    gAlive = 0;
    owning.Add(1, new TCounted(1));
    try {
        owning.Assign(&plain);
        ADD_FAILURE();
    } catch (const Exception& e) {
        EXPECT_STREQ(e.what(), "Cannot assign to or from collections that lifetime-manage objects");
    }
    plain.Assign(&owning);  // borrowing from an owner is allowed
    EXPECT_EQ(plain.GetItem(1), owning.GetItem(1));
    plain.Clear();
    EXPECT_EQ(gAlive, 1);
}

TEST(StringStream, WritesHalfTheStorageAndReadsItBackTheSameWay) {
    TStringHashTable t(true, 0, 1.0);
    t.Add(u"ABCD", u"wxyz");
    TMemoryStream s;
    t.SaveToStream(s);
    EXPECT_EQ(s.Bytes(), Bytes({4, 0, 0, 0, 'A', 0, 'B', 0, 4, 0, 0, 0, 'w', 0, 'x', 0}));

    s.SetPosition(0);
    TStringHashTable back(true, 0, 1.0);
    back.LoadFromStream(s);
    EXPECT_EQ(back.GetCount(), 1);
    EXPECT_EQ(back.GetItem(String(u"AB\0\0", 4)), String(u"wx\0\0", 4));
    EXPECT_FALSE(back.ContainsKey(u"ABCD"));

    TMemoryStream again;
    back.SaveToStream(again);
    EXPECT_EQ(again.Bytes(), s.Bytes());  // a stream survives a load and save unchanged
}

TEST(StringStream, TwoByteTextKeepsOnlyLowBytesOfTheFirstHalf) {
    TStringHashTable t(true, 0, 1.0);
    t.Add(u"Ж", u"ЖЖ");  // U+0416
    TMemoryStream s;
    t.SaveToStream(s);
    EXPECT_EQ(s.Bytes(), Bytes({1, 0, 0, 0, 0x16, 2, 0, 0, 0, 0x16, 0x04}));
    s.SetPosition(0);
    TStringHashTable back(true, 0, 1.0);
    back.LoadFromStream(s);
    EXPECT_EQ(back.GetItem(u"\u0016"), String(u"Ж\0", 2));
    EXPECT_EQ(back.GetItem(String()), u"");
}

TEST(StringStream, CaseInsensitiveLoadMergesKeysAndEmptyStringsRoundTrip) {
    TMemoryStream s;
    Put(s, Bytes({2, 0, 0, 0, 'A', 0, 2, 0, 0, 0, '1', 0,  //
                  2, 0, 0, 0, 'a', 0, 2, 0, 0, 0, '2', 0,  //
                  0, 0, 0, 0, 0, 0, 0, 0}));
    TStringHashTable t(false, 0, 1.0);
    t.LoadFromStream(s);
    EXPECT_EQ(t.GetCount(), 2);
    EXPECT_EQ(t.GetItem(String(u"A\0", 2)), String(u"2\0", 2));
    EXPECT_TRUE(t.ContainsKey(u""));
}

TEST(StringStream, CorruptStreamsRaiseAndKeepEarlierPairs) {
    const std::vector<uint8_t> good = {2, 0, 0, 0, 'k', 0, 2, 0, 0, 0, 'v', 0};
    auto load = [&](std::vector<uint8_t> tail, const char* fragment) {
        std::vector<uint8_t> all = good;
        all.insert(all.end(), tail.begin(), tail.end());
        TMemoryStream s;
        Put(s, all);
        TStringHashTable t(true, 0, 1.0);
        try {
            t.LoadFromStream(s);
            ADD_FAILURE() << "no error for " << fragment;
        } catch (const EReadError& e) {
            EXPECT_NE(std::string(e.what()).find(fragment), std::string::npos) << e.what();
        }
        EXPECT_EQ(t.GetCount(), 1) << fragment;
        EXPECT_TRUE(t.ContainsKey(String(u"k\0", 2))) << fragment;
    };
    load({10, 0, 0, 0, 'x', 0, 'y'}, "key length 10 at position 12 runs past the end");
    load({0xFF, 0xFF, 0xFF, 0x7F}, "runs past the end");                // huge
    load({0xFE, 0xFF, 0xFF, 0xFF}, "negative key length -2");          // negative
    load({1, 0}, "key length at position 12 is cut short");              // cut length
    load({1, 0, 0, 0, 'x'}, "value length at position 17 is cut short");  // key without value
    load({1, 0, 0, 0, 'x', 5, 0, 0, 0, 'y'}, "value length 5");
}

TEST(StringStream, FilesRoundTripAndMissingFilesRaise) {
    const auto path = std::filesystem::temp_directory_path() / ("ide_coll_" + std::to_string(::getpid()) + ".bin");
    const String name = Str(path.string());
    TStringHashTable t(true, 0, 1.0);
    t.Add(u"key1", u"value1");
    t.Add(u"key2", u"value2");
    t.SaveToFile(name);
    EXPECT_EQ(std::filesystem::file_size(path), 2u * (4 + 4 + 4 + 6));
    TStringHashTable back(true, 0, 1.0);
    back.LoadFromFile(name);
    EXPECT_EQ(back.GetItem(String(u"ke\0\0", 4)), String(u"val\0\0\0", 6));
    EXPECT_EQ(back.GetCount(), 1);  // "key1" and "key2" both cut to "ke"
    std::filesystem::remove(path);
    EXPECT_THROW(back.LoadFromFile(name), EFOpenError);
}
