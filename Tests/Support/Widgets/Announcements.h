#pragma once

#include "Support/Widgets/ActiveAccessibility.h"

#include <string>
#include <vector>

namespace tandrel::test {

/// What assistive technology is told while this exists, in words: "name …" for a new name,
/// "notification …" for a notification that comes into view. One at a time.
class Announcements {
public:
    Announcements();
    Announcements(const Announcements&) = delete;
    Announcements& operator=(const Announcements&) = delete;
    ~Announcements() = default;

    [[nodiscard]] const std::vector<std::string>& heard() const;
    void clear();

private:
    ActiveAccessibility accessibility_;
};

} // namespace tandrel::test
