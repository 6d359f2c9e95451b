#include "Micro/DeviceList.h"
#include "Micro/Program.h"
#include "Views/Controls/PopUpButton.h"
#include "Views/DevicePickerView.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <memory>
#include <utility>

namespace tandrel::bench {

namespace {

/// The panel's choice of microphones, shown on a display in memory.
struct ShownPicker {
    DeviceList list;
    DevicePickerView view{list.service};
    PopUpButton& button = *view.findChild<PopUpButton*>();
    const std::vector<InputDeviceFacts> all = list.input.deviceFacts.value();
    bool isOneGone = false;

    explicit ShownPicker(std::size_t count)
        : list(count) {
        refresh();
        view.resize(304, view.sizeHint().height());
        view.show();
        QCoreApplication::processEvents();
    }

    void refresh() {
        list.refresh();
        QCoreApplication::sendPostedEvents();
    }

    /// The last device goes, or comes back.
    void change() {
        isOneGone = !isOneGone;
        list.input.deviceFacts = all;
        if (isOneGone) {
            list.input.deviceFacts->pop_back();
        }
        refresh();
    }

    void openAndClose() {
        button.showPopup();
        QCoreApplication::sendPostedEvents();
        button.hidePopup();
        QCoreApplication::sendPostedEvents();
    }
};

Body pickerBody(const char* name, std::size_t count, void (ShownPicker::*action)()) {
    Body body{std::string("picker/") + name + '/' + std::to_string(count), "device", count,
              [count, action] {
                  return [picker = std::make_shared<ShownPicker>(count), action] {
                      ((*picker).*action)();
                  };
              }};
    body.countedRuns = 20;
    return body;
}

std::vector<Body> pickerBodies() {
    std::vector<Body> bodies;
    for (const std::size_t count : microphoneCounts) {
        bodies.push_back(pickerBody("same-list", count, &ShownPicker::refresh));
        bodies.push_back(pickerBody("other-list", count, &ShownPicker::change));
        bodies.push_back(pickerBody("open", count, &ShownPicker::openAndClose));
    }
    return bodies;
}

} // namespace

} // namespace tandrel::bench

/// How the cost of the panel's list of microphones grows with their number.
int main(int count, char** arguments) {
    // The display in memory warns of each thing that it cannot do.
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false"));
    return tandrel::bench::runBodies(count, arguments, tandrel::bench::pickerBodies);
}
