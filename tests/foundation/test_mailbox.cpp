// The mailbox contract on the queued mailbox, the exception bridge and
// owner-decided reference counting.
#include <gtest/gtest.h>

#include <stdexcept>

#include "foundation/ExceptionBridge.h"
#include "foundation/Mailbox.h"
#include "foundation/OwnedInterface.h"

using namespace ide;

TEST(Mailbox, PostCoalescesByPendingDrainRemovesSendIsImmediate) {
    std::vector<int> seen;
    TQueuedMailbox box([&](TMessage& m) {
        seen.push_back(m.Msg * 100 + static_cast<int>(m.WParam));
        m.Result = 7;
    });
    EXPECT_FALSE(box.IsPending(1));
    box.Post(1, 1);
    box.Post(2, 1);
    if (!box.IsPending(1)) box.Post(1, 2);  // the coalescing idiom: not posted again
    box.Post(1, 3);
    EXPECT_EQ(box.PendingCount(1), 2);
    EXPECT_EQ(box.Send(3, 4), 7);  // at once, ahead of the queue
    EXPECT_EQ(seen, (std::vector<int>{304}));
    EXPECT_EQ(box.Drain(1), 2);
    EXPECT_EQ(box.Drain(1), 0);
    EXPECT_FALSE(box.IsPending(1));
    EXPECT_TRUE(box.IsPending(2));
    EXPECT_EQ(box.ProcessMessages(), 1);
    EXPECT_EQ(seen, (std::vector<int>{304, 201}));
    EXPECT_FALSE(box.IsPending(2));
}

TEST(Mailbox, AMessageIsNotPendingWhileItsHandlerRunsAndMayPostItsSuccessor) {
    int runs = 0;
    TQueuedMailbox* self = nullptr;
    TQueuedMailbox box([&](TMessage& m) {
        ++runs;
        if (runs <= 3) {
            EXPECT_FALSE(self->IsPending(m.Msg));
        }
        if (runs < 3) self->Post(m.Msg);
    });
    self = &box;
    box.Post(5);
    EXPECT_EQ(box.ProcessMessages(), 3);
    EXPECT_EQ(box.QueueLength(), 0);
    box.Post(5);
    box.Post(5);
    EXPECT_EQ(box.ProcessMessages(1), 1);  // the limit stops it
    EXPECT_EQ(box.PendingCount(5), 1);
}

TEST(Mailbox, AThrowingHandlerLeavesTheCountsRight) {
    TQueuedMailbox box([](TMessage&) { throw std::runtime_error("boom"); });
    box.Post(9);
    EXPECT_THROW(box.ProcessMessages(), std::runtime_error);
    EXPECT_FALSE(box.IsPending(9));
}

namespace {
struct BridgeRecorder {
    std::vector<std::string> Messages;
    std::vector<TObject*> Senders;
    TExceptionHandler Old;
    BridgeRecorder() {
        Old = SetExceptionHandler([this](TObject* s, std::exception_ptr e) {
            Senders.push_back(s);
            Messages.push_back(ExceptionMessage(e));
        });
    }
    ~BridgeRecorder() { SetExceptionHandler(Old); }
};
}  // namespace

TEST(ExceptionBridge, GuardedBodiesHandTheirExceptionsToTheHandler) {
    BridgeRecorder rec;
    TObject sender;
    EXPECT_TRUE(CallGuarded(&sender, [] {}));
    EXPECT_FALSE(CallGuarded(&sender, [] { throw EConvertError("bad number"); }));
    EXPECT_FALSE(CallGuarded(nullptr, [] { throw 42; }));
    EXPECT_FALSE(CallGuarded(nullptr, [] { Abort(); }));  // silent: no handler call
    ASSERT_EQ(rec.Messages, (std::vector<std::string>{"bad number", "Unknown exception"}));
    EXPECT_EQ(rec.Senders[0], &sender);
}

TEST(ExceptionBridge, AThrowingHandlerIsContainedAndTheOldHandlerComesBack) {
    int calls = 0;
    auto old = SetExceptionHandler([&](TObject*, std::exception_ptr) {
        ++calls;
        throw std::runtime_error("handler failed");
    });
    EXPECT_FALSE(CallGuarded(nullptr, [] { throw std::logic_error("x"); }));
    EXPECT_EQ(calls, 1);
    auto mine = SetExceptionHandler(old);
    EXPECT_TRUE(static_cast<bool>(mine));
    HandleException(nullptr, nullptr);  // nothing to hand on
    EXPECT_EQ(calls, 1);
}

namespace {
struct IProbe : virtual IInterface {
    IDE_INTERFACE(IProbe, "6A3C1F20-55D4-4F0B-9E61-2B7C0D9E4A11")
    virtual int Value() = 0;
};
class TProbe : public TOwnedInterfacedObject, public IProbe {
public:
    TProbe(bool Owned, bool* Died) : TOwnedInterfacedObject(Owned), FDied(Died) {}
    ~TProbe() override { *FDied = true; }
    int Value() override { return 3; }

private:
    bool* FDied;
};
}  // namespace

TEST(OwnedInterface, TheOwnerAndNotTheCountDecidesTheLifeOfAnOwnedObject) {
    bool died = false;
    auto* owned = new TProbe(true, &died);
    {
        IntfRef<IProbe> r = Supports<IProbe>(Retain(static_cast<IInterface*>(owned)));
        ASSERT_TRUE(r);
        EXPECT_EQ(r->Value(), 3);
    }
    EXPECT_EQ(owned->RefCount(), 0);
    EXPECT_FALSE(died);  // the count reached zero, the owner keeps it
    delete owned;
    EXPECT_TRUE(died);

    died = false;
    auto* free = new TProbe(false, &died);
    { IntfRef<IProbe> r = Retain<IProbe>(free); }
    EXPECT_TRUE(died);  // without an owner the last reference frees it

    died = false;
    auto* released = new TProbe(true, &died);
    IntfRef<IProbe> held = Retain<IProbe>(released);
    released->SetOwned(false);  // the owner lets go while a reference lives
    EXPECT_FALSE(died);
    held = nullptr;
    EXPECT_TRUE(died);
}
