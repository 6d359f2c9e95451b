#pragma once

#include "DevBackend/AccountStore.h"
#include "DevBackend/Faults.h"

#include <QString>
#include <QStringList>

#include <filesystem>

namespace devbackend {

/// What the command line asks for.
struct Options {
    /// 0: any free port.
    quint16 port = 8787;
    AccountStore accounts;
    FaultBoard faults;
    /// The folder for recordings.
    std::filesystem::path output;
    bool isQuiet = false;
};

struct OptionsOrExit {
    Options options;
    /// Set: print `text` (to standard output for code 0, else to standard error) and leave.
    std::optional<int> exitCode;
    QString text;
};

/// Reads the command line, program name first.
[[nodiscard]] OptionsOrExit readOptions(const QStringList& arguments);

} // namespace devbackend
