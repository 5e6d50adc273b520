// An in-memory provider for namespace tests: a tree of named nodes, each
// item list one byte of kind (0) and the name's bytes. Column behaviour and
// attribute answers are set per test; every call is counted by the base.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "shellexplorer/IDEVirtualShellProvider.h"

namespace ide::test {

struct TFakeNode {
    std::string Name;
    bool Folder = false;
    uint64_t Size = 0;
    int64_t WriteTime = 0;
    std::string Type;  // empty: the provider knows no type
    std::vector<std::unique_ptr<TFakeNode>> Children;
};

class TFakeShellProvider : public TShellProvider {
public:
    TFakeNode Root{"", true, 0, 0, "", {}};
    // Column behaviour: Folder2Columns < 0 means no column interface.
    int Folder2Columns = -1;
    int LegacyColumns = -1;
    bool LegacyDetailsFail = false;
    uint32_t LastRequest = 0;
    int CompareResult = 0;  // when non-zero, CompareIDs answers this
    int OpenIconIndex = 7;

    TFakeNode* Add(TFakeNode* Parent, std::string Name, bool Folder, uint64_t Size = 0, std::string Type = "") {
        auto N = std::make_unique<TFakeNode>();
        N->Name = std::move(Name);
        N->Folder = Folder;
        N->Size = Size;
        N->Type = std::move(Type);
        N->WriteTime = int64_t(Parent->Children.size() + 1) * 1000000000;
        Parent->Children.push_back(std::move(N));
        return Parent->Children.back().get();
    }
    static PItemIDList Item(const std::string& Name) {
        std::string P = std::string(1, '\0') + Name;
        return TPIDLManager::MakeItem(P.data(), P.size());
    }
    // The absolute list of a path of names.
    static PItemIDList Path(const std::vector<std::string>& Names) {
        PItemIDList Abs = TPIDLManager::MakeDesktop();
        for (const auto& N : Names) {
            TPIDLHolder One(Item(N));
            PItemIDList Next = PIDLMgr.AppendPIDL(Abs, One.Get());
            PIDLMgr.FreePIDL(Abs);
            Abs = Next;
        }
        return Abs;
    }

protected:
    TFakeNode* Find(PCItemIDList Abs) {
        TFakeNode* N = &Root;
        for (PCItemIDList P = Abs; P && PIDLItemSize(P); P += PIDLItemSize(P)) {
            std::string Name(reinterpret_cast<const char*>(P) + 3, PIDLItemSize(P) - 3u);
            TFakeNode* Next = nullptr;
            for (auto& C : N->Children)
                if (C->Name == Name) Next = C.get();
            if (!Next) return nullptr;
            N = Next;
        }
        return N;
    }
    TFakeNode* Find(PCItemIDList Folder, PCItemIDList Item) {
        TPIDLHolder Abs(PIDLMgr.AppendPIDL(Folder, Item));
        return Find(Abs.Get());
    }

    std::unique_ptr<TShellEnum> DoEnumObjects(PCItemIDList Folder, uint32_t Flags) override {
        struct E : TShellEnum {
            std::vector<std::string> Names;
            size_t I = 0;
            bool Next(PItemIDList& Out) override {
                if (I >= Names.size()) return false;
                Out = Item(Names[I++]);
                return true;
            }
        };
        TFakeNode* N = Find(Folder);
        if (!N || !N->Folder) return nullptr;
        auto Enum = std::make_unique<E>();
        for (auto& C : N->Children)
            if (C->Folder ? (Flags & SHCONTF_FOLDERS) : (Flags & SHCONTF_NONFOLDERS)) Enum->Names.push_back(C->Name);
        return Enum;
    }
    uint32_t DoGetAttributesOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Request) override {
        LastRequest = Request;
        TFakeNode* N = Find(Folder, Item);
        if (!N) return 0;
        uint32_t R = SFGAO_FILESYSTEM | SFGAO_CANCOPY | SFGAO_CANDELETE | SFGAO_CANRENAME;
        if (N->Folder) R |= SFGAO_FOLDER;
        if (!N->Name.empty() && N->Name[0] == '.') R |= SFGAO_HIDDEN;
        return R & Request;
    }
    bool DoGetDisplayNameOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Flags, String& Name) override {
        TFakeNode* N = Folder ? Find(Folder, Item) : &Root;
        if (!N) return false;
        Name = Str((Flags & SHGDN_FORPARSING) ? "/" + N->Name : N->Name);
        return true;
    }
    bool DoSetNameOf(PCItemIDList Folder, PCItemIDList Item, const String& Name, PItemIDList& NewItem) override {
        TFakeNode* N = Find(Folder, Item);
        if (!N) return false;
        N->Name = Utf8(Name);
        NewItem = TFakeShellProvider::Item(N->Name);
        return true;
    }
    PItemIDList DoParseDisplayName(const std::string& Path) override {
        std::vector<std::string> Names;
        size_t P = 1;
        while (P < Path.size()) {
            size_t Q = Path.find('/', P);
            if (Q == std::string::npos) Q = Path.size();
            Names.push_back(Path.substr(P, Q - P));
            P = Q + 1;
        }
        PItemIDList Abs = TFakeShellProvider::Path(Names);
        if (!Find(Abs)) {
            PIDLMgr.FreePIDL(Abs);
            return nullptr;
        }
        return Abs;
    }
    int DoCompareIDs(PCItemIDList Folder, int Column, PCItemIDList I1, PCItemIDList I2) override {
        if (CompareResult) return CompareResult;
        TFakeNode* A = Find(Folder, I1);
        TFakeNode* B = Find(Folder, I2);
        if (!A || !B) return 0;
        if (Column == 1) return A->Size < B->Size ? -1 : A->Size > B->Size ? 1 : 0;
        if (Column == 2) return A->Type.compare(B->Type);
        return A->Name.compare(B->Name);
    }
    bool DoSupportsFolder2(PCItemIDList) override { return Folder2Columns >= 0; }
    bool DoGetDefaultColumnState(PCItemIDList, int Column, uint32_t& State) override {
        State = uint32_t(SHCOLSTATE_TYPE_STR) | (Column < 2 ? uint32_t(SHCOLSTATE_ONBYDEFAULT) : 0u);
        return Column < Folder2Columns;
    }
    bool DoGetDetailsOf(PCItemIDList Folder, PCItemIDList Item, int Column, String& Text) override {
        if (Column >= Folder2Columns) return false;
        if (!Item) {
            Text = Str("F2 title " + std::to_string(Column));
            return true;
        }
        TFakeNode* N = Find(Folder, Item);
        Text = Str("F2 " + (N ? N->Name : std::string("?")) + " " + std::to_string(Column));
        return N != nullptr;
    }
    bool DoSupportsDetails(PCItemIDList) override { return LegacyColumns >= 0; }
    bool DoGetDetailsOfLegacy(PCItemIDList Folder, PCItemIDList Item, int Column, String& Text) override {
        if (Column >= LegacyColumns || (Item && LegacyDetailsFail)) return false;
        TFakeNode* N = Item ? Find(Folder, Item) : nullptr;
        Text = Str("L " + (N ? N->Name : std::string("title")) + " " + std::to_string(Column));
        return true;
    }
    bool DoGetFindData(PCItemIDList Absolute, TFindData& Data) override {
        TFakeNode* N = Find(Absolute);
        if (!N || N == &Root) return false;
        Data.Mode = N->Folder ? 0040755 : 0100644;
        Data.Size = N->Size;
        Data.LastWriteTime = N->WriteTime;
        Data.FileName = N->Name;
        return true;
    }
    bool DoGetFileTypeName(PCItemIDList Absolute, String& TypeName) override {
        TFakeNode* N = Find(Absolute);
        TypeName = N ? Str(N->Type) : String();
        return !TypeName.empty();
    }
    int DoGetIconIndex(PCItemIDList Absolute, bool Open) override {
        TFakeNode* N = Find(Absolute);
        return N && N->Folder ? (Open ? OpenIconIndex : 3) : (Open ? 0 : 4);
    }
    PItemIDList DoSpecialFolderLocation(TSpecialFolder Folder) override {
        if (Folder == TSpecialFolder::sfDesktop) return TPIDLManager::MakeDesktop();
        if (Folder == TSpecialFolder::sfTrash) return Path({"Trash"});
        return nullptr;
    }
    bool DoPathOf(PCItemIDList, std::string&) override { return false; }
};

}  // namespace ide::test
