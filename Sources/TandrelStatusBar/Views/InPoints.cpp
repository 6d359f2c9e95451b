#include "Views/InPoints.h"

#include "Views/Controls/Points.h"

#include <QEvent>
#include <QObject>
#include <QWidget>

#include <utility>

namespace tandrel {

namespace {

class PointsFollower : public QObject {
public:
    PointsFollower(QWidget& widget, std::function<void()> apply)
        : QObject(&widget)
        , apply_(std::move(apply)) {
        apply_();
        widget.installEventFilter(this);
    }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        if (changesPoints(*event) || changesSystemFont(*event)) {
            apply_();
        }
        return false;
    }

private:
    std::function<void()> apply_;
};

} // namespace

void applyInPoints(QWidget& widget, std::function<void()> apply) {
    new PointsFollower(widget, std::move(apply)); // owned by the widget
}

} // namespace tandrel
