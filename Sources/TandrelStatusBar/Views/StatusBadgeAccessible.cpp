#include "Views/StatusBadgeAccessible.h"

#include "Views/StatusBadge.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QString>

namespace tandrel {

namespace {

class StatusBadgeAccessible : public QAccessibleWidget {
public:
    explicit StatusBadgeAccessible(StatusBadge& badge)
        : QAccessibleWidget(&badge, QAccessible::Notification) {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override {
        const auto* badge = qobject_cast<StatusBadge*>(object());
        if (kind == QAccessible::Name && badge != nullptr) {
            return badge->text();
        }
        return QAccessibleWidget::text(kind);
    }
    [[nodiscard]] int childCount() const override { return 0; }
    [[nodiscard]] QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* /*child*/) const override {
        return -1;
    }
    [[nodiscard]] QAccessibleInterface* childAt(int /*x*/, int /*y*/) const override {
        return nullptr;
    }
};

QAccessibleInterface* makeInterface(const QString& /*className*/, QObject* object) {
    auto* badge = qobject_cast<StatusBadge*>(object);
    return badge != nullptr ? new StatusBadgeAccessible(*badge) : nullptr;
}

} // namespace

void makeStatusBadgeAccessible() {
    static const bool once = [] {
        QAccessible::installFactory(makeInterface);
        return true;
    }();
    static_cast<void>(once);
}

} // namespace tandrel
