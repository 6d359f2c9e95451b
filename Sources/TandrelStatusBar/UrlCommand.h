#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tandrel {

/// The parts of a command URL that count, taken from its raw text: a URL class would fold case and
/// decode, so that "STOP" or "st%6Fp" became "stop". Any thread.
struct UrlCommand {
    static constexpr std::string_view commandScheme = "quorvane-tandrel";
    /// Bytes of a URL that are looked at, and logged.
    static constexpr std::size_t maxURLSize = 2048;

    /// Up to the first ':'; empty when there is none.
    std::string_view scheme;
    /// What follows "//", without user information and port; empty when there is none.
    std::string_view host;

    /// The parts are views of `url`.
    [[nodiscard]] static UrlCommand parse(std::string_view url);
    /// `url`, cut after the last whole character within `maxURLSize`.
    [[nodiscard]] static std::string bounded(std::string_view url);
};

} // namespace tandrel
