// The component classes that the window-system events speak of, under the
// names of the event vocabulary: a component with bounds, a parent, visibility
// and a focus request; a container; a window. They stand over Qt widgets. The
// foundation's events know them only by forward declaration
// (foundation/IDEUIEvent.h), so code that raises a component event includes
// this header, and logic that only passes the pointers on does not.
#pragma once

#include "foundation/Component.h"
#include "foundation/IDEUtil.h"

class QWidget;

namespace ide {

class TContainer;

// The toolkit's control: a component (owner tree, name, free notification)
// with a pointer to its widget, which the widget's own parent (or the
// control's creator) owns.
// Thread: UI thread only.
class TControl : public TComponent {
public:
    explicit TControl(QWidget* Widget = nullptr, TComponent* AOwner = nullptr)
        : TComponent(AOwner), FWidget(Widget) {}
    ~TControl() override;
    QWidget* Widget() const { return FWidget; }
    void SetWidget(QWidget* Widget) { FWidget = Widget; }

protected:
    QWidget* FWidget;
};

// Thread: UI thread only.
class TKomponent : public TControl {
public:
    // Links the widget back to this component (see FromWidget).
    explicit TKomponent(QWidget* Widget = nullptr, TComponent* AOwner = nullptr);
    ~TKomponent() override;
    // Does nothing in the base; a focusable component overrides it.
    virtual void RequestFocus();
    virtual void SetVisible(bool Value);
    virtual TContainer* GetParent() const;
    // Left, top, width and height of the control in its parent.
    virtual TRectangle GetBounds() const;
    // The component of a widget, if one was made for it.
    static TKomponent* FromWidget(QWidget* Widget);
};

// A component that holds others. (In the toolkit this is a windowed control;
// here it is a component too, so events can name either as their source.)
// Thread: UI thread only.
class TContainer : public TKomponent {
public:
    using TKomponent::TKomponent;
};

// Thread: UI thread only.
class TWindow : public TContainer {
public:
    using TContainer::TContainer;
};

}  // namespace ide
