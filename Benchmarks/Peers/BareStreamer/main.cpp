// The least that a tray program which streams can be: the bare tray program, with the minimal
// client's stream on a thread of its own, and a level meter in the popover that nothing but each
// buffer's level moves.
//
//   quorvane-tandrel-bare-streamer --port PORT --token TOKEN [--device NAME]

#include "BareMeter.h"
#include "BareTray.h"
#include "CaptureThread.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QSocketNotifier>
#include <QVBoxLayout>

#include <csignal>
#include <cstdio>
#include <exception>
#include <sys/signalfd.h>

namespace {

MicrophoneStream::Ends parseOptions(const QApplication& application) {
    const QCommandLineOption port(QStringLiteral("port"), {}, QStringLiteral("PORT"));
    const QCommandLineOption token(QStringLiteral("token"), {}, QStringLiteral("TOKEN"));
    const QCommandLineOption device(QStringLiteral("device"), {}, QStringLiteral("NAME"));
    QCommandLineParser parser;
    parser.addOptions({port, token, device});
    parser.process(application);
    return {parser.value(device).toStdString(), parser.value(port).toUShort(),
            parser.value(token).toStdString()};
}

/// What can be read once SIGTERM has come. To be made before any thread is: none must be sent the
/// signal instead.
int terminationDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

} // namespace

int main(int argc, char** argv) {
    const int termination = terminationDescriptor();
    const QApplication application(argc, argv);
    const QSocketNotifier terminationNotifier(termination, QSocketNotifier::Read);
    QObject::connect(&terminationNotifier, &QSocketNotifier::activated, &application,
                     &QCoreApplication::quit);
    QApplication::setQuitOnLastWindowClosed(false);
    tandrel::bare::BareTray tray;
    auto* meter = new tandrel::bare::BareMeter(&tray.popover());
    (new QVBoxLayout(&tray.popover()))->addWidget(meter);
    try {
        const auto showLevel = [meter](float level) {
            QMetaObject::invokeMethod(meter, [meter, level] { meter->setLevel(level); });
        };
        const auto end = [] { QMetaObject::invokeMethod(qApp, [] { QCoreApplication::exit(1); }); };
        const tandrel::bare::CaptureThread capture(parseOptions(application), {showLevel, end});
        return QApplication::exec();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bare streamer: %s\n", error.what());
        return 1;
    }
}
