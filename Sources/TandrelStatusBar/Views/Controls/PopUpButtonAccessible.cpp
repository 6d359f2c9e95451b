#include "Views/Controls/PopUpButtonAccessible.h"

#include "Views/Controls/PopUpButton.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAccessibleWidget>

namespace tandrel {

namespace {

class PopUpButtonAccessible : public QAccessibleWidget {
public:
    explicit PopUpButtonAccessible(PopUpButton* button)
        : QAccessibleWidget(button, QAccessible::ComboBox) {}

    [[nodiscard]] int childCount() const override { return 1; }
    [[nodiscard]] QAccessibleInterface* child(int index) const override {
        return index == 0 ? QAccessible::queryAccessibleInterface(button()->view()) : nullptr;
    }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override {
        return child != nullptr && child->object() == button()->view() ? 0 : -1;
    }

    [[nodiscard]] QString text(QAccessible::Text type) const override {
        // The system's protocol knows no text value: the description is what gets read out.
        if (type == QAccessible::Value || type == QAccessible::Description) {
            return button()->shownText();
        }
        return QAccessibleWidget::text(type);
    }

    [[nodiscard]] QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        const bool isOpen = button()->view()->isVisible();
        state.hasPopup = true;
        state.expandable = true;
        state.expanded = isOpen;
        state.collapsed = !isOpen;
        return state;
    }

    [[nodiscard]] QStringList actionNames() const override {
        return {showMenuAction(), pressAction()};
    }
    void doAction(const QString& name) override {
        if (name != showMenuAction() && name != pressAction()) {
            return;
        }
        if (button()->view()->isVisible()) {
            button()->hidePopup();
        } else {
            button()->showPopup();
        }
    }
    [[nodiscard]] QStringList keyBindingsForAction(const QString& /*name*/) const override {
        return {};
    }

private:
    [[nodiscard]] PopUpButton* button() const { return static_cast<PopUpButton*>(widget()); }
};

QAccessibleInterface* makeInterface(const QString& /*className*/, QObject* object) {
    auto* button = qobject_cast<PopUpButton*>(object);
    return button == nullptr ? nullptr : new PopUpButtonAccessible(button);
}

} // namespace

void makePopUpButtonReadable() {
    // Installing twice leaves one.
    QAccessible::installFactory(makeInterface);
}

} // namespace tandrel
