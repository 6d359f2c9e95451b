#include "Views/StatusBadge.h"

#include "Views/Controls/Points.h"
#include "Views/Controls/Spinner.h"
#include "Views/Controls/SymbolView.h"
#include "Views/Controls/TextLabel.h"
#include "Views/InPoints.h"
#include "Views/StatusDot.h"

#include <QHBoxLayout>

namespace tandrel {

namespace {

using Kind = SessionState::Kind;

/// How a state is shown; `streaming` has its dot, `polling` its spinner instead of an icon.
struct Appearance {
    QString text;
    ColorRole role;
    Symbol icon;
};

Appearance appearance(Kind kind) {
    switch (kind) {
    case Kind::idle:
        return {QStringLiteral("Idle"), ColorRole::secondary, Symbol::circle};
    case Kind::polling:
        return {QStringLiteral("Waiting"), ColorRole::secondary, Symbol::circle};
    case Kind::sessionFound:
        return {QStringLiteral("Ready"), ColorRole::orange, Symbol::circleFill};
    case Kind::streaming:
        return {QStringLiteral("Streaming"), ColorRole::green, Symbol::circleFill};
    case Kind::completed:
        return {QStringLiteral("Done"), ColorRole::green, Symbol::checkmarkCircleFill};
    }
    return {};
}

} // namespace

StatusBadge::StatusBadge(QWidget* parent)
    : LiveRegion(parent)
    , icon_(new SymbolView(Symbol::circle, 11, ColorRole::secondary))
    , spinner_(new Spinner)
    , dot_(new StatusDot(ColorRole::green))
    , text_(new TextLabel({}, 11))
    , duration_(new TextLabel(QStringLiteral("00:00"), 11, ColorRole::secondary)) {
    duration_->setMonospacedDigits(true);
    // With names of their own the labels no longer tell of every new text.
    text_->setAccessibleName(QStringLiteral("State"));
    duration_->setAccessibleName(QStringLiteral("Duration"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins({});
    for (QWidget* part : {static_cast<QWidget*>(icon_), static_cast<QWidget*>(spinner_),
                          static_cast<QWidget*>(dot_), static_cast<QWidget*>(text_),
                          static_cast<QWidget*>(duration_)}) {
        row->addWidget(part, 0, Qt::AlignVCenter);
    }
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    applyInPoints(*this, [row] { row->setSpacing(roundedPixels(4)); });
    setState(Kind::idle);
}

void StatusBadge::setState(Kind kind) {
    kind_ = kind;
    const Appearance shown = appearance(kind);
    icon_->setSymbol(shown.icon);
    icon_->setRole(shown.role);
    icon_->setVisible(kind != Kind::polling && kind != Kind::streaming);
    spinner_->setVisible(kind == Kind::polling);
    dot_->setVisible(kind == Kind::streaming);
    text_->setText(shown.text);
    text_->setRole(shown.role);
    duration_->setVisible(kind == Kind::streaming);
    setNews(shown.text);
}

void StatusBadge::setDuration(const QString& formattedDuration) {
    duration_->setText(formattedDuration);
}

QString StatusBadge::text() const {
    return kind_ == Kind::streaming ? text_->text() + u' ' + duration_->text() : text_->text();
}

} // namespace tandrel
