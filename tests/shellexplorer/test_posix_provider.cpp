// The POSIX provider on real temporary folders: names that are not UTF-8,
// newlines and 255-byte names, links and loops, permissions, folders that
// vanish during an enumeration, the root's special folders and the mount
// table.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>

#include "shellexplorer/IDEVirtualNamespace.h"

using namespace ide;

namespace {

class PosixProvider : public ::testing::Test {
protected:
    void SetUp() override {
        char Tmpl[] = "/tmp/ide_shell_XXXXXX";
        ASSERT_NE(mkdtemp(Tmpl), nullptr);
        Home = Tmpl;
        mkdir((Home + "/Documents").c_str(), 0755);
        mkdir((Home + "/data").c_str(), 0755);
        Roots.Home = Home;
        Roots.DataHome = Home + "/.local/share";
        Roots.UserDirs.emplace_back(TSpecialFolder::sfDocuments, Home + "/Documents");
        P = std::make_shared<TPosixShellProvider>(Roots);
        Desktop = std::make_unique<TNamespace>(P, nullptr, nullptr);
    }
    void TearDown() override {
        std::string Cmd = "chmod -R u+rwx '" + Home + "' 2>/dev/null; rm -rf '" + Home + "'";
        ASSERT_EQ(std::system(Cmd.c_str()), 0);
    }
    void Touch(const std::string& Rel, const std::string& Content = "") {
        std::ofstream(Home + "/" + Rel, std::ios::binary) << Content;
    }
    std::unique_ptr<TNamespace> At(const std::string& Rel) {
        PItemIDList Abs = P->ParseDisplayName(Home + (Rel.empty() ? "" : "/" + Rel));
        if (!Abs) return nullptr;
        return std::make_unique<TNamespace>(P, Abs, nullptr);
    }
    // The raw names an enumeration gives, from the items' bytes.
    std::set<std::string> Names(TNamespace& Folder, bool Hidden = true) {
        std::set<std::string> Out;
        Folder.EnumerateFolder(true, true, Hidden, [&](PItemIDList Item, TNamespace* Parent, void*, bool&) {
            TNamespace NS(Parent->ProviderRef(), Item, Parent);
            const TFindData* D = NS.FindData();
            Out.insert(D ? D->FileName : "<no find data>");
            return true;
        }, nullptr);
        return Out;
    }

    std::string Home;
    TPosixRoots Roots;
    std::shared_ptr<TPosixShellProvider> P;
    std::unique_ptr<TNamespace> Desktop;
};

}  // namespace

TEST_F(PosixProvider, OddNamesSurviveEnumerationAndLookUp) {
    const std::string Bad = "bad\xff\xfename.txt";
    const std::string Newline = "two\nlines";
    const std::string Long(255, 'x');
    Touch("data/" + Bad, "12345");
    Touch("data/" + Newline);
    Touch("data/" + Long);
    Touch("data/.hidden");
    auto Data = At("data");
    ASSERT_TRUE(Data);
    EXPECT_EQ(Names(*Data), (std::set<std::string>{Bad, Newline, Long, ".hidden"}));
    EXPECT_EQ(Names(*Data, false), (std::set<std::string>{Bad, Newline, Long}));
    // The item list holds the bytes; the path made from it reaches the file.
    auto B = At("data/" + Bad);
    ASSERT_TRUE(B);
    EXPECT_EQ(B->GetSizeOfFileInt64(), 5);
    std::string Path;
    ASSERT_TRUE(P->PathOf(B->AbsolutePIDL(), Path));
    EXPECT_EQ(Path, Home + "/data/" + Bad);
    EXPECT_EQ(B->GetNameInFolder(), u"bad\uFFFD\uFFFDname.txt");  // shown with replacement marks
    EXPECT_EQ(B->DetailsOf(2), u"TXT File");
    auto H = At("data/.hidden");
    EXPECT_TRUE(H->GetHidden());
    EXPECT_EQ(H->GetAttributesString(), u"H");
}

TEST_F(PosixProvider, LinksAndLoops) {
    mkdir((Home + "/data/target").c_str(), 0755);
    Touch("data/target/inner");
    ASSERT_EQ(symlink("target", (Home + "/data/to_dir").c_str()), 0);
    ASSERT_EQ(symlink("missing", (Home + "/data/dangling").c_str()), 0);
    ASSERT_EQ(symlink("loop_b", (Home + "/data/loop_a").c_str()), 0);
    ASSERT_EQ(symlink("loop_a", (Home + "/data/loop_b").c_str()), 0);
    auto Data = At("data");
    EXPECT_EQ(Names(*Data).size(), 5u);
    auto ToDir = At("data/to_dir");
    EXPECT_TRUE(ToDir->GetFolder());
    EXPECT_TRUE(ToDir->GetLink());
    EXPECT_EQ(Names(*ToDir), (std::set<std::string>{"inner"}));
    auto Dangling = At("data/dangling");
    EXPECT_FALSE(Dangling->GetFolder());
    EXPECT_TRUE(Dangling->GetLink());
    ASSERT_NE(Dangling->FindData(), nullptr);  // the link itself
    EXPECT_TRUE(Dangling->FindData()->Link);
    auto Loop = At("data/loop_a");
    EXPECT_FALSE(Loop->GetFolder());
    EXPECT_TRUE(Names(*Loop).empty());  // opening it fails; nothing hangs
    EXPECT_NE(Loop->FindData(), nullptr);
}

TEST_F(PosixProvider, PermissionsDecideWhatMayBeDone) {
    Touch("data/file");
    auto F = At("data/file");
    EXPECT_TRUE(F->GetCanDelete());
    EXPECT_TRUE(F->GetCanCopy());
    EXPECT_TRUE(F->GetFileSystem());
    chmod((Home + "/data/file").c_str(), 0444);
    F->InvalidateNamespace();
    EXPECT_EQ(F->GetAttributesString(), u"R");
    if (geteuid() == 0) GTEST_SKIP() << "root bypasses permission checks";
    EXPECT_TRUE(F->GetReadOnly());
    chmod((Home + "/data").c_str(), 0555);
    F->InvalidateNamespace();
    EXPECT_FALSE(F->GetCanDelete());
    EXPECT_FALSE(F->GetCanRename());
    chmod((Home + "/data").c_str(), 0);
    auto Data = At("data");
    EXPECT_TRUE(Names(*Data).empty());
}

TEST_F(PosixProvider, FolderDeletedWhileEnumerated) {
    mkdir((Home + "/data/doomed").c_str(), 0755);
    for (int I = 0; I < 300; ++I) Touch("data/doomed/f" + std::to_string(I));
    auto Doomed = At("data/doomed");
    int Seen = 0;
    int Count = Doomed->EnumerateFolder(true, true, true, [&](PItemIDList Item, TNamespace*, void*, bool&) {
        PIDLMgr.FreePIDL(Item);
        if (++Seen == 1) {
            std::string Cmd = "rm -rf '" + Home + "/data/doomed'";
            EXPECT_EQ(std::system(Cmd.c_str()), 0);
        }
        return true;
    }, nullptr);
    EXPECT_GE(Count, 1);
    EXPECT_LE(Count, 300);
    Doomed->InvalidateNamespace();
    EXPECT_EQ(Doomed->FindData(), nullptr);
    EXPECT_EQ(Doomed->DetailsOf(1), u"");
}

TEST_F(PosixProvider, FindDataFollowsAFolderThatWasDeletedAndMadeAgain) {
    // Entries of one folder are looked up under a held handle of the
    // folder; a folder made again under the same name is still read
    // correctly right away, as are its entries that came and went.
    mkdir((Home + "/data/x").c_str(), 0755);
    Touch("data/x/f", "1");
    auto F1 = At("data/x/f");
    ASSERT_TRUE(F1 && F1->FindData());
    EXPECT_EQ(F1->FindData()->Size, 1u);
    ASSERT_EQ(std::system(("rm -rf '" + Home + "/data/x'").c_str()), 0);
    mkdir((Home + "/data/x").c_str(), 0755);
    Touch("data/x/f", "12345");
    auto F2 = At("data/x/f");
    ASSERT_TRUE(F2 && F2->FindData());
    EXPECT_EQ(F2->FindData()->Size, 5u);
    Touch("data/x/g", "123");
    auto G = At("data/x/g");
    ASSERT_TRUE(G && G->FindData());
    EXPECT_EQ(G->FindData()->Size, 3u);
    ASSERT_EQ(unlink((Home + "/data/x/g").c_str()), 0);
    G->InvalidateNamespace();
    EXPECT_EQ(G->FindData(), nullptr);
    // Another folder's entry with the same name is that folder's.
    Touch("data/f", "1234567");
    auto Other = At("data/f");
    ASSERT_TRUE(Other && Other->FindData());
    EXPECT_EQ(Other->FindData()->Size, 7u);
}

TEST_F(PosixProvider, RootHoldsSpecialFoldersComputerAndTrash) {
    std::vector<String> Root;
    Desktop->EnumerateFolder(true, true, false, [&](PItemIDList Item, TNamespace* Parent, void*, bool&) {
        TNamespace NS(Parent->ProviderRef(), Item, Parent);
        Root.push_back(NS.GetNameInFolder());
        return true;
    }, nullptr);
    EXPECT_EQ(Root, (std::vector<String>{u"Home", u"Documents", u"Computer", u"Trash"}));
    EXPECT_EQ(Desktop->GetNameInFolder(), u"Desktop");
    TNamespace Computer(P, P->SpecialFolderLocation(TSpecialFolder::sfComputer), nullptr);
    EXPECT_TRUE(Computer.IsMyComputer());
    EXPECT_TRUE(Computer.GetFolder());
    EXPECT_FALSE(Computer.GetFileSystem());
    std::vector<std::string> Volumes;
    Computer.EnumerateFolder(true, false, false, [&](PItemIDList Item, TNamespace* Parent, void*, bool&) {
        TNamespace NS(Parent->ProviderRef(), Item, Parent);
        std::string Path;
        EXPECT_TRUE(P->PathOf(NS.AbsolutePIDL(), Path));
        Volumes.push_back(Path);
        return true;
    }, nullptr);
    ASSERT_FALSE(Volumes.empty());
    EXPECT_EQ(Volumes[0], "/");
    TNamespace Trash(P, P->SpecialFolderLocation(TSpecialFolder::sfTrash), nullptr);
    EXPECT_TRUE(Trash.IsRecycleBin());
    EXPECT_EQ(Trash.GetNameForParsing(), Str(Home + "/.local/share/Trash/files"));
    // A path under a user folder goes under that folder, not under home.
    Touch("Documents/letter.odt");
    auto Letter = At("Documents/letter.odt");
    EXPECT_EQ(PIDLMgr.IDCount(Letter->AbsolutePIDL()), 2);
    EXPECT_EQ(Letter->GetNameForParsing(), Str(Home + "/Documents/letter.odt"));
    EXPECT_EQ(P->ParseDisplayName(Home + "/nothing"), nullptr);
    EXPECT_EQ(P->ParseDisplayName("relative"), nullptr);
}

TEST_F(PosixProvider, ForeignItemsResolveToNothing) {
    // Lists that this provider never made: a slash in a name, "..", an item
    // too short for kind and type, a file item at the root.
    auto Make = [](std::initializer_list<std::string> Payloads) {
        PItemIDList Abs = TPIDLManager::MakeDesktop();
        for (const auto& Pl : Payloads) {
            TPIDLHolder One(TPIDLManager::MakeItem(Pl.data(), Pl.size()));
            PItemIDList N = PIDLMgr.AppendPIDL(Abs, One.Get());
            PIDLMgr.FreePIDL(Abs);
            Abs = N;
        }
        return TPIDLHolder(Abs);
    };
    const std::string Home2 = std::string("\x02\x04", 2) + "home";
    std::string Path;
    EXPECT_TRUE(P->PathOf(Make({Home2}).Get(), Path));
    EXPECT_FALSE(P->PathOf(Make({Home2, std::string("\x01\x08", 2) + "a/b"}).Get(), Path));
    EXPECT_FALSE(P->PathOf(Make({Home2, std::string("\x01\x04", 2) + ".."}).Get(), Path));
    EXPECT_FALSE(P->PathOf(Make({Home2, "\x01"}).Get(), Path));
    EXPECT_FALSE(P->PathOf(Make({std::string("\x01\x08", 2) + "etc"}).Get(), Path));
    EXPECT_FALSE(P->PathOf(Make({std::string("\x02\x04", 2) + "nowhere"}).Get(), Path));
    TFindData D;
    EXPECT_FALSE(P->GetFindData(Make({Home2, "\x01"}).Get(), D));
}

TEST(MountTable, DevicesWithEscapedMountPoints) {
    const char* Text =
        "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
        "23 22 0:5 / /proc rw - proc proc rw\n"
        "24 22 8:17 / /media/my\\040disk rw shared:2 master:1 - vfat /dev/sdb1 rw\n"
        "25 22 0:40 / /tmp rw - tmpfs tmpfs rw\n"
        "garbage line\n"
        "26 22 8:1 /x /bind rw - ext4 /dev/sda1 rw";
    auto M = ParseMountInfo(Text);
    ASSERT_EQ(M.size(), 3u);
    EXPECT_EQ(M[0].MountPoint, "/");
    EXPECT_EQ(M[1].MountPoint, "/media/my disk");
    EXPECT_EQ(M[1].FileSystem, "vfat");
    EXPECT_EQ(M[2].MountPoint, "/bind");
    EXPECT_TRUE(ParseMountInfo("").empty());
}

TEST_F(PosixProvider, RenameThroughTheNamespace) {
    Touch("data/old");
    Touch("data/taken");
    auto F = At("data/old");
    EXPECT_FALSE(F->SetNameOf(u"taken"));  // never replaces
    EXPECT_FALSE(F->SetNameOf(u"a/b"));
    ASSERT_TRUE(F->SetNameOf(u"new"));
    EXPECT_EQ(access((Home + "/data/new").c_str(), F_OK), 0);
    EXPECT_EQ(F->GetNameInFolder(), u"new");
}
