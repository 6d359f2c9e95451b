#pragma once

#include <cstdint>
#include <string>

namespace tandrel::test {

/// One element of a program's interface as assistive technology was told of it: a picture of one
/// moment, with the address at which to ask again.
struct AccessibleElement {
    /// States by their number in AT-SPI.
    enum class State : unsigned {
        active = 1,
        busy = 3,
        checked = 4,
        enabled = 8,
        focusable = 11,
        focused = 12,
        sensitive = 24,
        showing = 25,
        visible = 30,
    };

    struct Rectangle {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
    };

    std::string path;
    /// In AT-SPI's words: "push button", "text", "password text", "combo box" …
    std::string role;
    std::string name;
    std::string description;
    std::uint64_t states = 0;
    /// How deep below the program it lies; its windows have depth 1.
    int depth = 0;

    [[nodiscard]] bool has(State state) const {
        return ((states >> static_cast<unsigned>(state)) & 1U) != 0;
    }
};

} // namespace tandrel::test
