#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <array>

namespace devbackend {

/// Turns SIGTERM and SIGINT into a Qt signal. One per process.
class StopSignals : public QObject {
    Q_OBJECT

public:
    StopSignals();
    ~StopSignals() override;
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

Q_SIGNALS:
    void received();

private:
    std::array<int, 2> pipe_;
    QSocketNotifier notifier_;
};

} // namespace devbackend
