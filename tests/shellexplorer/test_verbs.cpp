// The namespace's verbs on real temporary folders: the XDG trash layout,
// removal for good, new folders, copy, cut and paste through the library's
// clipboard (names that are taken, folders with content, a folder into
// itself), links, the questions whether a verb may run, and the changes
// the provider reports, which reach a registered control as one batch.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "NotifierTestUtil.h"
#include "shellexplorer/IDEVirtualNamespace.h"
#include "shellexplorer/IDEVirtualShellNotifier.h"

using namespace ide;
using namespace std::chrono_literals;

namespace {

class Verbs : public ::testing::Test {
protected:
    void SetUp() override {
        char Tmpl[] = "/tmp/ide_verbs_XXXXXX";
        ASSERT_NE(mkdtemp(Tmpl), nullptr);
        Home = Tmpl;
        mkdir((Home + "/src").c_str(), 0755);
        mkdir((Home + "/dst").c_str(), 0755);
        Roots.Home = Home;
        Roots.DataHome = Home + "/.local/share";  // made by the first trashing
        P = std::make_shared<TPosixShellProvider>(Roots);
        P->SetChangeSink(std::make_shared<const TShellChangeSink>(
            [this](uint32_t Code, PCItemIDList A, PCItemIDList B) { Reported.push_back(Describe(Code, A, B)); }));
        ShellClipboard().Clear();
    }
    void TearDown() override {
        ShellClipboard().Clear();
        std::string Cmd = "rm -rf '" + Home + "'";
        ASSERT_EQ(std::system(Cmd.c_str()), 0);
    }
    void Write(const std::string& Rel, const std::string& Text) { std::ofstream(Home + "/" + Rel, std::ios::binary) << Text; }
    std::string Read(const std::string& Path) {
        std::ifstream In(Path, std::ios::binary);
        std::ostringstream S;
        S << In.rdbuf();
        return S.str();
    }
    bool Exists(const std::string& Rel) {
        struct stat St;
        return lstat((Home + "/" + Rel).c_str(), &St) == 0;
    }
    std::unique_ptr<TNamespace> At(const std::string& Rel) {
        PItemIDList Abs = P->ParseDisplayName(Home + "/" + Rel);
        return Abs ? std::make_unique<TNamespace>(P, Abs, nullptr) : nullptr;
    }
    std::unique_ptr<TNamespace> Child(TNamespace& Folder, const std::string& Name) {
        PItemIDList Abs = P->ParseDisplayName(Home + "/" + Utf8(Folder.GetNameForParsing()).substr(Home.size() + 1) + "/" + Name);
        if (!Abs) return nullptr;
        TPIDLHolder Own(Abs);
        return std::make_unique<TNamespace>(P, PIDLMgr.CopyLastID(Abs), &Folder);
    }
    std::string PathOf(PCItemIDList Abs) {
        std::string S;
        return P->PathOf(Abs, S) ? S.substr(Home.size()) : "?";
    }
    std::string Describe(uint32_t Code, PCItemIDList A, PCItemIDList B) {
        std::string S = std::to_string(Code) + " " + PathOf(A);
        if (B) S += " " + PathOf(B);
        return S;
    }

    std::string Home;
    TPosixRoots Roots;
    std::shared_ptr<TPosixShellProvider> P;
    std::vector<std::string> Reported;
};

}  // namespace

TEST_F(Verbs, DeleteMovesIntoTheTrashWithItsInfo) {
    Write("src/note.txt", "first");
    mkdir((Home + "/src/folder").c_str(), 0755);
    Write("src/folder/inner", "x");
    auto Src = At("src");
    auto Note = Child(*Src, "note.txt");
    auto Folder = Child(*Src, "folder");
    ASSERT_TRUE(Note && Folder);
    EXPECT_TRUE(Src->CanDeleteAll({Note.get(), Folder.get()}));
    ASSERT_TRUE(Src->Delete({Note.get(), Folder.get()}));
    EXPECT_FALSE(Exists("src/note.txt"));
    EXPECT_FALSE(Exists("src/folder"));
    const std::string Trash = Home + "/.local/share/Trash";
    EXPECT_EQ(Read(Trash + "/files/note.txt"), "first");
    EXPECT_EQ(Read(Trash + "/files/folder/inner"), "x");
    std::string Info = Read(Trash + "/info/note.txt.trashinfo");
    EXPECT_EQ(Info.rfind("[Trash Info]\nPath=" + Home + "/src/note.txt\nDeletionDate=", 0), 0u) << Info;
    // DeletionDate=YYYY-MM-DDThh:mm:ss
    auto Date = Info.substr(Info.find("DeletionDate=") + 13);
    ASSERT_EQ(Date.size(), 20u) << Date;
    EXPECT_EQ(Date[4], '-');
    EXPECT_EQ(Date[10], 'T');
    EXPECT_EQ(Date[19], '\n');
    // The same name again takes the next free entry; odd bytes are encoded.
    Write("src/note.txt", "second");
    Write("src/a b%\xff", "odd");
    auto Again = Child(*Src, "note.txt");
    auto Odd = Child(*Src, "a b%\xff");
    ASSERT_TRUE(Again && Odd);
    ASSERT_TRUE(Src->Delete({Again.get(), Odd.get()}));
    EXPECT_EQ(Read(Trash + "/files/note.txt.2"), "second");
    EXPECT_NE(Read(Trash + "/info/note.txt.2.trashinfo").find("Path=" + Home + "/src/note.txt\n"), std::string::npos);
    EXPECT_NE(Read(Trash + "/info/a b%\xff.trashinfo").find("/src/a%20b%25%FF\n"), std::string::npos);
    std::vector<std::string> Want = {"4 /src/note.txt", "16 /src/folder", "4 /src/note.txt", "4 /src/a b%\xff"};
    EXPECT_EQ(Reported, Want);
}

TEST_F(Verbs, DeleteForGoodRemovesTheTreeAndRefusesStrangers) {
    mkdir((Home + "/src/deep").c_str(), 0755);
    mkdir((Home + "/src/deep/er").c_str(), 0755);
    Write("src/deep/er/f", "x");
    ASSERT_EQ(symlink((Home + "/dst").c_str(), (Home + "/src/deep/link").c_str()), 0);
    Write("dst/kept", "y");
    auto Src = At("src");
    auto Deep = Child(*Src, "deep");
    ASSERT_TRUE(Src->Delete({Deep.get()}, false));
    EXPECT_FALSE(Exists("src/deep"));
    EXPECT_TRUE(Exists("dst/kept"));  // the link went, not what it pointed at
    EXPECT_FALSE(Exists(".local/share/Trash"));
    // Not a child of this folder.
    auto Dst = At("dst");
    auto Kept = Child(*Dst, "kept");
    EXPECT_THROW(Src->Delete({Kept.get()}), EShellKitRelationship);
    EXPECT_TRUE(Exists("dst/kept"));
    // Something gone already: false, with the reason.
    auto Ghost = Child(*Dst, "kept");
    ASSERT_EQ(unlink((Home + "/dst/kept").c_str()), 0);
    EXPECT_FALSE(Dst->Delete({Ghost.get()}, false));
    EXPECT_NE(TShellProvider::LastVerbError().find("kept"), std::string::npos);
    // The root's special folders are not files to delete.
    auto Desktop = std::make_unique<TNamespace>(P, nullptr, nullptr);
    auto HomeNS = std::make_unique<TNamespace>(P, P->SpecialFolderLocation(TSpecialFolder::sfHome), Desktop.get());
    EXPECT_FALSE(Desktop->CanDeleteAll({HomeNS.get()}));
    EXPECT_FALSE(Desktop->Delete({HomeNS.get()}));
    EXPECT_TRUE(Exists("src"));
}

TEST_F(Verbs, NewFolderIsMadeOnceAndNamedAsAsked) {
    auto Src = At("src");
    auto New = Src->CreateNewFolder(u"Neuer Ordner");
    ASSERT_TRUE(New);
    EXPECT_TRUE(New->GetFolder());
    EXPECT_EQ(New->GetNameInFolder(), u"Neuer Ordner");
    EXPECT_EQ(New->Parent(), Src.get());
    struct stat St;
    ASSERT_EQ(stat((Home + "/src/Neuer Ordner").c_str(), &St), 0);
    EXPECT_TRUE(S_ISDIR(St.st_mode));
    EXPECT_FALSE(Src->CreateNewFolder(u"Neuer Ordner"));  // taken
    EXPECT_NE(TShellProvider::LastVerbError().find("exists"), std::string::npos) << TShellProvider::LastVerbError();
    for (const char16_t* Bad : {u"", u"a/b", u".", u".."}) EXPECT_FALSE(Src->CreateNewFolder(Bad)) << Utf8(Bad);
    EXPECT_EQ(Reported, std::vector<std::string>{"8 /src/Neuer Ordner"});
}

TEST_F(Verbs, CopyAndPasteKeepsTheOriginalAndFindsFreeNames) {
    Write("src/a.txt", "alpha");
    chmod((Home + "/src/a.txt").c_str(), 0640);
    mkdir((Home + "/src/tree").c_str(), 0755);
    mkdir((Home + "/src/tree/sub").c_str(), 0700);
    Write("src/tree/sub/leaf", "leaf");
    ASSERT_EQ(symlink("sub/leaf", (Home + "/src/tree/rel").c_str()), 0);
    auto Src = At("src");
    auto Dst = At("dst");
    auto A = Child(*Src, "a.txt");
    auto Tree = Child(*Src, "tree");
    EXPECT_FALSE(TNamespace::CanPasteToAll({Dst.get()}));  // nothing to paste
    ASSERT_TRUE(Src->CanCopyAll({A.get(), Tree.get()}));
    ASSERT_TRUE(Src->Copy({A.get(), Tree.get()}));
    EXPECT_TRUE(TNamespace::CanPasteToAll({Dst.get(), Src.get()}));
    EXPECT_FALSE(TNamespace::CanPasteToAll({Dst.get(), A.get()}));  // a file is no target
    ASSERT_TRUE(Dst->Paste());
    EXPECT_EQ(Read(Home + "/dst/a.txt"), "alpha");
    EXPECT_EQ(Read(Home + "/src/a.txt"), "alpha");
    struct stat St, Orig;
    ASSERT_EQ(stat((Home + "/dst/a.txt").c_str(), &St), 0);
    ASSERT_EQ(stat((Home + "/src/a.txt").c_str(), &Orig), 0);
    EXPECT_EQ(St.st_mode & 0777, 0640u);
    EXPECT_EQ(St.st_mtim.tv_sec, Orig.st_mtim.tv_sec);
    EXPECT_EQ(Read(Home + "/dst/tree/sub/leaf"), "leaf");
    char Link[64] = {};
    ASSERT_GT(readlink((Home + "/dst/tree/rel").c_str(), Link, sizeof Link - 1), 0);
    EXPECT_STREQ(Link, "sub/leaf");
    // A copy stays on the clipboard: pasting again, and into the same
    // folder, finds free names.
    ASSERT_TRUE(Dst->Paste());
    ASSERT_TRUE(Src->Paste());
    EXPECT_EQ(Read(Home + "/dst/a (copy).txt"), "alpha");
    EXPECT_EQ(Read(Home + "/dst/tree (copy)/sub/leaf"), "leaf");
    EXPECT_EQ(Read(Home + "/src/a (copy).txt"), "alpha");
    ASSERT_TRUE(Dst->Paste());
    EXPECT_TRUE(Exists("dst/a (copy 2).txt"));
    // A folder never goes into itself.
    auto TreeNS = At("src/tree");
    ASSERT_TRUE(Src->Copy({Tree.get()}));
    EXPECT_FALSE(TreeNS->Paste());
    EXPECT_NE(TShellProvider::LastVerbError().find("into itself"), std::string::npos);
    EXPECT_FALSE(Exists("src/tree/tree"));
    EXPECT_EQ(Reported[0], "2 /dst/a.txt");
    EXPECT_EQ(Reported[1], "8 /dst/tree");
}

TEST_F(Verbs, CutAndPasteMovesOnce) {
    Write("src/m.txt", "move me");
    auto Src = At("src");
    auto Dst = At("dst");
    auto M = Child(*Src, "m.txt");
    ASSERT_TRUE(Src->CanCutAll({M.get()}));
    ASSERT_TRUE(Src->Cut({M.get()}));
    EXPECT_TRUE(ShellClipboard().IsCut());
    ASSERT_TRUE(Dst->Paste());
    EXPECT_FALSE(Exists("src/m.txt"));
    EXPECT_EQ(Read(Home + "/dst/m.txt"), "move me");
    EXPECT_TRUE(ShellClipboard().Empty());  // a cut is pasted once
    EXPECT_FALSE(Src->Paste());
    EXPECT_EQ(Reported, std::vector<std::string>{"1 /src/m.txt /dst/m.txt"});
    // Onto a taken name, a move finds a free one too and overwrites nothing.
    Write("src/m.txt", "second");
    auto M2 = Child(*Src, "m.txt");
    ASSERT_TRUE(Src->Cut({M2.get()}));
    ASSERT_TRUE(Dst->Paste());
    EXPECT_EQ(Read(Home + "/dst/m.txt"), "move me");
    EXPECT_EQ(Read(Home + "/dst/m (copy).txt"), "second");
}

TEST_F(Verbs, PasteAsShortcutMakesLinks) {
    Write("src/target.txt", "t");
    auto Src = At("src");
    auto Dst = At("dst");
    auto T = Child(*Src, "target.txt");
    ASSERT_TRUE(Src->Copy({T.get()}));
    ASSERT_TRUE(Dst->Paste(true));
    char Link[512] = {};
    ASSERT_GT(readlink((Home + "/dst/target.txt").c_str(), Link, sizeof Link - 1), 0);
    EXPECT_EQ(std::string(Link), Home + "/src/target.txt");
    EXPECT_EQ(Read(Home + "/dst/target.txt"), "t");
    auto L = Child(*Dst, "target.txt");
    EXPECT_TRUE(L->GetLink());
    EXPECT_FALSE(ShellClipboard().Empty());
}

TEST_F(Verbs, RenameAndVerbsReachAControlAsOneBatch) {
    // The notifier sets the provider's sink: a control registered for the
    // shell's events sees the verbs' folders updated, once each.
    Write("src/r.txt", "r");
    Write("src/gone.txt", "g");
    TVirtualChangeNotifier N(P, TShellSourcePaths{"/nonexistent", {}, {}, {}, {}});
    auto Listener = std::make_shared<TManualPostTarget>();
    N.SetListener(Listener);
    N.SetQuietPeriod(100ms);
    test::TQueueControl C;
    N.RegisterShellChangeNotify(&C);
    auto Src = At("src");
    auto Dst = At("dst");
    auto R = Child(*Src, "r.txt");
    ASSERT_TRUE(R->SetNameOf(u"renamed.txt"));
    EXPECT_TRUE(Exists("src/renamed.txt"));
    auto Gone = Child(*Src, "gone.txt");
    ASSERT_TRUE(Src->Delete({Gone.get()}, false));
    ASSERT_TRUE(Dst->CreateNewFolder(u"made"));
    auto End = std::chrono::steady_clock::now() + 5s;
    while (C.Batches.empty() && std::chrono::steady_clock::now() < End) {
        Listener->WaitFor(20ms);
        Listener->Pump();
        C.Handle();
    }
    ASSERT_EQ(C.Batches.size(), 1u);
    auto Update = [&](const std::string& Rel) {
        TPIDLHolder F(P->ParseDisplayName(Home + "/" + Rel));
        return std::string("Update Directory ") + test::TQueueControl::Bytes(F.Get());
    };
    std::vector<std::string> Got = C.Batches[0];
    std::sort(Got.begin(), Got.end());
    std::vector<std::string> Want = {Update("src"), Update("dst")};
    std::sort(Want.begin(), Want.end());
    EXPECT_EQ(Got, Want);
    N.UnRegisterChangeNotify(&C);
}

TEST_F(Verbs, ExecuteRunsProgramsWithTheirArgumentsAndSkipsFolders) {
    // A program gets its arguments (quotes group words) and runs in the
    // given folder.
    Write("src/prog.sh", "#!/bin/sh\npwd > \"$1.tmp\"\necho \"$2|$3\" >> \"$1.tmp\"\nmv \"$1.tmp\" \"$1\"\n");
    chmod((Home + "/src/prog.sh").c_str(), 0755);
    auto Prog = At("src/prog.sh");
    ASSERT_TRUE(Prog->ShellExecuteNamespace(Home + "/dst", "'" + Home + "/out' \"two words\" three"));
    auto End = std::chrono::steady_clock::now() + 10s;
    while (!Exists("out") && std::chrono::steady_clock::now() < End) std::this_thread::sleep_for(10ms);
    EXPECT_EQ(Read(Home + "/out"), Home + "/dst\ntwo words|three\n");
    // A folder runs only when asked to.
    auto Dst = At("dst");
    EXPECT_FALSE(Dst->ShellExecuteNamespace());
    // Nothing to start from a virtual folder.
    auto Desktop = std::make_unique<TNamespace>(P, nullptr, nullptr);
    EXPECT_FALSE(Desktop->ShellExecuteNamespace(std::string(), std::string(), true));
}

TEST_F(Verbs, MoveAcrossFileSystemsCopiesThenRemoves) {
    char Tmpl[] = "/dev/shm/ide_verbs_XXXXXX";
    if (access("/dev/shm", W_OK) != 0 || !mkdtemp(Tmpl)) GTEST_SKIP() << "no second file system to move from";
    const std::string Other = Tmpl;
    struct stat A, B;
    ASSERT_EQ(stat(Other.c_str(), &A), 0);
    ASSERT_EQ(stat(Home.c_str(), &B), 0);
    if (A.st_dev == B.st_dev) {
        rmdir(Tmpl);
        GTEST_SKIP() << "/dev/shm is on the same file system here";
    }
    mkdir((Other + "/box").c_str(), 0755);
    std::ofstream(Other + "/box/inside") << "payload";
    TPIDLHolder OtherAbs(P->ParseDisplayName(Other));
    ASSERT_TRUE(OtherAbs);
    TNamespace OtherNS(P, PIDLMgr.CopyPIDL(OtherAbs.Get()), nullptr);
    TPIDLHolder BoxAbs(P->ParseDisplayName(Other + "/box"));
    TNamespace Box(P, PIDLMgr.CopyLastID(BoxAbs.Get()), &OtherNS);
    ASSERT_TRUE(OtherNS.Cut({&Box}));
    auto Dst = At("dst");
    ASSERT_TRUE(Dst->Paste()) << TShellProvider::LastVerbError();
    EXPECT_EQ(Read(Home + "/dst/box/inside"), "payload");
    struct stat St;
    EXPECT_NE(lstat((Other + "/box").c_str(), &St), 0);
    std::string Cmd = "rm -rf '" + Other + "'";
    ASSERT_EQ(std::system(Cmd.c_str()), 0);
}
