#pragma once

#include "Doctor/Finding.h"

#include <string>

namespace tandrel::doctor {

/// Which program looked.
struct Program {
    std::string version;
    std::string qtVersion;
    /// The compiled-in origin.
    std::string backend;
};

/// How a report is printed.
enum class Format { text, json };

/// The entry of the library that the doctor lives in: prints the report and returns the exit code.
using Run = int (*)(const std::string& backendURL, Format format);
inline constexpr const char* runName = "tandrelRunDoctor";

/// What marks are made of.
enum class Glyphs { unicode, ascii };

/// Unicode for a terminal whose locale is UTF-8; what is piped or filed may be read anywhere.
[[nodiscard]] Glyphs glyphsForStandardOutput();

/// The findings for people: a screenful. Whatever came from outside stays on its line and cannot
/// steer the terminal.
[[nodiscard]] std::string textReport(const Program& program, const Findings& findings,
                                     Glyphs glyphs);

/// The findings for programs: one JSON object, described in docs/doctor.md.
[[nodiscard]] std::string jsonReport(const Program& program, const Findings& findings);

} // namespace tandrel::doctor
