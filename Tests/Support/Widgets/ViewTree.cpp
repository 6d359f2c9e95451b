#include "Support/Widgets/ViewTree.h"

#include "Views/AudioLevelMeter.h"
#include "Views/Controls/Divider.h"
#include "Views/Controls/Spinner.h"
#include "Views/Controls/SymbolView.h"
#include "Views/StatusDot.h"

#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QTest>

#include <gtest/gtest.h>

namespace tandrel::test {

namespace {

std::string inBrackets(const QString& text) {
    return (u'<' + text + u'>').toStdString();
}

/// How `widget` appears in the list; empty for what only holds others.
std::string element(const QWidget& widget) {
    if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
        return label->text().toStdString();
    }
    if (const auto* pressed = qobject_cast<const QAbstractButton*>(&widget)) {
        return pressed->text().isEmpty() ? inBrackets(pressed->accessibleName())
                                         : pressed->text().toStdString();
    }
    if (const auto* field = qobject_cast<const QLineEdit*>(&widget)) {
        return field->placeholderText().toStdString();
    }
    if (const auto* picker = qobject_cast<const QComboBox*>(&widget)) {
        return picker->currentText().toStdString();
    }
    if (const auto* symbol = qobject_cast<const SymbolView*>(&widget)) {
        return inBrackets(symbolName(symbol->symbol()));
    }
    const bool isNamedByClass = qobject_cast<const Divider*>(&widget) != nullptr ||
                                qobject_cast<const Spinner*>(&widget) != nullptr ||
                                qobject_cast<const StatusDot*>(&widget) != nullptr ||
                                qobject_cast<const AudioLevelMeter*>(&widget) != nullptr;
    if (isNamedByClass) {
        return inBrackets(QString::fromLatin1(widget.metaObject()->className())
                              .section(QStringLiteral("::"), -1));
    }
    return {};
}

void collect(const QLayout& layout, std::vector<std::string>& elements);

void collect(const QWidget& widget, std::vector<std::string>& elements) {
    if (!widget.isVisible()) {
        return;
    }
    if (std::string own = element(widget); !own.empty()) {
        elements.push_back(std::move(own));
    } else if (const QLayout* layout = widget.layout()) {
        collect(*layout, elements);
    }
}

void collect(const QLayout& layout, std::vector<std::string>& elements) {
    for (int index = 0; index < layout.count(); ++index) {
        QLayoutItem* const item = layout.itemAt(index);
        if (const QWidget* widget = item->widget()) {
            collect(*widget, elements);
        } else if (const QLayout* inner = item->layout()) {
            collect(*inner, elements);
        }
    }
}

QWidget* find(QWidget& view, const std::string& name) {
    for (QWidget* candidate : view.findChildren<QWidget*>()) {
        if (candidate->isVisible() && accessibleName(*candidate) == name) {
            return candidate;
        }
    }
    return nullptr;
}

} // namespace

std::vector<std::string> shownElements(const QWidget& view) {
    std::vector<std::string> elements;
    collect(view, elements);
    return elements;
}

std::vector<std::string> clippedParts(const QWidget& view) {
    std::vector<std::string> clipped;
    for (const QWidget* part : view.findChildren<QWidget*>()) {
        if (!part->isVisible() || element(*part).empty()) {
            continue;
        }
        const QSize least = part->minimumSizeHint();
        const bool isInside = part->parentWidget()->rect().contains(part->geometry());
        if (!isInside || part->width() < least.width() || part->height() < least.height()) {
            clipped.push_back(element(*part) + (isInside ? " " : " outside ") +
                              std::to_string(part->width()) + "x" + std::to_string(part->height()) +
                              " of " + std::to_string(least.width()) + "x" +
                              std::to_string(least.height()));
        }
    }
    return clipped;
}

std::string accessibleName(QWidget& widget) {
    if (!widget.accessibleName().isEmpty()) {
        return widget.accessibleName().toStdString();
    }
    const QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&widget);
    return interface != nullptr ? interface->text(QAccessible::Name).toStdString() : std::string();
}

QWidget* named(QWidget& view, const std::string& name) {
    QWidget* const found = find(view, name);
    if (found == nullptr) {
        ADD_FAILURE() << "nothing visible is named " << name;
    }
    return found;
}

bool hasNamed(QWidget& view, const std::string& name) {
    return find(view, name) != nullptr;
}

QAbstractButton* button(QWidget& view, const std::string& name) {
    return qobject_cast<QAbstractButton*>(named(view, name));
}

std::vector<std::string> tabOrder(QWidget& view) {
    std::vector<std::string> order;
    view.setFocus();
    const QWidget* first = nullptr;
    for (int step = 0; step < 30; ++step) {
        QTest::keyClick(view.window()->windowHandle(), Qt::Key_Tab);
        QWidget* const focused = QApplication::focusWidget();
        if (focused == nullptr || focused == first) {
            break;
        }
        first = first == nullptr ? focused : first;
        order.push_back(accessibleName(*focused));
    }
    return order;
}

std::string focusedName(QWidget& view) {
    QWidget* const focused = view.window()->focusWidget();
    return focused != nullptr ? accessibleName(*focused) : std::string();
}

void settle() {
    for (int round = 0; round < 3; ++round) {
        QApplication::processEvents();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

} // namespace tandrel::test
