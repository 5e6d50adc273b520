#include "foundation/Strings.h"

#include <cstdio>

#include "foundation/TextCompare.h"

namespace ide {

void TStrings::Error(const char* msg, int data) {
    char buf[256];
    std::snprintf(buf, sizeof buf, msg, data);
    throw EStringListError(buf);
}

void TStrings::Put(int Index, const String& S) {
    TObject* o = GetObject(Index);
    Delete(Index);
    InsertObject(Index, S, o);
}

TObject* TStrings::GetObject(int) const { return nullptr; }
void TStrings::PutObject(int, TObject*) {}

void TStrings::InsertObject(int Index, const String& S, TObject* AObject) {
    Insert(Index, S);
    PutObject(Index, AObject);
}

int TStrings::Add(const String& S) {
    int i = GetCount();
    Insert(i, S);
    return i;
}

int TStrings::AddObject(const String& S, TObject* AObject) {
    int i = Add(S);
    PutObject(i, AObject);
    return i;
}

void TStrings::Exchange(int i1, int i2) {
    BeginUpdate();
    try {
        String s = Get(i1);
        TObject* o = GetObject(i1);
        Put(i1, Get(i2));
        PutObject(i1, GetObject(i2));
        Put(i2, s);
        PutObject(i2, o);
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

int TStrings::CompareStrings(std::u16string_view a, std::u16string_view b) const { return AnsiCompareText(a, b); }

int TStrings::IndexOf(std::u16string_view S) const {
    for (int i = 0, n = GetCount(); i < n; ++i)
        if (CompareStrings(Get(i), S) == 0) return i;
    return -1;
}

int TStrings::IndexOfName(std::u16string_view Name) const {
    for (int i = 0, n = GetCount(); i < n; ++i) {
        String s = Get(i);
        size_t p = s.find(NameValueSeparator);
        if (p != String::npos && CompareStrings(std::u16string_view(s).substr(0, p), Name) == 0) return i;
    }
    return -1;
}

int TStrings::IndexOfObject(const TObject* AObject) const {
    for (int i = 0, n = GetCount(); i < n; ++i)
        if (GetObject(i) == AObject) return i;
    return -1;
}

void TStrings::Move(int Cur, int New) {
    if (Cur == New) return;
    BeginUpdate();
    try {
        String s = Get(Cur);
        TObject* o = GetObject(Cur);
        Delete(Cur);
        InsertObject(New, s, o);
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

void TStrings::AddStrings(const TStrings& src) {
    BeginUpdate();
    try {
        for (int i = 0, n = src.GetCount(); i < n; ++i) AddObject(src.Get(i), src.GetObject(i));
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

void TStrings::Assign(const TStrings& src) {
    if (&src == this) return;
    BeginUpdate();
    try {
        Clear();
        NameValueSeparator = src.NameValueSeparator;
        AddStrings(src);
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

void TStrings::Assign(TPersistent* Source) {
    if (auto* s = dynamic_cast<TStrings*>(Source)) Assign(*s);
    else TPersistent::Assign(Source);
}

bool TStrings::Equals(const TStrings& o) const {
    if (GetCount() != o.GetCount()) return false;
    for (int i = 0, n = GetCount(); i < n; ++i)
        if (Get(i) != o.Get(i)) return false;
    return true;
}

String TStrings::Names(int Index) const {
    String s = Get(Index);
    size_t p = s.find(NameValueSeparator);
    return p == String::npos ? String() : s.substr(0, p);
}

String TStrings::ValueFromIndex(int Index) const {
    if (Index < 0) return String();
    String s = Get(Index);
    size_t p = s.find(NameValueSeparator);
    return p == String::npos ? String() : s.substr(p + 1);
}

String TStrings::Values(std::u16string_view Name) const {
    int i = IndexOfName(Name);
    return i < 0 ? String() : ValueFromIndex(i);
}

void TStrings::SetValue(std::u16string_view Name, const String& Value) {
    int i = IndexOfName(Name);
    String row = String(Name) + NameValueSeparator + Value;
    if (!Value.empty()) {
        if (i < 0) Add(row);
        else Put(i, row);
    } else if (i >= 0) Delete(i);
}

String TStrings::GetText() const {
    String r;
    for (int i = 0, n = GetCount(); i < n; ++i) {
        r += Get(i);
        r.push_back(u'\n');
    }
    return r;
}

void TStrings::SetText(std::u16string_view t) {
    BeginUpdate();
    try {
        Clear();
        size_t i = 0;
        while (i < t.size()) {
            size_t j = i;
            while (j < t.size() && t[j] != u'\r' && t[j] != u'\n') ++j;
            Add(String(t.substr(i, j - i)));
            if (j < t.size() && t[j] == u'\r') ++j;
            if (j < t.size() && t[j] == u'\n') ++j;
            i = j;
        }
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

String TStrings::GetCommaText() const {
    String r;
    for (int i = 0, n = GetCount(); i < n; ++i) {
        String s = Get(i);
        if (i) r.push_back(u',');
        bool quote = s.empty() && n == 1;
        for (Char c : s)
            if (c <= u' ' || c == u',' || c == u'"') quote = true;
        if (!quote) { r += s; continue; }
        r.push_back(u'"');
        for (Char c : s) {
            if (c == u'"') r.push_back(u'"');
            r.push_back(c);
        }
        r.push_back(u'"');
    }
    return r;
}

void TStrings::SetCommaText(std::u16string_view t) {
    BeginUpdate();
    try {
        Clear();
        size_t i = 0;
        auto skip = [&] { while (i < t.size() && t[i] <= u' ') ++i; };
        skip();
        while (i < t.size()) {
            String s;
            if (t[i] == u'"') {
                ++i;
                while (i < t.size()) {
                    if (t[i] == u'"') {
                        if (i + 1 < t.size() && t[i + 1] == u'"') { s.push_back(u'"'); i += 2; continue; }
                        ++i;
                        break;
                    }
                    s.push_back(t[i++]);
                }
            } else {
                while (i < t.size() && t[i] > u' ' && t[i] != u',') s.push_back(t[i++]);
            }
            Add(s);
            skip();
            if (i < t.size() && t[i] == u',') {
                ++i;
                skip();
                if (i == t.size()) Add(String());
            }
        }
    } catch (...) {
        EndUpdate();
        throw;
    }
    EndUpdate();
}

void TStrings::BeginUpdate() {
    if (FUpdateCount++ == 0) SetUpdateState(true);
}

void TStrings::EndUpdate() {
    if (FUpdateCount == 0) return;
    if (--FUpdateCount == 0) SetUpdateState(false);
}

// --- TStringList -------------------------------------------------------------

TStringList::~TStringList() {
    OnChange = nullptr;
    OnChanging = nullptr;
    if (FOwnsObjects)
        for (auto& it : FList) delete it.O;
}

void TStringList::CheckIndex(int Index) const {
    if (Index < 0 || Index >= GetCount()) Error("List index out of bounds (%d)", Index);
}

void TStringList::Changed() {
    if (UpdateCount() == 0 && OnChange) OnChange(this);
}

void TStringList::Changing() {
    if (UpdateCount() == 0 && OnChanging) OnChanging(this);
}

void TStringList::SetUpdateState(bool Updating) {
    if (Updating) {
        if (OnChanging) OnChanging(this);
    } else if (OnChange) OnChange(this);
}

int TStringList::CompareStrings(std::u16string_view a, std::u16string_view b) const {
    return FCaseSensitive ? AnsiCompareStr(a, b) : AnsiCompareText(a, b);
}

String TStringList::Get(int Index) const {
    CheckIndex(Index);
    return FList[static_cast<size_t>(Index)].S;
}

void TStringList::Put(int Index, const String& S) {
    if (FSorted) Error("Operation not allowed on sorted list", 0);
    CheckIndex(Index);
    Changing();
    FList[static_cast<size_t>(Index)].S = S;
    Changed();
}

TObject* TStringList::GetObject(int Index) const {
    CheckIndex(Index);
    return FList[static_cast<size_t>(Index)].O;
}

void TStringList::PutObject(int Index, TObject* AObject) {
    CheckIndex(Index);
    Changing();
    FList[static_cast<size_t>(Index)].O = AObject;
    Changed();
}

void TStringList::Clear() {
    if (FList.empty()) return;
    Changing();
    std::vector<Item> old;
    old.swap(FList);
    if (FOwnsObjects)
        for (auto& it : old) delete it.O;
    Changed();
}

void TStringList::Delete(int Index) {
    CheckIndex(Index);
    Changing();
    TObject* o = FList[static_cast<size_t>(Index)].O;
    FList.erase(FList.begin() + Index);
    if (FOwnsObjects) delete o;
    Changed();
}

void TStringList::InsertItem(int Index, const String& S, TObject* AObject) {
    Changing();
    FList.insert(FList.begin() + Index, Item{S, AObject});
    Changed();
}

void TStringList::Insert(int Index, const String& S) { InsertObject(Index, S, nullptr); }

void TStringList::InsertObject(int Index, const String& S, TObject* AObject) {
    if (FSorted) Error("Operation not allowed on sorted list", 0);
    if (Index < 0 || Index > GetCount()) Error("List index out of bounds (%d)", Index);
    InsertItem(Index, S, AObject);
}

int TStringList::Add(const String& S) { return AddObject(S, nullptr); }

int TStringList::AddObject(const String& S, TObject* AObject) {
    int index;
    if (!FSorted) index = GetCount();
    else if (Find(S, index)) {
        switch (FDuplicates) {
            case dupIgnore: return index;
            case dupError: Error("String list does not allow duplicates", 0);
            case dupAccept: break;
        }
    }
    InsertItem(index, S, AObject);
    return index;
}

void TStringList::Exchange(int i1, int i2) {
    CheckIndex(i1);
    CheckIndex(i2);
    Changing();
    std::swap(FList[static_cast<size_t>(i1)], FList[static_cast<size_t>(i2)]);
    Changed();
}

void TStringList::Move(int Cur, int New) {
    if (Cur == New) return;
    if (FSorted) Error("Operation not allowed on sorted list", 0);
    CheckIndex(Cur);
    CheckIndex(New);
    Changing();
    Item it = std::move(FList[static_cast<size_t>(Cur)]);
    FList.erase(FList.begin() + Cur);
    FList.insert(FList.begin() + New, std::move(it));
    Changed();
}

bool TStringList::Find(std::u16string_view S, int& Index) const {
    int l = 0, h = GetCount() - 1;
    bool found = false;
    while (l <= h) {
        int m = (l + h) / 2;
        int c = CompareStrings(FList[static_cast<size_t>(m)].S, S);
        if (c < 0) l = m + 1;
        else {
            h = m - 1;
            if (c == 0) {
                found = true;
                if (FDuplicates != dupAccept) l = m;
            }
        }
    }
    Index = l;
    return found;
}

int TStringList::IndexOf(std::u16string_view S) const {
    if (!FSorted) return TStrings::IndexOf(S);
    int i;
    return Find(S, i) ? i : -1;
}

void TStringList::SortBy(const TStringListSortCompare& Compare) {
    // A stable sort of an index permutation: the comparison speaks of the
    // list's own indexes, as a sort callback expects.
    std::vector<int> idx(FList.size());
    for (size_t i = 0; i < idx.size(); ++i) idx[i] = static_cast<int>(i);
    std::stable_sort(idx.begin(), idx.end(), [&](int a, int b) { return Compare(*this, a, b) < 0; });
    std::vector<Item> sorted;
    sorted.reserve(FList.size());
    for (int i : idx) sorted.push_back(std::move(FList[static_cast<size_t>(i)]));
    FList.swap(sorted);
}

void TStringList::CustomSort(const TStringListSortCompare& Compare) {
    if (FSorted || FList.size() < 2) return;
    Changing();
    SortBy(Compare);
    Changed();
}

void TStringList::Sort() {
    if (FList.size() < 2) return;
    Changing();
    SortBy([](TStringList& l, int a, int b) {
        return l.CompareStrings(l.FList[static_cast<size_t>(a)].S, l.FList[static_cast<size_t>(b)].S);
    });
    Changed();
}

void TStringList::SetSorted(bool Value) {
    if (FSorted == Value) return;
    if (Value) Sort();
    FSorted = Value;
}

void TStringList::SetCaseSensitive(bool Value) {
    if (FCaseSensitive == Value) return;
    FCaseSensitive = Value;
    if (FSorted) Sort();
}

}  // namespace ide
