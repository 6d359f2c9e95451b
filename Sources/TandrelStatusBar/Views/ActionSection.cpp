#include "Views/ActionSection.h"

#include "Views/Controls/PlainButton.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/ProminentButton.h"
#include "Views/Controls/TextLabel.h"
#include "Views/InPoints.h"
#include "Views/SteadySlot.h"

#include <QEvent>
#include <QVBoxLayout>

namespace tandrel {

using Kind = SessionState::Kind;

ActionSection::ActionSection(QWidget* parent)
    : QWidget(parent)
    , actionButton_(new ProminentButton(QStringLiteral("Start Streaming")))
    , below_(new SteadySlot)
    , hint_(new TextLabel(QStringLiteral("Start a tandrel session from the web app"), 11,
                          ColorRole::tertiary))
    , openInBrowserButton_(
          new PlainButton(QStringLiteral("Open in Browser"), 11, ColorRole::accent)) {
    hint_->setMaximumLines(0); // large fonts need more than one
    openInBrowserButton_->setLeadingSymbol(Symbol::safari, 11);
    openInBrowserButton_->setTrailingSymbol(Symbol::arrowUpRight, 9);
    below_->add(*hint_);
    below_->add(*openInBrowserButton_);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addWidget(actionButton_);
    column->addWidget(below_);
    applyInPoints(*this, [column] { column->setSpacing(roundedPixels(8)); });

    actionButton_->installEventFilter(this);
    connect(actionButton_, &QAbstractButton::clicked, this, &ActionSection::act);
    connect(openInBrowserButton_, &QAbstractButton::clicked, this,
            &ActionSection::openInBrowserRequested);
    setState(Kind::idle, false, false);
}

void ActionSection::setState(SessionState::Kind kind, bool canStart, bool hasPage) {
    kind_ = kind;
    const bool isStreaming = kind == Kind::streaming;
    const bool isFound = kind == Kind::sessionFound;
    const bool isEnabled = isStreaming || (isFound && canStart);

    keepFocus(isEnabled, isFound && hasPage);
    actionButton_->setText(isStreaming ? QStringLiteral("Stop")
                                       : QStringLiteral("Start Streaming"));
    actionButton_->setSymbol(isStreaming ? Symbol::stopFill : Symbol::micFill);
    actionButton_->setTint(isStreaming ? ColorRole::red : ColorRole::green);
    actionButton_->setEnabled(isEnabled);
    if (isEnabled && window()->focusWidget() == this) {
        actionButton_->setFocus();
    }
    openInBrowserButton_->setEnabled(hasPage);
    if (isFound) {
        below_->setContent(openInBrowserButton_);
    } else {
        below_->setContent(kind == Kind::idle ? hint_ : nullptr);
    }
}

void ActionSection::keepFocus(bool canAct, bool canOpen) {
    const QWidget* const focused = window()->focusWidget();
    const bool isLosing =
        (focused == actionButton_ && !canAct) || (focused == openInBrowserButton_ && !canOpen);
    if (isLosing) {
        // Qt would move on to the next button, which does something else altogether.
        setFocus();
    }
}

bool ActionSection::eventFilter(QObject* watched, QEvent* event) {
    // The second click of a double click would stop what the first has just started.
    return event->type() == QEvent::MouseButtonDblClick || QWidget::eventFilter(watched, event);
}

void ActionSection::act() {
    if (kind_ == Kind::streaming) {
        Q_EMIT stopRequested();
    } else {
        Q_EMIT startRequested();
    }
}

} // namespace tandrel
