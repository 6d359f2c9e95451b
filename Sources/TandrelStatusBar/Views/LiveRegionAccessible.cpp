#include "Views/LiveRegionAccessible.h"

#include "Views/LiveRegion.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QString>

namespace tandrel {

namespace {

class LiveRegionAccessible : public QAccessibleWidget {
public:
    explicit LiveRegionAccessible(LiveRegion& region)
        : QAccessibleWidget(&region, QAccessible::Notification) {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override {
        const auto* region = qobject_cast<LiveRegion*>(object());
        if (kind == QAccessible::Name && region != nullptr) {
            return region->text();
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
    auto* region = qobject_cast<LiveRegion*>(object);
    return region != nullptr ? new LiveRegionAccessible(*region) : nullptr;
}

} // namespace

void makeLiveRegionsAccessible() {
    static const bool once = [] {
        QAccessible::installFactory(makeInterface);
        return true;
    }();
    static_cast<void>(once);
}

} // namespace tandrel
