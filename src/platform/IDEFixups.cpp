// The event vocabulary's component classes over Qt widgets.
#include "platform/IDEFixups.h"

#include <QVariant>
#include <QWidget>

namespace ide {

namespace {
constexpr const char* kKomponentProperty = "ideKomponent";
}

TControl::~TControl() = default;

TKomponent::TKomponent(QWidget* Widget, TComponent* AOwner) : TControl(Widget, AOwner) {
    if (FWidget) FWidget->setProperty(kKomponentProperty, QVariant::fromValue(static_cast<void*>(this)));
}

TKomponent::~TKomponent() {
    if (FWidget && FromWidget(FWidget) == this) FWidget->setProperty(kKomponentProperty, QVariant());
}

TKomponent* TKomponent::FromWidget(QWidget* Widget) {
    if (!Widget) return nullptr;
    QVariant v = Widget->property(kKomponentProperty);
    return v.isValid() ? static_cast<TKomponent*>(v.value<void*>()) : nullptr;
}

void TKomponent::RequestFocus() {}

void TKomponent::SetVisible(bool Value) {
    if (FWidget) FWidget->setVisible(Value);
}

TContainer* TKomponent::GetParent() const {
    if (!FWidget) return nullptr;
    for (QWidget* w = FWidget->parentWidget(); w; w = w->parentWidget())
        if (auto* c = dynamic_cast<TContainer*>(FromWidget(w))) return c;
    return nullptr;
}

TRectangle TKomponent::GetBounds() const {
    if (!FWidget) return {};
    QRect r = FWidget->geometry();
    return Rectangle(r.left(), r.top(), r.width(), r.height());
}

}  // namespace ide
