#include "Gallery.h"

#include "Services/CaptureFaultText.h"
#include "Stage.h"
#include "StatusIconScene.h"
#include "Support/Widgets/Palettes.h"
#include "UpdateScenes.h"

#include <QApplication>
#include <QImageWriter>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <system_error>

namespace tandrel::gallery {

namespace {

struct Scene {
    std::string name;
    std::function<void(Stage&)> prepare;
};

const std::string longError =
    "Microphone permission denied. Grant access in System Settings → Privacy & Security → "
    "Microphone. And then some more words than two lines can hold, so that the rest is cut off.";

/// A panel scene, with one microphone unless `prepare` says otherwise.
Scene panel(const std::string& name, const std::function<void(Stage&)>& prepare) {
    return {"panel-" + name, [prepare](Stage& stage) {
                stage.signIn();
                stage.setDevices({"Built-in Microphone"});
                prepare(stage);
            }};
}

std::vector<Scene> loginScenes() {
    const auto fill = [](Stage& stage) { stage.type("ada@example.org", "correct horse"); };
    return {
        {"login-empty", [](Stage& /*stage*/) {}},
        {"login-filled", fill},
        {"login-shown",
         [fill](Stage& stage) {
             fill(stage);
             stage.press(QStringLiteral("Show password"));
         }},
        {"login-loading",
         [fill](Stage& stage) {
             fill(stage);
             stage.controller().authService().isLoading.set(true);
         }},
        {"login-error",
         [fill](Stage& stage) {
             fill(stage);
             stage.failSignIn("Invalid email or password");
         }},
        {"login-error-long",
         [fill](Stage& stage) {
             fill(stage);
             stage.failSignIn("Network error: Connection to api.quorvane.example was refused, and "
                              "so was the one after it. Check the network and try again.");
         }},
        {"login-not-kept",
         [fill](Stage& stage) {
             stage.forgetSignIns();
             fill(stage);
         }},
        {"login-focus",
         [fill](Stage& stage) {
             fill(stage);
             stage.focus(QStringLiteral("Sign In"));
         }},
    };
}

std::vector<Scene> panelScenes() {
    return {
        panel("idle", [](Stage& stage) { stage.setState(SessionState::idle()); }),
        panel("polling", [](Stage& stage) { stage.setState(SessionState::polling()); }),
        panel("found", [](Stage& stage) { stage.setState(foundSession()); }),
        panel("found-without-device",
              [](Stage& stage) {
                  stage.setDevices({});
                  stage.setState(foundSession());
              }),
        panel("streaming", [](Stage& stage) { stage.stream(0.5F, 754); }),
        panel("streaming-loud", [](Stage& stage) { stage.stream(1.0F, 5999); }),
        panel("notice-microphone",
              [](Stage& stage) {
                  stage.stream(0.0F, 754);
                  stage.setNotice(waitingText(CaptureFault::Kind::deviceLost));
              }),
        panel("notice-server",
              [](Stage& stage) {
                  stage.stream(0.0F, 754);
                  stage.setNotice(waitingText(CaptureFault::Kind::serverLost));
              }),
        panel("notice-no-sound",
              [](Stage& stage) {
                  stage.stream(0.0F, 754);
                  stage.setNotice(waitingText(CaptureFault::Kind::stalled));
              }),
        panel("notice-connection",
              [](Stage& stage) {
                  stage.stream(0.5F, 754);
                  stage.loseConnection();
              }),
        panel("completed", [](Stage& stage) { stage.setState(SessionState::completed()); }),
        panel("error",
              [](Stage& stage) {
                  stage.setState(SessionState::polling());
                  stage.setError("Failed to connect WebSocket");
              }),
        panel("error-long",
              [](Stage& stage) {
                  stage.setState(SessionState::polling());
                  stage.setError(longError);
              }),
        panel("long-email",
              [](Stage& stage) {
                  stage.signIn("augusta.ada.king-noel.countess.of.lovelace@analytical-engine."
                               "example.org");
                  stage.stream(0.25F, 61);
              }),
        panel("long-device",
              [](Stage& stage) {
                  stage.setDevices({"Family 17h/19h HD Audio Controller Digital Microphone Array "
                                    "(Rear Left)",
                                    "Headset"});
                  stage.setState(foundSession());
              }),
        panel("focus",
              [](Stage& stage) {
                  stage.setState(foundSession());
                  stage.focus(QStringLiteral("Start Streaming"));
              }),
        panel("focus-link",
              [](Stage& stage) {
                  stage.setState(foundSession());
                  stage.focus(QStringLiteral("Open in Browser"));
              }),
    };
}

std::vector<Scene> scenes() {
    std::vector<Scene> all = loginScenes();
    for (Scene& scene : panelScenes()) {
        all.push_back(std::move(scene));
    }
    return all;
}

QPalette desktopPalette(bool dark, bool highContrast) {
    if (highContrast) {
        return dark ? test::highContrastDarkPalette() : test::highContrastPalette();
    }
    return dark ? test::darkPalette() : test::lightPalette();
}

/// What lies behind a popover.
QColor backdrop(bool dark) {
    return dark ? QColor(0x3f, 0x43, 0x49) : QColor(0xd4, 0xd9, 0xe0);
}

bool write(const QImage& picture, const std::filesystem::path& path) {
    QImageWriter writer(QString::fromStdString(path.string()), "png");
    writer.setCompression(100);
    if (!writer.write(picture)) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), qPrintable(writer.errorString()));
        return false;
    }
    std::printf("%s\n", path.c_str());
    return true;
}

std::string suffix(const Options& options, bool dark) {
    const QString factor = QString::number(options.scale);
    std::string text = dark ? "-dark" : "-light";
    if (options.highContrast) {
        text += "-contrast";
    }
    return text + "@" + factor.toStdString() + "x.png";
}

} // namespace

bool drawGallery(const Options& options) {
    std::error_code error;
    std::filesystem::create_directories(options.output, error);
    for (const bool dark : {false, true}) {
        if (dark ? !options.dark : !options.light) {
            continue;
        }
        QApplication::setPalette(desktopPalette(dark, options.highContrast));
        for (const Scene& scene : scenes()) {
            if (scene.name.find(options.only) == std::string::npos) {
                continue;
            }
            Stage stage(backdrop(dark));
            scene.prepare(stage);
            const std::string file = scene.name + suffix(options, dark);
            if (!write(stage.picture(), options.output / file)) {
                return false;
            }
        }
        if (std::string("icon").find(options.only) != std::string::npos &&
            !write(pictureOfStatusIcons(options.scale),
                   options.output / ("icon" + suffix(options, dark)))) {
            return false;
        }
        for (const UpdateScene& scene : updateScenes()) {
            if (scene.name.find(options.only) != std::string::npos &&
                !write(pictureOf(scene), options.output / (scene.name + suffix(options, dark)))) {
                return false;
            }
        }
    }
    return true;
}

} // namespace tandrel::gallery
