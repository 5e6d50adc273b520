// Listeners that register with a model from their own constructor and hear
// events while they are still being built, at every depth of a class
// hierarchy. While a base's constructor runs, the object answers as that base
// with that base's layout of the virtual contracts, which differs from the
// layout of the finished object and of a stand-alone object of the base
// class; the interface casts must reach the right sub-object at every stage.
#include <gtest/gtest.h>

#include <string>

#include "model/IDEVectorImpl.h"

using namespace ide;

namespace {

std::string gLog;

// Level one: registers itself and makes the model raise an event at once.
class TSelfRegistering : public TInterfacedObject, public virtual IVectorModelListener {
public:
    TSelfRegistering(const IntfRef<TBasicVectorContainer>& Model, char Name) : FName(Name) {
        Model->AddModelListener(IntfRef<IVectorModelListener>::Retain(this));
        Model->AddItem(nullptr);  // heard during construction
    }
    void ModelStructureChanged(const IntfRef<IVectorModelEvent>& E) override {
        gLog += FName;
        gLog += std::to_string(E->GetLocation());
        gLog += ' ';
    }
    void ModelContentChanged(const IntfRef<IVectorModelEvent>&) override {}

protected:
    char FName;
};

struct IMarker : virtual IInterface {
    IDE_INTERFACE(IMarker, "5C0B7E51-6E0A-4F53-9D3B-0E6A6C1D7A01")
    virtual int Mark() = 0;
};

// Level two: more state and another contract, so the virtual bases sit at
// other offsets than in a stand-alone level-one object.
class TSelfRegistering2 : public TSelfRegistering, public virtual IMarker {
public:
    TSelfRegistering2(const IntfRef<TBasicVectorContainer>& Model, char Name) : TSelfRegistering(Model, Name) {
        Model->AddItem(nullptr);
    }
    int Mark() override { return FPadding[0] + 2; }

private:
    char FPadding[512] = {};
};

// Level three: registers once more from its own constructor.
class TSelfRegistering3 : public TSelfRegistering2 {
public:
    TSelfRegistering3(const IntfRef<TBasicVectorContainer>& Model, char Name) : TSelfRegistering2(Model, Name) {
        Model->AddItem(nullptr);
    }
    int Mark() override { return FMore[0] + 3; }

private:
    long FMore[64] = {};
};

}  // namespace

// Every construction order of the three levels: each object hears every event
// raised while it is built and afterwards, whatever was cached before it.
TEST(ListenerConstruction, RegisteringFromConstructorsAtEveryDepth) {
    auto run = [](auto... makers) {
        gLog.clear();
        auto model = Make<TBasicVectorContainer>();
        std::vector<IntfRef<IVectorModelListener>> keep;
        char name = 'a';
        (keep.push_back(makers(model, name++)), ...);
        model->RemoveAll();  // everyone hears it after construction
        for (auto& l : keep) model->RemoveModelListener(l);
        return gLog;
    };
    auto one = [](const IntfRef<TBasicVectorContainer>& m, char n) -> IntfRef<IVectorModelListener> {
        return Make<TSelfRegistering>(m, n);
    };
    auto two = [](const IntfRef<TBasicVectorContainer>& m, char n) -> IntfRef<IVectorModelListener> {
        return Make<TSelfRegistering2>(m, n);
    };
    auto three = [](const IntfRef<TBasicVectorContainer>& m, char n) -> IntfRef<IVectorModelListener> {
        return Make<TSelfRegistering3>(m, n);
    };
    // An added item reports the count after the addition, RemoveAll 0. A level
    // three object adds three items while it is built and hears each.
    EXPECT_EQ(run(three, two, one), "a1 a2 a3 a4 b4 a5 b5 a6 b6 c6 a0 b0 c0 ");
    EXPECT_EQ(run(one, two, three), "a1 a2 b2 a3 b3 a4 b4 c4 a5 b5 c5 a6 b6 c6 a0 b0 c0 ");
    EXPECT_EQ(run(two, three, one, three),
              "a1 a2 a3 b3 a4 b4 a5 b5 a6 b6 c6 a7 b7 c7 d7 a8 b8 c8 d8 a9 b9 c9 d9 a0 b0 c0 d0 ");
}

// The finished objects still answer their other contracts correctly.
TEST(ListenerConstruction, OtherContractsOfSelfRegisteredObjects) {
    auto model = Make<TBasicVectorContainer>();
    IntfRef<IInterface> two = Make<TSelfRegistering2>(model, 'x');
    IntfRef<IInterface> three = Make<TSelfRegistering3>(model, 'y');
    EXPECT_EQ(As<IMarker>(two)->Mark(), 2);
    EXPECT_EQ(As<IMarker>(three)->Mark(), 3);
    model->RemoveModelListener(As<IVectorModelListener>(two));
    model->RemoveModelListener(As<IVectorModelListener>(three));
}
