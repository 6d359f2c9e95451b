#include "Views/MaskedTextEvents.h"

#include <QAccessible>
#include <QLineEdit>
#include <QString>

namespace tandrel {

namespace {

int guardCount = 0;
QAccessible::UpdateHandler outerHandler = nullptr;

QString masked(const QString& text) {
    return QString(text.size(), u'*');
}

bool isMasked(const QObject* object) {
    const auto* field = qobject_cast<const QLineEdit*>(object);
    return field != nullptr && field->echoMode() != QLineEdit::Normal;
}

void handle(QAccessibleEvent* event);

/// Hands `event` to whoever would have got it without us; without another handler that is the
/// platform, which only Qt itself can reach.
void passOn(QAccessibleEvent* event) {
    QAccessible::installUpdateHandler(outerHandler);
    QAccessible::updateAccessibility(event);
    QAccessible::installUpdateHandler(handle);
}

void passOnMasked(QAccessibleEvent* event) {
    QObject* const object = event->object();
    if (event->type() == QAccessible::TextInserted) {
        const auto* inserted = static_cast<const QAccessibleTextInsertEvent*>(event);
        QAccessibleTextInsertEvent replacement(object, inserted->changePosition(),
                                               masked(inserted->textInserted()));
        replacement.setCursorPosition(inserted->cursorPosition());
        passOn(&replacement);
    } else if (event->type() == QAccessible::TextRemoved) {
        const auto* removed = static_cast<const QAccessibleTextRemoveEvent*>(event);
        QAccessibleTextRemoveEvent replacement(object, removed->changePosition(),
                                               masked(removed->textRemoved()));
        replacement.setCursorPosition(removed->cursorPosition());
        passOn(&replacement);
    } else {
        const auto* updated = static_cast<const QAccessibleTextUpdateEvent*>(event);
        QAccessibleTextUpdateEvent replacement(object, updated->changePosition(),
                                               masked(updated->textRemoved()),
                                               masked(updated->textInserted()));
        replacement.setCursorPosition(updated->cursorPosition());
        passOn(&replacement);
    }
}

void handle(QAccessibleEvent* event) {
    switch (event->type()) {
    case QAccessible::TextInserted:
    case QAccessible::TextRemoved:
    case QAccessible::TextUpdated:
        if (isMasked(event->object())) {
            passOnMasked(event);
            return;
        }
        break;
    default:
        break;
    }
    passOn(event);
}

} // namespace

MaskedTextEvents::MaskedTextEvents() {
    if (guardCount++ == 0) {
        outerHandler = QAccessible::installUpdateHandler(handle);
    }
}

MaskedTextEvents::~MaskedTextEvents() {
    if (--guardCount == 0) {
        // Unless somebody has put another in front of ours, which then stays.
        const QAccessible::UpdateHandler current = QAccessible::installUpdateHandler(outerHandler);
        if (current != handle) {
            QAccessible::installUpdateHandler(current);
        }
    }
}

} // namespace tandrel
