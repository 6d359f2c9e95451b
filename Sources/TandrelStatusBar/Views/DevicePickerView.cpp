#include "Views/DevicePickerView.h"

#include "Services/AudioCaptureService.h"
#include "Views/Controls/PlainButton.h"
#include "Views/Controls/PlainText.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/PopUpButton.h"
#include "Views/Controls/TextLabel.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include <algorithm>

namespace tandrel {

namespace {

constexpr qreal captionPoints = 11.0;
constexpr qreal refreshPoints = 10.0;
constexpr qreal spacing = 6.0;

QString shownName(const AudioDevice& device) {
    return singleLine(QString::fromStdString(device.name));
}

QStringList rowsOf(const QComboBox& picker) {
    QStringList rows;
    for (int row = 0; row < picker.count(); ++row) {
        rows.append(picker.itemText(row));
    }
    return rows;
}

} // namespace

DevicePickerView::DevicePickerView(AudioCaptureService& audioService, QWidget* parent)
    : QWidget(parent)
    , audioService_(audioService)
    , caption_(new TextLabel(QStringLiteral("Audio Input"), captionPoints, ColorRole::secondary))
    , refreshButton_(new PlainButton({}, refreshPoints, ColorRole::secondary))
    , picker_(new PopUpButton)
    , emptyHint_(new TextLabel(QStringLiteral("No input devices found"), captionPoints,
                               ColorRole::tertiary)) {
    refreshButton_->setLeadingSymbol(Symbol::arrowClockwise, refreshPoints);
    refreshButton_->setAccessibleName(QStringLiteral("Refresh devices"));
    refreshButton_->setToolTip(QStringLiteral("Refresh devices"));
    picker_->setAccessibleName(QStringLiteral("Audio Input"));
    emptyHint_->setItalic(true);
    buildLayout();

    connect(refreshButton_, &QAbstractButton::clicked, this,
            [this] { audioService_.refreshDevices(); });
    connect(picker_, &QComboBox::activated, this, &DevicePickerView::choose);
    subscriptions_.push_back(audioService_.availableDevices.observe(
        [this](const std::vector<AudioDevice>& /*devices*/) { showDevices(); }));
    subscriptions_.push_back(audioService_.selectedDevice.observe(
        [this](const std::optional<AudioDevice>& /*device*/) { showSelection(); }));
    showDevices();
}

void DevicePickerView::buildLayout() {
    auto* header = new QHBoxLayout;
    header->setSpacing(0);
    header->addWidget(caption_, 0, Qt::AlignVCenter);
    header->addStretch(1);
    header->addWidget(refreshButton_, 0, Qt::AlignVCenter);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addLayout(header);
    column->addWidget(picker_);
    column->addWidget(emptyHint_);
    updateSpacing();
}

void DevicePickerView::updateSpacing() {
    layout()->setSpacing(roundedPixels(spacing));
}

void DevicePickerView::showDevices() {
    const std::vector<AudioDevice>& devices = audioService_.availableDevices.value();
    QStringList names;
    for (const AudioDevice& device : devices) {
        names.append(shownName(device));
    }
    if (names != rowsOf(*picker_)) {
        // An open list would go on showing rows that are gone.
        picker_->hidePopup();
        picker_->clear();
        picker_->addItems(names);
    }
    picker_->setVisible(!devices.empty());
    emptyHint_->setVisible(devices.empty());
    showSelection();
}

void DevicePickerView::showSelection() {
    const std::vector<AudioDevice>& devices = audioService_.availableDevices.value();
    const std::optional<AudioDevice>& selected = audioService_.selectedDevice.value();
    // Whole records are compared: a renamed device is another choice than the one that was made.
    const auto row =
        selected ? std::find(devices.begin(), devices.end(), *selected) : devices.end();
    // A device that has gone stays the choice: its name stands there, without a row.
    picker_->setPlaceholderText(selected ? shownName(*selected) : QString());
    picker_->setCurrentIndex(row == devices.end() ? -1 : int(row - devices.begin()));
}

void DevicePickerView::choose(int row) {
    const std::vector<AudioDevice>& devices = audioService_.availableDevices.value();
    if (row >= 0 && std::size_t(row) < devices.size()) {
        audioService_.selectedDevice.set(devices[std::size_t(row)]);
    }
}

void DevicePickerView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (changesPoints(*event)) {
        updateSpacing();
    }
}

} // namespace tandrel
