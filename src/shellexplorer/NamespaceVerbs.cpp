// The namespace's verbs on a folder's children (delete, copy, cut, paste,
// new folder and the questions whether they may be done) and the library's
// clipboard they go through. The file work is the provider's; it reports
// each change to its sink, which the change notifier turns into events.
#include "shellexplorer/IDEVirtualNamespace.h"

#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

extern char** environ;

namespace ide {

namespace {

// Splits a command line into words: blanks separate, single and double
// quotes group (and are dropped), a backslash outside single quotes takes
// the next character as it is.
std::vector<std::string> SplitArguments(const std::string& Line) {
    std::vector<std::string> Out;
    std::string Word;
    bool InWord = false;
    char Quote = 0;
    for (size_t I = 0; I < Line.size(); ++I) {
        char C = Line[I];
        if (Quote) {
            if (C == Quote)
                Quote = 0;
            else if (C == '\\' && Quote == '"' && I + 1 < Line.size())
                Word += Line[++I];
            else
                Word += C;
        } else if (C == ' ' || C == '\t' || C == '\n') {
            if (InWord) Out.push_back(std::move(Word));
            Word.clear();
            InWord = false;
        } else {
            InWord = true;
            if (C == '\'' || C == '"')
                Quote = C;
            else if (C == '\\' && I + 1 < Line.size())
                Word += Line[++I];
            else
                Word += C;
        }
    }
    if (InWord) Out.push_back(std::move(Word));
    return Out;
}

}  // namespace

// --- clipboard -------------------------------------------------------------------

void TShellClipboard::Set(const std::vector<PCItemIDList>& Items, bool Cut) {
    {
        std::lock_guard<std::mutex> L(FLock);
        FItems.clear();
        for (PCItemIDList P : Items)
            if (P) FItems.emplace_back(reinterpret_cast<const char*>(P), PIDLMgr.PIDLSize(P));
        FCut = Cut && !FItems.empty();
    }
    Changed();
}

void TShellClipboard::Clear() {
    {
        std::lock_guard<std::mutex> L(FLock);
        FItems.clear();
        FCut = false;
    }
    Changed();
}

bool TShellClipboard::Empty() {
    std::lock_guard<std::mutex> L(FLock);
    return FItems.empty();
}

bool TShellClipboard::IsCut() {
    std::lock_guard<std::mutex> L(FLock);
    return FCut;
}

std::vector<TPIDLHolder> TShellClipboard::Items() {
    std::lock_guard<std::mutex> L(FLock);
    std::vector<TPIDLHolder> Out;
    for (const auto& Bytes : FItems) Out.emplace_back(PIDLMgr.CopyPIDL(reinterpret_cast<PCItemIDList>(Bytes.data())));
    return Out;
}

void TShellClipboard::Changed() {
    if (OnChanged) OnChanged();
}

TShellClipboard& ShellClipboard() {
    static TShellClipboard Instance;
    return Instance;
}

// --- verbs -----------------------------------------------------------------------

namespace {

bool AllHave(const std::vector<TNamespace*>& Items, bool (TNamespace::*Ask)()) {
    if (Items.empty()) return false;
    for (TNamespace* NS : Items)
        if (!(NS->*Ask)()) return false;
    return true;
}

}  // namespace

bool TNamespace::CanCopyAll(const std::vector<TNamespace*>& Items) { return AllHave(Items, &TNamespace::GetCanCopy); }

bool TNamespace::CanCutAll(const std::vector<TNamespace*>& Items) { return AllHave(Items, &TNamespace::GetCanMove); }

bool TNamespace::CanDeleteAll(const std::vector<TNamespace*>& Items) { return AllHave(Items, &TNamespace::GetCanDelete); }

bool TNamespace::CanShowPropertiesOfAll(const std::vector<TNamespace*>& Items) {
    return AllHave(Items, &TNamespace::GetHasPropSheet);
}

bool TNamespace::CanPasteToAll(const std::vector<TNamespace*>& Targets) {
    if (ShellClipboard().Empty()) return false;
    auto FileSystemFolder = [](TNamespace* NS) { return NS->GetFolder() && NS->GetFileSystem(); };
    if (Targets.empty()) return false;
    for (TNamespace* NS : Targets)
        if (!FileSystemFolder(NS)) return false;
    return true;
}

bool TNamespace::Delete(const std::vector<TNamespace*>& Items, bool ToTrash) {
    VerifyPIDLRelationship(Items);
    bool All = !Items.empty();
    for (TNamespace* NS : Items) {
        if (FProvider->DeleteItem(FAbsolutePIDL, NS->RelativePIDL(), ToTrash))
            NS->InvalidateNamespace(true);
        else
            All = false;
    }
    return All;
}

bool TNamespace::Copy(const std::vector<TNamespace*>& Items) {
    VerifyPIDLRelationship(Items);
    if (Items.empty()) return false;
    std::vector<PCItemIDList> Lists;
    for (TNamespace* NS : Items) Lists.push_back(NS->AbsolutePIDL());
    ShellClipboard().Set(Lists, false);
    return true;
}

bool TNamespace::Cut(const std::vector<TNamespace*>& Items) {
    VerifyPIDLRelationship(Items);
    if (Items.empty()) return false;
    std::vector<PCItemIDList> Lists;
    for (TNamespace* NS : Items) Lists.push_back(NS->AbsolutePIDL());
    ShellClipboard().Set(Lists, true);
    return true;
}

bool TNamespace::Paste(bool AsShortCut) {
    TShellClipboard& Clip = ShellClipboard();
    std::vector<TPIDLHolder> Items = Clip.Items();
    if (Items.empty()) return false;
    const bool Move = Clip.IsCut() && !AsShortCut;
    bool All = true;
    for (auto& Item : Items) {
        if (PIDLMgr.IsDesktopFolder(Item.Get())) {
            All = false;
            continue;
        }
        TPIDLHolder Folder(PIDLMgr.StripLastID(PIDLMgr.CopyPIDL(Item.Get())));
        PCItemIDList Last = PIDLMgr.GetPointerToLastID(Item.Get());
        PItemIDList NewItem = nullptr;
        bool Ok = AsShortCut ? FProvider->LinkItem(Folder.Get(), Last, FAbsolutePIDL, NewItem)
                             : FProvider->CopyItem(Folder.Get(), Last, FAbsolutePIDL, Move, NewItem);
        PIDLMgr.FreePIDL(NewItem);
        All = All && Ok;
    }
    // What was cut now lives here: it cannot be pasted a second time.
    if (Move) Clip.Clear();
    return All;
}

std::unique_ptr<TNamespace> TNamespace::CreateNewFolder(const String& Name) {
    PItemIDList NewItem = nullptr;
    if (!FProvider->CreateFolder(FAbsolutePIDL, Name, NewItem) || !NewItem) return nullptr;
    return std::make_unique<TNamespace>(FProvider, NewItem, this);
}


// --- running ---------------------------------------------------------------------

bool TNamespace::ShellExecuteNamespace(const std::string& WorkingDir, const std::string& CmdLineArguments,
                                       bool ExecuteFolder, bool ExecuteFolderShortCut) {
    std::string Path;
    if (!FProvider->PathOf(FAbsolutePIDL, Path)) return false;
    if (GetFolder()) {
        if (!(GetLink() ? ExecuteFolderShortCut : ExecuteFolder)) return false;
    }
    struct stat St;
    std::vector<std::string> Args;
    if (!GetFolder() && stat(Path.c_str(), &St) == 0 && S_ISREG(St.st_mode) && access(Path.c_str(), X_OK) == 0) {
        // A program runs itself, with the arguments.
        Args.push_back(Path);
        for (auto& A : SplitArguments(CmdLineArguments)) Args.push_back(std::move(A));
    } else {
        // Anything else opens with the desktop's choice for its type.
        Args = {"xdg-open", Path};
    }
    std::vector<char*> Argv;
    for (auto& A : Args) Argv.push_back(A.data());
    Argv.push_back(nullptr);
    posix_spawn_file_actions_t Actions;
    posix_spawn_file_actions_init(&Actions);
    std::string Dir = WorkingDir;
    if (Dir.empty()) Dir = Path.substr(0, Path.find_last_of('/') == 0 ? 1 : Path.find_last_of('/'));
    posix_spawn_file_actions_addchdir_np(&Actions, Dir.c_str());
    pid_t Pid = 0;
    int R = posix_spawnp(&Pid, Argv[0], &Actions, nullptr, Argv.data(), environ);
    posix_spawn_file_actions_destroy(&Actions);
    if (R != 0) return false;
    // Nobody waits for what was started; this reaps it when it ends.
    std::thread([Pid] {
        int Status;
        while (waitpid(Pid, &Status, 0) < 0 && errno == EINTR) {
        }
    }).detach();
    return true;
}

}  // namespace ide
