#pragma once

#include "Candidate.h"
#include "ScreenWatch.h"
#include "Support/Desktop/PrivateDesktop.h"
#include "Support/Desktop/StatusNotifierTray.h"
#include "TrayWatch.h"

namespace tandrel::bench {

/// What both a tray program and the least possible one can be asked to do, in turn. Each figure is
/// printed as a line: candidate, what, number, with tabs between.
class TrayScenarios {
public:
    /// All must outlive this object.
    TrayScenarios(const test::PrivateDesktop& desktop, const test::StatusNotifierTray& tray,
                  const Candidate& ours, const Candidate& bare);

    /// From the start of the process to its icon in the panel: "start", ms.
    void measureStart(int rounds);
    /// From the click on the icon to the painted popover, ms: "first click" of a program that has
    /// settled, and `openings` times "later click".
    void measureOpening(int openings);
    /// Private memory before and after `openings` openings of ours.
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
