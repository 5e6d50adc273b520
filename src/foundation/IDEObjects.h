// Item values: small reference-counted objects that models carry without
// looking into them (text, indexes, pairs), and the identity-hashed table
// keyed by them.
#pragma once

#include <unordered_map>
#include <vector>

#include "foundation/Interface.h"

namespace ide {

struct IStringObject : virtual IInterface {
    IDE_INTERFACE(IStringObject, "287FCB83-0883-11D1-AE97-0020AF32BB01")
    virtual String GetString() = 0;
};

struct IHashObject : virtual IInterface {
    IDE_INTERFACE(IHashObject, "287FCB84-0883-11D1-AE97-0020AF32BB01")
    virtual int32_t GetHashCode() = 0;
};

struct IIndexObject : virtual IInterface {
    IDE_INTERFACE(IIndexObject, "A0F3E830-1AA7-11D1-AEAF-0020AF32BB01")
    virtual int GetIndex() = 0;
};

struct IPair : virtual IInterface {
    IDE_INTERFACE(IPair, "5C0E6A11-7D42-4E0B-A3B1-9E27C4D81F60")
    virtual IntfRef<IInterface> GetFirst() = 0;
    virtual IntfRef<IInterface> GetSecond() = 0;
};

// The hash of a text: below 16 characters every character counts
// (H * 37 + c); from 16 on, H * 39 + c over every (N div 8)-th character.
int32_t TextHashCode(const String& S);

// A base whose hash code is the object's identity.
class THashObject : public TInterfacedObject, public virtual IHashObject {
public:
    int32_t GetHashCode() override { return TObject::GetHashCode(); }
};

class TTextObject : public TInterfacedObject, public virtual IStringObject, public virtual IHashObject {
public:
    explicit TTextObject(String S = {}) : FString(std::move(S)) {}
    String GetString() override { return FString; }
    int32_t GetHashCode() override { return TextHashCode(FString); }
    const String& Text() const { return FString; }

protected:
    String FString;
};

class TIntegerObject : public TInterfacedObject, public virtual IIndexObject, public virtual IHashObject {
public:
    explicit TIntegerObject(int Value) : FValue(Value) {}
    int GetIndex() override { return FValue; }
    int32_t GetHashCode() override { return FValue; }

private:
    int FValue;
};

// A text with an integer.
class TTextIndexObject : public TTextObject, public virtual IIndexObject, public virtual IPair {
public:
    TTextIndexObject(String S, int Index) : TTextObject(std::move(S)), FIndex(Index) {}
    int GetIndex() override { return FIndex; }
    IntfRef<IInterface> GetFirst() override { return Make<TTextObject>(FString); }
    IntfRef<IInterface> GetSecond() override { return Make<TIntegerObject>(FIndex); }

private:
    int FIndex;
};

// A reference-counted holder of one plain object (not owned).
class TTarnObject : public TInterfacedObject {
public:
    explicit TTarnObject(TObject* Obj) : FObject(Obj) {}
    TObject* GetObject() const { return FObject; }

private:
    TObject* FObject;
};

// A table keyed by IHashObject with IInterface values. Two keys are the same
// when they are the same object, or when their hash codes agree and they carry
// the same text (IStringObject) or the same index (IIndexObject).
class THashtable : public TObject {
public:
    IntfRef<IInterface> Get(const IntfRef<IHashObject>& Key) const;
    // Stores Value under Key and answers the value it replaced, if any.
    IntfRef<IInterface> Put(const IntfRef<IHashObject>& Key, const IntfRef<IInterface>& Value);
    IntfRef<IInterface> Remove(const IntfRef<IHashObject>& Key);
    bool ContainsKey(const IntfRef<IHashObject>& Key) const;
    bool Contains(const IntfRef<IInterface>& Value) const;
    void Clear() { FBuckets.clear(); FCount = 0; }
    int Count() const { return FCount; }
    IntfRef<IInterfaceList> Keys() const;
    IntfRef<IInterfaceList> Elements() const;

private:
    struct Entry {
        IntfRef<IHashObject> Key;
        IntfRef<IInterface> Value;
    };
    static bool SameKey(const IntfRef<IHashObject>& A, const IntfRef<IHashObject>& B);
    const Entry* FindEntry(const IntfRef<IHashObject>& Key) const;
    std::unordered_map<int32_t, std::vector<Entry>> FBuckets;
    int FCount = 0;
};

}  // namespace ide
