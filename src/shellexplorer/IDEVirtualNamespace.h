// TNamespace: one object of the shell namespace, with a lazily filled cache
// of everything the provider said about it.
//
// Every getter has one shape: when its cache flag is set it answers from the
// cache; otherwise it asks the provider, stores the answer, sets the flag.
// So a second look (a repaint) costs no provider call at all. The name forms
// and attributes that have no flag of their own are asked each time.
// InvalidateCache drops the answers; InvalidateNamespace is the full flush
// after a change notice, which keeps the icons unless asked to refresh them.
//
// The absolute list is owned (unless nsFreePIDLOnDestroy is cleared); the
// relative list points at its last item. A namespace made under a parent
// shares the parent (owned only with nsOwnsParent); one made from an
// absolute list keeps its parent folder's list, made once on demand.
//
// Oddities kept on purpose:
// - DetailsSupportedColumns distrusts a folder that claims 200 or more
//   columns and falls through to the older interface, then to 5. The older
//   interface's count is capped at 200 as well, so a misbehaving provider
//   cannot loop for ever.
// - ComparePIDL answers a short integer; the provider's answer is clamped to
//   its sign, so a large difference never flips when narrowed.
// - CompareIDSort breaks ties by name only for columns above 0.
// - An enumeration callback that is empty counts as none: nothing is
//   enumerated and the result is 0.
//
// Thread: one at a time (a namespace belongs to the thread that made it).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/Runtime.h"
#include "shellexplorer/IDEVirtualShellProvider.h"

namespace ide {

IDE_DECLARE_EXCEPTION(EShellKitInvalidFileName, Exception)
IDE_DECLARE_EXCEPTION(EShellKitRelationship, Exception)

enum TNamespaceState : uint16_t {
    nsFreePIDLOnDestroy = 1 << 0,
    nsIsRecycleBin = 1 << 1,
    nsRecycleBinChecked = 1 << 2,
    nsOwnsParent = 1 << 3,
    nsShellDetailsSupported = 1 << 4,
    nsShellFolder2Supported = 1 << 5,
    nsShellOverlaySupported = 1 << 6,
    nsThreadedIconLoaded = 1 << 7,
    nsThreadedIconLoading = 1 << 8,
    nsThreadedImageLoaded = 1 << 9,
    nsThreadedImageLoading = 1 << 10,
    nsIconIndexChanged = 1 << 11,
};
using TNamespaceStates = uint16_t;

enum TShellCacheFlag : int {
    scInFolderName, scNormalName, scParsedName, scSmallIcon, scSmallOpenIcon, scCreationTime,
    scLastAccessTime, scLastWriteTime, scFileSize, scFileSizeKB, scFileType, scInvalidIDListData,
    scFileSystem, scFolder, scCanDelete, scCanRename, scGhosted, scCanCopy, scCanMove, scCanLink,
    scLink, scFileSysAncestor, scCompressed, scFileTimes, scSupportedColumns, scFolderSize,
    scVirtualHook, scHookedNamespace, scVirtualNamespace, scRootVirtualNamespace, scHardHookedNamespace,
    scFlagCount
};
using TShellCache = uint32_t;
constexpr TShellCache ScBit(TShellCacheFlag F) { return TShellCache(1) << F; }

enum TCacheAttribute : uint32_t {
    caFileSystem = 1 << 0, caFolder = 1 << 1, caCanDelete = 1 << 2, caCanRename = 1 << 3, caGhosted = 1 << 4,
    caCanCopy = 1 << 5, caCanMove = 1 << 6, caCanLink = 1 << 7, caLink = 1 << 8, caFileSysAncestor = 1 << 9,
    caCompressed = 1 << 10, caVirtualHook = 1 << 11, caHookedNamespace = 1 << 12, caVirtualNamespace = 1 << 13,
    caRootVirtualNamespace = 1 << 14, caHardHookedNamespace = 1 << 15,
};
using TCacheAttributes = uint32_t;

struct TCacheData {
    TCacheAttributes Attributes = 0;
    int SmallIcon = -1;
    int SmallOpenIcon = -1;
    String InFolderName, NormalName, ParsedName;
    String CreationTime, LastAccessTime, LastWriteTime;
    String FileSize, FileSizeKB, FileType;
    int SupportedColumns = 0;
    int64_t FolderSize = 0;
    int OverlayIndex = -1;
    int OverlayIconIndex = -1;
};

struct TShellCacheRec {
    TShellCache ShellCacheFlags = 0;
    TCacheData Data;
};

// What a column says of itself.
struct TColumnInfo {
    String Title;
    uint32_t State = 0;
};

class TNamespace;
// Called for each enumerated item; takes ownership of APIDL. True counts it.
using TEnumFunc = std::function<bool(PItemIDList APIDL, TNamespace* Parent, void* UserData, bool& Terminate)>;

class TNamespace : public TObject {
public:
    // Takes ownership of PIDL (see the construction rules in the .cpp).
    TNamespace(std::shared_ptr<TShellProvider> Provider, PItemIDList PIDL, TNamespace* AParent);
    ~TNamespace() override;
    TNamespace(const TNamespace&) = delete;
    TNamespace& operator=(const TNamespace&) = delete;

    static std::unique_ptr<TNamespace> CreateFromFileName(std::shared_ptr<TShellProvider> Provider, const std::string& FileName);
    static std::unique_ptr<TNamespace> CreateCustomNamespace(std::shared_ptr<TShellProvider> Provider, int CustomID,
                                                             TNamespace* AParent);
    virtual std::unique_ptr<TNamespace> Clone(bool ReleasePIDLOnDestroy);

    // --- identity ---
    PItemIDList AbsolutePIDL() const noexcept { return FAbsolutePIDL; }
    PItemIDList RelativePIDL() const noexcept { return FRelativePIDL; }
    TNamespace* Parent() const noexcept { return FParent; }
    TShellProvider& Provider() const noexcept { return *FProvider; }
    const std::shared_ptr<TShellProvider>& ProviderRef() const noexcept { return FProvider; }
    int NamespaceID() const noexcept { return FNamespaceID; }
    int Tag() const noexcept { return FTag; }
    void SetTag(int Value) noexcept { FTag = Value; }
    TNamespaceStates States() const noexcept { return FStates; }
    void SetStates(TNamespaceStates Value) noexcept { FStates = Value; }
    // The cache record; an object never asked anything has an empty one.
    const TShellCacheRec& ShellCache() const noexcept;
    // The parent folder's absolute list (nil for the desktop).
    PCItemIDList ParentFolderPIDL();

    bool IsDesktop() const noexcept;
    bool IsMyComputer();
    bool IsControlPanel() const noexcept { return false; }
    bool IsNetworkNeighborhood() const noexcept { return false; }
    bool IsRecycleBin();
    bool IsChildByNamespace(TNamespace* TestNamespace, bool Immediate);
    bool IsChildByPIDL(PCItemIDList TestPIDL, bool Immediate);
    bool IsParentByNamespace(TNamespace* TestNamespace, bool Immediate);
    bool IsParentByPIDL(PCItemIDList TestPIDL, bool Immediate);

    // --- questions ---
    bool TestAttributesOf(uint32_t Flags, bool FlushCache, bool SoftFlush = false);
    int EnumerateFolder(bool Folders, bool NonFolders, bool IncludeHidden, const TEnumFunc& EnumFunc, void* UserData);
    String DisplayNameOf(uint32_t Flags);
    bool SetNameOf(const String& NewName);

    virtual bool GetArchive();
    virtual String GetAttributesString();
    virtual bool GetCanCopy();
    virtual bool GetCanDelete();
    virtual bool GetCanLink();
    virtual bool GetCanMove();
    virtual bool GetCanRename();
    virtual bool GetCompressed();
    virtual String GetCreationTime();
    virtual int64_t GetCreationTimeRaw();
    virtual bool GetDirectory();
    virtual String GetExtension();
    virtual String GetFileName();
    virtual bool GetFileSysAncestor();
    virtual bool GetFileSystem();
    virtual String GetFileType();
    virtual bool GetFolder();
    virtual bool GetGhosted();
    virtual bool GetHasPropSheet();
    virtual bool GetHasSubFolder();
    virtual bool GetHidden();
    virtual String GetInfoTip();
    virtual String GetLastAccessTime();
    virtual int64_t GetLastAccessTimeRaw();
    virtual String GetLastWriteTime();
    virtual int64_t GetLastWriteTimeRaw();
    virtual bool GetLink();
    virtual String GetNameAddressbar();
    virtual String GetNameAddressbarInFolder();
    virtual String GetNameForEditing();
    virtual String GetNameForEditingInFolder();
    virtual String GetNameForParsing();
    virtual String GetNameForParsingInFolder();
    virtual String GetNameInFolder();
    virtual String GetNameNormal();
    virtual String GetNameParseAddress();
    virtual String GetNameParseAddressInFolder();
    virtual bool GetNewContent();
    virtual bool GetNonEnumerated();
    virtual bool GetNormal();
    virtual bool GetOffLine();
    virtual bool GetReadOnly();
    virtual bool GetReadOnlyFile();
    virtual bool GetRemovable();
    virtual String GetSizeOfFile();
    virtual String GetSizeOfFileDiskUsage();
    virtual int64_t GetSizeOfFileInt64();
    virtual String GetSizeOfFileKB();
    virtual bool GetShare();
    virtual String GetShortFileName();
    virtual int GetSubItems();
    virtual bool GetSystem();
    virtual bool GetTemporary();

    // --- columns ---
    int DetailsSupportedColumns();
    int DetailsSupportedVisibleColumns();
    bool DetailsValidIndex(int ColumnIndex);
    String DetailsOf(int ColumnIndex);
    String DetailsColumnTitle(int ColumnIndex);
    TColumnInfo DetailsColumnTitleInfo(int ColumnIndex);
    uint32_t DetailsGetDefaultColumnState(int ColumnIndex);
    virtual String DetailsDefaultColumnTitle(int ColumnIndex);
    virtual String DetailsDefaultOf(int ColumnIndex);
    virtual int DetailsDefaultSupportedColumns() { return 5; }

    // --- icons ---
    virtual int GetIconIndex(bool OpenIcon, int IconSize = 0, bool ForceLoad = false);
    void SetIconIndexByThread(int Index, bool OpenIcon);

    // --- flushing ---
    void InvalidateCache();
    void InvalidateNamespace(bool RefreshIcon = true);
    // After the relative list changed in place (a rename by the caller).
    void InvalidateRelativePIDL();

    // --- order ---
    int8_t ComparePIDL(PCItemIDList PIDLToCompare, bool IsAbsolutePIDL, int Column);
    // Raises "PIDLs to operate on are not siblings of the Namespace doing the
    // operation." unless every list is an immediate child of this folder.
    void VerifyPIDLRelationship(const std::vector<TNamespace*>& List);

    // The find data, fetched once per cache generation (nil if none).
    const TFindData* FindData();

    // --- verbs, on this folder's children (every one must be an immediate
    // child, else "PIDLs to operate on are not siblings...") ---
    // Into the trash (or for good); true if every item went.
    bool Delete(const std::vector<TNamespace*>& Items, bool ToTrash = true);
    // The items onto the shell clipboard, to be copied or moved by Paste.
    bool Copy(const std::vector<TNamespace*>& Items);
    bool Cut(const std::vector<TNamespace*>& Items);
    // What the shell clipboard holds, into this folder (links to it with
    // AsShortCut); a cut is pasted once, then the clipboard is empty.
    bool Paste(bool AsShortCut = false);
    bool CanCopyAll(const std::vector<TNamespace*>& Items);
    bool CanCutAll(const std::vector<TNamespace*>& Items);
    bool CanDeleteAll(const std::vector<TNamespace*>& Items);
    // True when the clipboard holds something and every one is a folder of
    // the file system.
    static bool CanPasteToAll(const std::vector<TNamespace*>& Targets);
    bool CanShowPropertiesOfAll(const std::vector<TNamespace*>& Items);
    // Runs a program (with CmdLineArguments, split as a shell would, in
    // WorkingDir or else its own folder) or opens anything else with the
    // desktop's default application. A folder runs only with ExecuteFolder,
    // a link to one only with ExecuteFolderShortCut. False when nothing
    // could be started.
    bool ShellExecuteNamespace(const std::string& WorkingDir = std::string(), const std::string& CmdLineArguments = std::string(),
                               bool ExecuteFolder = false, bool ExecuteFolderShortCut = false);
    // A new folder in this one, as a namespace under this; nil on failure
    // (TShellProvider::LastVerbError says why).
    std::unique_ptr<TNamespace> CreateNewFolder(const String& Name);

protected:
    bool CachedAttribute(TShellCacheFlag Flag, TCacheAttribute Bit, uint32_t SfgaoBit);
    // The cache record, made on the first question.
    TShellCacheRec& Cache();
    PItemIDList FAbsolutePIDL = nullptr;
    PItemIDList FRelativePIDL = nullptr;
    TNamespace* FParent = nullptr;
    TNamespaceStates FStates = 0;
    int FNamespaceID = -1;
    int FTag = 0;

private:
    std::shared_ptr<TShellProvider> FProvider;
    PItemIDList FParentFolderPIDL = nullptr;  // owned; when there is no FParent
    // What the first look fills: the cache record and the find data, in one
    // block made on the first question. A namespace that was only
    // enumerated (most of a big folder) stays small.
    struct TCacheBlock {
        TShellCacheRec Rec;
        TFindData Find;
        bool HasFind = false;
    };
    std::unique_ptr<TCacheBlock> FCache;
    // Whether the parent folder has the column interfaces: -1 not asked yet.
    int8_t FParentFolder2 = -1;
    int8_t FParentDetails = -1;
};

// Folders-first order and the sort keys of the default columns.
// Thread: one at a time.
enum class TFileSort { fsFileType, fsFileExtension };

class TShellSortHelper : public TObject {
public:
    TFileSort FileSort() const noexcept { return FFileSort; }
    void SetFileSort(TFileSort Value) noexcept { FFileSort = Value; }

    virtual int CompareIDSort(int SortColumn, TNamespace* NS1, TNamespace* NS2);
    virtual int DiscriminateFolders(TNamespace* NS1, TNamespace* NS2);
    virtual int SortFileSize(TNamespace* NS1, TNamespace* NS2);
    virtual int SortFileTime(int64_t FT1, int64_t FT2, TNamespace* NS1, TNamespace* NS2);
    virtual int SortString(const String& S1, const String& S2, TNamespace* NS1, TNamespace* NS2);
    virtual int SortType(TNamespace* NS1, TNamespace* NS2);

private:
    TFileSort FFileSort = TFileSort::fsFileType;
};

// An owning list of namespaces that reports changes.
// Thread: one at a time.
class TVirtualNameSpaceList {
public:
    std::function<void(TVirtualNameSpaceList&)> OnChanged;

    int Add(std::unique_ptr<TNamespace> NS);
    void Delete(int Index);
    void Clear();
    int Count() const noexcept { return static_cast<int>(FItems.size()); }
    TNamespace* operator[](int Index) const;

private:
    void Changed() { if (OnChanged) OnChanged(*this); }
    std::vector<std::unique_ptr<TNamespace>> FItems;
};

// The library's clipboard for the namespace verbs: absolute item lists and
// whether they were cut. OnChanged (if set) hears of every change, on the
// thread that made it, outside the lock; a host mirrors the clipboard to
// the system's there.
// Thread: any.
class TShellClipboard {
public:
    void Set(const std::vector<PCItemIDList>& Items, bool Cut);
    void Clear();
    bool Empty();
    bool IsCut();
    // Copies of the lists.
    std::vector<TPIDLHolder> Items();
    std::function<void()> OnChanged;

private:
    void Changed();
    std::mutex FLock;
    std::vector<std::string> FItems;  // the lists' bytes
    bool FCut = false;
};
// The library-wide clipboard.
TShellClipboard& ShellClipboard();

// Text formats of the default columns (exposed for tests and the gallery).
String FormatSizeKB(uint64_t Size);
String FormatFileTime(int64_t Nanos);

}  // namespace ide
