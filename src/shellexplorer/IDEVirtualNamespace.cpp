#include "shellexplorer/IDEVirtualNamespace.h"

#include <sys/stat.h>

#include <cstring>
#include <ctime>

namespace ide {

namespace {

const char* const SNonExistentFile = "Trying to create a TNamespace on a non existant File object";
const char* const SNotSiblings = "PIDLs to operate on are not siblings of the Namespace doing the operation.";
const char* const DefaultTitles[] = {"Name", "Size", "Type", "Modified", "Attributes",
                                     "Created", "Accessed", "Path", "DOS Name", "Custom"};
// The most columns a folder may claim before its count is distrusted.
constexpr int MaxColumns = 200;

String GroupDigits(uint64_t V) {
    std::string Digits = std::to_string(V);
    std::string Out;
    int N = static_cast<int>(Digits.size());
    for (int I = 0; I < N; ++I) {
        if (I > 0 && (N - I) % 3 == 0) Out += ',';
        Out += Digits[static_cast<size_t>(I)];
    }
    return Str(Out);
}

bool NameIsHidden(const TFindData& D) { return !D.FileName.empty() && D.FileName[0] == '.'; }

}  // namespace

String FormatSizeKB(uint64_t Size) {
    // Whole kilobytes, rounded up, so any non-empty file shows at least 1 KB.
    uint64_t KB = Size / 1024 + (Size % 1024 ? 1 : 0);
    return GroupDigits(KB) + u" KB";
}

namespace {

// The local time's offset from UTC over a window of one hour, as the time
// zone rules gave it when the window was filled. A window whose two ends
// disagree is never kept, so an offset change inside it is never missed.
// The window belongs to the zone that was current then (tzset changes
// the zone's names and offset).
struct TLocalOffset {
    time_t Start = 1, End = 0;  // [Start, End), empty at first
    long Offset = 0;
    const char* Names[2] = {nullptr, nullptr};
    long Zone = 0;
};

bool LocalOffsetOf(time_t Secs, long& Offset) {
    thread_local TLocalOffset Cache;
    if (Secs >= Cache.Start && Secs < Cache.End && Cache.Names[0] == tzname[0] && Cache.Names[1] == tzname[1] &&
        Cache.Zone == timezone) {
        Offset = Cache.Offset;
        return true;
    }
    struct tm Tm;
    if (!localtime_r(&Secs, &Tm)) return false;
    Offset = Tm.tm_gmtoff;
    time_t Start = Secs - ((Secs % 3600) + 3600) % 3600;
    time_t Last = Start + 3599;
    struct tm TmStart, TmLast;
    if (localtime_r(&Start, &TmStart) && localtime_r(&Last, &TmLast) && TmStart.tm_gmtoff == Offset &&
        TmLast.tm_gmtoff == Offset)
        Cache = {Start, Start + 3600, Offset, {tzname[0], tzname[1]}, timezone};
    return true;
}

// Year, month and day of a count of days since 1970-01-01 (proleptic
// Gregorian calendar).
void CivilFromDays(int64_t Z, int64_t& Y, unsigned& M, unsigned& D) {
    Z += 719468;
    const int64_t Era = (Z >= 0 ? Z : Z - 146096) / 146097;
    const unsigned Doe = static_cast<unsigned>(Z - Era * 146097);
    const unsigned Yoe = (Doe - Doe / 1460 + Doe / 36524 - Doe / 146096) / 365;
    Y = static_cast<int64_t>(Yoe) + Era * 400;
    const unsigned Doy = Doe - (365 * Yoe + Yoe / 4 - Yoe / 100);
    const unsigned Mp = (5 * Doy + 2) / 153;
    D = Doy - (153 * Mp + 2) / 5 + 1;
    M = Mp < 10 ? Mp + 3 : Mp - 9;
    if (M <= 2) ++Y;
}

}  // namespace

String FormatFileTime(int64_t Nanos) {
    // "YYYY-MM-DD hh:mm" in local time.
    time_t Secs = static_cast<time_t>(Nanos / 1000000000);
    if (Nanos < 0 && Nanos % 1000000000) --Secs;
    long Offset;
    if (!LocalOffsetOf(Secs, Offset)) return String();
    const int64_t Local = static_cast<int64_t>(Secs) + Offset;
    int64_t Days = Local / 86400, Rest = Local % 86400;
    if (Rest < 0) {
        Rest += 86400;
        --Days;
    }
    int64_t Y;
    unsigned Mo, D;
    CivilFromDays(Days, Y, Mo, D);
    if (Y < 0 || Y > 9999) {
        // Outside four digits: the C library's wording.
        struct tm Tm;
        if (!localtime_r(&Secs, &Tm)) return String();
        char Buf[48];
        size_t N = std::strftime(Buf, sizeof Buf, "%Y-%m-%d %H:%M", &Tm);
        return Str(std::string_view(Buf, N));
    }
    const unsigned H = static_cast<unsigned>(Rest / 3600), Mi = static_cast<unsigned>(Rest % 3600 / 60);
    const unsigned Yu = static_cast<unsigned>(Y);
    Char Buf[16] = {Char(u'0' + Yu / 1000), Char(u'0' + Yu / 100 % 10), Char(u'0' + Yu / 10 % 10), Char(u'0' + Yu % 10), u'-',
                    Char(u'0' + Mo / 10), Char(u'0' + Mo % 10), u'-', Char(u'0' + D / 10), Char(u'0' + D % 10), u' ',
                    Char(u'0' + H / 10), Char(u'0' + H % 10), u':', Char(u'0' + Mi / 10), Char(u'0' + Mi % 10)};
    return String(Buf, 16);
}

// --- construction --------------------------------------------------------------

TNamespace::TNamespace(std::shared_ptr<TShellProvider> Provider, PItemIDList PIDL, TNamespace* AParent)
    : FParent(AParent), FProvider(std::move(Provider)) {
    FStates = nsShellDetailsSupported | nsShellFolder2Supported | nsShellOverlaySupported | nsFreePIDLOnDestroy;
    if (AParent) {
        if (AParent->IsDesktop()) {
            FAbsolutePIDL = FRelativePIDL = PIDL;
        } else {
            TPIDLHolder Own(PIDL);  // freed once appended
            FAbsolutePIDL = PIDLMgr.AppendPIDL(AParent->FAbsolutePIDL, PIDL);
            // The last item starts where the parent's list ended, unless
            // PIDL was empty and the parent's own last item is the last.
            if (PIDL && PIDLItemSize(PIDL) != 0)
                FRelativePIDL = FAbsolutePIDL + (PIDLMgr.PIDLSize(AParent->FAbsolutePIDL) - 2);
            else
                FRelativePIDL = PIDLMgr.GetPointerToLastID(FAbsolutePIDL);
        }
    } else if (PIDL && !PIDLMgr.IsDesktopFolder(PIDL)) {
        FAbsolutePIDL = PIDL;
        FRelativePIDL = PIDLMgr.GetPointerToLastID(FAbsolutePIDL);
    } else {
        FAbsolutePIDL = PIDL ? PIDL : FProvider->SpecialFolderLocation(TSpecialFolder::sfDesktop);
        if (!FAbsolutePIDL) FAbsolutePIDL = TPIDLManager::MakeDesktop();
        FRelativePIDL = FAbsolutePIDL;
    }
}

TNamespace::~TNamespace() {
    if (FStates & nsFreePIDLOnDestroy) PIDLMgr.FreePIDL(FAbsolutePIDL);
    PIDLMgr.FreePIDL(FParentFolderPIDL);
    if (FStates & nsOwnsParent) delete FParent;
}

std::unique_ptr<TNamespace> TNamespace::CreateFromFileName(std::shared_ptr<TShellProvider> Provider,
                                                           const std::string& FileName) {
    PItemIDList P = Provider->ParseDisplayName(FileName);
    if (!P) throw EShellKitInvalidFileName(SNonExistentFile);
    return std::make_unique<TNamespace>(std::move(Provider), P, nullptr);
}

std::unique_ptr<TNamespace> TNamespace::CreateCustomNamespace(std::shared_ptr<TShellProvider> Provider, int CustomID,
                                                              TNamespace* AParent) {
    uint8_t Payload[6] = {0xFF, 0, uint8_t(CustomID), uint8_t(CustomID >> 8), uint8_t(CustomID >> 16),
                          uint8_t(CustomID >> 24)};
    auto NS = std::make_unique<TNamespace>(std::move(Provider), TPIDLManager::MakeItem(Payload, sizeof Payload), AParent);
    NS->FNamespaceID = CustomID;
    return NS;
}

std::unique_ptr<TNamespace> TNamespace::Clone(bool ReleasePIDLOnDestroy) {
    if (ReleasePIDLOnDestroy) return std::make_unique<TNamespace>(FProvider, PIDLMgr.CopyPIDL(FAbsolutePIDL), nullptr);
    // The clone borrows this object's list and must not outlive it.
    auto NS = std::make_unique<TNamespace>(FProvider, FAbsolutePIDL, nullptr);
    NS->FStates &= ~nsFreePIDLOnDestroy;
    return NS;
}

PCItemIDList TNamespace::ParentFolderPIDL() {
    if (FParent) return FParent->FAbsolutePIDL;
    if (IsDesktop()) return nullptr;
    if (!FParentFolderPIDL) FParentFolderPIDL = PIDLMgr.StripLastID(PIDLMgr.CopyPIDL(FAbsolutePIDL));
    return FParentFolderPIDL;
}

// --- identity ------------------------------------------------------------------

bool TNamespace::IsDesktop() const noexcept { return PIDLMgr.IsDesktopFolder(FAbsolutePIDL); }

bool TNamespace::IsMyComputer() {
    TPIDLHolder C(FProvider->SpecialFolderLocation(TSpecialFolder::sfComputer));
    return C && PIDLMgr.EqualPIDL(C.Get(), FAbsolutePIDL);
}

bool TNamespace::IsRecycleBin() {
    if (!(FStates & nsRecycleBinChecked)) {
        TPIDLHolder Bin(FProvider->SpecialFolderLocation(TSpecialFolder::sfTrash));
        if (Bin && PIDLMgr.EqualPIDL(Bin.Get(), FAbsolutePIDL))
            FStates |= nsIsRecycleBin;
        else
            FStates &= ~nsIsRecycleBin;
        FStates |= nsRecycleBinChecked;
    }
    return FStates & nsIsRecycleBin;
}

bool TNamespace::IsChildByPIDL(PCItemIDList TestPIDL, bool Immediate) {
    return PIDLMgr.IsParentPIDL(TestPIDL, FAbsolutePIDL, Immediate);
}

bool TNamespace::IsParentByPIDL(PCItemIDList TestPIDL, bool Immediate) {
    return PIDLMgr.IsParentPIDL(FAbsolutePIDL, TestPIDL, Immediate);
}

bool TNamespace::IsChildByNamespace(TNamespace* TestNamespace, bool Immediate) {
    return TestNamespace && IsChildByPIDL(TestNamespace->FAbsolutePIDL, Immediate);
}

bool TNamespace::IsParentByNamespace(TNamespace* TestNamespace, bool Immediate) {
    return TestNamespace && IsParentByPIDL(TestNamespace->FAbsolutePIDL, Immediate);
}

void TNamespace::VerifyPIDLRelationship(const std::vector<TNamespace*>& List) {
    for (TNamespace* NS : List)
        if (!NS || !IsParentByPIDL(NS->FAbsolutePIDL, true)) throw EShellKitRelationship(SNotSiblings);
}

// --- questions -----------------------------------------------------------------

bool TNamespace::TestAttributesOf(uint32_t Flags, bool FlushCache, bool SoftFlush) {
    PCItemIDList Folder = ParentFolderPIDL();
    if (!Folder) return false;
    uint32_t Request = Flags;
    // Both flush modes ask the provider to validate rather than answer from
    // a cache of its own.
    if (FlushCache || SoftFlush) Request |= SFGAO_VALIDATE;
    uint32_t Got = FProvider->GetAttributesOf(Folder, FRelativePIDL, Request);
    return (Got & Flags) == Flags;
}

bool TNamespace::CachedAttribute(TShellCacheFlag Flag, TCacheAttribute Bit, uint32_t SfgaoBit) {
    TShellCacheRec& C = Cache();
    if (!(C.ShellCacheFlags & ScBit(Flag))) {
        if (TestAttributesOf(SfgaoBit, false, false))
            C.Data.Attributes |= Bit;
        else
            C.Data.Attributes &= ~Bit;
        C.ShellCacheFlags |= ScBit(Flag);
    }
    return C.Data.Attributes & Bit;
}

int TNamespace::EnumerateFolder(bool Folders, bool NonFolders, bool IncludeHidden, const TEnumFunc& EnumFunc,
                                void* UserData) {
    if (!EnumFunc) return 0;
    uint32_t Flags = (Folders ? uint32_t(SHCONTF_FOLDERS) : 0u) | (NonFolders ? uint32_t(SHCONTF_NONFOLDERS) : 0u) |
                     (IncludeHidden ? uint32_t(SHCONTF_INCLUDEHIDDEN) : 0u);
    std::unique_ptr<TShellEnum> Enum = FProvider->EnumObjects(FAbsolutePIDL, Flags);
    if (!Enum) return 0;
    int Count = 0;
    bool Terminate = false;
    PItemIDList Item = nullptr;
    while (!Terminate && Enum->Next(Item)) {
        if (EnumFunc(Item, this, UserData, Terminate)) ++Count;
    }
    return Count;
}

String TNamespace::DisplayNameOf(uint32_t Flags) {
    String Name;
    if (IsDesktop())
        FProvider->GetDisplayNameOf(nullptr, FAbsolutePIDL, Flags, Name);
    else
        FProvider->GetDisplayNameOf(ParentFolderPIDL(), FRelativePIDL, Flags, Name);
    return Name;
}

bool TNamespace::SetNameOf(const String& NewName) {
    PCItemIDList Folder = ParentFolderPIDL();
    if (!Folder) return false;
    PItemIDList NewItem = nullptr;
    if (!FProvider->SetNameOf(Folder, FRelativePIDL, NewName, NewItem) || !NewItem) return false;
    TPIDLHolder Item(NewItem);
    PItemIDList NewAbs = PIDLMgr.AppendPIDL(Folder, NewItem);
    if (FStates & nsFreePIDLOnDestroy) PIDLMgr.FreePIDL(FAbsolutePIDL);
    FAbsolutePIDL = NewAbs;
    FStates |= nsFreePIDLOnDestroy;
    InvalidateRelativePIDL();
    InvalidateNamespace(true);
    return true;
}

void TNamespace::InvalidateRelativePIDL() {
    FRelativePIDL = IsDesktop() ? FAbsolutePIDL : PIDLMgr.GetPointerToLastID(FAbsolutePIDL);
}

const TShellCacheRec& TNamespace::ShellCache() const noexcept {
    static const TShellCacheRec Empty;
    return FCache ? FCache->Rec : Empty;
}

TShellCacheRec& TNamespace::Cache() {
    if (!FCache) FCache = std::make_unique<TCacheBlock>();
    return FCache->Rec;
}

const TFindData* TNamespace::FindData() {
    TShellCacheRec& C = Cache();
    if (!(C.ShellCacheFlags & ScBit(scFileTimes))) {
        FCache->Find = TFindData();
        FCache->HasFind = FProvider->GetFindData(FAbsolutePIDL, FCache->Find);
        C.ShellCacheFlags |= ScBit(scFileTimes);
    }
    return FCache->HasFind ? &FCache->Find : nullptr;
}

// Names.
String TNamespace::GetNameInFolder() {
    if (!(Cache().ShellCacheFlags & ScBit(scInFolderName))) {
        Cache().Data.InFolderName = DisplayNameOf(SHGDN_INFOLDER);
        Cache().ShellCacheFlags |= ScBit(scInFolderName);
    }
    return Cache().Data.InFolderName;
}

String TNamespace::GetNameNormal() {
    if (!(Cache().ShellCacheFlags & ScBit(scNormalName))) {
        Cache().Data.NormalName = DisplayNameOf(SHGDN_NORMAL);
        Cache().ShellCacheFlags |= ScBit(scNormalName);
    }
    return Cache().Data.NormalName;
}

String TNamespace::GetNameForParsing() {
    if (!(Cache().ShellCacheFlags & ScBit(scParsedName))) {
        Cache().Data.ParsedName = DisplayNameOf(SHGDN_FORPARSING);
        Cache().ShellCacheFlags |= ScBit(scParsedName);
    }
    return Cache().Data.ParsedName;
}

String TNamespace::GetNameForParsingInFolder() { return DisplayNameOf(SHGDN_FORPARSING | SHGDN_INFOLDER); }
String TNamespace::GetNameAddressbar() { return DisplayNameOf(SHGDN_FORADDRESSBAR | SHGDN_FORPARSING); }
String TNamespace::GetNameAddressbarInFolder() { return DisplayNameOf(SHGDN_FORADDRESSBAR | SHGDN_INFOLDER); }
String TNamespace::GetNameForEditing() { return DisplayNameOf(SHGDN_FOREDITING); }
String TNamespace::GetNameForEditingInFolder() { return DisplayNameOf(SHGDN_FOREDITING | SHGDN_INFOLDER); }
String TNamespace::GetNameParseAddress() { return DisplayNameOf(SHGDN_FORPARSING | SHGDN_FORADDRESSBAR); }
String TNamespace::GetNameParseAddressInFolder() {
    return DisplayNameOf(SHGDN_FORPARSING | SHGDN_FORADDRESSBAR | SHGDN_INFOLDER);
}

String TNamespace::GetFileName() {
    const TFindData* D = FindData();
    return D ? Str(D->FileName) : GetNameInFolder();
}

String TNamespace::GetShortFileName() { return GetFileName(); }

String TNamespace::GetExtension() {
    String Name = GetFileName();
    auto Dot = Name.find_last_of(u'.');
    if (Dot == String::npos || Dot == 0) return String();
    return Name.substr(Dot);
}

String TNamespace::GetInfoTip() {
    String Tip = GetNameInFolder();
    if (GetFileSystem() && !GetFolder()) {
        Tip += u"\nType: " + GetFileType();
        Tip += u"\nSize: " + GetSizeOfFileKB();
        Tip += u"\nModified: " + GetLastWriteTime();
    }
    return Tip;
}

// Cached attributes.
bool TNamespace::GetFileSystem() { return CachedAttribute(scFileSystem, caFileSystem, SFGAO_FILESYSTEM); }
bool TNamespace::GetFolder() { return CachedAttribute(scFolder, caFolder, SFGAO_FOLDER); }
bool TNamespace::GetCanDelete() { return CachedAttribute(scCanDelete, caCanDelete, SFGAO_CANDELETE); }
bool TNamespace::GetCanRename() { return CachedAttribute(scCanRename, caCanRename, SFGAO_CANRENAME); }
bool TNamespace::GetGhosted() { return CachedAttribute(scGhosted, caGhosted, SFGAO_GHOSTED); }
bool TNamespace::GetCanCopy() { return CachedAttribute(scCanCopy, caCanCopy, SFGAO_CANCOPY); }
bool TNamespace::GetCanMove() { return CachedAttribute(scCanMove, caCanMove, SFGAO_CANMOVE); }
bool TNamespace::GetCanLink() { return CachedAttribute(scCanLink, caCanLink, SFGAO_CANLINK); }
bool TNamespace::GetLink() { return CachedAttribute(scLink, caLink, SFGAO_LINK); }
bool TNamespace::GetFileSysAncestor() {
    return CachedAttribute(scFileSysAncestor, caFileSysAncestor, SFGAO_FILESYSANCESTOR);
}
bool TNamespace::GetCompressed() { return CachedAttribute(scCompressed, caCompressed, SFGAO_COMPRESSED); }

// Attributes asked each time.
bool TNamespace::GetHasPropSheet() { return TestAttributesOf(SFGAO_HASPROPSHEET, false); }
bool TNamespace::GetHasSubFolder() { return TestAttributesOf(SFGAO_HASSUBFOLDER, false); }
bool TNamespace::GetHidden() { return TestAttributesOf(SFGAO_HIDDEN, false); }
bool TNamespace::GetReadOnly() { return TestAttributesOf(SFGAO_READONLY, false); }
bool TNamespace::GetShare() { return TestAttributesOf(SFGAO_SHARE, false); }
bool TNamespace::GetRemovable() { return TestAttributesOf(SFGAO_REMOVABLE, false); }
bool TNamespace::GetNewContent() { return TestAttributesOf(SFGAO_NEWCONTENT, false); }
bool TNamespace::GetNonEnumerated() { return TestAttributesOf(SFGAO_NONENUMERATED, false); }

// From the find data. The file system has no archive, temporary or
// off-line bit; those answer false.
bool TNamespace::GetArchive() { return false; }
bool TNamespace::GetTemporary() { return false; }
bool TNamespace::GetOffLine() { return false; }
bool TNamespace::GetDirectory() {
    const TFindData* D = FindData();
    return D && S_ISDIR(D->Mode);
}
bool TNamespace::GetSystem() {
    const TFindData* D = FindData();
    return D && !S_ISDIR(D->Mode) && !S_ISREG(D->Mode) && !S_ISLNK(D->Mode);
}
bool TNamespace::GetReadOnlyFile() {
    const TFindData* D = FindData();
    return D && !(D->Mode & (S_IWUSR | S_IWGRP | S_IWOTH));
}
bool TNamespace::GetNormal() {
    const TFindData* D = FindData();
    return D && S_ISREG(D->Mode) && !NameIsHidden(*D) && !GetReadOnlyFile();
}

String TNamespace::GetAttributesString() {
    const TFindData* D = FindData();
    if (!D) return String();
    String S;
    if (!(D->Mode & (S_IWUSR | S_IWGRP | S_IWOTH))) S += u'R';
    if (NameIsHidden(*D)) S += u'H';
    if (!S_ISDIR(D->Mode) && !S_ISREG(D->Mode) && !S_ISLNK(D->Mode)) S += u'S';
    if (D->Compressed) S += u'C';
    return S;
}

// Times.
int64_t TNamespace::GetCreationTimeRaw() {
    const TFindData* D = FindData();
    return D ? D->CreationTime : 0;
}
int64_t TNamespace::GetLastAccessTimeRaw() {
    const TFindData* D = FindData();
    return D ? D->LastAccessTime : 0;
}
int64_t TNamespace::GetLastWriteTimeRaw() {
    const TFindData* D = FindData();
    return D ? D->LastWriteTime : 0;
}

String TNamespace::GetCreationTime() {
    if (!(Cache().ShellCacheFlags & ScBit(scCreationTime))) {
        int64_t T = GetCreationTimeRaw();
        Cache().Data.CreationTime = T ? FormatFileTime(T) : String();
        Cache().ShellCacheFlags |= ScBit(scCreationTime);
    }
    return Cache().Data.CreationTime;
}

String TNamespace::GetLastAccessTime() {
    if (!(Cache().ShellCacheFlags & ScBit(scLastAccessTime))) {
        Cache().Data.LastAccessTime = FindData() ? FormatFileTime(GetLastAccessTimeRaw()) : String();
        Cache().ShellCacheFlags |= ScBit(scLastAccessTime);
    }
    return Cache().Data.LastAccessTime;
}

String TNamespace::GetLastWriteTime() {
    if (!(Cache().ShellCacheFlags & ScBit(scLastWriteTime))) {
        Cache().Data.LastWriteTime = FindData() ? FormatFileTime(GetLastWriteTimeRaw()) : String();
        Cache().ShellCacheFlags |= ScBit(scLastWriteTime);
    }
    return Cache().Data.LastWriteTime;
}

// Sizes. Folders have no size of their own.
int64_t TNamespace::GetSizeOfFileInt64() {
    const TFindData* D = FindData();
    return D && !S_ISDIR(D->Mode) ? static_cast<int64_t>(D->Size) : 0;
}

String TNamespace::GetSizeOfFile() {
    if (!(Cache().ShellCacheFlags & ScBit(scFileSize))) {
        const TFindData* D = FindData();
        Cache().Data.FileSize = D && !S_ISDIR(D->Mode) ? GroupDigits(D->Size) : String();
        Cache().ShellCacheFlags |= ScBit(scFileSize);
    }
    return Cache().Data.FileSize;
}

String TNamespace::GetSizeOfFileKB() {
    if (!(Cache().ShellCacheFlags & ScBit(scFileSizeKB))) {
        const TFindData* D = FindData();
        Cache().Data.FileSizeKB = D && !S_ISDIR(D->Mode) ? FormatSizeKB(D->Size) : String();
        Cache().ShellCacheFlags |= ScBit(scFileSizeKB);
    }
    return Cache().Data.FileSizeKB;
}

String TNamespace::GetSizeOfFileDiskUsage() {
    const TFindData* D = FindData();
    return D && !S_ISDIR(D->Mode) ? FormatSizeKB(D->DiskUsage) : String();
}

String TNamespace::GetFileType() {
    if (!(Cache().ShellCacheFlags & ScBit(scFileType))) {
        String T;
        if (!FProvider->GetFileTypeName(FAbsolutePIDL, T) || T.empty()) {
            // Nothing known: the upper-case extension and " File".
            String Ext = GetExtension();
            if (GetFolder())
                T = u"File Folder";
            else if (Ext.size() > 1) {
                for (size_t I = 1; I < Ext.size(); ++I)
                    T += (Ext[I] >= u'a' && Ext[I] <= u'z') ? Char(Ext[I] - 32) : Ext[I];
                T += u" File";
            } else
                T = u"File";
        }
        Cache().Data.FileType = std::move(T);
        Cache().ShellCacheFlags |= ScBit(scFileType);
    }
    return Cache().Data.FileType;
}

int TNamespace::GetSubItems() {
    return EnumerateFolder(true, true, false,
                           [](PItemIDList P, TNamespace*, void*, bool&) { PIDLMgr.FreePIDL(P); return true; },
                           nullptr);
}

// --- columns ---------------------------------------------------------------------

int TNamespace::DetailsSupportedColumns() {
    if (Cache().ShellCacheFlags & ScBit(scSupportedColumns)) return Cache().Data.SupportedColumns;
    int Count = 0;
    if ((FStates & nsShellFolder2Supported) && FProvider->SupportsFolder2(FAbsolutePIDL)) {
        uint32_t State;
        while (Count < MaxColumns && FProvider->GetDefaultColumnState(FAbsolutePIDL, Count, State)) ++Count;
        if (Count >= MaxColumns) Count = 0;  // not trusted
        if (Count < 1) {
            String T;
            while (Count < MaxColumns && FProvider->GetDetailsOf(FAbsolutePIDL, nullptr, Count, T)) ++Count;
            if (Count >= MaxColumns) Count = 0;
        }
    } else {
        FStates &= ~nsShellFolder2Supported;
    }
    if (Count < 1) {
        if ((FStates & nsShellDetailsSupported) && FProvider->SupportsDetails(FAbsolutePIDL)) {
            String T;
            // Capped too, though nothing says so: a provider that always
            // answers would otherwise never let the loop end.
            while (Count < MaxColumns && FProvider->GetDetailsOfLegacy(FAbsolutePIDL, nullptr, Count, T)) ++Count;
            if (Count >= MaxColumns) Count = 0;
        } else {
            FStates &= ~nsShellDetailsSupported;
        }
    }
    if (Count == 0) Count = DetailsDefaultSupportedColumns();
    Cache().Data.SupportedColumns = Count;
    Cache().ShellCacheFlags |= ScBit(scSupportedColumns);
    return Count;
}

int TNamespace::DetailsSupportedVisibleColumns() {
    int Count = DetailsSupportedColumns(), Visible = 0;
    for (int I = 0; I < Count; ++I)
        if (DetailsGetDefaultColumnState(I) & SHCOLSTATE_ONBYDEFAULT) ++Visible;
    return Visible;
}

bool TNamespace::DetailsValidIndex(int ColumnIndex) {
    return ColumnIndex >= -1 && ColumnIndex < DetailsSupportedColumns();
}

uint32_t TNamespace::DetailsGetDefaultColumnState(int ColumnIndex) {
    uint32_t State = 0;
    if ((FStates & nsShellFolder2Supported) && FProvider->SupportsFolder2(FAbsolutePIDL) &&
        FProvider->GetDefaultColumnState(FAbsolutePIDL, ColumnIndex, State))
        return State;
    // The default columns: texts, dates for the times; all shown.
    uint32_t Type = ColumnIndex == 3 || ColumnIndex == 5 || ColumnIndex == 6 ? SHCOLSTATE_TYPE_DATE : SHCOLSTATE_TYPE_STR;
    return Type | SHCOLSTATE_ONBYDEFAULT;
}

String TNamespace::DetailsOf(int ColumnIndex) {
    if (IsDesktop() || !DetailsValidIndex(ColumnIndex)) return String();
    PCItemIDList Folder = ParentFolderPIDL();
    if (!Folder) return String();
    String Text;
    // The parent folder's interfaces, asked once per cache generation.
    if (FParentFolder2 < 0) FParentFolder2 = FProvider->SupportsFolder2(Folder) ? 1 : 0;
    if (FParentDetails < 0) FParentDetails = FProvider->SupportsDetails(Folder) ? 1 : 0;
    if (FParentFolder2 == 1) {
        if (FProvider->GetDetailsOf(Folder, FRelativePIDL, ColumnIndex, Text)) return Text;
        if (FParentDetails == 1 && FProvider->GetDetailsOfLegacy(Folder, FRelativePIDL, ColumnIndex, Text)) return Text;
        return DetailsDefaultOf(ColumnIndex);
    }
    if (FParentDetails == 1) {
        if (FProvider->GetDetailsOfLegacy(Folder, FRelativePIDL, ColumnIndex, Text)) return Text;
        return String();
    }
    return DetailsDefaultOf(ColumnIndex);
}

String TNamespace::DetailsDefaultOf(int ColumnIndex) {
    switch (ColumnIndex) {
        case -1:
        case 0: return GetNameInFolder();
        case 1: return GetSizeOfFileKB();
        case 2: {
            const TFindData* D = FindData();
            bool ProperName = D && !D->FileName.empty() && D->FileName[0] != 0 && D->FileName[0] != 8;
            return ProperName && GetFileSystem() ? GetFileType() : String(u"System Folder");
        }
        case 3: return GetLastWriteTime();
        case 4: return GetAttributesString();
        default: return String();
    }
}

String TNamespace::DetailsDefaultColumnTitle(int ColumnIndex) {
    int I = ColumnIndex < 0 ? 0 : ColumnIndex;
    if (I >= static_cast<int>(std::size(DefaultTitles))) return String();
    return Str(DefaultTitles[I]);
}

String TNamespace::DetailsColumnTitle(int ColumnIndex) { return DetailsColumnTitleInfo(ColumnIndex).Title; }

TColumnInfo TNamespace::DetailsColumnTitleInfo(int ColumnIndex) {
    TColumnInfo Info;
    Info.State = DetailsGetDefaultColumnState(ColumnIndex);
    if ((FStates & nsShellFolder2Supported) && FProvider->SupportsFolder2(FAbsolutePIDL) &&
        FProvider->GetDetailsOf(FAbsolutePIDL, nullptr, ColumnIndex, Info.Title))
        return Info;
    if ((FStates & nsShellDetailsSupported) && FProvider->SupportsDetails(FAbsolutePIDL) &&
        FProvider->GetDetailsOfLegacy(FAbsolutePIDL, nullptr, ColumnIndex, Info.Title))
        return Info;
    Info.Title = DetailsDefaultColumnTitle(ColumnIndex);
    return Info;
}

// --- icons -----------------------------------------------------------------------

int TNamespace::GetIconIndex(bool OpenIcon, int /*IconSize*/, bool ForceLoad) {
    TShellCacheRec& C = Cache();
    if (OpenIcon) {
        if (!(C.ShellCacheFlags & ScBit(scSmallOpenIcon)) || ForceLoad) {
            int I = FProvider->GetIconIndex(FAbsolutePIDL, true);
            C.Data.SmallOpenIcon = I != 0 ? I : GetIconIndex(false, 0, ForceLoad);
            C.ShellCacheFlags |= ScBit(scSmallOpenIcon);
        }
        return C.Data.SmallOpenIcon;
    }
    if (!(C.ShellCacheFlags & ScBit(scSmallIcon)) || ForceLoad) {
        C.Data.SmallIcon = FProvider->GetIconIndex(FAbsolutePIDL, false);
        C.ShellCacheFlags |= ScBit(scSmallIcon);
    }
    return C.Data.SmallIcon;
}

void TNamespace::SetIconIndexByThread(int Index, bool OpenIcon) {
    if (OpenIcon) {
        Cache().Data.SmallOpenIcon = Index;
        Cache().ShellCacheFlags |= ScBit(scSmallOpenIcon);
    } else {
        Cache().Data.SmallIcon = Index;
        Cache().ShellCacheFlags |= ScBit(scSmallIcon);
    }
    FStates = static_cast<TNamespaceStates>((FStates | nsThreadedIconLoaded | nsIconIndexChanged) & ~nsThreadedIconLoading);
}

// --- flushing --------------------------------------------------------------------

void TNamespace::InvalidateCache() {
    if (!FCache) return;
    FCache->Rec = TShellCacheRec();
    FCache->Find = TFindData();
    FCache->HasFind = false;
}

void TNamespace::InvalidateNamespace(bool RefreshIcon) {
    int Icon = -1, OpenIcon = -1;
    bool HadIcon = false, HadOpenIcon = false;
    if (RefreshIcon) {
        FStates &= ~(nsThreadedIconLoaded | nsThreadedIconLoading);
    } else {
        const TShellCacheRec& C = ShellCache();
        HadIcon = C.ShellCacheFlags & ScBit(scSmallIcon);
        HadOpenIcon = C.ShellCacheFlags & ScBit(scSmallOpenIcon);
        Icon = C.Data.SmallIcon;
        OpenIcon = C.Data.SmallOpenIcon;
    }
    // The find data goes with the cache.
    InvalidateCache();
    if (FStates & nsOwnsParent) {
        delete FParent;
        FParent = nullptr;
        FStates &= ~nsOwnsParent;
    }
    // The folder handles and the recycle-bin answer.
    PIDLMgr.FreeAndNilPIDL(FParentFolderPIDL);
    FParentFolder2 = FParentDetails = -1;
    FStates |= nsShellDetailsSupported | nsShellFolder2Supported;
    FStates &= ~(nsRecycleBinChecked | nsIsRecycleBin);
    if (HadIcon) {
        Cache().Data.SmallIcon = Icon;
        Cache().ShellCacheFlags |= ScBit(scSmallIcon);
    }
    if (HadOpenIcon) {
        Cache().Data.SmallOpenIcon = OpenIcon;
        Cache().ShellCacheFlags |= ScBit(scSmallOpenIcon);
    }
}

// --- order -----------------------------------------------------------------------

int8_t TNamespace::ComparePIDL(PCItemIDList PIDLToCompare, bool IsAbsolutePIDL, int Column) {
    if (!PIDLToCompare) return -1;
    if (Column < 0) Column = 0;
    if (IsAbsolutePIDL) PIDLToCompare = PIDLMgr.GetPointerToLastID(PIDLToCompare);
    PCItemIDList Folder = ParentFolderPIDL();
    if (!Folder) return 0;
    int R = FProvider->CompareIDs(Folder, Column, PIDLToCompare, FRelativePIDL);
    return static_cast<int8_t>(R < 0 ? -1 : R > 0 ? 1 : 0);
}

int TShellSortHelper::DiscriminateFolders(TNamespace* NS1, TNamespace* NS2) {
    bool F1 = NS1->GetFolder(), F2 = NS2->GetFolder();
    if (F1 == F2) return 0;
    return F1 ? -1 : 1;
}

int TShellSortHelper::CompareIDSort(int SortColumn, TNamespace* NS1, TNamespace* NS2) {
    if (!NS1->ParentFolderPIDL()) return 0;
    int R = NS2->ComparePIDL(NS1->RelativePIDL(), false, SortColumn);
    if (R == 0 && SortColumn > 0) {
        int C = NS1->GetNameInFolder().compare(NS2->GetNameInFolder());
        R = C < 0 ? -1 : C > 0 ? 1 : 0;
    }
    return R;
}

int TShellSortHelper::SortFileSize(TNamespace* NS1, TNamespace* NS2) {
    int R = DiscriminateFolders(NS1, NS2);
    if (R) return R;
    int64_t A = NS1->GetSizeOfFileInt64(), B = NS2->GetSizeOfFileInt64();
    if (A != B) return A < B ? -1 : 1;
    return CompareIDSort(0, NS1, NS2);
}

int TShellSortHelper::SortFileTime(int64_t FT1, int64_t FT2, TNamespace* NS1, TNamespace* NS2) {
    int R = DiscriminateFolders(NS1, NS2);
    if (R) return R;
    if (FT1 != FT2) return FT1 < FT2 ? -1 : 1;
    return CompareIDSort(0, NS1, NS2);
}

int TShellSortHelper::SortString(const String& S1, const String& S2, TNamespace* NS1, TNamespace* NS2) {
    int R = DiscriminateFolders(NS1, NS2);
    if (R) return R;
    int C = S1.compare(S2);
    if (C) return C < 0 ? -1 : 1;
    return CompareIDSort(0, NS1, NS2);
}

int TShellSortHelper::SortType(TNamespace* NS1, TNamespace* NS2) {
    int R = DiscriminateFolders(NS1, NS2);
    if (R) return R;
    if (FFileSort == TFileSort::fsFileType) return SortString(NS1->GetFileType(), NS2->GetFileType(), NS1, NS2);
    return SortString(NS1->GetExtension(), NS2->GetExtension(), NS1, NS2);
}

// --- list ------------------------------------------------------------------------

int TVirtualNameSpaceList::Add(std::unique_ptr<TNamespace> NS) {
    FItems.push_back(std::move(NS));
    Changed();
    return Count() - 1;
}

void TVirtualNameSpaceList::Delete(int Index) {
    if (Index < 0 || Index >= Count()) throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
    FItems.erase(FItems.begin() + Index);
    Changed();
}

void TVirtualNameSpaceList::Clear() {
    FItems.clear();
    Changed();
}

TNamespace* TVirtualNameSpaceList::operator[](int Index) const {
    if (Index < 0 || Index >= Count()) throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
    return FItems[static_cast<size_t>(Index)].get();
}

}  // namespace ide
