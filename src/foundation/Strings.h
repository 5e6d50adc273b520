// TStrings, the list of text rows with an object per row and name=value
// access, and TStringList, its concrete form with sorting, a duplicates
// policy and change events.
//
// Names and IndexOf compare case-insensitively (locale-independent folding,
// foundation/TextCompare.h) unless CaseSensitive is set on a TStringList. A
// row "name=value" has the name before its first separator (NameValueSeparator,
// "=" by default); a row without one has no name.
//
// BeginUpdate/EndUpdate nest; OnChanging fires before the first change and
// OnChange after the last, so a batch of changes inside one update pair fires
// each once. Objects are not owned unless OwnsObjects is set.
//
// Thread: one at a time.
#pragma once

#include "foundation/Component.h"

namespace ide {

IDE_DECLARE_EXCEPTION(EStringListError, EListError)

enum TDuplicates { dupIgnore, dupAccept, dupError };

class TStrings : public TPersistent {
public:
    ~TStrings() override = default;

    virtual int GetCount() const = 0;
    virtual String Get(int Index) const = 0;
    virtual void Put(int Index, const String& S);
    virtual TObject* GetObject(int Index) const;
    virtual void PutObject(int Index, TObject* AObject);
    virtual void Clear() = 0;
    virtual void Delete(int Index) = 0;
    virtual void Insert(int Index, const String& S) = 0;
    virtual void InsertObject(int Index, const String& S, TObject* AObject);
    virtual int Add(const String& S);
    virtual int AddObject(const String& S, TObject* AObject);
    virtual void Exchange(int Index1, int Index2);
    virtual int IndexOf(std::u16string_view S) const;
    virtual int IndexOfName(std::u16string_view Name) const;
    int IndexOfObject(const TObject* AObject) const;
    virtual void Move(int CurIndex, int NewIndex);
    void AddStrings(const TStrings& Strings);
    void Assign(TPersistent* Source) override;
    void Assign(const TStrings& Source);
    bool Equals(const TStrings& Other) const;

    int Count() const { return GetCount(); }
    String operator[](int Index) const { return Get(Index); }

    // Name=value access.
    String Names(int Index) const;
    String ValueFromIndex(int Index) const;
    String Values(std::u16string_view Name) const;
    // Sets the value of the row with that name; adds a row when none has
    // it; an empty value deletes the row.
    void SetValue(std::u16string_view Name, const String& Value);
    Char NameValueSeparator = u'=';

    // Rows joined by line feeds (each row ends with one); SetText splits at
    // CR, LF or CRLF.
    String GetText() const;
    void SetText(std::u16string_view Text);
    // Rows separated by commas; a row with a space, comma or quote is
    // double-quoted with inner quotes doubled.
    String GetCommaText() const;
    void SetCommaText(std::u16string_view Text);

    void BeginUpdate();
    void EndUpdate();
    int UpdateCount() const { return FUpdateCount; }

protected:
    // Called with true at the outer BeginUpdate and false at the outer
    // EndUpdate.
    virtual void SetUpdateState(bool /*Updating*/) {}
    // How names and rows compare: case-insensitive in the base.
    virtual int CompareStrings(std::u16string_view S1, std::u16string_view S2) const;
    [[noreturn]] static void Error(const char* Msg, int Data);

private:
    int FUpdateCount = 0;
};

class TStringList;
using TStringListSortCompare = std::function<int(TStringList& List, int Index1, int Index2)>;

class TStringList : public TStrings {
public:
    TStringList() = default;
    explicit TStringList(bool OwnsObjects) : FOwnsObjects(OwnsObjects) {}
    ~TStringList() override;

    int GetCount() const override { return static_cast<int>(FList.size()); }
    String Get(int Index) const override;
    void Put(int Index, const String& S) override;
    TObject* GetObject(int Index) const override;
    void PutObject(int Index, TObject* AObject) override;
    void Clear() override;
    void Delete(int Index) override;
    void Insert(int Index, const String& S) override;
    void InsertObject(int Index, const String& S, TObject* AObject) override;
    int Add(const String& S) override;
    int AddObject(const String& S, TObject* AObject) override;
    void Exchange(int Index1, int Index2) override;
    // Moves the row with its object (an owned object isn't freed).
    void Move(int CurIndex, int NewIndex) override;
    int IndexOf(std::u16string_view S) const override;

    // Binary search of a sorted list: true when found; Index is the row or
    // the insertion point. With duplicates accepted, the first equal row.
    virtual bool Find(std::u16string_view S, int& Index) const;
    virtual void Sort();
    virtual void CustomSort(const TStringListSortCompare& Compare);

    TDuplicates GetDuplicates() const { return FDuplicates; }
    void SetDuplicates(TDuplicates Value) { FDuplicates = Value; }
    bool GetSorted() const { return FSorted; }
    void SetSorted(bool Value);
    bool GetCaseSensitive() const { return FCaseSensitive; }
    void SetCaseSensitive(bool Value);
    bool GetOwnsObjects() const { return FOwnsObjects; }
    void SetOwnsObjects(bool Value) { FOwnsObjects = Value; }

    TNotifyEvent OnChange;
    TNotifyEvent OnChanging;

protected:
    virtual void Changed();
    virtual void Changing();
    void SetUpdateState(bool Updating) override;
    int CompareStrings(std::u16string_view S1, std::u16string_view S2) const override;
    virtual void InsertItem(int Index, const String& S, TObject* AObject);

private:
    struct Item {
        String S;
        TObject* O = nullptr;
    };
    void CheckIndex(int Index) const;
    void SortBy(const TStringListSortCompare& Compare);

    std::vector<Item> FList;
    TDuplicates FDuplicates = dupIgnore;
    bool FSorted = false;
    bool FCaseSensitive = false;
    bool FOwnsObjects = false;
};

}  // namespace ide
