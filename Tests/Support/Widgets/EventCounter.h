#pragma once

#include <QEvent>
#include <QObject>

namespace tandrel::test {

/// Counts the events of one type that an object receives while this lives.
class EventCounter : public QObject {
public:
    EventCounter(QObject& watched, QEvent::Type type)
        : type_(type) {
        watched.installEventFilter(this);
    }

    [[nodiscard]] int count() const { return count_; }

protected:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        count_ += event->type() == type_ ? 1 : 0;
        return false;
    }

private:
    QEvent::Type type_;
    int count_ = 0;
};

} // namespace tandrel::test
