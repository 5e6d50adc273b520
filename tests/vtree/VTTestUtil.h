// Helpers of the virtual tree tests: a string tree whose texts come from a
// table keyed by node, an event log, and the invariant check as an
// assertion.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "vtree/IDEVirtualTrees.h"

namespace vttest {

using namespace ide;

// A string tree with a text per node (set by the test or by the stream) and
// a compact log of the client events it saw.
class TTextTree : public TCustomVirtualStringTree {
public:
    std::map<PVirtualNode, String> Texts;
    std::string Log;

    TTextTree() {
        OnGetText = [this](TBaseVirtualTree*, PVirtualNode n, TColumnIndex, String& t) {
            auto it = Texts.find(n);
            if (it != Texts.end()) t = it->second;
        };
        OnNewText = [this](TBaseVirtualTree*, PVirtualNode n, TColumnIndex, const String& t) { Texts[n] = t; };
        OnFreeNode = [this](TBaseVirtualTree*, PVirtualNode n) { Texts.erase(n); };
    }
    // The texts die before the base class clears the nodes.
    // Handlers of a test may capture locals that are gone by now.
    ~TTextTree() override {
        OnStructureChange = nullptr;
        OnChange = nullptr;
        OnUpdating = nullptr;
        OnStateChange = nullptr;
        OnFocusChanged = nullptr;
        OnFreeNode = [this](TBaseVirtualTree*, PVirtualNode n) { Texts.erase(n); };
        Clear();
    }
    void Name(PVirtualNode n, const char* utf8) { Texts[n] = Str(utf8); }
    std::string TextOf(PVirtualNode n) { return Utf8(GetText(n)); }
    // The texts of a node's children, joined by commas.
    std::string ChildTexts(PVirtualNode parent = nullptr) {
        std::string s;
        for (PVirtualNode c = GetFirstChildNoInit(parent); c; c = c->NextSibling) {
            if (!s.empty()) s += ",";
            s += TextOf(c);
        }
        return s;
    }
    using TBaseVirtualTree::FSelection;
    using TBaseVirtualTree::HasOption;
};

inline ::testing::AssertionResult Consistent(TBaseVirtualTree& Tree) {
    const std::string fault = CheckTreeInvariants(Tree);
    if (fault.empty()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << fault;
}

// The n-th child of a node (nil for the root).
inline PVirtualNode Child(TBaseVirtualTree& Tree, PVirtualNode Parent, uint32_t N) {
    PVirtualNode c = Tree.GetFirstChildNoInit(Parent);
    while (c && N--) c = c->NextSibling;
    return c;
}

}  // namespace vttest
