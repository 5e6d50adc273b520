// Event objects: sources, consumption, key-event validation, the exception chain.
#include <gtest/gtest.h>

#include "foundation/IDEUIEvent.h"

using namespace ide;

TEST(Events, GetSourceRaisesWithoutSource) {
    auto e = Make<TTextEvent>(nullptr, TEXT_VALUE_CHANGED);
    try {
        e->GetSource();
        FAIL() << "no exception";
    } catch (const EIllegalArgumentException& x) {
        EXPECT_STREQ(x.what(), "Null source");
    }
    auto src = Make<TTextObject>(u"s");
    auto e2 = Make<TTextEvent>(src, TEXT_VALUE_CHANGED);
    EXPECT_TRUE(SameObject(e2->GetSource(), src));
}

TEST(Events, SemanticEventsAreBornConsumed) {
    for (int id : {ADJUSTMENT_VALUE_CHANGED, ITEM_STATE_CHANGED, TEXT_VALUE_CHANGED, ACTION_PERFORMED})
        EXPECT_TRUE(Make<TTextEvent>(nullptr, id)->IsConsumed()) << id;
    EXPECT_FALSE(Make<TTextEvent>(nullptr, COMPONENT_MOVED)->IsConsumed());
    EXPECT_TRUE(TActionEvent::Create2(nullptr, ACTION_PERFORMED, u"x")->IsConsumed());
}

TEST(Events, FilteredConsumeThroughTheEventViewOnly) {
    // Key typed: the event view can't consume it, the input view can.
    IntfRef<IKeyEvent> typed = Make<TKeyEvent>(nullptr, KEY_TYPED, 0.0, 0, 0, u'a');
    As<IAWTEvent>(typed)->Consume();
    EXPECT_FALSE(typed->IsConsumed());
    As<IInputEvent>(typed)->Consume();
    EXPECT_TRUE(typed->IsConsumed());

    // Key pressed and mouse pressed..dragged are consumable by both views.
    IntfRef<IAWTEvent> pressed = Make<TKeyEvent>(nullptr, KEY_PRESSED, 0.0, 0, 65, 0);
    pressed->Consume();
    EXPECT_TRUE(pressed->IsConsumed());
    for (int id = MOUSE_CLICKED; id <= MOUSE_DRAGGED; ++id) {
        IntfRef<IAWTEvent> m = Make<TMouseEvent>(nullptr, id, 0.0, 0, 1, 2, 1, false);
        m->Consume();
        EXPECT_EQ(m->IsConsumed(), id != MOUSE_CLICKED) << id;
    }
}

TEST(Events, KeyEventValidation) {
    EXPECT_NO_THROW(Make<TKeyEvent>(nullptr, KEY_PRESSED, 0.0, 0, 13, 0));
    try {
        Make<TKeyEvent>(nullptr, KEY_TYPED, 0.0, 0, 0, 0);
        FAIL();
    } catch (const EIllegalArgumentException& x) {
        EXPECT_STREQ(x.what(), "Invalid KeyChar");
    }
    try {
        Make<TKeyEvent>(nullptr, KEY_TYPED, 0.0, 0, 13, u'a');
        FAIL();
    } catch (const EIllegalArgumentException& x) {
        EXPECT_STREQ(x.what(), "Invalid KeyCode");
    }
}

TEST(Events, KeyEventFieldsAndActionKeys) {
    auto k = Make<TKeyEvent>(nullptr, KEY_PRESSED, 1.5, SHIFT_MASK | ALT_MASK, 112, 0);
    EXPECT_TRUE(k->IsShiftDown());
    EXPECT_FALSE(k->IsControlDown());
    EXPECT_TRUE(k->IsAltDown());
    EXPECT_DOUBLE_EQ(k->GetWhen(), 1.5);
    EXPECT_TRUE(k->IsActionKey());
    // A listener rewrites the event in place.
    k->SetKeyCode(65);
    k->SetKeyChar(u'A');
    k->SetModifiers(CTRL_MASK);
    EXPECT_EQ(k->GetKeyCode(), 65);
    EXPECT_EQ(k->GetKeyChar(), u'A');
    EXPECT_TRUE(k->IsControlDown());
    int actionKeys = 0;
    for (int code = 0; code < 256; ++code) {
        k->SetKeyCode(code);
        actionKeys += k->IsActionKey();
    }
    EXPECT_EQ(actionKeys, 2 + 8 + 1 + 1 + 12 + 2);
}

TEST(Events, MouseTranslate) {
    auto m = Make<TMouseEvent>(nullptr, MOUSE_MOVED, 0.0, 0, 10, 20, 2, true);
    m->TranslatePoint(-3, 5);
    EXPECT_EQ(m->GetPoint(), (TPoint{7, 25}));
    EXPECT_EQ(m->GetClickCount(), 2);
    EXPECT_TRUE(m->IsPopupTrigger());
}

TEST(Events, ItemEventCastsItsSourceBack) {
    struct TSel : TInterfacedObject, IItemSelectable {
        void AddItemListener(const IntfRef<IItemListener>&) override {}
        void RemoveItemListener(const IntfRef<IItemListener>&) override {}
    };
    auto sel = Make<TSel>();
    auto e = Make<TItemEvent>(sel, ITEM_STATE_CHANGED, nullptr, 1);
    EXPECT_TRUE(SameObject(e->GetItemSelectable(), sel));
    EXPECT_EQ(e->GetStateChange(), 1);
}

namespace {
int gBeeps = 0;
void CountBeep() { ++gBeeps; }
}  // namespace

TEST(Events, ExceptionChainOrderAndBeeps) {
    class TEv : public TDispatchableEvent {
    public:
        TEv() : TDispatchableEvent(nullptr) {}
        void Dispatch(const IntfRef<IEventListener>&) override {}
    };
    auto ev = Make<TEv>();
    EXPECT_EQ(ev->GetExceptionChain(), nullptr);
    ev->AppendException(std::make_shared<Exception>("one"));
    ev->AppendException(std::make_shared<Exception>("two"));
    ev->AppendException(std::make_shared<Exception>("three"));
    TExceptionChain* c = ev->GetExceptionChain();
    ASSERT_TRUE(c && c->HasExceptions());
    std::vector<std::string> order;
    for (TExceptionChain* n = c; n; n = n->GetNext()) order.push_back(n->GetException()->Message());
    EXPECT_EQ(order, (std::vector<std::string>{"one", "three", "two"}));
    BeepProc old = SetBeepProc(&CountBeep);
    int stream = 0;
    c->PrintStackTrace(stream);
    SetBeepProc(old);
    EXPECT_EQ(gBeeps, 3);
    EXPECT_EQ(stream, 0);
    TExceptionChain empty;
    EXPECT_FALSE(empty.HasExceptions());
}

TEST(Events, TextHashFollowsLengthRule) {
    EXPECT_EQ(TextHashCode(u""), 0);
    EXPECT_EQ(TextHashCode(u"ab"), 'a' * 37 + 'b');
    // From 16 characters only every (N div 8)-th character counts.
    String a(16, u'x'), b(16, u'x');
    b[1] = u'y';
    EXPECT_EQ(TextHashCode(a), TextHashCode(b));
    b[2] = u'y';
    EXPECT_NE(TextHashCode(a), TextHashCode(b));
    THashtable t;
    t.Put(Make<TTextObject>(u"k"), Make<TIntegerObject>(1));
    EXPECT_TRUE(t.ContainsKey(Make<TTextObject>(u"k")));
    EXPECT_EQ(As<IIndexObject>(t.Put(Make<TTextObject>(u"k"), Make<TIntegerObject>(2)))->GetIndex(), 1);
    EXPECT_EQ(t.Count(), 1);
    EXPECT_TRUE(t.Remove(Make<TTextObject>(u"k")));
    EXPECT_EQ(t.Count(), 0);
}
