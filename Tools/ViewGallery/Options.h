#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tandrel::gallery {

/// What the command line asks for.
struct Options {
    std::filesystem::path output = "out/gallery";
    /// Device pixels to a logical one.
    double scale = 1.0;
    bool light = true;
    bool dark = true;
    bool highContrast = false;
    /// The size of the user's interface font.
    double fontPoints = 10.0;
    /// Its family; empty: the system's.
    std::string fontFamily;
    /// Only scenes whose name holds this.
    std::string only;
};

struct OptionsOrExit {
    Options options;
    /// Set: print `text` (to standard output for code 0, else to standard error) and leave.
    bool leave = false;
    int exitCode = 0;
    std::string text;
};

/// Reads the arguments, without the program's name.
[[nodiscard]] OptionsOrExit readOptions(const std::vector<std::string>& arguments);

} // namespace tandrel::gallery
