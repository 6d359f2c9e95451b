#include "Views/HeaderSection.h"

#include "Views/Controls/PlainButton.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/TextLabel.h"
#include "Views/InPoints.h"
#include "Views/StatusBadge.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace tandrel {

HeaderSection::HeaderSection(QWidget* parent)
    : QWidget(parent)
    , statusBadge_(new StatusBadge) {
    auto* column = new QVBoxLayout;
    auto* title =
        new TextLabel(QStringLiteral("Quorvane Tandrel"), 13, ColorRole::primary, QFont::Medium);
    userRow_ = makeUserRow();
    column->addWidget(title);
    column->addWidget(userRow_);

    auto* row = new QHBoxLayout(this);
    row->addLayout(column, 1);
    row->addWidget(statusBadge_, 0, Qt::AlignVCenter);
    applyInPoints(*this, [row, column] {
        const int side = roundedPixels(16);
        row->setContentsMargins(side, side, side, side);
        row->setSpacing(roundedPixels(8));
        column->setSpacing(roundedPixels(2));
    });
    setEmail(std::nullopt);
}

QWidget* HeaderSection::makeUserRow() {
    auto* userRow = new QWidget;
    auto* row = new QHBoxLayout(userRow);
    row->setContentsMargins({});
    email_ = new TextLabel({}, 11, ColorRole::secondary);
    email_->setElideMode(Qt::ElideMiddle); // both the name and the domain tell accounts apart
    email_->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
    auto* signOut = new PlainButton(QStringLiteral("Sign Out"), 11, ColorRole::secondary);
    row->addWidget(email_);
    row->addWidget(new TextLabel(QStringLiteral("·"), 11, ColorRole::secondary));
    row->addWidget(signOut);
    row->addStretch(1);
    connect(signOut, &QAbstractButton::clicked, this, &HeaderSection::signOutRequested);
    applyInPoints(*userRow, [row] { row->setSpacing(roundedPixels(4)); });
    return userRow;
}

void HeaderSection::setEmail(const std::optional<std::string>& email) {
    if (email) {
        email_->setText(QString::fromStdString(*email));
    }
    userRow_->setVisible(email.has_value());
}

} // namespace tandrel
