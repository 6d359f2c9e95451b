#include "Views/UpdateNotes.h"

#include "Views/Controls/Points.h"
#include "Views/Controls/Theme.h"

#include <QEvent>
#include <QTextDocument>

namespace tandrel {

namespace {

constexpr qreal textPoints = 11.0;
constexpr qreal widthPoints = 280.0;
constexpr qreal heightPoints = 110.0;
constexpr qreal textMargin = 6.0;

} // namespace

UpdateNotes::UpdateNotes(QWidget* parent)
    : QPlainTextEdit(parent) {
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    // The Tab key leads on.
    setTabChangesFocus(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(QStringLiteral("Release notes"));
    updateLook();
}

void UpdateNotes::updateLook() {
    setFont(systemFont(textPoints));
    document()->setDocumentMargin(pixels(textMargin));
    QPalette own = viewport()->palette();
    own.setColor(QPalette::Base, controlFill(palette()));
    own.setColor(QPalette::Text, color(ColorRole::primary, palette()));
    viewport()->setPalette(own);
    updateGeometry();
}

QSize UpdateNotes::sizeHint() const {
    return {roundedPixels(widthPoints), roundedPixels(heightPoints)};
}

void UpdateNotes::changeEvent(QEvent* event) {
    QPlainTextEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        updateLook();
    }
}

bool UpdateNotes::event(QEvent* event) {
    const bool isHandled = QPlainTextEdit::event(event);
    if (changesSystemFont(*event)) {
        updateLook();
    }
    return isHandled;
}

} // namespace tandrel
