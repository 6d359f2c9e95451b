#include "Views/ErrorFooter.h"

#include "Views/Controls/Points.h"
#include "Views/Controls/SymbolView.h"
#include "Views/Controls/TextLabel.h"
#include "Views/InPoints.h"

#include <QHBoxLayout>

namespace tandrel {

ErrorFooter::ErrorFooter(QWidget* parent)
    : LiveRegion(parent)
    , message_(new TextLabel({}, 11, ColorRole::secondary)) {
    message_->setMaximumLines(2);
    // With a name of its own the label no longer tells of every new text.
    message_->setAccessibleName(QStringLiteral("Message"));
    auto* row = new QHBoxLayout(this);
    row->addWidget(new SymbolView(Symbol::exclamationmarkTriangleFill, 11, ColorRole::yellow), 0,
                   Qt::AlignVCenter);
    row->addWidget(message_, 1);
    applyInPoints(*this, [row] {
        row->setContentsMargins(roundedPixels(16), roundedPixels(8), roundedPixels(16),
                                roundedPixels(8));
        row->setSpacing(roundedPixels(4));
    });
}

void ErrorFooter::setMessage(const std::string& message) {
    message_->setText(QString::fromStdString(message));
    setNews(text());
}

QString ErrorFooter::text() const {
    return message_->text();
}

} // namespace tandrel
