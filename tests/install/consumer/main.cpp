// Builds a small tree through the installed headers and libraries and says
// what a listener heard.
#include <cstdio>

#include "model/IDEGraphImpl.h"

using namespace ide;

class TCounter : public TInterfacedObject, public virtual IGraphModelListener {
public:
    void ModelStructureChanged(const IntfRef<IGraphModelEvent>&) override { ++Heard; }
    void ModelContentChanged(const IntfRef<IGraphModelEvent>&) override { ++Heard; }
    int Heard = 0;
};

int main() {
    auto model = Make<TBasicTreeContainer>();
    auto counter = Make<TCounter>();
    model->AddModelListener(counter);
    auto root = model->SetRoot(Make<TTextObject>(u"root"));
    model->AddChild(root, Make<TTextObject>(u"a"));
    model->AddChild(root, Make<TTextObject>(u"b"));
    model->RemoveModelListener(counter);
    auto text = As<IStringObject>(model->Get(root))->GetString();
    std::printf("%s: %d children, %d events\n", Utf8(text).c_str(), root->GetChildren()->GetCount(), counter->Heard);
    return counter->Heard == 3 ? 0 : 1;
}
