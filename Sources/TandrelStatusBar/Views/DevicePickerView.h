#pragma once

#include "Foundation/Published.h"

#include <QWidget>

#include <vector>

namespace tandrel {

class AudioCaptureService;
class PlainButton;
class PopUpButton;
class TextLabel;

/// Lets the user choose the input device and look for devices again. Choosing only writes the
/// service's selection.
class DevicePickerView : public QWidget {
    Q_OBJECT
public:
    /// `audioService` must outlive the view.
    explicit DevicePickerView(AudioCaptureService& audioService, QWidget* parent = nullptr);

protected:
    void changeEvent(QEvent* event) override;

private:
    void buildLayout();
    void updateSpacing();
    void showDevices();
    void showSelection();
    void choose(int row);

    AudioCaptureService& audioService_;
    TextLabel* caption_;
    PlainButton* refreshButton_;
    PopUpButton* picker_;
    TextLabel* emptyHint_;
    std::vector<Subscription> subscriptions_;
};

} // namespace tandrel
