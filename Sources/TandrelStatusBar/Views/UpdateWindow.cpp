#include "Views/UpdateWindow.h"

#include "Views/ApplicationImageView.h"
#include "Views/Controls/Divider.h"
#include "Views/Controls/PlainButton.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/PopoverCard.h"
#include "Views/Controls/ProgressBar.h"
#include "Views/Controls/ProminentButton.h"
#include "Views/Controls/Spinner.h"
#include "Views/Controls/SymbolView.h"
#include "Views/Controls/TextLabel.h"
#include "Views/Controls/Theme.h"
#include "Views/InPoints.h"
#include "Views/UpdateNotes.h"

#include <QAccessible>
#include <QCheckBox>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QVBoxLayout>

#include <utility>

namespace tandrel {

namespace {

constexpr qreal windowWidth = 340.0;
constexpr qreal imagePoints = 40.0;
/// The path of a package, and words of the server's, may be long.
constexpr int maxDetailLines = 10;

QVBoxLayout* makeColumn(QWidget* parent) {
    auto* column = new QVBoxLayout(parent);
    column->setContentsMargins({});
    column->setSpacing(0);
    return column;
}

} // namespace

UpdateWindow::UpdateWindow(QWidget* parent)
    : QWidget(parent, Qt::Dialog | Qt::WindowTitleHint | Qt::WindowCloseButtonHint) {
    setWindowTitle(QStringLiteral("Software Update"));
    setAttribute(Qt::WA_QuitOnClose, false);
    auto* card = new PopoverCard(makeContent());
    card->setShadowVisible(false);
    auto* column = makeColumn(this);
    column->setSizeConstraint(QLayout::SetFixedSize);
    column->addWidget(card);
    fontChanges_.watch(*this);
    updateColours();
    showPage({});
    setChecksDaily(std::nullopt);
}

QWidget* UpdateWindow::makeContent() {
    auto* content = new QWidget;
    auto* main = new QWidget;
    auto* mainColumn = new QVBoxLayout(main);
    notes_ = new UpdateNotes;
    link_ = new PlainButton(QStringLiteral("Release Notes"), 11, ColorRole::accent);
    link_->setTrailingSymbol(Symbol::arrowUpRight, 9);
    link_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(link_, &QAbstractButton::clicked, this, &UpdateWindow::releaseNotesRequested);
    progress_ = new ProgressBar(QStringLiteral("Download"));
    buttonRow_ = new QWidget;
    buttonLayout_ = new QHBoxLayout(buttonRow_);
    buttonLayout_->setContentsMargins({});
    mainColumn->addWidget(makeHeader());
    mainColumn->addWidget(progress_);
    mainColumn->addWidget(notes_);
    mainColumn->addWidget(link_);
    mainColumn->addWidget(buttonRow_);
    applyInPoints(*main, [this, content, mainColumn] {
        const int side = roundedPixels(16);
        content->setFixedWidth(roundedPixels(windowWidth));
        mainColumn->setContentsMargins(side, side, side, side);
        mainColumn->setSpacing(roundedPixels(12));
        buttonLayout_->setSpacing(roundedPixels(14));
    });

    dailyRow_ = makeDailyRow();
    auto* column = makeColumn(content);
    column->addWidget(main);
    column->addWidget(dailyRow_);
    return content;
}

QWidget* UpdateWindow::makeHeader() {
    auto* header = new QWidget;
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins({});
    auto* texts = new QVBoxLayout;
    auto* headlineRow = new QHBoxLayout;
    warning_ = new SymbolView(Symbol::exclamationmarkTriangleFill, 13, ColorRole::yellow);
    headline_ = new TextLabel({}, 13, ColorRole::primary, QFont::DemiBold);
    headline_->setMaximumLines(3);
    spinner_ = new Spinner;
    detail_ = new TextLabel({}, 11, ColorRole::secondary);
    detail_->setMaximumLines(maxDetailLines);
    headlineRow->addWidget(warning_, 0, Qt::AlignTop);
    headlineRow->addWidget(headline_, 1);
    headlineRow->addWidget(spinner_, 0, Qt::AlignTop);
    texts->addLayout(headlineRow);
    texts->addWidget(detail_);
    texts->addStretch(1);
    row->addWidget(new ApplicationImageView(imagePoints), 0, Qt::AlignTop);
    row->addLayout(texts, 1);
    applyInPoints(*header, [row, texts, headlineRow] {
        row->setSpacing(roundedPixels(12));
        texts->setSpacing(roundedPixels(4));
        headlineRow->setSpacing(roundedPixels(6));
    });
    return header;
}

QWidget* UpdateWindow::makeDailyRow() {
    auto* part = new QWidget;
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    daily_ = new QCheckBox(QStringLiteral("Check for updates every day"));
    layout->addWidget(daily_);
    layout->addStretch(1);
    connect(daily_, &QAbstractButton::clicked, this, &UpdateWindow::checksDailyChanged);
    applyInPoints(*row, [this, layout] {
        layout->setContentsMargins(roundedPixels(16), roundedPixels(8), roundedPixels(16),
                                   roundedPixels(8));
        daily_->setFont(systemFont(11));
    });
    auto* column = makeColumn(part);
    column->addWidget(new Divider);
    column->addWidget(row);
    return part;
}

void UpdateWindow::showPage(const UpdatePage& page) {
    const bool saysSomethingNew = page.headline != page_.headline;
    const bool hasOtherButtons = page.primary != page_.primary || page.others != page_.others;
    page_ = page;
    headline_->setText(QString::fromStdString(page.headline));
    detail_->setText(QString::fromStdString(page.detail));
    detail_->setVisible(!page.detail.empty());
    warning_->setVisible(page.isWarning);
    spinner_->setVisible(page.isBusy);
    const QString notes = QString::fromStdString(page.notes);
    if (notes_->toPlainText() != notes) {
        notes_->setPlainText(notes);
    }
    notes_->setVisible(!page.notes.empty());
    link_->setVisible(!page.releaseNotesLink.empty());
    progress_->setVisible(page.progress.has_value());
    progress_->setProgress(page.progress.value_or(0.0));
    if (hasOtherButtons) {
        showButtons();
    }
    if (saysSomethingNew) {
        announce();
    }
}

void UpdateWindow::showButtons() {
    for (Button* const button : std::exchange(buttons_, {})) {
        button->hide();
        buttonLayout_->removeWidget(button);
        // One of them may just be telling of its click.
        button->deleteLater();
    }
    while (QLayoutItem* const item = buttonLayout_->takeAt(0)) {
        delete item;
    }
    for (std::size_t index = page_.others.size(); index-- > 0;) {
        // The one farthest from the primary button stands at the other end.
        const UpdatePage::Button& button = page_.others[index];
        if (index + 1 == page_.others.size() && index == 0) {
            buttonLayout_->addStretch(1);
        }
        addButton(new PlainButton(QString::fromStdString(button.text), 12, ColorRole::secondary),
                  button.action);
        if (index + 1 == page_.others.size() && index > 0) {
            buttonLayout_->addStretch(1);
        }
    }
    if (page_.others.empty()) {
        buttonLayout_->addStretch(1);
    }
    if (page_.primary) {
        auto* button = new ProminentButton(QString::fromStdString(page_.primary->text));
        button->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
        addButton(button, page_.primary->action);
    }
    buttonRow_->setVisible(!buttons_.empty());
    // Return presses the primary button, and never by chance a "Cancel" that came in its place.
    QWidget* const next = page_.primary ? static_cast<QWidget*>(buttons_.back()) : this;
    next->setFocus();
}

void UpdateWindow::addButton(Button* button, UpdateAction action) {
    buttonLayout_->addWidget(button, 0, Qt::AlignVCenter);
    buttons_.push_back(button);
    button->installEventFilter(this);
    connect(button, &QAbstractButton::clicked, this,
            [this, action] { Q_EMIT actionRequested(action); });
}

void UpdateWindow::announce() {
    setAccessibleName(windowTitle() + QStringLiteral(": ") +
                      QString::fromStdString(page_.headline));
    QAccessibleEvent event(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void UpdateWindow::setChecksDaily(std::optional<bool> checks) {
    dailyRow_->setVisible(checks.has_value());
    daily_->setChecked(checks.value_or(false));
}

bool UpdateWindow::eventFilter(QObject* watched, QEvent* event) {
    // The second click of a double click would press what has come in the place of the first's.
    return event->type() == QEvent::MouseButtonDblClick || QWidget::eventFilter(watched, event);
}

void UpdateWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && daily_ != nullptr) {
        updateColours();
    }
}

void UpdateWindow::updateColours() {
    // Dark themes fill and frame the box darker than the card: nobody would see an empty one.
    QPalette own = daily_->palette();
    own.setColor(QPalette::Base, controlFill(palette()));
    own.setColor(QPalette::Window, color(ColorRole::secondary, palette()));
    daily_->setPalette(own);
}

void UpdateWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void UpdateWindow::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    Q_EMIT closed();
}

} // namespace tandrel
