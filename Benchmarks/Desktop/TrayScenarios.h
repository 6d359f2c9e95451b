#pragma once

#include "Candidate.h"
#include "ScreenWatch.h"
#include "Support/Desktop/PrivateDesktop.h"
#include "Support/Desktop/StatusNotifierTray.h"
#include "TrayWatch.h"

namespace tandrel::bench {

/// What both a tray program and the least possible one can be asked to do, in turn.
class TrayScenarios {
public:
    /// All must outlive this object.
    TrayScenarios(const test::PrivateDesktop& desktop, const test::StatusNotifierTray& tray,
                  const Candidate& ours, const Candidate& bare);

    /// From the start of the process to its icon in the panel.
    void measureStart(int rounds);
    /// From the click on the icon to the painted popover.
    void measureOpening(int openings);
    /// Proportional set size with the popover opened once and closed again.
    void measureMemory(int rounds);
    /// Wake-ups while nothing happens and the popover is closed.
    void measureIdle(int seconds);
    /// Proportional set size before and after `openings` openings of ours.
    void measureGrowth(int openings);

private:
    class Run;

    const test::PrivateDesktop& desktop_;
    const test::StatusNotifierTray& tray_;
    const Candidate& ours_;
    const Candidate& bare_;
    TrayWatch trayWatch_;
    ScreenWatch screenWatch_;
};

} // namespace tandrel::bench
