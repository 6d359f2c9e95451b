#pragma once

#include <string>

namespace tandrel {

/// Something that the program is asked to do, on the command line or by another process.
struct AppCommand {
    enum class Kind { openURL, start, stop, show, quit };

    Kind kind = Kind::show;
    /// The URL as it came.
    std::string url;

    friend bool operator==(const AppCommand&, const AppCommand&) = default;
};

} // namespace tandrel
