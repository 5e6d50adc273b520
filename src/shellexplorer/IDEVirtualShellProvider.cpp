#include "shellexplorer/IDEVirtualShellProvider.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace ide {

namespace {

struct TSpecialInfo {
    TSpecialFolder Folder;
    const char* Key;   // stored in the item
    const char* Name;  // shown
};

const TSpecialInfo SpecialTable[] = {
    {TSpecialFolder::sfDesktop, "desktop", "Desktop"},
    {TSpecialFolder::sfHome, "home", "Home"},
    {TSpecialFolder::sfDesktopDirectory, "desktopdir", "Desktop Folder"},
    {TSpecialFolder::sfDocuments, "documents", "Documents"},
    {TSpecialFolder::sfDownloads, "downloads", "Downloads"},
    {TSpecialFolder::sfMusic, "music", "Music"},
    {TSpecialFolder::sfPictures, "pictures", "Pictures"},
    {TSpecialFolder::sfVideos, "videos", "Videos"},
    {TSpecialFolder::sfComputer, "computer", "Computer"},
    {TSpecialFolder::sfTrash, "trash", "Trash"},
};

const TSpecialInfo* SpecialByKey(std::string_view Key) {
    for (const auto& S : SpecialTable)
        if (Key == S.Key) return &S;
    return nullptr;
}

const TSpecialInfo& SpecialInfo(TSpecialFolder F) {
    for (const auto& S : SpecialTable)
        if (S.Folder == F) return S;
    return SpecialTable[0];
}

bool StatFollow(const std::string& Path, struct statx& Sx, unsigned Mask) {
    return statx(AT_FDCWD, Path.c_str(), AT_STATX_SYNC_AS_STAT, Mask, &Sx) == 0;
}

bool StatNoFollow(const std::string& Path, struct statx& Sx, unsigned Mask) {
    return statx(AT_FDCWD, Path.c_str(), AT_SYMLINK_NOFOLLOW | AT_STATX_SYNC_AS_STAT, Mask, &Sx) == 0;
}

// The folder whose entries were looked at last on this thread, held open
// (O_PATH) so that the next entry of the same folder is looked up by name
// alone instead of walking the whole path again: a view asks for the
// details of one folder's entries in a row. The handle is used for at most
// HandleLife after it was opened, and a name it cannot find is looked up
// again by its full path, so a folder that was deleted or replaced is seen
// within that time.
struct TFolderHandle {
    std::string Path;
    int Fd = -1;
    int64_t OpenedAt = 0;
    ~TFolderHandle() {
        if (Fd >= 0) close(Fd);
    }
};
constexpr int64_t HandleLife = 100'000'000;  // ns

int64_t CoarseNow() {
    struct timespec T;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &T);
    return int64_t(T.tv_sec) * 1000000000 + T.tv_nsec;
}

// statx of Path, through the folder handle when Path's folder is the one
// held; Flags as for statx.
bool StatEntry(const std::string& Path, int Flags, unsigned Mask, struct statx& Sx) {
    thread_local TFolderHandle Held;
    const size_t Slash = Path.find_last_of('/');
    if (Slash != std::string::npos && Slash > 0 && Slash + 1 < Path.size()) {
        const std::string_view Folder(Path.data(), Slash);
        const int64_t Now = CoarseNow();
        if (Held.Fd < 0 || Now - Held.OpenedAt > HandleLife || std::string_view(Held.Path) != Folder) {
            if (Held.Fd >= 0) close(Held.Fd);
            Held.Path.assign(Folder);
            Held.Fd = open(Held.Path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
            Held.OpenedAt = Now;
        }
        if (Held.Fd >= 0 && statx(Held.Fd, Path.c_str() + Slash + 1, Flags, Mask, &Sx) == 0) return true;
    }
    return statx(AT_FDCWD, Path.c_str(), Flags, Mask, &Sx) == 0;
}

// A name as text: plain ASCII (most names) widens byte by byte, anything
// else goes through the UTF-8 conversion.
String NameText(std::string_view Name) {
    for (char C : Name)
        if (static_cast<unsigned char>(C) >= 0x80) return Str(Name);
    return String(Name.begin(), Name.end());
}

int64_t Nanos(const struct statx_timestamp& T) { return int64_t(T.tv_sec) * 1000000000 + T.tv_nsec; }

std::string ParentOf(const std::string& Path) {
    auto Slash = Path.find_last_of('/');
    if (Slash == std::string::npos) return ".";
    if (Slash == 0) return "/";
    return Path.substr(0, Slash);
}

// Mount points in the table escape space, tab, newline and backslash as
// three octal digits.
std::string UnescapeMount(std::string_view S) {
    std::string Out;
    Out.reserve(S.size());
    for (size_t I = 0; I < S.size(); ++I) {
        if (S[I] == '\\' && I + 3 < S.size() &&
            std::all_of(S.begin() + I + 1, S.begin() + I + 4, [](char C) { return C >= '0' && C <= '7'; })) {
            Out += static_cast<char>((S[I + 1] - '0') * 64 + (S[I + 2] - '0') * 8 + (S[I + 3] - '0'));
            I += 3;
        } else {
            Out += S[I];
        }
    }
    return Out;
}

std::string ReadWholeFile(const std::string& Path) {
    std::ifstream In(Path, std::ios::binary);
    std::ostringstream Out;
    Out << In.rdbuf();
    return Out.str();
}

// Reads the folder with getdents64 into a large buffer: a 100,000-entry
// folder takes a handful of system calls, and d_type says what a folder is
// without a stat (only links and unknown types are looked at).
class TDirEnum : public TShellEnum {
public:
    // The buffer is mapped by itself: from the heap, a block this large
    // would make the allocator sweep its free lists on every enumeration.
    TDirEnum(int Fd, uint32_t Flags) : FFd(Fd), FFlags(Flags) {
        void* P = mmap(nullptr, BufSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        FBuf = P == MAP_FAILED ? nullptr : static_cast<char*>(P);
        FDone = !FBuf;
    }
    ~TDirEnum() override {
        if (FBuf) munmap(FBuf, BufSize);
        close(FFd);
    }

    bool Next(PItemIDList& Item) override {
        for (;;) {
            if (FPos >= FEnd) {
                // The end, an error, or a folder that went away under us:
                // either way the enumeration just stops.
                if (FDone) return false;
                long N = syscall(SYS_getdents64, FFd, FBuf, BufSize);
                if (N <= 0) {
                    FDone = true;
                    return false;
                }
                FPos = 0;
                FEnd = static_cast<size_t>(N);
            }
            struct TDirent64 {
                uint64_t d_ino;
                int64_t d_off;
                unsigned short d_reclen;
                unsigned char d_type;
                char d_name[1];
            };
            const auto* E = reinterpret_cast<const TDirent64*>(FBuf + FPos);
            FPos += E->d_reclen;
            const char* N = E->d_name;
            if (N[0] == '.' && (N[1] == 0 || (N[1] == '.' && N[2] == 0))) continue;
            if (N[0] == '.' && !(FFlags & SHCONTF_INCLUDEHIDDEN)) continue;
            uint8_t DType = E->d_type;
            bool Folder = DType == DT_DIR;
            if (DType == DT_LNK || DType == DT_UNKNOWN) {
                struct stat St;
                Folder = fstatat(FFd, N, &St, 0) == 0 && S_ISDIR(St.st_mode);
                if (Folder && DType == DT_UNKNOWN) DType = DT_DIR;
            }
            if (Folder ? !(FFlags & SHCONTF_FOLDERS) : !(FFlags & SHCONTF_NONFOLDERS)) continue;
            // A symbolic link to a folder keeps DT_LNK; the provider marks it
            // as folder and link when asked.
            Item = TPosixShellProvider::MakeFileItem(std::string_view(N, std::strlen(N)), DType);
            return true;
        }
    }

private:
    static constexpr size_t BufSize = 96 * 1024;
    int FFd;
    uint32_t FFlags;
    char* FBuf = nullptr;
    size_t FPos = 0, FEnd = 0;
    bool FDone = false;
};

class TListEnum : public TShellEnum {
public:
    bool Next(PItemIDList& Item) override {
        if (FIndex >= FItems.size()) return false;
        Item = FItems[FIndex++].Release();
        return true;
    }
    std::vector<TPIDLHolder> FItems;
    size_t FIndex = 0;
};

}  // namespace

bool DecodePosixItem(PCItemIDList Item, TPosixItem& Out) {
    if (!Item) return false;
    uint16_t Cb = PIDLItemSize(Item);
    if (Cb < 4) return false;
    Out.Kind = Item[2];
    Out.DType = Item[3];
    Out.Name = std::string_view(reinterpret_cast<const char*>(Item + 4), Cb - 4u);
    return true;
}

const char* SpecialFolderName(TSpecialFolder Folder) { return SpecialInfo(Folder).Name; }

// --- type sources --------------------------------------------------------------

String TPlainFileTypeSource::TypeName(std::string_view, bool) { return String(); }

int TPlainFileTypeSource::IconIndex(std::string_view, bool Folder, bool Open) {
    return Folder ? (Open ? 2 : 1) : 0;
}

std::string TPlainFileTypeSource::IconName(int Index) {
    switch (Index) {
        case 0: return "text-x-generic";
        case 1: return "folder";
        case 2: return "folder-open";
        default: return std::string();
    }
}

// --- roots -----------------------------------------------------------------

TPosixRoots TPosixRoots::FromEnvironment() {
    TPosixRoots R;
    const char* H = std::getenv("HOME");
    R.Home = H && *H ? H : "/";
    const char* D = std::getenv("XDG_DATA_HOME");
    R.DataHome = D && *D == '/' ? D : R.Home + "/.local/share";
    const char* C = std::getenv("XDG_CONFIG_HOME");
    std::string Config = C && *C == '/' ? C : R.Home + "/.config";
    // user-dirs.dirs: lines of XDG_<NAME>_DIR="$HOME/Folder".
    std::string Text = ReadWholeFile(Config + "/user-dirs.dirs");
    struct {
        const char* Var;
        TSpecialFolder F;
        const char* Default;
    } const Dirs[] = {{"XDG_DESKTOP_DIR", TSpecialFolder::sfDesktopDirectory, "Desktop"},
                      {"XDG_DOCUMENTS_DIR", TSpecialFolder::sfDocuments, "Documents"},
                      {"XDG_DOWNLOAD_DIR", TSpecialFolder::sfDownloads, "Downloads"},
                      {"XDG_MUSIC_DIR", TSpecialFolder::sfMusic, "Music"},
                      {"XDG_PICTURES_DIR", TSpecialFolder::sfPictures, "Pictures"},
                      {"XDG_VIDEOS_DIR", TSpecialFolder::sfVideos, "Videos"}};
    for (const auto& Dir : Dirs) {
        std::string Path = R.Home + "/" + Dir.Default;
        std::string Key = std::string(Dir.Var) + "=\"";
        auto Pos = Text.find(Key);
        if (Pos != std::string::npos) {
            auto Start = Pos + Key.size();
            auto End = Text.find('"', Start);
            std::string V = Text.substr(Start, End == std::string::npos ? std::string::npos : End - Start);
            if (V.rfind("$HOME", 0) == 0) V = R.Home + V.substr(5);
            if (!V.empty() && V[0] == '/') Path = V;
        }
        struct stat St;
        // A user folder that is home itself isn't listed twice.
        if (Path != R.Home && stat(Path.c_str(), &St) == 0 && S_ISDIR(St.st_mode)) R.UserDirs.emplace_back(Dir.F, Path);
    }
    return R;
}

std::vector<TMountEntry> ParseMountInfo(std::string_view Text) {
    std::vector<TMountEntry> Out;
    size_t LineStart = 0;
    while (LineStart < Text.size()) {
        size_t LineEnd = Text.find('\n', LineStart);
        if (LineEnd == std::string_view::npos) LineEnd = Text.size();
        std::string_view Line = Text.substr(LineStart, LineEnd - LineStart);
        LineStart = LineEnd + 1;
        std::vector<std::string_view> Fields;
        size_t P = 0;
        while (P < Line.size()) {
            size_t Q = Line.find(' ', P);
            if (Q == std::string_view::npos) Q = Line.size();
            if (Q > P) Fields.push_back(Line.substr(P, Q - P));
            P = Q + 1;
        }
        // id parent dev root mountpoint options [optional...] - fstype source superopts
        auto Dash = std::find(Fields.begin(), Fields.end(), std::string_view("-"));
        if (Fields.size() < 5 || Dash == Fields.end() || Fields.end() - Dash < 3) continue;
        TMountEntry E{UnescapeMount(Fields[4]), UnescapeMount(*(Dash + 2)), std::string(*(Dash + 1))};
        if (E.Source.rfind("/dev/", 0) != 0) continue;
        if (std::none_of(Out.begin(), Out.end(), [&](const TMountEntry& O) { return O.MountPoint == E.MountPoint; }))
            Out.push_back(std::move(E));
    }
    return Out;
}

// --- provider ----------------------------------------------------------------

TPosixShellProvider::TPosixShellProvider(TPosixRoots Roots, std::shared_ptr<TFileTypeSource> Types)
    : FRoots(std::move(Roots)), FTypes(Types ? std::move(Types) : std::make_shared<TPlainFileTypeSource>()) {}

PItemIDList TPosixShellProvider::MakeFileItem(std::string_view Name, uint8_t DType) {
    // Built in place: this runs once per entry of every enumeration.
    if (Name.size() > 0xFFFF - 4) throw EInvalidPIDLStream("Item too large for an item list");
    const size_t Cb = Name.size() + 4;
    PItemIDList P = TPIDLManager::AllocPIDL(Cb + 2);
    P[0] = uint8_t(Cb);
    P[1] = uint8_t(Cb >> 8);
    P[2] = ikFileSystem;
    P[3] = DType;
    std::memcpy(P + 4, Name.data(), Name.size());
    P[Cb] = P[Cb + 1] = 0;
    return P;
}

PItemIDList TPosixShellProvider::MakeSpecialItem(TSpecialFolder Folder) {
    std::string Payload;
    Payload += static_cast<char>(ikSpecial);
    Payload += static_cast<char>(DT_DIR);
    Payload += SpecialInfo(Folder).Key;
    return TPIDLManager::MakeItem(Payload.data(), Payload.size());
}

PItemIDList TPosixShellProvider::MakeVolumeItem(std::string_view MountPoint) {
    std::string Payload;
    Payload += static_cast<char>(ikVolume);
    Payload += static_cast<char>(DT_DIR);
    Payload += MountPoint;
    return TPIDLManager::MakeItem(Payload.data(), Payload.size());
}

const std::string* TPosixShellProvider::SpecialPath(TSpecialFolder Folder) const {
    static thread_local std::string Trash;
    switch (Folder) {
        case TSpecialFolder::sfHome: return &FRoots.Home;
        case TSpecialFolder::sfTrash: Trash = FRoots.TrashFiles(); return &Trash;
        case TSpecialFolder::sfDesktop:
        case TSpecialFolder::sfComputer: return nullptr;
        default:
            for (const auto& D : FRoots.UserDirs)
                if (D.first == Folder) return &D.second;
            return nullptr;
    }
}

bool TPosixShellProvider::ResolvePath(PCItemIDList Absolute, std::string& Path) const {
    Path.clear();
    if (!Absolute || PIDLItemSize(Absolute) == 0) return false;  // the desktop is virtual
    TPosixItem It;
    bool First = true;
    bool UnderComputer = false;
    for (PCItemIDList P = Absolute; PIDLItemSize(P) != 0; P += PIDLItemSize(P)) {
        if (!DecodePosixItem(P, It)) return false;
        if (First) {
            First = false;
            if (It.Kind != ikSpecial) return false;
            const TSpecialInfo* S = SpecialByKey(It.Name);
            if (!S) return false;
            if (S->Folder == TSpecialFolder::sfComputer) {
                UnderComputer = true;
                continue;
            }
            const std::string* Base = SpecialPath(S->Folder);
            if (!Base) return false;
            Path = *Base;
            continue;
        }
        if (UnderComputer) {
            UnderComputer = false;
            if (It.Kind != ikVolume) return false;
            Path.assign(It.Name);
            continue;
        }
        if (It.Kind != ikFileSystem || Path.empty()) return false;
        // Names never hold a slash or are empty; a list that says otherwise
        // came from somewhere else and names nothing here.
        if (It.Name.empty() || It.Name.find('/') != std::string_view::npos || It.Name.find('\0') != std::string_view::npos ||
            It.Name == "." || It.Name == "..")
            return false;
        if (Path.back() != '/') Path += '/';
        Path += It.Name;
    }
    return !UnderComputer && !Path.empty();
}

bool TPosixShellProvider::ItemPath(PCItemIDList Folder, PCItemIDList Item, std::string& Path) const {
    TPIDLHolder Abs(PIDLMgr.AppendPIDL(Folder, Item));
    return ResolvePath(Abs.Get(), Path);
}

bool TPosixShellProvider::DoPathOf(PCItemIDList Absolute, std::string& Path) { return ResolvePath(Absolute, Path); }

std::unique_ptr<TShellEnum> TPosixShellProvider::DoEnumObjects(PCItemIDList Folder, uint32_t Flags) {
    if (PIDLMgr.IsDesktopFolder(Folder)) {
        auto E = std::make_unique<TListEnum>();
        if (!(Flags & SHCONTF_FOLDERS)) return E;
        E->FItems.emplace_back(MakeSpecialItem(TSpecialFolder::sfHome));
        for (const auto& D : FRoots.UserDirs) E->FItems.emplace_back(MakeSpecialItem(D.first));
        E->FItems.emplace_back(MakeSpecialItem(TSpecialFolder::sfComputer));
        E->FItems.emplace_back(MakeSpecialItem(TSpecialFolder::sfTrash));
        return E;
    }
    TPosixItem It;
    if (PIDLMgr.IDCount(Folder) == 1 && DecodePosixItem(Folder, It) && It.Kind == ikSpecial && It.Name == "computer") {
        auto E = std::make_unique<TListEnum>();
        if (!(Flags & SHCONTF_FOLDERS)) return E;
        E->FItems.emplace_back(MakeVolumeItem("/"));
        for (const auto& M : ParseMountInfo(ReadWholeFile(FRoots.MountInfo)))
            if (M.MountPoint != "/") E->FItems.emplace_back(MakeVolumeItem(M.MountPoint));
        return E;
    }
    std::string Path;
    if (!ResolvePath(Folder, Path)) return nullptr;
    int Fd = open(Path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (Fd < 0) return nullptr;  // unreadable, gone, a loop, or not a folder
    return std::make_unique<TDirEnum>(Fd, Flags);
}

bool TPosixShellProvider::IsFolderItem(PCItemIDList Folder, PCItemIDList Item) const {
    TPosixItem It;
    if (!DecodePosixItem(Item, It)) return false;
    if (It.Kind != ikFileSystem) return true;
    if (It.DType == DT_DIR) return true;
    if (It.DType != DT_LNK && It.DType != DT_UNKNOWN) return false;
    std::string Path;
    struct stat St;
    return ItemPath(Folder, Item, Path) && stat(Path.c_str(), &St) == 0 && S_ISDIR(St.st_mode);
}

uint32_t TPosixShellProvider::DoGetAttributesOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Request) {
    Request &= ~SFGAO_VALIDATE;  // nothing is cached here
    TPosixItem It;
    if (!DecodePosixItem(Item, It)) return 0;
    uint32_t R = 0;
    const bool Folderish = Request & (SFGAO_FOLDER | SFGAO_HASSUBFOLDER | SFGAO_FILESYSANCESTOR);
    bool IsFolder = Folderish && IsFolderItem(Folder, Item);
    if (It.Kind == ikSpecial) {
        const TSpecialInfo* S = SpecialByKey(It.Name);
        if (!S) return 0;
        R = SFGAO_FOLDER | SFGAO_HASSUBFOLDER | SFGAO_FILESYSANCESTOR;
        if (SpecialPath(S->Folder)) R |= SFGAO_FILESYSTEM | SFGAO_CANCOPY | SFGAO_CANLINK;
        return R & Request;
    }
    if (It.Kind == ikVolume) {
        R = SFGAO_FOLDER | SFGAO_HASSUBFOLDER | SFGAO_FILESYSANCESTOR | SFGAO_FILESYSTEM | SFGAO_CANLINK;
        return R & Request;
    }
    R |= SFGAO_FILESYSTEM;
    if (IsFolder) R |= SFGAO_FOLDER | SFGAO_FILESYSANCESTOR;
    if (!It.Name.empty() && It.Name[0] == '.') R |= SFGAO_HIDDEN | SFGAO_GHOSTED;
    const uint32_t NeedPath = SFGAO_CANCOPY | SFGAO_CANMOVE | SFGAO_CANLINK | SFGAO_CANRENAME | SFGAO_CANDELETE |
                              SFGAO_LINK | SFGAO_READONLY | SFGAO_COMPRESSED | SFGAO_HASSUBFOLDER | SFGAO_HASPROPSHEET;
    if (Request & NeedPath) {
        std::string Path;
        if (!ItemPath(Folder, Item, Path)) return 0;
        struct statx Own;
        if (!StatNoFollow(Path, Own, STATX_TYPE | STATX_UID | STATX_NLINK)) return R & Request;  // gone
        R |= SFGAO_HASPROPSHEET | SFGAO_CANLINK;
        if (S_ISLNK(Own.stx_mode)) R |= SFGAO_LINK;
        if (access(Path.c_str(), R_OK) == 0) R |= SFGAO_CANCOPY;
        if (access(Path.c_str(), W_OK) != 0) R |= SFGAO_READONLY;
        if (Own.stx_attributes & STATX_ATTR_COMPRESSED) R |= SFGAO_COMPRESSED;
        // Removing or renaming needs a writable parent; in a sticky folder
        // only the owner of the entry or of the folder may do it.
        std::string Parent = ParentOf(Path);
        struct stat PSt;
        if (access(Parent.c_str(), W_OK | X_OK) == 0 && stat(Parent.c_str(), &PSt) == 0) {
            uid_t Me = geteuid();
            if (!(PSt.st_mode & S_ISVTX) || Me == 0 || Me == Own.stx_uid || Me == PSt.st_uid)
                R |= SFGAO_CANDELETE | SFGAO_CANRENAME | SFGAO_CANMOVE;
        }
        if (IsFolder && (Request & SFGAO_HASSUBFOLDER)) {
            // Folders on file systems that count links have nlink - 2
            // subfolders; a count of 1 means the file system doesn't count,
            // so there may be some.
            struct statx Target;
            if (StatFollow(Path, Target, STATX_NLINK) && Target.stx_nlink != 2) R |= SFGAO_HASSUBFOLDER;
        }
    }
    return R & Request;
}

bool TPosixShellProvider::DoGetDisplayNameOf(PCItemIDList Folder, PCItemIDList Item, uint32_t Flags, String& Name) {
    Name.clear();
    if (!Item || PIDLItemSize(Item) == 0) {
        if (!Folder || PIDLMgr.IsDesktopFolder(Folder)) {
            Name = (Flags & SHGDN_FORPARSING) ? Str("::desktop") : Str("Desktop");
            return true;
        }
        return false;
    }
    TPosixItem It;
    if (!DecodePosixItem(Item, It)) return false;
    if ((Flags & SHGDN_FORPARSING) && !(Flags & SHGDN_INFOLDER)) {
        std::string Path;
        if (ItemPath(Folder, Item, Path)) {
            Name = Str(Path);
            return true;
        }
        if (It.Kind == ikSpecial) {
            Name = Str("::" + std::string(It.Name));
            return true;
        }
        return false;
    }
    switch (It.Kind) {
        case ikSpecial: {
            const TSpecialInfo* S = SpecialByKey(It.Name);
            if (!S) return false;
            Name = Str(S->Name);
            return true;
        }
        case ikVolume:
            Name = It.Name == "/" ? Str("File System") : Str(It.Name);
            return true;
        case ikFileSystem:
            Name = NameText(It.Name);
            return true;
        default:
            return false;
    }
}

bool TPosixShellProvider::DoSetNameOf(PCItemIDList Folder, PCItemIDList Item, const String& Name, PItemIDList& NewItem) {
    NewItem = nullptr;
    std::string From;
    std::string NewName = Utf8(Name);
    if (NewName.empty() || NewName.find('/') != std::string::npos || NewName == "." || NewName == "..") return false;
    if (!ItemPath(Folder, Item, From)) return false;
    TPosixItem It;
    DecodePosixItem(Item, It);
    if (It.Kind != ikFileSystem) return false;
    std::string To = ParentOf(From) + "/" + NewName;
    if (renameat2(AT_FDCWD, From.c_str(), AT_FDCWD, To.c_str(), RENAME_NOREPLACE) != 0) return false;
    NewItem = MakeFileItem(NewName, It.DType);
    return true;
}

PItemIDList TPosixShellProvider::DoParseDisplayName(const std::string& Path) {
    if (Path.empty() || Path[0] != '/') return nullptr;
    struct stat St;
    if (lstat(Path.c_str(), &St) != 0) return nullptr;
    // Under the longest root that holds the path: home or a user folder
    // (or the trash), else the root file system under Computer.
    std::string BestBase;
    TSpecialFolder Best = TSpecialFolder::sfComputer;
    auto Try = [&](TSpecialFolder F, const std::string& Base) {
        if (Base.size() > BestBase.size() && (Path == Base || (Path.rfind(Base, 0) == 0 && Path[Base.size()] == '/'))) {
            BestBase = Base;
            Best = F;
        }
    };
    Try(TSpecialFolder::sfHome, FRoots.Home);
    for (const auto& D : FRoots.UserDirs) Try(D.first, D.second);
    Try(TSpecialFolder::sfTrash, FRoots.TrashFiles());
    TPIDLHolder Result;
    std::string Rest;
    if (Best == TSpecialFolder::sfComputer) {
        TPIDLHolder C(MakeSpecialItem(TSpecialFolder::sfComputer));
        TPIDLHolder V(MakeVolumeItem("/"));
        Result.Reset(PIDLMgr.AppendPIDL(C.Get(), V.Get()));
        Rest = Path.substr(1);
    } else {
        Result.Reset(MakeSpecialItem(Best));
        Rest = Path.size() > BestBase.size() ? Path.substr(BestBase.size() + 1) : std::string();
    }
    std::string Walked = BestBase.empty() ? std::string() : BestBase;
    size_t P = 0;
    while (P < Rest.size()) {
        size_t Q = Rest.find('/', P);
        if (Q == std::string::npos) Q = Rest.size();
        std::string Part = Rest.substr(P, Q - P);
        P = Q + 1;
        if (Part.empty()) continue;
        Walked += "/" + Part;
        struct stat S2;
        uint8_t DType = DT_UNKNOWN;
        if (lstat(Walked.c_str(), &S2) == 0) DType = S_ISLNK(S2.st_mode) ? DT_LNK : S_ISDIR(S2.st_mode) ? DT_DIR : DT_REG;
        TPIDLHolder One(MakeFileItem(Part, DType));
        Result.Reset(PIDLMgr.AppendPIDL(Result.Get(), One.Get()));
    }
    return Result.Release();
}

int TPosixShellProvider::DoCompareIDs(PCItemIDList Folder, int Column, PCItemIDList Item1, PCItemIDList Item2) {
    TPosixItem A, B;
    if (!DecodePosixItem(Item1, A) || !DecodePosixItem(Item2, B)) return 0;
    auto ByName = [&] {
        int C = std::strcoll(std::string(A.Name).c_str(), std::string(B.Name).c_str());
        return C < 0 ? -1 : C > 0 ? 1 : 0;
    };
    if (Column <= 0 || A.Kind != ikFileSystem || B.Kind != ikFileSystem) return ByName();
    TFindData DA, DB;
    std::string PA, PB;
    TPIDLHolder AbsA(PIDLMgr.AppendPIDL(Folder, Item1)), AbsB(PIDLMgr.AppendPIDL(Folder, Item2));
    DoGetFindData(AbsA.Get(), DA);
    DoGetFindData(AbsB.Get(), DB);
    auto Cmp = [](auto X, auto Y) { return X < Y ? -1 : X > Y ? 1 : 0; };
    switch (Column) {
        case 1: return Cmp(DA.Size, DB.Size);
        case 3: return Cmp(DA.LastWriteTime, DB.LastWriteTime);
        case 5: return Cmp(DA.CreationTime, DB.CreationTime);
        case 6: return Cmp(DA.LastAccessTime, DB.LastAccessTime);
        default: return ByName();
    }
}

bool TPosixShellProvider::DoGetFindData(PCItemIDList Absolute, TFindData& Data) {
    // One buffer per thread: a first look asks this for every entry.
    thread_local std::string Path;
    if (!ResolvePath(Absolute, Path)) return false;
    struct statx Sx;
    // Only what the find data holds; a network file system need not
    // synchronise for a look.
    const unsigned Mask = STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_BLOCKS | STATX_ATIME | STATX_MTIME | STATX_BTIME;
    bool Link = false;
    if (!StatEntry(Path, AT_STATX_DONT_SYNC, Mask, Sx)) {
        // A dangling link or a loop: describe the link itself.
        if (!StatEntry(Path, AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC, Mask, Sx)) return false;
    }
    if (!S_ISLNK(Sx.stx_mode)) {
        TPosixItem It;
        PCItemIDList Last = PIDLMgr.GetPointerToLastID(Absolute);
        Link = DecodePosixItem(Last, It) && It.DType == DT_LNK;
    } else {
        Link = true;
    }
    Data.Mode = Sx.stx_mode;
    Data.Size = Sx.stx_size;
    Data.DiskUsage = Sx.stx_blocks * 512;
    Data.CreationTime = (Sx.stx_mask & STATX_BTIME) ? Nanos(Sx.stx_btime) : 0;
    Data.LastAccessTime = Nanos(Sx.stx_atime);
    Data.LastWriteTime = Nanos(Sx.stx_mtime);
    Data.Compressed = Sx.stx_attributes & STATX_ATTR_COMPRESSED;
    Data.Link = Link;
    auto Slash = Path.find_last_of('/');
    if (Slash == std::string::npos || Slash + 1 == Path.size())
        Data.FileName = Path;
    else
        Data.FileName.assign(Path, Slash + 1, std::string::npos);
    return true;
}

bool TPosixShellProvider::DoGetFileTypeName(PCItemIDList Absolute, String& TypeName) {
    PCItemIDList Last = PIDLMgr.GetPointerToLastID(Absolute);
    TPosixItem It;
    if (!DecodePosixItem(Last, It)) return false;
    bool Folder = It.Kind != ikFileSystem || It.DType == DT_DIR;
    TypeName = FTypes->TypeName(It.Name, Folder);
    return !TypeName.empty();
}

int TPosixShellProvider::DoGetIconIndex(PCItemIDList Absolute, bool Open) {
    PCItemIDList Last = PIDLMgr.GetPointerToLastID(Absolute);
    TPosixItem It;
    if (!DecodePosixItem(Last, It)) return FTypes->IconIndex("", true, Open);
    bool Folder = It.Kind != ikFileSystem || It.DType == DT_DIR;
    return FTypes->IconIndex(It.Name, Folder, Open);
}

PItemIDList TPosixShellProvider::DoSpecialFolderLocation(TSpecialFolder Folder) {
    if (Folder == TSpecialFolder::sfDesktop) return TPIDLManager::MakeDesktop();
    if (Folder != TSpecialFolder::sfComputer && Folder != TSpecialFolder::sfTrash && !SpecialPath(Folder)) return nullptr;
    return MakeSpecialItem(Folder);
}

}  // namespace ide
