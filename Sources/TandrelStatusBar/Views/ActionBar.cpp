#include "Views/ActionBar.h"

#include "Views/Controls/PlainButton.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/TextLabel.h"
#include "Views/InPoints.h"

#include <QHBoxLayout>

namespace tandrel {

namespace {

PlainButton* makeButton(const QString& text) {
    return new PlainButton(text, 12, ColorRole::secondary);
}

} // namespace

ActionBar::ActionBar(const std::string& appVersion, QWidget* parent)
    : QWidget(parent) {
    const QString version =
        appVersion.empty() ? QStringLiteral("—") : QString::fromStdString(appVersion);
    PlainButton* versionButton = makeButton(u'v' + version);
    versionButton->setToolTip(QStringLiteral("Check for updates"));
    PlainButton* privacyButton = makeButton(QStringLiteral("Privacy"));
    PlainButton* quitButton = makeButton(QStringLiteral("Quit"));

    auto* row = new QHBoxLayout(this);
    row->addWidget(versionButton);
    row->addWidget(new TextLabel(QStringLiteral("·"), 12, ColorRole::secondary));
    row->addWidget(privacyButton);
    row->addStretch(1);
    row->addWidget(quitButton);
    applyInPoints(*this, [row] {
        row->setContentsMargins(roundedPixels(16), roundedPixels(8), roundedPixels(16),
                                roundedPixels(8));
        row->setSpacing(roundedPixels(4));
    });

    connect(versionButton, &QAbstractButton::clicked, this, &ActionBar::checkForUpdatesRequested);
    connect(privacyButton, &QAbstractButton::clicked, this, &ActionBar::privacyRequested);
    connect(quitButton, &QAbstractButton::clicked, this, &ActionBar::quitRequested);
}

} // namespace tandrel
