// The provider contract: the shell questions a namespace object asks, and the
// provider that answers them from the local file system.
//
// A namespace (IDEVirtualNamespace.h) never touches the file system itself;
// every question goes through a TShellProvider, by the parent folder's
// absolute item list and the item's relative one. The public entry points
// count their calls (CallCount), which is how tests and the gallery show
// that a cached look costs nothing: the counting is in the non-virtual
// wrappers, so no provider can forget it.
//
// TPosixShellProvider lays out the namespace as follows. The root (the
// empty list) holds Home, Desktop Folder, the XDG user folders that exist
// (Documents, Downloads, Music, Pictures, Videos), Computer (the root file
// system and the mount points of real devices) and Trash (the XDG trash's
// files folder). Items below those are file-system entries:
//   cb (2 bytes) · kind · d_type · raw name bytes
// with kind ikFileSystem, ikSpecial (the name is the folder's key) or
// ikVolume (the name is the mount point). Folder-ness comes from d_type
// without a stat; times and sizes from statx; the type and icon from a
// TFileTypeSource by name only, so no file's content is ever read.
//
// Enumeration reads the folder with getdents64 into one large buffer. The
// find data looks an entry up by name under a handle of its folder, held
// per thread for a short time, so the details of one folder's entries in a
// row do not walk the whole path each time.
//
// Thread: any (the POSIX provider keeps no shared mutable state after
// construction, only the per-thread folder handle; a type source must be
// thread-safe).
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "shellexplorer/IDEVirtualPIDLTools.h"

namespace ide {

// Attribute bits of an item (the shell's SFGAO values).
enum : uint32_t {
    SFGAO_CANCOPY = 0x1,
    SFGAO_CANMOVE = 0x2,
    SFGAO_CANLINK = 0x4,
    SFGAO_CANRENAME = 0x10,
    SFGAO_CANDELETE = 0x20,
    SFGAO_HASPROPSHEET = 0x40,
    SFGAO_GHOSTED = 0x8000,
    SFGAO_LINK = 0x10000,
    SFGAO_SHARE = 0x20000,
    SFGAO_READONLY = 0x40000,
    SFGAO_HIDDEN = 0x80000,
    SFGAO_NONENUMERATED = 0x100000,
    SFGAO_NEWCONTENT = 0x200000,
    SFGAO_VALIDATE = 0x1000000,
    SFGAO_REMOVABLE = 0x2000000,
    SFGAO_COMPRESSED = 0x4000000,
    SFGAO_FILESYSANCESTOR = 0x10000000,
    SFGAO_FOLDER = 0x20000000,
    SFGAO_FILESYSTEM = 0x40000000,
    SFGAO_HASSUBFOLDER = 0x80000000,
};

// Enumeration flags.
enum : uint32_t { SHCONTF_FOLDERS = 32, SHCONTF_NONFOLDERS = 64, SHCONTF_INCLUDEHIDDEN = 128 };

// Display name forms.
enum : uint32_t {
    SHGDN_NORMAL = 0,
    SHGDN_INFOLDER = 1,
    SHGDN_FOREDITING = 0x1000,
    SHGDN_FORADDRESSBAR = 0x4000,
    SHGDN_FORPARSING = 0x8000,
};

// Column states.
enum : uint32_t { SHCOLSTATE_TYPE_STR = 1, SHCOLSTATE_TYPE_INT = 2, SHCOLSTATE_TYPE_DATE = 3, SHCOLSTATE_ONBYDEFAULT = 0x10 };

// The folders the provider names at its root.
enum class TSpecialFolder { sfDesktop, sfHome, sfDesktopDirectory, sfDocuments, sfDownloads, sfMusic,
                            sfPictures, sfVideos, sfComputer, sfTrash };

// Kinds of item in the POSIX provider's lists.
enum : uint8_t { ikFileSystem = 1, ikSpecial = 2, ikVolume = 3 };

// The parts of one item the POSIX provider made: its kind, its d_type and
// its raw name bytes (a view into the item).
struct TPosixItem {
    uint8_t Kind = 0;
    uint8_t DType = 0;  // DT_UNKNOWN
    std::string_view Name;
};
// Reads Item into Out; false for nil or anything shorter than the kind and
// d_type bytes, which is not the provider's.
bool DecodePosixItem(PCItemIDList Item, TPosixItem& Out);

// What the file system says of one object (the find data). Times are
// nanoseconds since 1970-01-01 UTC; a CreationTime of 0 means unknown.
struct TFindData {
    uint32_t Mode = 0;
    uint64_t Size = 0;
    uint64_t DiskUsage = 0;
    int64_t CreationTime = 0;
    int64_t LastAccessTime = 0;
    int64_t LastWriteTime = 0;
    bool Compressed = false;
    bool Link = false;  // the entry itself is a symbolic link
    std::string FileName;  // raw bytes
};

// One enumeration, one item at a time.
class TShellEnum {
public:
    virtual ~TShellEnum() = default;
    // The next item as a relative list the caller owns; false at the end.
    virtual bool Next(PItemIDList& Item) = 0;
};

// The file type and icon of a name, by its name alone.
// Thread: any.
class TFileTypeSource {
public:
    virtual ~TFileTypeSource() = default;
    // The type's description, or empty when nothing is known of it.
    virtual String TypeName(std::string_view Name, bool Folder) = 0;
    // An index into this source's icon table.
    virtual int IconIndex(std::string_view Name, bool Folder, bool Open) = 0;
    // The icon name (in the icon theme) of an index; empty if unknown.
    virtual std::string IconName(int Index) = 0;
};

// A plain source: no type names; icons 0 file, 1 folder, 2 open folder.
class TPlainFileTypeSource : public TFileTypeSource {
public:
    String TypeName(std::string_view Name, bool Folder) override;
    int IconIndex(std::string_view Name, bool Folder, bool Open) override;
    std::string IconName(int Index) override;
};

// The shell's event codes a provider's verbs report.
enum : uint32_t {
    SHCNE_RENAMEITEM = 0x1,
    SHCNE_CREATE = 0x2,
    SHCNE_DELETE = 0x4,
    SHCNE_MKDIR = 0x8,
    SHCNE_RMDIR = 0x10,
    SHCNE_UPDATEDIR = 0x1000,
    SHCNE_RENAMEFOLDER = 0x20000,
};

// Where a provider's verbs report what they changed: an event code and one
// or two absolute lists (the new place second, for renames and moves).
using TShellChangeSink = std::function<void(uint32_t EventCode, PCItemIDList PIDL1, PCItemIDList PIDL2)>;

class TShellProvider {
public:
    virtual ~TShellProvider() = default;

    std::unique_ptr<TShellEnum> EnumObjects(PCItemIDList Folder, uint32_t Flags) { Count(); return DoEnumObjects(Folder, Flags); }
    // The requested bits that hold for Item in Folder.
    uint32_t GetAttributesOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Request) { Count(); return DoGetAttributesOf(Folder, Item, Request); }
    bool GetDisplayNameOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Flags, String& Name) { Count(); return DoGetDisplayNameOf(Folder, Item, Flags, Name); }
    // Renames; NewItem receives the new relative list.
    bool SetNameOf(PCItemIDList Folder, PCItemIDList Item, const String& Name, PItemIDList& NewItem);
    // A path to an absolute list, or nil.
    PItemIDList ParseDisplayName(const std::string& Path) { Count(); return DoParseDisplayName(Path); }
    // Negative, 0 or positive, by the column's key.
    int CompareIDs(PCItemIDList Folder, int Column, PCItemIDList Item1, PCItemIDList Item2) { Count(); return DoCompareIDs(Folder, Column, Item1, Item2); }

    // The column interface (absent: every call fails).
    bool SupportsFolder2(PCItemIDList Folder) { Count(); return DoSupportsFolder2(Folder); }
    bool GetDefaultColumnState(PCItemIDList Folder, int Column, uint32_t& State) { Count(); return DoGetDefaultColumnState(Folder, Column, State); }
    // Item nil asks for the column's title.
    bool GetDetailsOf(PCItemIDList Folder, PCItemIDList Item, int Column, String& Text) { Count(); return DoGetDetailsOf(Folder, Item, Column, Text); }
    // The older details interface.
    bool SupportsDetails(PCItemIDList Folder) { Count(); return DoSupportsDetails(Folder); }
    bool GetDetailsOfLegacy(PCItemIDList Folder, PCItemIDList Item, int Column, String& Text) { Count(); return DoGetDetailsOfLegacy(Folder, Item, Column, Text); }

    bool GetFindData(PCItemIDList Absolute, TFindData& Data) { Count(); return DoGetFindData(Absolute, Data); }
    bool GetFileTypeName(PCItemIDList Absolute, String& TypeName) { Count(); return DoGetFileTypeName(Absolute, TypeName); }
    int GetIconIndex(PCItemIDList Absolute, bool Open) { Count(); return DoGetIconIndex(Absolute, Open); }
    // The absolute list of a special folder, or nil when there is none.
    PItemIDList SpecialFolderLocation(TSpecialFolder Folder) { Count(); return DoSpecialFolderLocation(Folder); }
    // The file-system path of an absolute list; false for virtual items.
    bool PathOf(PCItemIDList Absolute, std::string& Path) { Count(); return DoPathOf(Absolute, Path); }

    // --- verbs ---
    // Each reports its change to the sink once it succeeded. Renaming goes
    // through SetNameOf, which reports too.
    // Removes Item: into the trash, or for good (a folder with everything
    // in it).
    bool DeleteItem(PCItemIDList Folder, PCItemIDList Item, bool ToTrash);
    // Makes a folder Name in Folder; NewItem receives its relative list.
    bool CreateFolder(PCItemIDList Folder, const String& Name, PItemIDList& NewItem);
    // Copies or moves Item of Folder into the folder Target (absolute),
    // never over an existing name: a taken name gets " (copy)" or
    // " (copy N)" before its extension. NewItem receives the relative
    // list in Target.
    bool CopyItem(PCItemIDList Folder, PCItemIDList Item, PCItemIDList Target, bool Move, PItemIDList& NewItem);
    // A link in Target to Item of Folder, named as the item (made free as
    // above).
    bool LinkItem(PCItemIDList Folder, PCItemIDList Item, PCItemIDList Target, PItemIDList& NewItem);
    // The sink that hears of the verbs' changes (the change notifier sets
    // one); nil for none.
    void SetChangeSink(std::shared_ptr<const TShellChangeSink> Sink);
    std::shared_ptr<const TShellChangeSink> ChangeSink();
    // Why the last verb on this thread failed, for messages ("" if none).
    static const std::string& LastVerbError();

    uint64_t CallCount() const noexcept { return FCalls.load(std::memory_order_relaxed); }
    void ResetCallCount() noexcept { FCalls.store(0, std::memory_order_relaxed); }

protected:
    virtual std::unique_ptr<TShellEnum> DoEnumObjects(PCItemIDList Folder, uint32_t Flags) = 0;
    virtual uint32_t DoGetAttributesOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Request) = 0;
    virtual bool DoGetDisplayNameOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Flags, String& Name) = 0;
    virtual bool DoSetNameOf(PCItemIDList Folder, PCItemIDList Item, const String& Name, PItemIDList& NewItem) = 0;
    virtual PItemIDList DoParseDisplayName(const std::string& Path) = 0;
    virtual int DoCompareIDs(PCItemIDList Folder, int Column, PCItemIDList Item1, PCItemIDList Item2) = 0;
    virtual bool DoSupportsFolder2(PCItemIDList) { return false; }
    virtual bool DoGetDefaultColumnState(PCItemIDList, int, uint32_t&) { return false; }
    virtual bool DoGetDetailsOf(PCItemIDList, PCItemIDList, int, String&) { return false; }
    virtual bool DoSupportsDetails(PCItemIDList) { return false; }
    virtual bool DoGetDetailsOfLegacy(PCItemIDList, PCItemIDList, int, String&) { return false; }
    virtual bool DoGetFindData(PCItemIDList Absolute, TFindData& Data) = 0;
    virtual bool DoGetFileTypeName(PCItemIDList Absolute, String& TypeName) = 0;
    virtual int DoGetIconIndex(PCItemIDList Absolute, bool Open) = 0;
    virtual PItemIDList DoSpecialFolderLocation(TSpecialFolder Folder) = 0;
    virtual bool DoPathOf(PCItemIDList Absolute, std::string& Path) = 0;
    // Verbs: a provider without them refuses.
    virtual bool DoDeleteItem(PCItemIDList, PCItemIDList, bool) { return VerbFailed("not supported here"); }
    virtual bool DoCreateFolder(PCItemIDList, const String&, PItemIDList&) { return VerbFailed("not supported here"); }
    virtual bool DoCopyItem(PCItemIDList, PCItemIDList, PCItemIDList, bool, PItemIDList&) {
        return VerbFailed("not supported here");
    }
    virtual bool DoLinkItem(PCItemIDList, PCItemIDList, PCItemIDList, PItemIDList&) { return VerbFailed("not supported here"); }
    // Records why a verb failed; answers false.
    static bool VerbFailed(std::string Why);

private:
    void Count() noexcept { FCalls.fetch_add(1, std::memory_order_relaxed); }
    void Report(uint32_t Code, PCItemIDList PIDL1, PCItemIDList PIDL2);
    std::atomic<uint64_t> FCalls{0};
    std::mutex FSinkLock;
    std::shared_ptr<const TShellChangeSink> FSink;
};

// The places the POSIX provider starts from. FromEnvironment reads $HOME,
// $XDG_DATA_HOME, $XDG_CONFIG_HOME and the XDG user-dirs file.
struct TPosixRoots {
    std::string Home;
    std::string DataHome;  // $XDG_DATA_HOME or ~/.local/share
    std::string MountInfo = "/proc/self/mountinfo";
    // (folder, path) of the user folders that are listed at the root.
    std::vector<std::pair<TSpecialFolder, std::string>> UserDirs;

    static TPosixRoots FromEnvironment();
    // The XDG trash's folders.
    std::string TrashFiles() const { return DataHome + "/Trash/files"; }
    std::string TrashInfo() const { return DataHome + "/Trash/info"; }
};

// A mount point of a real device, from the mount table.
struct TMountEntry {
    std::string MountPoint;
    std::string Source;
    std::string FileSystem;
};
// Parses mountinfo text; entries whose source is a device under /dev.
std::vector<TMountEntry> ParseMountInfo(std::string_view Text);

class TPosixShellProvider : public TShellProvider {
public:
    explicit TPosixShellProvider(TPosixRoots Roots = TPosixRoots::FromEnvironment(),
                                 std::shared_ptr<TFileTypeSource> Types = nullptr);

    const TPosixRoots& Roots() const noexcept { return FRoots; }
    TFileTypeSource& Types() const noexcept { return *FTypes; }
    // A file-system item of a name (d_type as readdir gives it).
    static PItemIDList MakeFileItem(std::string_view Name, uint8_t DType);
    static PItemIDList MakeSpecialItem(TSpecialFolder Folder);
    static PItemIDList MakeVolumeItem(std::string_view MountPoint);

protected:
    std::unique_ptr<TShellEnum> DoEnumObjects(PCItemIDList Folder, uint32_t Flags) override;
    uint32_t DoGetAttributesOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Request) override;
    bool DoGetDisplayNameOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Flags, String& Name) override;
    bool DoSetNameOf(PCItemIDList Folder, PCItemIDList Item, const String& Name, PItemIDList& NewItem) override;
    PItemIDList DoParseDisplayName(const std::string& Path) override;
    int DoCompareIDs(PCItemIDList Folder, int Column, PCItemIDList Item1, PCItemIDList Item2) override;
    bool DoGetFindData(PCItemIDList Absolute, TFindData& Data) override;
    bool DoGetFileTypeName(PCItemIDList Absolute, String& TypeName) override;
    int DoGetIconIndex(PCItemIDList Absolute, bool Open) override;
    PItemIDList DoSpecialFolderLocation(TSpecialFolder Folder) override;
    bool DoPathOf(PCItemIDList Absolute, std::string& Path) override;
    bool DoDeleteItem(PCItemIDList Folder, PCItemIDList Item, bool ToTrash) override;
    bool DoCreateFolder(PCItemIDList Folder, const String& Name, PItemIDList& NewItem) override;
    bool DoCopyItem(PCItemIDList Folder, PCItemIDList Item, PCItemIDList Target, bool Move, PItemIDList& NewItem) override;
    bool DoLinkItem(PCItemIDList Folder, PCItemIDList Item, PCItemIDList Target, PItemIDList& NewItem) override;

private:
    bool ResolvePath(PCItemIDList Absolute, std::string& Path) const;
    bool ItemPath(PCItemIDList Folder, PCItemIDList Item, std::string& Path) const;
    bool IsFolderItem(PCItemIDList Folder, PCItemIDList Item) const;
    const std::string* SpecialPath(TSpecialFolder Folder) const;

    TPosixRoots FRoots;
    std::shared_ptr<TFileTypeSource> FTypes;
};

// The display name of a special folder ("Home", "Computer", ...).
const char* SpecialFolderName(TSpecialFolder Folder);

}  // namespace ide
