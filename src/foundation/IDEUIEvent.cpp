#include "foundation/IDEUIEvent.h"

namespace ide {

TAWTEvent::TAWTEvent(IntfRef<IInterface> Source, int ID) : TEventObject(std::move(Source)), FID(ID) {
    FConsumed = ID == ADJUSTMENT_VALUE_CHANGED || ID == ITEM_STATE_CHANGED || ID == TEXT_VALUE_CHANGED ||
                ID == ACTION_PERFORMED;
}

void TAWTEvent::Consume() {
    if (FID == KEY_PRESSED || FID == KEY_RELEASED || (FID >= MOUSE_PRESSED && FID <= MOUSE_DRAGGED)) FConsumed = true;
}

TComponentEvent::TComponentEvent(TEventSource<TKomponent> Source, int ID)
    : TAWTEvent(Source.Object ? IntfRef<IInterface>(Make<TTarnObject>(Source.Object)) : nullptr, ID),
      FSource(Source.Control) {}

TContainerEvent::TContainerEvent(TEventSource<TContainer> Source, int ID, TKomponent* Child)
    : TComponentEvent(Source.AsComponent(), ID), FChild(Child), fsource(Source.Control) {}

TFocusEvent::TFocusEvent(TEventSource<TKomponent> Source, int ID, bool Temporary)
    : TComponentEvent(Source, ID), FTemporary(Temporary) {}

TInputEvent::TInputEvent(TEventSource<TKomponent> Source, int ID, TDateTime When, int Modifiers)
    : TComponentEvent(Source, ID), FWhen(When), FModifiers(Modifiers) {}

TKeyEvent::TKeyEvent(TEventSource<TKomponent> Source, int ID, TDateTime When, int Modifiers, int KeyCode, Char KeyChar)
    : TInputEvent(Source, ID, When, Modifiers), FKeyCode(KeyCode), FKeyChar(KeyChar) {
    if (ID == KEY_TYPED) {
        if (KeyChar == 0) throw EIllegalArgumentException("Invalid KeyChar");
        if (KeyCode != 0) throw EIllegalArgumentException("Invalid KeyCode");
    }
}

bool TKeyEvent::IsActionKey() {
    const int k = FKeyCode;
    return k == 19 || k == 20 || (k >= 33 && k <= 40) || k == 42 || k == 45 || (k >= 112 && k <= 123) || k == 144 ||
           k == 145;
}

TMouseEvent::TMouseEvent(TEventSource<TKomponent> Source, int ID, TDateTime When, int Modifiers, int X, int Y,
                         int ClickCount, bool PopupTrigger)
    : TInputEvent(Source, ID, When, Modifiers), FX(X), FY(Y), FClickCount(ClickCount), FPopupTrigger(PopupTrigger) {}

TWindowEvent::TWindowEvent(TEventSource<TWindow> Source, int ID)
    : TComponentEvent(Source.AsComponent(), ID), FSource(Source.Control) {}

}  // namespace ide
