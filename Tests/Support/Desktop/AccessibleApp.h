#pragma once

#include "Support/Desktop/AccessibleElement.h"
#include "Support/Desktop/BusConnection.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tandrel::test {

/// A running program through the eyes and hands of assistive technology (AT-SPI, over D-Bus itself:
/// the usual library caches what it saw). Elements are told apart by role and name, and only those
/// that show are there.
class AccessibleApp {
public:
    static constexpr std::chrono::seconds usualLimit{10};

    /// `address` is the accessibility bus's; `process` the program's.
    AccessibleApp(const std::string& address, pid_t process);

    /// All that shows, in reading order; empty while the program is not on the bus.
    [[nodiscard]] std::vector<AccessibleElement> elements();
    [[nodiscard]] std::optional<AccessibleElement> find(const std::string& role,
                                                        const std::string& name);
    [[nodiscard]] bool shows(const std::string& role, const std::string& name) {
        return find(role, name).has_value();
    }
    /// Whether any element that shows has this name, whatever its role.
    [[nodiscard]] bool showsName(const std::string& name);
    /// The first name that shows and begins with `start`; empty when none does.
    [[nodiscard]] std::string nameStartingWith(const std::string& start);

    /// Waits until it shows; throws std::runtime_error with all that shows when it does not.
    AccessibleElement await(const std::string& role, const std::string& name,
                            std::chrono::milliseconds limit = usualLimit);
    /// The same, until it can be used, too.
    AccessibleElement awaitEnabled(const std::string& role, const std::string& name,
                                   std::chrono::milliseconds limit = usualLimit);
    AccessibleElement awaitName(const std::string& name,
                                std::chrono::milliseconds limit = usualLimit);
    /// Waits until nothing of that role and name shows; whether that came.
    bool awaitGone(const std::string& role, const std::string& name,
                   std::chrono::milliseconds limit = usualLimit);

    /// Waits until the button can be used and presses it as assistive technology does.
    void press(const std::string& role, const std::string& name);
    /// Puts `text` into a field as assistive technology does.
    void setText(const std::string& role, const std::string& name, const std::string& text);
    void grabFocus(const AccessibleElement& element);
    /// Where it is on the screen.
    [[nodiscard]] AccessibleElement::Rectangle extents(const AccessibleElement& element) const;
    /// The text that a field shows.
    [[nodiscard]] std::string text(const AccessibleElement& element) const;
    /// The number that a bar shows; nothing when it has none.
    [[nodiscard]] std::optional<double> value(const AccessibleElement& element) const;
    /// The interfaces that it offers ("org.a11y.atspi.Action" …).
    [[nodiscard]] std::vector<std::string> interfaces(const AccessibleElement& element) const;
    /// The element that has the focus: the innermost, since what hands its focus on has it too.
    [[nodiscard]] std::optional<AccessibleElement> focused();

    /// How long the program's main thread takes to answer a small question; `limit` when it does
    /// not within it, or has gone.
    [[nodiscard]] std::chrono::microseconds
    roundTrip(std::chrono::milliseconds limit = std::chrono::seconds(5));

    /// All that shows, a line each, for the reader of a failure.
    [[nodiscard]] std::string describe();

private:
    AccessibleElement awaitElement(const std::function<bool(const AccessibleElement&)>& isWanted,
                                   const std::string& wanted, std::chrono::milliseconds limit);
    bool locate();
    void visit(const QString& path, int depth, std::vector<AccessibleElement>& found) const;
    [[nodiscard]] std::string roleOf(const QString& path) const;
    [[nodiscard]] QVariantList callAccessible(const QString& path, const QString& method) const;

    BusConnection bus_;
    pid_t process_;
    QString service_;
};

} // namespace tandrel::test
