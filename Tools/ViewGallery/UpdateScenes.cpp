#include "UpdateScenes.h"

#include "Views/UpdateWindow.h"

#include <QApplication>
#include <QPixmap>

namespace tandrel::gallery {

namespace {

using Kind = UpdateState::Kind;
using Failure = UpdateFailure::Kind;

const UpdateContext context{"0.1.0", "2.36", "https://www.quorvane.example/appcast.xml"};

AppcastItem newVersion() {
    AppcastItem item;
    item.version = "0.2.0";
    item.minimumSystemVersion = "2.41";
    item.releaseNotesLink = "https://www.quorvane.example/notes";
    item.packageLength = 1'940'000;
    return item;
}

AppcastItem olderVersion() {
    AppcastItem item = newVersion();
    item.version = "0.0.9";
    return item;
}

AppcastItem newVersionWithNotes() {
    AppcastItem item = newVersion();
    item.notes =
        "• The level follows the voice more closely.\n• A microphone that is unplugged is "
        "said to be.\n• Signing in works behind a proxy that asks for a name.\n\nThanks to "
        "everybody who wrote to us. This list goes on for a while, to show that it can be "
        "scrolled.\n• One more.\n• And another one.\n• The last.";
    return item;
}

UpdateScene scene(const std::string& name, const UpdateState& state) {
    return {"update-" + name, updatePage(state, context), false};
}

UpdateScene failure(const std::string& name, Failure kind, bool hasItem,
                    const std::string& detail = {}) {
    UpdateState state{Kind::failed, {}, 0, UpdateFailure{kind, detail}};
    if (hasItem) {
        state.item = newVersion();
    }
    return scene(name, state);
}

} // namespace

std::vector<UpdateScene> updateScenes() {
    return {
        {"update-package-managed", updatePage({Kind::packageManaged, {}, 0, {}}, context), {}},
        {"update-question", updateQuestion(context), {}},
        scene("checking", {Kind::checking, {}, 0, {}}),
        scene("up-to-date", {Kind::upToDate, {}, 0, {}}),
        scene("only-older", {Kind::onlyOlder, olderVersion(), 0, {}}),
        scene("system-too-old", {Kind::systemTooOld, newVersion(), 0, {}}),
        scene("available", {Kind::available, newVersion(), 0, {}}),
        {"update-available-notes",
         updatePage({Kind::available, newVersionWithNotes(), 0, {}}, context), true},
        scene("downloading", {Kind::downloading, newVersion(), 830'000, {}}),
        scene("verifying", {Kind::verifying, newVersion(), 0, {}}),
        scene("handing-over", {Kind::handingOver, newVersion(), 0, {}}),
        scene("handed-over", {Kind::handedOver, newVersion(), 0, {}}),
        failure("unreachable", Failure::unreachable, false, "The server could not be found."),
        failure("malformed", Failure::malformedFeed, false, "it is not well-formed (line 1)"),
        failure("not-signed", Failure::notSigned, true),
        failure("wrongly-signed", Failure::wronglySigned, true),
        failure("disk-full", Failure::diskFull, true),
        failure("no-installer", Failure::noInstaller, true,
                "/home/augusta.ada.king-noel/.cache/quorvane-tandrel/updates/"
                "quorvane-tandrel_0.2.0.deb"),
    };
}

QImage pictureOf(const UpdateScene& scene) {
    UpdateWindow window;
    window.setChecksDaily(scene.checksDaily);
    window.showPage(scene.page);
    window.show();
    window.activateWindow();
    QApplication::processEvents();
    window.adjustSize();
    QApplication::processEvents();
    return window.grab().toImage();
}

} // namespace tandrel::gallery
