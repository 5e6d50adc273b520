// The peers' dispatch rules: which events get through, in which order the
// property and the listeners hear them, and the bean layer's additions.
#include <gtest/gtest.h>

#include "views/IDEPeer.h"

using namespace ide;

namespace {
IntfRef<IAWTEvent> Mouse(int Id, int Clicks = 1) { return Make<TMouseEvent>(nullptr, Id, 0.0, 0, 1, 2, Clicks, false); }
IntfRef<IAWTEvent> Key(int Id) { return Make<TKeyEvent>(nullptr, Id, 0.0, 0, Id == KEY_TYPED ? 0 : 65, u'A'); }

class TLog : public TInterfacedObject,
             public virtual IMouseListener,
             public virtual IMouseMotionListener,
             public virtual IKeyListener,
             public virtual IDragListener {
public:
    std::vector<std::string>* Out;
    explicit TLog(std::vector<std::string>* O) : Out(O) {}
    void MouseClicked(const IntfRef<IMouseEvent>&) override { Out->push_back("L500"); }
    void MousePressed(const IntfRef<IMouseEvent>&) override { Out->push_back("L501"); }
    void MouseReleased(const IntfRef<IMouseEvent>&) override { Out->push_back("L502"); }
    void MouseEntered(const IntfRef<IMouseEvent>&) override { Out->push_back("L504"); }
    void MouseExited(const IntfRef<IMouseEvent>&) override { Out->push_back("L505"); }
    void MouseMoved(const IntfRef<IMouseEvent>&) override { Out->push_back("L503"); }
    void MouseDragged(const IntfRef<IMouseEvent>&) override { Out->push_back("L506"); }
    void KeyTyped(const IntfRef<IKeyEvent>&) override { Out->push_back("L400"); }
    void KeyPressed(const IntfRef<IKeyEvent>&) override { Out->push_back("L401"); }
    void KeyReleased(const IntfRef<IKeyEvent>&) override { Out->push_back("L402"); }
    void DragEntered(const IntfRef<IDragEvent>&) override { Out->push_back("L2000"); }
    void DragExited(const IntfRef<IDragEvent>&) override {}
    void DragMoved(const IntfRef<IDragEvent>&) override {}
    void DragDropped(const IntfRef<IDragEvent>&) override { Out->push_back("L2003"); }
    void DragCancelled(const IntfRef<IDragEvent>&) override {}
    void DragTargeted(const IntfRef<IDragEvent>&) override {}
};

class TRecordingBean : public TBeanPeer {
public:
    std::vector<std::string>* Out;
    int FocusRequests = 0;
    explicit TRecordingBean(std::vector<std::string>* O) : Out(O) {}
    void ProcessMouseClicked(const IntfRef<IMouseEvent>&) override { Out->push_back("V500"); }
    void ProcessKeyTyped(const IntfRef<IKeyEvent>&) override { Out->push_back("V400"); }
    void RequestFocus() override { ++FocusRequests; }
};
}  // namespace

TEST(Peer, APropertyAloneEnablesNothingAndTheMaskOrAListenerDoes) {
    TJPeer peer;
    std::vector<std::string> log;
    peer.FOnKeyPressed = [&](const IntfRef<IKeyEvent>&) { log.push_back("P401"); };
    peer.FOnMouseClicked = [&](const IntfRef<IMouseEvent>&) { log.push_back("P500"); };
    peer.DispatchEvent(Key(KEY_PRESSED));
    peer.DispatchEvent(Mouse(MOUSE_CLICKED));
    EXPECT_TRUE(log.empty());
    peer.EnableEvents(AWT_MOUSE_EVENT_MASK);
    peer.DispatchEvent(Mouse(MOUSE_CLICKED));
    peer.DispatchEvent(Mouse(MOUSE_MOVED));  // motion is a kind of its own
    EXPECT_EQ(log, (std::vector<std::string>{"P500"}));
    peer.DisableEvents(AWT_MOUSE_EVENT_MASK);
    auto listener = Make<TLog>(&log);
    peer.AddKeyListener(listener);
    peer.DispatchEvent(Key(KEY_PRESSED));
    EXPECT_EQ(log, (std::vector<std::string>{"P500", "P401", "L401"}));  // the property first
    peer.RemoveKeyListener(listener);
    peer.DispatchEvent(Key(KEY_PRESSED));
    EXPECT_EQ(log.size(), 3u);
}

TEST(Peer, ContainerEventsNeverPassAndHighIdsAlwaysDo) {
    TJPeer peer;
    peer.EnableEvents(0xFFFF);
    EXPECT_FALSE(peer.EventEnabled(Make<TContainerEvent>(nullptr, COMPONENT_ADDED, nullptr)));
    std::vector<std::string> log;
    peer.FOnDragDropped = [&](const IntfRef<IDragEvent>&) { log.push_back("P2003"); };
    TJPeer bare;
    auto drop = Make<TDragEvent>(nullptr, DRAG_DROPPED);
    EXPECT_TRUE(bare.EventEnabled(drop));  // nothing enabled, still passes
    auto listener = Make<TLog>(&log);
    peer.AddDragListener(listener);
    peer.DispatchEvent(drop);
    peer.RemoveDragListener(listener);
    peer.DispatchEvent(drop);
    EXPECT_EQ(log, (std::vector<std::string>{"P2003", "L2003", "P2003"}));
    // The routing: motion ids to the motion listener, the rest to the mouse listener.
    TJPeer routed;
    std::vector<std::string> r;
    auto l = Make<TLog>(&r);
    routed.AddMouseListener(l);
    routed.AddMouseMotionListener(l);
    for (int id : {MOUSE_PRESSED, MOUSE_CLICKED, MOUSE_RELEASED, MOUSE_MOVED, MOUSE_DRAGGED, MOUSE_ENTERED, MOUSE_EXITED})
        routed.DispatchEvent(Mouse(id));
    EXPECT_EQ(r, (std::vector<std::string>{"L501", "L500", "L502", "L503", "L506", "L504", "L505"}));
}

TEST(BeanPeer, VirtualsRunAheadFocusStateFollowsAndPressRequestsFocusOnce) {
    std::vector<std::string> log;
    TRecordingBean bean(&log);
    bean.EnableEvents(AWT_MOUSE_EVENT_MASK | AWT_KEY_EVENT_MASK | AWT_FOCUS_EVENT_MASK);
    bean.FOnMouseClicked = [&](const IntfRef<IMouseEvent>&) { log.push_back("P500"); };
    bean.FOnKeyTyped = [&](const IntfRef<IKeyEvent>&) { log.push_back("P400"); };
    bean.DispatchEvent(Mouse(MOUSE_CLICKED));
    bean.DispatchEvent(Key(KEY_TYPED));
    EXPECT_EQ(log, (std::vector<std::string>{"V500", "P500", "V400", "P400"}));
    bean.DispatchEvent(Mouse(MOUSE_PRESSED, 1));
    bean.DispatchEvent(Mouse(MOUSE_PRESSED, 2));  // a double click asks no more
    EXPECT_EQ(bean.FocusRequests, 1);
    EXPECT_EQ(bean.FocusState(), isDefault);
    bean.DispatchEvent(TFocusEvent::Create2(nullptr, FOCUS_GAINED));
    EXPECT_EQ(bean.FocusState(), isDefault);  // not focus-aware yet
    bean.SetFocusAware(true);
    bean.DispatchEvent(TFocusEvent::Create2(nullptr, FOCUS_GAINED));
    EXPECT_EQ(bean.FocusState(), isFocused);
    bean.DispatchEvent(TFocusEvent::Create2(nullptr, FOCUS_LOST));
    EXPECT_EQ(bean.FocusState(), isInactive);
    int actions = 0;
    bean.FOnActionPerformed = [&](const IntfRef<IActionEvent>&) { ++actions; };
    bean.DispatchEvent(TActionEvent::Create2(nullptr, ACTION_PERFORMED, u"go"));  // id 1001 passes? no: below 2000
    EXPECT_EQ(actions, 0);
    bean.ProcessEvent(TActionEvent::Create2(nullptr, ACTION_PERFORMED, u"go"));
    EXPECT_EQ(actions, 1);
}

TEST(Peer, KeyCharactersOnlyForCodesThatHaveOne) {
    EXPECT_EQ(KeyCharOf(65), u'A');
    EXPECT_EQ(KeyCharOf(13), u'\r');
    EXPECT_EQ(KeyCharOf(37), 0);  // an arrow
    EXPECT_EQ(KeyCharOf(112), 0);
}
