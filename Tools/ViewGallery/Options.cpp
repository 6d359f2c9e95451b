#include "Options.h"

#include <cstddef>
#include <cstdlib>
#include <optional>

namespace tandrel::gallery {

namespace {

constexpr const char* help = R"(Usage: quorvane-tandrel-view-gallery [options]

Draws every view in every state into PNG files, without a display.

  --output FOLDER       where to put them (default: out/gallery)
  --scale N             device pixels to a logical one: 1, 1.5, 2 ... (default: 1)
  --light, --dark       only this appearance (default: both)
  --high-contrast       black and white palettes
  --font-points N       size of the user's interface font (default: 10)
  --font-family NAME    its family (default: the system's)
  --only TEXT           only the scenes whose name holds TEXT
  -h, --help            this text
)";

OptionsOrExit failure(const std::string& text) {
    return {{}, true, 1, text + "\nTry --help.\n"};
}

std::optional<double> number(const std::string& text, double least, double most) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    const bool isWhole = !text.empty() && *end == '\0';
    return isWhole && value >= least && value <= most ? std::optional(value) : std::nullopt;
}

/// Takes a flag; false when it is none.
bool readFlag(const std::string& argument, Options& options) {
    if (argument == "--light") {
        options.dark = false;
    } else if (argument == "--dark") {
        options.light = false;
    } else if (argument == "--high-contrast") {
        options.highContrast = true;
    } else {
        return false;
    }
    return true;
}

/// Takes an option with its value; false when it is none, or the value is.
bool readValue(const std::string& argument, const std::string& value, Options& options) {
    if (argument == "--output") {
        options.output = value;
        return !value.empty();
    }
    if (argument == "--only") {
        options.only = value;
        return true;
    }
    if (argument == "--font-family") {
        options.fontFamily = value;
        return true;
    }
    if (argument == "--scale") {
        const auto scale = number(value, 0.5, 8);
        options.scale = scale.value_or(options.scale);
        return scale.has_value();
    }
    if (argument == "--font-points") {
        const auto points = number(value, 4, 72);
        options.fontPoints = points.value_or(options.fontPoints);
        return points.has_value();
    }
    return false;
}

} // namespace

OptionsOrExit readOptions(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (argument == "-h" || argument == "--help") {
            return {options, true, 0, help};
        }
        if (readFlag(argument, options)) {
            continue;
        }
        if (index + 1 == arguments.size() || !readValue(argument, arguments[index + 1], options)) {
            return failure("not understood: " + argument);
        }
        ++index;
    }
    if (!options.light && !options.dark) {
        return failure("--light and --dark: neither is the default");
    }
    return {options, false, 0, {}};
}

} // namespace tandrel::gallery
