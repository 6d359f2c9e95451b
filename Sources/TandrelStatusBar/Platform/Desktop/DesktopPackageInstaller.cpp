#include "Platform/Desktop/DesktopPackageInstaller.h"

#include <QPointer>
#include <QProcess>
#include <QTimer>

#include <chrono>
#include <utility>

namespace tandrel {

namespace {

/// Some openers are there for as long as what they opened: one that has not failed by then has not
/// failed.
constexpr std::chrono::seconds failureLimit(5);

/// An opener that runs. It belongs to itself, since it outlives whoever started it.
class Opener : public QObject {
public:
    Opener(const std::string& path, std::function<void(bool)> done)
        : done_(std::move(done)) {
        process_ = new QProcess(this);
        process_->setProcessChannelMode(QProcess::ForwardedChannels);
        QObject::connect(process_, &QProcess::finished, this,
                         [this](int exitCode, QProcess::ExitStatus status) {
                             tell(status == QProcess::NormalExit && exitCode == 0);
                             deleteLater();
                         });
        QObject::connect(process_, &QProcess::errorOccurred, this,
                         [this](QProcess::ProcessError error) {
                             if (error == QProcess::FailedToStart) {
                                 tell(false);
                                 deleteLater();
                             }
                         });
        QTimer::singleShot(failureLimit, this, [this] { tell(true); });
        // Later, since a failed start is told at once.
        QTimer::singleShot(0, this, [this, path] {
            process_->start(QStringLiteral("xdg-open"), {QString::fromStdString(path)},
                            QIODevice::ReadOnly);
        });
    }

    void silence() { done_ = nullptr; }

private:
    void tell(bool isTaken) {
        if (const auto done = std::exchange(done_, nullptr)) {
            done(isTaken);
        }
    }

    QProcess* process_;
    std::function<void(bool)> done_;
};

class Silencer : public Operation {
public:
    explicit Silencer(Opener* opener)
        : opener_(opener) {}
    ~Silencer() override {
        if (opener_) {
            opener_->silence();
        }
    }

private:
    QPointer<Opener> opener_;
};

} // namespace

Handle DesktopPackageInstaller::install(const std::string& path,
                                        std::function<void(bool isTaken)> done) {
    return std::make_unique<Silencer>(new Opener(path, std::move(done)));
}

} // namespace tandrel
