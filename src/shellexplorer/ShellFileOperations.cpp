// The provider's verbs: the counted, reporting wrappers of the contract, and
// the POSIX provider's file operations: the XDG trash (the home trash, or
// the .Trash-<uid> folder at the top of another file system), removal,
// new folders, copying and moving (across file systems too) and links.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "shellexplorer/IDEVirtualShellProvider.h"

namespace ide {

namespace {

thread_local std::string LastError;

bool Fail(std::string Why) {
    LastError = std::move(Why);
    return false;
}

bool FailErrno(const std::string& What, const std::string& Path) {
    return Fail(What + " " + Path + ": " + std::strerror(errno));
}

bool ValidName(std::string_view N) {
    return !N.empty() && N.size() <= 255 && N != "." && N != ".." && N.find('/') == std::string_view::npos &&
           N.find('\0') == std::string_view::npos;
}

uint8_t DTypeOf(mode_t M) { return S_ISLNK(M) ? DT_LNK : S_ISDIR(M) ? DT_DIR : S_ISREG(M) ? DT_REG : DT_UNKNOWN; }

std::string BaseName(const std::string& Path) { return Path.substr(Path.find_last_of('/') + 1); }

std::string DirName(const std::string& Path) {
    auto Slash = Path.find_last_of('/');
    return Slash == 0 ? "/" : Path.substr(0, Slash);
}

bool Exists(const std::string& Path) {
    struct stat St;
    return lstat(Path.c_str(), &St) == 0;
}

// A name not yet taken in Folder: Name, else "stem (copy).ext", then
// "stem (copy 2).ext" and so on. A leading dot is not an extension.
std::string FreeName(const std::string& Folder, const std::string& Name) {
    if (!Exists(Folder + "/" + Name)) return Name;
    auto Dot = Name.find_last_of('.');
    if (Dot == 0 || Dot == std::string::npos) Dot = Name.size();
    const std::string Stem = Name.substr(0, Dot), Ext = Name.substr(Dot);
    for (int N = 1;; ++N) {
        std::string Try = Stem + (N == 1 ? " (copy)" : " (copy " + std::to_string(N) + ")") + Ext;
        if (!Exists(Folder + "/" + Try)) return Try;
    }
}

bool MakeFolders(const std::string& Path, mode_t Mode) {
    if (Path.empty()) return false;
    size_t P = 1;
    while (P <= Path.size()) {
        size_t Q = Path.find('/', P);
        if (Q == std::string::npos) Q = Path.size();
        std::string Part = Path.substr(0, Q);
        if (mkdir(Part.c_str(), Mode) != 0 && errno != EEXIST) return false;
        P = Q + 1;
    }
    struct stat St;
    return stat(Path.c_str(), &St) == 0 && S_ISDIR(St.st_mode);
}

// Removes Path and, for a folder, everything in it (links are removed, not
// followed).
bool RemoveTree(const std::string& Path) {
    struct stat St;
    if (lstat(Path.c_str(), &St) != 0) return FailErrno("cannot remove", Path);
    if (S_ISDIR(St.st_mode)) {
        int Fd = open(Path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
        if (Fd < 0) return FailErrno("cannot read", Path);
        DIR* D = fdopendir(Fd);
        if (!D) {
            close(Fd);
            return FailErrno("cannot read", Path);
        }
        std::vector<std::string> Names;
        while (dirent* E = readdir(D)) {
            std::string_view N = E->d_name;
            if (N != "." && N != "..") Names.emplace_back(N);
        }
        closedir(D);
        for (const auto& N : Names)
            if (!RemoveTree(Path + "/" + N)) return false;
        if (rmdir(Path.c_str()) != 0) return FailErrno("cannot remove", Path);
        return true;
    }
    if (unlink(Path.c_str()) != 0) return FailErrno("cannot remove", Path);
    return true;
}

bool CopyFile(const std::string& From, const std::string& To, const struct stat& St) {
    int In = open(From.c_str(), O_RDONLY | O_CLOEXEC);
    if (In < 0) return FailErrno("cannot read", From);
    int Out = open(To.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, St.st_mode & 07777);
    if (Out < 0) {
        close(In);
        return FailErrno("cannot create", To);
    }
    bool Ok = true;
    for (;;) {
        ssize_t N = copy_file_range(In, nullptr, Out, nullptr, 1 << 30, 0);
        if (N == 0) break;
        if (N > 0) continue;
        if (errno == EINTR) continue;
        // Not between these file systems: plain reads and writes.
        if (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP) {
            char Buf[64 * 1024];
            for (;;) {
                ssize_t R = read(In, Buf, sizeof Buf);
                if (R == 0) break;
                if (R < 0) {
                    if (errno == EINTR) continue;
                    Ok = FailErrno("cannot read", From);
                    break;
                }
                for (ssize_t W = 0; W < R;) {
                    ssize_t K = write(Out, Buf + W, static_cast<size_t>(R - W));
                    if (K < 0 && errno == EINTR) continue;
                    if (K <= 0) {
                        Ok = FailErrno("cannot write", To);
                        break;
                    }
                    W += K;
                }
                if (!Ok) break;
            }
            break;
        }
        Ok = FailErrno("cannot copy to", To);
        break;
    }
    if (Ok) {
        // The copy keeps the original's times.
        struct timespec Times[2] = {St.st_atim, St.st_mtim};
        futimens(Out, Times);
    }
    close(In);
    if (close(Out) != 0 && Ok) Ok = FailErrno("cannot write", To);
    if (!Ok) unlink(To.c_str());
    return Ok;
}

// Copies From (a file, link or folder with all in it) to To, which must
// not exist.
bool CopyTree(const std::string& From, const std::string& To) {
    struct stat St;
    if (lstat(From.c_str(), &St) != 0) return FailErrno("cannot read", From);
    if (S_ISLNK(St.st_mode)) {
        std::string Target(static_cast<size_t>(St.st_size) + 1, '\0');
        ssize_t N = readlink(From.c_str(), Target.data(), Target.size());
        if (N < 0) return FailErrno("cannot read", From);
        Target.resize(static_cast<size_t>(N));
        if (symlink(Target.c_str(), To.c_str()) != 0) return FailErrno("cannot create", To);
        return true;
    }
    if (S_ISREG(St.st_mode)) return CopyFile(From, To, St);
    if (!S_ISDIR(St.st_mode)) return Fail("cannot copy " + From + ": not a file, link or folder");
    if (mkdir(To.c_str(), (St.st_mode & 07777) | S_IRWXU) != 0) return FailErrno("cannot create", To);
    DIR* D = opendir(From.c_str());
    if (!D) return FailErrno("cannot read", From);
    std::vector<std::string> Names;
    while (dirent* E = readdir(D)) {
        std::string_view N = E->d_name;
        if (N != "." && N != "..") Names.emplace_back(N);
    }
    closedir(D);
    for (const auto& N : Names)
        if (!CopyTree(From + "/" + N, To + "/" + N)) return false;
    chmod(To.c_str(), St.st_mode & 07777);
    return true;
}

std::string PercentEncode(const std::string& Path) {
    static const char Hex[] = "0123456789ABCDEF";
    std::string Out;
    for (unsigned char C : Path) {
        if ((C >= 'a' && C <= 'z') || (C >= 'A' && C <= 'Z') || (C >= '0' && C <= '9') || C == '/' || C == '-' ||
            C == '_' || C == '.' || C == '~')
            Out += static_cast<char>(C);
        else {
            Out += '%';
            Out += Hex[C >> 4];
            Out += Hex[C & 15];
        }
    }
    return Out;
}

// The top folder of the file system Path lies on (its mount point).
std::string TopOf(const std::string& Path, dev_t Dev) {
    std::string Top = Path;
    while (Top != "/") {
        std::string Up = DirName(Top);
        struct stat St;
        if (stat(Up.c_str(), &St) != 0 || St.st_dev != Dev) break;
        Top = Up;
    }
    return Top;
}

// Moves Path into the trash of its file system: the home trash when Path
// lies on the same file system as the data folder, else .Trash-<uid> at
// the top of Path's file system. The info file is made first, under a name
// no other entry holds, and says where the item came from and when.
bool MoveToTrash(const std::string& Path, const std::string& DataHome) {
    struct stat St;
    if (lstat(Path.c_str(), &St) != 0) return FailErrno("cannot delete", Path);
    std::string Trash = DataHome + "/Trash";
    std::string Origin = Path;
    struct stat Home;
    if (!MakeFolders(DataHome, 0700) || stat(DataHome.c_str(), &Home) != 0 || Home.st_dev != St.st_dev) {
        std::string Top = TopOf(DirName(Path), St.st_dev);
        Trash = (Top == "/" ? "" : Top) + "/.Trash-" + std::to_string(getuid());
        // Relative to the top folder, as that trash's entries are.
        Origin = Path.substr(Top == "/" ? 1 : Top.size() + 1);
    }
    const std::string Files = Trash + "/files", Info = Trash + "/info";
    if (!MakeFolders(Files, 0700) || !MakeFolders(Info, 0700)) return FailErrno("cannot make the trash", Trash);
    const std::string Name = BaseName(Path);
    std::string Entry;
    int Fd = -1;
    for (int N = 1; N < 100000 && Fd < 0; ++N) {
        Entry = N == 1 ? Name : Name + "." + std::to_string(N);
        if (Exists(Files + "/" + Entry)) continue;
        Fd = open((Info + "/" + Entry + ".trashinfo").c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (Fd < 0 && errno != EEXIST) return FailErrno("cannot write to the trash", Info);
    }
    if (Fd < 0) return Fail("no free name in the trash for " + Name);
    time_t Now = time(nullptr);
    struct tm Tm;
    localtime_r(&Now, &Tm);
    char Date[32];
    strftime(Date, sizeof Date, "%Y-%m-%dT%H:%M:%S", &Tm);
    std::string Text = "[Trash Info]\nPath=" + PercentEncode(Origin) + "\nDeletionDate=" + Date + "\n";
    bool Written = write(Fd, Text.data(), Text.size()) == static_cast<ssize_t>(Text.size());
    close(Fd);
    const std::string InfoFile = Info + "/" + Entry + ".trashinfo";
    if (!Written) {
        unlink(InfoFile.c_str());
        return FailErrno("cannot write to the trash", Info);
    }
    if (rename(Path.c_str(), (Files + "/" + Entry).c_str()) != 0) {
        int E = errno;
        unlink(InfoFile.c_str());
        errno = E;
        return FailErrno("cannot move to the trash", Path);
    }
    return true;
}

}  // namespace

// --- the contract's wrappers ---------------------------------------------------------

const std::string& TShellProvider::LastVerbError() { return LastError; }

bool TShellProvider::VerbFailed(std::string Why) { return Fail(std::move(Why)); }

void TShellProvider::SetChangeSink(std::shared_ptr<const TShellChangeSink> Sink) {
    std::lock_guard<std::mutex> L(FSinkLock);
    FSink = std::move(Sink);
}

std::shared_ptr<const TShellChangeSink> TShellProvider::ChangeSink() {
    std::lock_guard<std::mutex> L(FSinkLock);
    return FSink;
}

void TShellProvider::Report(uint32_t Code, PCItemIDList PIDL1, PCItemIDList PIDL2) {
    // Called outside the lock: the sink is user code.
    if (auto Sink = ChangeSink(); Sink && *Sink) (*Sink)(Code, PIDL1, PIDL2);
}

bool TShellProvider::SetNameOf(PCItemIDList Folder, PCItemIDList Item, const String& Name, PItemIDList& NewItem) {
    Count();
    const bool IsFolder = DoGetAttributesOf(Folder, Item, SFGAO_FOLDER) & SFGAO_FOLDER;
    if (!DoSetNameOf(Folder, Item, Name, NewItem)) return false;
    TPIDLHolder Old(PIDLMgr.AppendPIDL(Folder, Item)), New(PIDLMgr.AppendPIDL(Folder, NewItem));
    Report(IsFolder ? SHCNE_RENAMEFOLDER : SHCNE_RENAMEITEM, Old.Get(), New.Get());
    return true;
}

bool TShellProvider::DeleteItem(PCItemIDList Folder, PCItemIDList Item, bool ToTrash) {
    Count();
    LastError.clear();
    const bool IsFolder = DoGetAttributesOf(Folder, Item, SFGAO_FOLDER) & SFGAO_FOLDER;
    if (!DoDeleteItem(Folder, Item, ToTrash)) return false;
    TPIDLHolder Abs(PIDLMgr.AppendPIDL(Folder, Item));
    Report(IsFolder ? SHCNE_RMDIR : SHCNE_DELETE, Abs.Get(), nullptr);
    return true;
}

bool TShellProvider::CreateFolder(PCItemIDList Folder, const String& Name, PItemIDList& NewItem) {
    Count();
    LastError.clear();
    NewItem = nullptr;
    if (!DoCreateFolder(Folder, Name, NewItem)) return false;
    TPIDLHolder Abs(PIDLMgr.AppendPIDL(Folder, NewItem));
    Report(SHCNE_MKDIR, Abs.Get(), nullptr);
    return true;
}

bool TShellProvider::CopyItem(PCItemIDList Folder, PCItemIDList Item, PCItemIDList Target, bool Move, PItemIDList& NewItem) {
    Count();
    LastError.clear();
    NewItem = nullptr;
    const bool IsFolder = DoGetAttributesOf(Folder, Item, SFGAO_FOLDER) & SFGAO_FOLDER;
    if (!DoCopyItem(Folder, Item, Target, Move, NewItem)) return false;
    TPIDLHolder New(PIDLMgr.AppendPIDL(Target, NewItem));
    if (Move) {
        // A move is a rename across folders: both folders change.
        TPIDLHolder Old(PIDLMgr.AppendPIDL(Folder, Item));
        Report(IsFolder ? SHCNE_RENAMEFOLDER : SHCNE_RENAMEITEM, Old.Get(), New.Get());
    } else {
        Report(IsFolder ? SHCNE_MKDIR : SHCNE_CREATE, New.Get(), nullptr);
    }
    return true;
}

bool TShellProvider::LinkItem(PCItemIDList Folder, PCItemIDList Item, PCItemIDList Target, PItemIDList& NewItem) {
    Count();
    LastError.clear();
    NewItem = nullptr;
    if (!DoLinkItem(Folder, Item, Target, NewItem)) return false;
    TPIDLHolder New(PIDLMgr.AppendPIDL(Target, NewItem));
    Report(SHCNE_CREATE, New.Get(), nullptr);
    return true;
}

// --- the POSIX provider's file operations --------------------------------------------

bool TPosixShellProvider::DoDeleteItem(PCItemIDList Folder, PCItemIDList Item, bool ToTrash) {
    TPosixItem It;
    std::string Path;
    if (!DecodePosixItem(Item, It) || It.Kind != ikFileSystem || !ItemPath(Folder, Item, Path))
        return Fail("only files and folders can be deleted");
    return ToTrash ? MoveToTrash(Path, FRoots.DataHome) : RemoveTree(Path);
}

bool TPosixShellProvider::DoCreateFolder(PCItemIDList Folder, const String& Name, PItemIDList& NewItem) {
    std::string FolderPath;
    const std::string N = Utf8(Name);
    if (!ValidName(N)) return Fail("not a valid name: " + N);
    if (!ResolvePath(Folder, FolderPath)) return Fail("not a folder of the file system");
    const std::string Path = FolderPath + (FolderPath.back() == '/' ? "" : "/") + N;
    if (mkdir(Path.c_str(), 0777) != 0) return FailErrno("cannot make the folder", Path);
    NewItem = MakeFileItem(N, DT_DIR);
    return true;
}

bool TPosixShellProvider::DoCopyItem(PCItemIDList Folder, PCItemIDList Item, PCItemIDList Target, bool Move,
                                     PItemIDList& NewItem) {
    TPosixItem It;
    std::string From, To;
    if (!DecodePosixItem(Item, It) || It.Kind != ikFileSystem || !ItemPath(Folder, Item, From))
        return Fail("only files and folders can be copied");
    if (!ResolvePath(Target, To)) return Fail("the target is not a folder of the file system");
    struct stat St, TSt;
    if (lstat(From.c_str(), &St) != 0) return FailErrno("cannot read", From);
    if (stat(To.c_str(), &TSt) != 0 || !S_ISDIR(TSt.st_mode)) return Fail("the target is not a folder: " + To);
    // A folder never goes into itself or below itself.
    if (S_ISDIR(St.st_mode) && (To == From || To.rfind(From + "/", 0) == 0))
        return Fail("cannot copy a folder into itself: " + From);
    if (Move && DirName(From) == To) {
        NewItem = PIDLMgr.CopyPIDL(Item);  // already there
        return true;
    }
    const std::string Name = FreeName(To, BaseName(From));
    const std::string Dest = To + (To.back() == '/' ? "" : "/") + Name;
    if (Move) {
        if (renameat2(AT_FDCWD, From.c_str(), AT_FDCWD, Dest.c_str(), RENAME_NOREPLACE) != 0) {
            if (errno != EXDEV) return FailErrno("cannot move", From);
            // Another file system: copy, then remove the original.
            if (!CopyTree(From, Dest)) {
                std::string Why = LastError;
                RemoveTree(Dest);
                return Fail(Why);
            }
            if (!RemoveTree(From)) return false;
        }
    } else if (!CopyTree(From, Dest)) {
        std::string Why = LastError;
        if (Exists(Dest)) RemoveTree(Dest);
        return Fail(Why);
    }
    NewItem = MakeFileItem(Name, DTypeOf(St.st_mode));
    return true;
}

bool TPosixShellProvider::DoLinkItem(PCItemIDList Folder, PCItemIDList Item, PCItemIDList Target, PItemIDList& NewItem) {
    TPosixItem It;
    std::string From, To;
    if (!DecodePosixItem(Item, It) || !ItemPath(Folder, Item, From)) return Fail("only files and folders can be linked");
    if (!ResolvePath(Target, To)) return Fail("the target is not a folder of the file system");
    const std::string Name = FreeName(To, BaseName(From));
    const std::string Dest = To + (To.back() == '/' ? "" : "/") + Name;
    if (symlink(From.c_str(), Dest.c_str()) != 0) return FailErrno("cannot make the link", Dest);
    NewItem = MakeFileItem(Name, DT_LNK);
    return true;
}

}  // namespace ide
