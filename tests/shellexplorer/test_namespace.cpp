// The namespace object against an in-memory provider: construction rules,
// the cache (a second look asks the provider nothing), flushing, columns
// with their fallbacks, comparison and the sort helper.
#include <gtest/gtest.h>

#include <ctime>
#include <random>

#include "FakeShellProvider.h"
#include "shellexplorer/IDEVirtualNamespace.h"

using namespace ide;
using ide::test::TFakeShellProvider;

namespace {

class Namespace : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        Docs = P->Add(&P->Root, "docs", true);
        P->Add(Docs, "b.txt", false, 1500, "Text");
        P->Add(Docs, "a.md", false, 0);
        P->Add(Docs, "sub", true);
        P->Add(Docs, "c.txt", false, 1500);
        P->Add(&P->Root, "Trash", true);
        Desktop = std::make_unique<TNamespace>(P, nullptr, nullptr);
        DocsNS = std::make_unique<TNamespace>(P, TFakeShellProvider::Item("docs"), Desktop.get());
    }
    std::unique_ptr<TNamespace> Child(const char* Name) {
        return std::make_unique<TNamespace>(P, TFakeShellProvider::Item(Name), DocsNS.get());
    }

    std::shared_ptr<TFakeShellProvider> P = std::make_shared<TFakeShellProvider>();
    ide::test::TFakeNode* Docs = nullptr;
    std::unique_ptr<TNamespace> Desktop, DocsNS;
};

}  // namespace

TEST_F(Namespace, ConstructionRules) {
    EXPECT_TRUE(Desktop->IsDesktop());
    EXPECT_EQ(Desktop->AbsolutePIDL(), Desktop->RelativePIDL());
    // Under the desktop both lists are the one item.
    EXPECT_EQ(DocsNS->AbsolutePIDL(), DocsNS->RelativePIDL());
    // Deeper, the absolute list is appended and the relative one is its tail.
    auto B = Child("b.txt");
    TPIDLHolder Expected(TFakeShellProvider::Path({"docs", "b.txt"}));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(B->AbsolutePIDL(), Expected.Get()));
    EXPECT_EQ(B->RelativePIDL(), PIDLMgr.GetPointerToLastID(B->AbsolutePIDL()));
    // Without a parent, an absolute list stands alone and finds its folder.
    TNamespace Alone(P, TFakeShellProvider::Path({"docs", "b.txt"}), nullptr);
    EXPECT_EQ(Alone.GetNameInFolder(), u"b.txt");
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Alone.ParentFolderPIDL(), DocsNS->AbsolutePIDL()));
    EXPECT_EQ(B->NamespaceID(), -1);
    EXPECT_EQ(B->ShellCache().Data.SmallIcon, -1);
    EXPECT_TRUE(B->States() & nsShellFolder2Supported);
    EXPECT_TRUE(B->States() & nsFreePIDLOnDestroy);
    auto Custom = TNamespace::CreateCustomNamespace(P, 42, Desktop.get());
    EXPECT_EQ(Custom->NamespaceID(), 42);
}

TEST_F(Namespace, FromFileNameRaisesForNothing) {
    auto NS = TNamespace::CreateFromFileName(P, "/docs/c.txt");
    EXPECT_EQ(NS->GetNameInFolder(), u"c.txt");
    try {
        TNamespace::CreateFromFileName(P, "/docs/none");
        FAIL() << "no exception";
    } catch (const EShellKitInvalidFileName& E) {
        EXPECT_STREQ(E.what(), "Trying to create a TNamespace on a non existant File object");
    }
}

TEST_F(Namespace, SecondLookCostsNoProviderCall) {
    auto B = Child("b.txt");
    auto Look = [&] {
        std::vector<String> Out;
        for (int C = 0; C < B->DetailsSupportedColumns(); ++C) Out.push_back(B->DetailsOf(C));
        Out.push_back(B->GetNameNormal());
        Out.push_back(B->GetNameForParsing());
        Out.push_back(B->GetCanDelete() ? u"d" : u"");
        Out.push_back(B->GetCanRename() ? u"r" : u"");
        Out.push_back(B->GetFolder() ? u"f" : u"");
        Out.push_back(String(1, Char(u'0' + B->GetIconIndex(false))));
        Out.push_back(String(1, Char(u'0' + B->GetIconIndex(true))));
        return Out;
    };
    P->ResetCallCount();
    auto First = Look();
    EXPECT_GT(P->CallCount(), 5u);
    P->ResetCallCount();
    auto Second = Look();
    EXPECT_EQ(P->CallCount(), 0u);
    EXPECT_EQ(First, Second);
    EXPECT_EQ(First[0], u"b.txt");
    EXPECT_EQ(First[1], u"2 KB");
    EXPECT_EQ(First[2], u"Text");
    EXPECT_EQ(First[3], u"1970-01-01 00:00");
    // Forms without a flag of their own are asked each time.
    B->GetHidden();
    B->GetNameForEditing();
    EXPECT_EQ(P->CallCount(), 2u);
}

TEST_F(Namespace, InvalidateKeepsIconsOnlyWithoutRefresh) {
    auto Sub = Child("sub");
    EXPECT_EQ(Sub->GetIconIndex(false), 3);
    EXPECT_EQ(Sub->GetIconIndex(true), 7);
    Sub->GetNameInFolder();
    Sub->InvalidateNamespace(false);
    P->ResetCallCount();
    EXPECT_EQ(Sub->GetIconIndex(false), 3);
    EXPECT_EQ(Sub->GetIconIndex(true), 7);
    EXPECT_EQ(P->CallCount(), 0u);
    Sub->GetNameInFolder();
    EXPECT_EQ(P->CallCount(), 1u);  // the name was flushed
    Sub->InvalidateNamespace(true);
    P->ResetCallCount();
    Sub->GetIconIndex(false);
    EXPECT_EQ(P->CallCount(), 1u);
    // An open icon of 0 falls back to the plain one.
    P->OpenIconIndex = 0;
    Sub->InvalidateNamespace(true);
    EXPECT_EQ(Sub->GetIconIndex(true), 3);
}

TEST_F(Namespace, FlushesSeeNewAnswers) {
    auto B = Child("b.txt");
    EXPECT_EQ(B->GetSizeOfFileKB(), u"2 KB");
    Docs->Children[0]->Size = 0;
    EXPECT_EQ(B->GetSizeOfFileKB(), u"2 KB");  // cached
    B->InvalidateCache();
    EXPECT_EQ(B->GetSizeOfFileKB(), u"0 KB");
    EXPECT_EQ(B->ShellCache().ShellCacheFlags & ScBit(scInFolderName), 0u);
}

TEST_F(Namespace, TestAttributesOfFlushModesAndAllBits) {
    auto B = Child("b.txt");
    EXPECT_TRUE(B->TestAttributesOf(SFGAO_CANCOPY | SFGAO_CANDELETE, false));
    EXPECT_EQ(P->LastRequest & SFGAO_VALIDATE, 0u);
    EXPECT_FALSE(B->TestAttributesOf(SFGAO_CANCOPY | SFGAO_FOLDER, true));  // all bits, not any
    EXPECT_NE(P->LastRequest & SFGAO_VALIDATE, 0u);
    B->TestAttributesOf(SFGAO_CANCOPY, false, true);
    EXPECT_NE(P->LastRequest & SFGAO_VALIDATE, 0u);
    EXPECT_FALSE(Desktop->TestAttributesOf(SFGAO_FOLDER, false));  // no parent folder
}

TEST_F(Namespace, ColumnCountFallsThroughDistrustedAnswers) {
    struct Case {
        int Folder2, Legacy, Expected;
    } const Cases[] = {
        {3, -1, 3},     // the column interface
        {200, -1, 5},   // 200 is not trusted; no older interface: the default 5
        {250, 4, 4},    // distrusted, then the older interface
        {0, 6, 6},
        {-1, 300, 5},   // the older interface is capped too
        {-1, -1, 5},
    };
    for (const auto& C : Cases) {
        P->Folder2Columns = C.Folder2;
        P->LegacyColumns = C.Legacy;
        DocsNS->InvalidateNamespace();
        EXPECT_EQ(DocsNS->DetailsSupportedColumns(), C.Expected) << C.Folder2 << "/" << C.Legacy;
    }
}

TEST_F(Namespace, DetailsPreferTheColumnInterfaceThenOlderThenDefault) {
    auto B = Child("b.txt");
    P->Folder2Columns = 3;
    P->LegacyColumns = 3;
    EXPECT_EQ(B->DetailsOf(1), u"F2 b.txt 1");
    auto C = Child("c.txt");
    P->Folder2Columns = -1;
    EXPECT_EQ(C->DetailsOf(1), u"L c.txt 1");
    auto A = Child("a.md");
    P->LegacyDetailsFail = true;
    EXPECT_EQ(A->DetailsOf(1), u"");  // older interface alone, failing: empty
    auto Sub = Child("sub");
    P->LegacyColumns = -1;
    EXPECT_EQ(Sub->DetailsOf(0), u"sub");  // neither: the defaults
    EXPECT_EQ(Desktop->DetailsOf(0), u"");
    EXPECT_EQ(Sub->DetailsOf(99), u"");
}

TEST_F(Namespace, DefaultDetailsAndTitles) {
    auto A = Child("a.md");
    auto Sub = Child("sub");
    EXPECT_EQ(A->DetailsDefaultOf(-1), u"a.md");
    EXPECT_EQ(A->DetailsDefaultOf(1), u"0 KB");
    EXPECT_EQ(A->DetailsDefaultOf(2), u"MD File");  // no type known: the extension
    EXPECT_EQ(Sub->DetailsDefaultOf(2), u"File Folder");
    EXPECT_EQ(Sub->DetailsDefaultOf(1), u"");
    EXPECT_EQ(A->DetailsDefaultOf(4), u"");
    EXPECT_EQ(A->DetailsDefaultOf(7), u"");
    EXPECT_EQ(DocsNS->DetailsDefaultOf(2), u"File Folder");
    const char16_t* Titles[] = {u"Name", u"Name", u"Size", u"Type", u"Modified", u"Attributes",
                                u"Created", u"Accessed", u"Path", u"DOS Name", u"Custom"};
    for (int I = -1; I <= 9; ++I) EXPECT_EQ(A->DetailsDefaultColumnTitle(I), Titles[I + 1]);
    EXPECT_EQ(DocsNS->DetailsColumnTitle(3), u"Modified");
    P->Folder2Columns = 2;
    EXPECT_EQ(DocsNS->DetailsColumnTitle(1), u"F2 title 1");
    EXPECT_EQ(FormatSizeKB(1), u"1 KB");
    EXPECT_EQ(FormatSizeKB(1024), u"1 KB");
    EXPECT_EQ(FormatSizeKB(1025), u"2 KB");
    EXPECT_EQ(FormatSizeKB(2000000000), u"1,953,125 KB");
}

TEST_F(Namespace, FileTimesReadAsTheCLibraryFormatsThem) {
    // The modified column's text is computed without strftime; it must
    // agree with the C library in zones with daylight saving, half-hour
    // shifts and odd offsets, across their changes, and for old dates.
    auto Reference = [](int64_t Secs) {
        time_t T = static_cast<time_t>(Secs);
        struct tm Tm;
        localtime_r(&T, &Tm);
        char Buf[48];
        size_t N = std::strftime(Buf, sizeof Buf, "%Y-%m-%d %H:%M", &Tm);
        return Str(std::string_view(Buf, N));
    };
    std::mt19937_64 Rng(7);
    for (const char* Zone : {"UTC", "Europe/Berlin", "Australia/Lord_Howe", "America/St_Johns", "Asia/Kathmandu"}) {
        setenv("TZ", Zone, 1);
        tzset();
        // Every 7 minutes through a year with changes both ways.
        for (int64_t S = 1711843200 - 86400 * 200; S < 1711843200 + 86400 * 200; S += 7 * 60 + 13)
            ASSERT_EQ(FormatFileTime(S * 1000000000), Reference(S)) << Zone << " at " << S;
        for (int I = 0; I < 3000; ++I) {
            int64_t S = static_cast<int64_t>(Rng() % 8000000000ull) - 2000000000;  // 1906 to 2223
            ASSERT_EQ(FormatFileTime(S * 1000000000 + 999999999), Reference(S)) << Zone << " at " << S;
        }
        // Before the epoch, a fraction still belongs to the earlier second.
        ASSERT_EQ(FormatFileTime(-1), Reference(-1)) << Zone;
    }
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(FormatFileTime(0), u"1970-01-01 00:00");
    EXPECT_EQ(FormatFileTime(int64_t(951782400) * 1000000000), u"2000-02-29 00:00");
}

TEST_F(Namespace, ComparePIDLClampsAndUsesTheLastItem) {
    auto B = Child("b.txt");
    auto C = Child("c.txt");
    EXPECT_EQ(B->ComparePIDL(nullptr, false, 0), -1);
    EXPECT_EQ(B->ComparePIDL(C->RelativePIDL(), false, -5), 1);   // c against b
    EXPECT_EQ(B->ComparePIDL(C->AbsolutePIDL(), true, 0), 1);
    P->CompareResult = 300;  // a byte would wrap this to 44; a short int must keep the sign
    EXPECT_EQ(B->ComparePIDL(C->RelativePIDL(), false, 0), 1);
    P->CompareResult = -256;
    EXPECT_EQ(B->ComparePIDL(C->RelativePIDL(), false, 0), -1);
    EXPECT_EQ(Desktop->ComparePIDL(C->RelativePIDL(), false, 0), 0);  // no parent folder
}

TEST_F(Namespace, SortHelperChains) {
    auto A = Child("a.md"), B = Child("b.txt"), C = Child("c.txt"), Sub = Child("sub");
    TShellSortHelper H;
    EXPECT_EQ(H.DiscriminateFolders(Sub.get(), A.get()), -1);
    EXPECT_EQ(H.DiscriminateFolders(A.get(), Sub.get()), 1);
    EXPECT_EQ(H.DiscriminateFolders(A.get(), B.get()), 0);
    // Equal sizes: column 0 gives no tie-break of its own, column 1 does.
    P->CompareResult = 0;
    EXPECT_EQ(H.CompareIDSort(1, B.get(), C.get()), -1);
    EXPECT_EQ(H.SortFileSize(C.get(), B.get()), 1);
    EXPECT_EQ(H.SortFileSize(A.get(), B.get()), -1);
    EXPECT_EQ(H.SortFileSize(Sub.get(), B.get()), -1);  // folders first
    EXPECT_EQ(H.SortFileTime(5, 5, B.get(), C.get()), -1);
    EXPECT_EQ(H.SortString(u"x", u"x", C.get(), B.get()), 1);
    // By extension: same extension goes on by name.
    H.SetFileSort(TFileSort::fsFileExtension);
    EXPECT_EQ(H.SortType(B.get(), C.get()), -1);
    EXPECT_EQ(H.SortType(C.get(), A.get()), 1);  // .txt after .md
    H.SetFileSort(TFileSort::fsFileType);
    EXPECT_EQ(H.SortType(B.get(), C.get()), 1);  // "Text" after "TXT File"
}

TEST_F(Namespace, CompareIdSortColumnZeroHasNoTieBreak) {
    auto B = Child("b.txt"), C = Child("c.txt");
    TShellSortHelper H;
    Docs->Children[3]->Name = "b.txt";  // both now resolve to the same node
    auto B2 = Child("b.txt");
    EXPECT_EQ(H.CompareIDSort(0, B.get(), B2.get()), 0);
    Docs->Children[3]->Name = "c.txt";
    EXPECT_EQ(H.CompareIDSort(0, B.get(), C.get()), -1);
}

TEST_F(Namespace, EnumerationCountsAcceptedItemsAndStops) {
    std::vector<String> Seen;
    auto Collect = [&](PItemIDList P, TNamespace* Parent, void*, bool&) {
        TNamespace NS(Parent->ProviderRef(), P, Parent);
        Seen.push_back(NS.GetNameInFolder());
        return NS.GetNameInFolder() != u"a.md";
    };
    EXPECT_EQ(DocsNS->EnumerateFolder(true, true, true, Collect, nullptr), 3);
    EXPECT_EQ(Seen.size(), 4u);
    Seen.clear();
    EXPECT_EQ(DocsNS->EnumerateFolder(false, true, true, Collect, nullptr), 2);
    EXPECT_EQ(Seen, (std::vector<String>{u"b.txt", u"a.md", u"c.txt"}));
    int Calls = 0;
    auto StopAtTwo = [&](PItemIDList P, TNamespace*, void*, bool& Terminate) {
        PIDLMgr.FreePIDL(P);
        Terminate = ++Calls == 2;
        return true;
    };
    EXPECT_EQ(DocsNS->EnumerateFolder(true, true, true, StopAtTwo, nullptr), 2);
    EXPECT_EQ(DocsNS->EnumerateFolder(true, true, true, TEnumFunc(), nullptr), 0);
    auto B = Child("b.txt");
    EXPECT_EQ(B->EnumerateFolder(true, true, true, StopAtTwo, nullptr), 0);  // not a folder
    EXPECT_EQ(DocsNS->GetSubItems(), 4);
}

TEST_F(Namespace, RelationsRecycleBinAndSiblings) {
    auto B = Child("b.txt");
    EXPECT_TRUE(B->IsChildByNamespace(DocsNS.get(), true));
    EXPECT_TRUE(B->IsChildByNamespace(Desktop.get(), false));
    EXPECT_FALSE(B->IsChildByNamespace(Desktop.get(), true));
    EXPECT_TRUE(DocsNS->IsParentByNamespace(B.get(), true));
    TNamespace Trash(P, TFakeShellProvider::Item("Trash"), Desktop.get());
    EXPECT_TRUE(Trash.IsRecycleBin());
    EXPECT_TRUE(Trash.States() & nsRecycleBinChecked);
    P->ResetCallCount();
    EXPECT_TRUE(Trash.IsRecycleBin());
    EXPECT_EQ(P->CallCount(), 0u);  // remembered
    EXPECT_FALSE(B->IsRecycleBin());
    DocsNS->VerifyPIDLRelationship({B.get()});
    try {
        DocsNS->VerifyPIDLRelationship({B.get(), &Trash});
        FAIL() << "no exception";
    } catch (const EShellKitRelationship& E) {
        EXPECT_STREQ(E.what(), "PIDLs to operate on are not siblings of the Namespace doing the operation.");
    }
}

TEST_F(Namespace, RenameMovesTheListsAndFlushes) {
    auto B = Child("b.txt");
    EXPECT_EQ(B->GetNameInFolder(), u"b.txt");
    ASSERT_TRUE(B->SetNameOf(u"renamed.txt"));
    EXPECT_EQ(B->GetNameInFolder(), u"renamed.txt");
    EXPECT_EQ(B->RelativePIDL(), PIDLMgr.GetPointerToLastID(B->AbsolutePIDL()));
    TPIDLHolder Expected(TFakeShellProvider::Path({"docs", "renamed.txt"}));
    EXPECT_TRUE(PIDLMgr.EqualPIDL(B->AbsolutePIDL(), Expected.Get()));
    auto Clone = B->Clone(true);
    EXPECT_TRUE(PIDLMgr.EqualPIDL(Clone->AbsolutePIDL(), B->AbsolutePIDL()));
    EXPECT_NE(Clone->AbsolutePIDL(), B->AbsolutePIDL());
}
