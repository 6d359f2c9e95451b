#include "Views/DevicePickerView.h"

#include "Services/AudioCaptureService.h"
#include "Support/FakeAudioInput.h"
#include "Support/FakeMicrophonePermission.h"
#include "Support/ManualMainQueue.h"
#include "Support/Qt/EventLoop.h"
#include "Support/Widgets/Rendering.h"
#include "Views/Controls/PlainButton.h"
#include "Views/Controls/Points.h"
#include "Views/Controls/PopUpButton.h"
#include "Views/Controls/TextLabel.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QLayout>
#include <QTest>

#include <gmock/gmock.h>

using namespace tandrel;
using namespace tandrel::test;
using testing::ElementsAre;

namespace {

struct DevicePickerViewFixture : testing::Test {
    DevicePickerViewFixture() {
        audioInput.deviceFacts = {desk, FakeAudioInput::microphone(9, "Headset", "uid-9")};
        audioService.refreshDevices();
        view = std::make_unique<DevicePickerView>(audioService);
        view->resize(roundedPixels(288.0), view->sizeHint().height());
    }

    [[nodiscard]] PopUpButton& picker() const { return *view->findChild<PopUpButton*>(); }
    [[nodiscard]] PlainButton& refreshButton() const { return *view->findChild<PlainButton*>(); }
    [[nodiscard]] TextLabel& label(const QString& text) const {
        for (TextLabel* found : view->findChildren<TextLabel*>()) {
            if (found->text() == text) {
                return *found;
            }
        }
        throw std::runtime_error("no label " + text.toStdString());
    }
    [[nodiscard]] TextLabel& emptyHint() const {
        return label(QStringLiteral("No input devices found"));
    }
    [[nodiscard]] QStringList rows() const {
        QStringList result;
        for (int row = 0; row < picker().count(); ++row) {
            result.append(picker().itemText(row));
        }
        return result;
    }
    [[nodiscard]] std::uint32_t selectedId() const {
        return audioService.selectedDevice.value().value().id;
    }
    void plugIn(std::vector<InputDeviceFacts> facts) {
        audioInput.deviceFacts = std::move(facts);
        refreshButton().click();
    }

    const InputDeviceFacts desk = FakeAudioInput::microphone(7, "Desk microphone", "uid-7");
    FakeAudioInput audioInput;
    ManualMainQueue mainQueue;
    FakeMicrophonePermission permission{mainQueue};
    AudioCaptureService audioService{audioInput, permission, mainQueue};
    std::unique_ptr<DevicePickerView> view;
};

} // namespace

TEST_F(DevicePickerViewFixture, ListsTheDevicesInTheirOrderAndShowsTheSelectedOne) {
    EXPECT_THAT(rows(), ElementsAre(QStringLiteral("Desk microphone"), QStringLiteral("Headset")));
    EXPECT_EQ(picker().currentText(), QStringLiteral("Desk microphone"));
    EXPECT_TRUE(picker().isVisibleTo(view.get()));
    EXPECT_FALSE(emptyHint().isVisibleTo(view.get()));
}

TEST_F(DevicePickerViewFixture, HasItsCaptionAboveThePickerAndTheButtonAtTheFarEdge) {
    view->layout()->activate();
    const TextLabel& caption = label(QStringLiteral("Audio Input"));
    EXPECT_EQ(caption.role(), ColorRole::secondary);
    EXPECT_NEAR(caption.font().pointSizeF(), systemFont(11.0).pointSizeF(), 0.01);
    EXPECT_EQ(caption.x(), 0);
    EXPECT_EQ(refreshButton().geometry().right(), view->width() - 1);
    EXPECT_EQ(picker().x(), 0);
    EXPECT_EQ(picker().width(), view->width());
    const int headerBottom =
        std::max(caption.geometry().bottom(), refreshButton().geometry().bottom());
    EXPECT_EQ(picker().y() - headerBottom - 1, roundedPixels(6.0));
}

TEST_F(DevicePickerViewFixture, TheRefreshButtonIsASymbolWithAName) {
    EXPECT_EQ(refreshButton().text(), QString());
    EXPECT_EQ(refreshButton().leadingSymbol(), Symbol::arrowClockwise);
    EXPECT_EQ(refreshButton().role(), ColorRole::secondary);
    EXPECT_EQ(refreshButton().toolTip(), QStringLiteral("Refresh devices"));
    EXPECT_EQ(refreshButton().accessibleName(), QStringLiteral("Refresh devices"));
}

TEST_F(DevicePickerViewFixture, ChoosingARowStoresThatWholeDeviceAndDoesNothingElse) {
    audioInput.clearCalls();
    QTest::keyClick(&picker(), Qt::Key_Down);
    EXPECT_EQ(audioService.selectedDevice.value(), (AudioDevice{9, "Headset", "uid-9"}));
    EXPECT_THAT(audioInput.calls(), ElementsAre());
    EXPECT_FALSE(audioService.isCapturing.value());
}

TEST_F(DevicePickerViewFixture, ShowsASelectionMadeElsewhere) {
    audioService.selectedDevice.set(audioService.availableDevices.value()[1]);
    EXPECT_EQ(picker().currentText(), QStringLiteral("Headset"));
    EXPECT_EQ(selectedId(), 9U);
}

TEST_F(DevicePickerViewFixture, RefreshingAsksForTheDevicesOnceAndKeepsTheSelection) {
    audioInput.clearCalls();
    plugIn({FakeAudioInput::microphone(3, "New", "uid-3"), desk});
    EXPECT_THAT(audioInput.calls(), ElementsAre("devices"));
    EXPECT_THAT(rows(), ElementsAre(QStringLiteral("New"), QStringLiteral("Desk microphone")));
    EXPECT_EQ(selectedId(), 7U);
    EXPECT_EQ(picker().currentIndex(), 1);
}

TEST_F(DevicePickerViewFixture, ASelectedDeviceThatHasGoneStaysSelectedAndNamed) {
    plugIn({FakeAudioInput::microphone(9, "Headset", "uid-9")});
    EXPECT_EQ(selectedId(), 7U);
    EXPECT_EQ(picker().currentIndex(), -1) << "no other device takes its place";
    EXPECT_EQ(picker().placeholderText(), QStringLiteral("Desk microphone"));
    plugIn({FakeAudioInput::microphone(9, "Headset", "uid-9"), desk});
    EXPECT_EQ(picker().currentIndex(), 1);
}

TEST_F(DevicePickerViewFixture, ARenamedDeviceIsAnotherThanTheSelectedOne) {
    plugIn({FakeAudioInput::microphone(7, "Renamed", "uid-7")});
    EXPECT_EQ(picker().currentIndex(), -1);
    EXPECT_EQ(audioService.selectedDevice.value()->name, "Desk microphone");
}

TEST_F(DevicePickerViewFixture, WithoutDevicesAHintTakesThePlaceOfThePicker) {
    plugIn({});
    EXPECT_FALSE(picker().isVisibleTo(view.get()));
    EXPECT_TRUE(emptyHint().isVisibleTo(view.get()));
    EXPECT_TRUE(emptyHint().font().italic());
    EXPECT_EQ(emptyHint().role(), ColorRole::tertiary);
    EXPECT_TRUE(refreshButton().isEnabled());
    EXPECT_EQ(selectedId(), 7U);
    plugIn({desk});
    EXPECT_TRUE(picker().isVisibleTo(view.get()));
    EXPECT_FALSE(emptyHint().isVisibleTo(view.get()));
    EXPECT_EQ(picker().currentIndex(), 0);
}

TEST_F(DevicePickerViewFixture, DevicesOfTheSameNameAreToldApart) {
    plugIn({desk, FakeAudioInput::microphone(8, "Desk microphone", "uid-8")});
    EXPECT_EQ(picker().currentIndex(), 0);
    QTest::keyClick(&picker(), Qt::Key_Down);
    EXPECT_EQ(selectedId(), 8U);
    EXPECT_EQ(picker().currentIndex(), 1);
}

TEST_F(DevicePickerViewFixture, AnotherDeviceOfTheSameNameIsNotTheSelectedOne) {
    plugIn({FakeAudioInput::microphone(8, "Desk microphone", "uid-8")});
    EXPECT_EQ(picker().currentIndex(), -1);
    EXPECT_EQ(selectedId(), 7U);
}

TEST_F(DevicePickerViewFixture, ChoosingTheRowInPlaceOfAGoneDeviceSelectsIt) {
    plugIn({FakeAudioInput::microphone(9, "Headset", "uid-9")});
    QTest::keyClick(&picker(), Qt::Key_Down);
    EXPECT_EQ(selectedId(), 9U);
    EXPECT_EQ(picker().currentIndex(), 0);
}

TEST_F(DevicePickerViewFixture, TheListMayChangeWhileItIsOpen) {
    showAndWait(*view);
    picker().showPopup();
    ASSERT_TRUE(runUntil([this] { return picker().view()->isVisible(); }));
    plugIn({FakeAudioInput::microphone(3, "New", "uid-3")});
    EXPECT_FALSE(picker().view()->isVisible()) << "the open list showed rows that are gone";
    QCoreApplication::processEvents();
    EXPECT_THAT(rows(), ElementsAre(QStringLiteral("New")));
    EXPECT_EQ(selectedId(), 7U);
    picker().showPopup();
    ASSERT_TRUE(runUntil([this] { return picker().view()->isVisible(); }));
    plugIn({});
    QCoreApplication::processEvents();
    EXPECT_FALSE(picker().isVisible());
    EXPECT_EQ(selectedId(), 7U);
}

TEST_F(DevicePickerViewFixture, AnUnchangedListStaysOpen) {
    showAndWait(*view);
    picker().showPopup();
    ASSERT_TRUE(runUntil([this] { return picker().view()->isVisible(); }));
    refreshButton().click();
    EXPECT_TRUE(picker().view()->isVisible());
    picker().hidePopup();
}

TEST_F(DevicePickerViewFixture, HostileNamesAreShownAsPlainLines) {
    plugIn({FakeAudioInput::microphone(1, "<b>x</b>\n\x1b[31m\xff", "uid-1")});
    ASSERT_EQ(rows().size(), 1);
    EXPECT_TRUE(rows().front().startsWith(QStringLiteral("<b>x</b>  [31m")));
    QTest::keyClick(&picker(), Qt::Key_Down);
    EXPECT_EQ(audioService.selectedDevice.value()->name, "<b>x</b>\n\x1b[31m\xff")
        << "the record itself is stored";
}

TEST_F(DevicePickerViewFixture, ALongNameDoesNotWidenTheView) {
    const int before = view->minimumSizeHint().width();
    plugIn({FakeAudioInput::microphone(1, std::string(900, 'W'), "uid-1")});
    EXPECT_EQ(view->minimumSizeHint().width(), before);
}

TEST_F(DevicePickerViewFixture, TabReachesTheRefreshButtonThenThePicker) {
    showAndWait(*view);
    refreshButton().setFocus(Qt::TabFocusReason);
    QTest::keyClick(&refreshButton(), Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), &picker());
}

TEST_F(DevicePickerViewFixture, AssistiveProgramsFindANamedComboBox) {
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&picker());
    ASSERT_NE(interface, nullptr);
    EXPECT_EQ(interface->role(), QAccessible::ComboBox);
    EXPECT_EQ(interface->text(QAccessible::Name), QStringLiteral("Audio Input"));
    EXPECT_EQ(interface->text(QAccessible::Value), QStringLiteral("Desk microphone"));
    EXPECT_EQ(interface->text(QAccessible::Description), QStringLiteral("Desk microphone"));
}

TEST_F(DevicePickerViewFixture, LeavesTheServiceAloneOnceItIsGone) {
    view.reset();
    audioService.refreshDevices();
    audioService.selectedDevice.set(std::nullopt);
    EXPECT_FALSE(audioService.selectedDevice.value().has_value());
}

TEST_F(DevicePickerViewFixture, KeepsItsSpacingInPointsWhenTheFontChanges) {
    const ApplicationLook look;
    look.scaleFont(2.0);
    EXPECT_EQ(view->layout()->spacing(), roundedPixels(6.0));
}
