// Fuzz target for the remembered open rows of the inspector: a host stores
// the "path=1" / "path=0" lines of ValidateExpandedItemPaths and hands them
// back to ReexpandItemPaths. Any text must be taken without a crash, a hang
// or an endless expansion, also over properties whose references form
// cycles.
//
// Layout of an input: byte 0 bit 0 is ExpandNewRootLevels; the rest is UTF-8
// text, one line per entry (lines as a host would keep them, whatever they
// hold).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "inspector/IDEInspListBox.h"

using namespace ide;

namespace {

// A property tree with a cycle through references: Owner -> Parent (object
// 1) -> Child (object 2) -> Back (object 1 again), and plain nesting.
class TNode : public TInterfacedObject, public IProperty, public IPropertyRefTarget {
public:
    TNode(String Name, const void* Target, int Depth) : FName(std::move(Name)), FTarget(Target), FDepth(Depth) {}
    void Activate() override {}
    bool AllEqual() override { return true; }
    bool AutoFill() override { return true; }
    void Edit() override {}
    bool HasInstance(const void*) override { return false; }
    TPropertyAttributes GetAttributes() override {
        return FDepth < 6 ? TPropertyAttributes{paSubProperties} : TPropertyAttributes{};
    }
    int GetEditLimit() override { return 0; }
    bool GetEditValue(String& Value) override {
        Value = FName;
        return true;
    }
    String GetName() override { return FName; }
    void GetProperties(const TGetPropProc& Proc) override;
    const TPropInfo* GetPropInfo() override { return nullptr; }
    const TTypeInfo* GetPropType() override { return nullptr; }
    String GetValue() override { return FName; }
    void GetValues(const TGetStrProc&) override {}
    void Revert() override {}
    void SetValue(const String&) override {}
    bool ValueAvailable() override { return true; }
    String GetDescription() override { return {}; }
    const void* GetRefTarget() override { return FTarget; }

private:
    String FName;
    const void* FTarget;
    int FDepth;
};

int GObjects[3];

void TNode::GetProperties(const TGetPropProc& Proc) {
    if (FDepth >= 6) return;
    // Two references that lead round in a circle, and a plain child.
    Proc(Make<TNode>(u"Parent", &GObjects[1], FDepth + 1));
    Proc(Make<TNode>(u"Child", &GObjects[2], FDepth + 1));
    Proc(Make<TNode>(u"Font", &GObjects[FDepth % 3], FDepth + 1));
}

struct Parts {
    TPlainInspEdit edit;
    TListButton button;
};

struct Box : Parts, TInspListBox {
    Box() : TInspListBox(&edit, &button) {
        OnGetProperties = [](TCustomPropListBox*, const TGetPropProc& add) {
            add(Make<TNode>(u"Owner", &GObjects[0], 0));
            add(Make<TNode>(u"Font", &GObjects[1], 0));
            add(Make<TNode>(u"Name", nullptr, 6));
        };
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    if (Size == 0) return 0;
    const bool expandNew = Data[0] & 1;
    const std::string text(reinterpret_cast<const char*>(Data + 1), Size - 1);
    TExpandedPaths paths;
    size_t start = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i == text.size() || text[i] == '\n') {
            paths.AddLine(Str(text.substr(start, i - start)));
            start = i + 1;
        }
    }
    Box box;
    box.Reset();
    box.ReexpandItemPaths(paths, expandNew);
    // Opening only ever follows the tree: depth is bounded by the guard and
    // the tree's own depth, so the rows stay few.
    if (box.Count() > 5000) std::abort();
    for (int i = 0; i < box.Count(); ++i)
        if (box.GetPropItem(i)->ItemLevel() > 6) std::abort();
    TExpandedPaths out;
    box.ValidateExpandedItemPaths(out);
    // Every remembered open row is open again after a reset.
    box.Reset();
    box.ReexpandItemPaths(out, false);
    TExpandedPaths again;
    box.ValidateExpandedItemPaths(again);
    for (const String& line : out.Lines()) {
        const size_t eq = line.find(u'=');
        if (line.substr(eq + 1) == u"1" && again.Value(line.substr(0, eq)) != u"1") std::abort();
    }
    return 0;
}
