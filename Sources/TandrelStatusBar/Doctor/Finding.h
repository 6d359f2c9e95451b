#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tandrel::doctor {

enum class Mark {
    /// There, and in order.
    ok,
    /// Missing or broken, and streaming needs it.
    failed,
    /// Missing, or not looked at; streaming works without it.
    noted,
};

/// Something known, for programs: a name that stays what it is, and a value.
using Fact = std::pair<std::string, std::variant<bool, std::int64_t, double, std::string>>;

/// What one look at the system came to. Holds no secret, no e-mail address, no name of a person.
struct Finding {
    /// What was looked at, for programs; never changes.
    std::string id;
    /// The same for people.
    std::string title;
    Mark mark = Mark::noted;
    /// What was found, for people, on one line.
    std::string text;
    std::vector<Fact> facts = {};
    /// Belongs to the finding before it.
    bool isDetail = false;

    friend bool operator==(const Finding&, const Finding&) = default;
};

using Findings = std::vector<Finding>;

/// Whether all that streaming needs is there.
[[nodiscard]] bool isReady(const Findings& findings);

} // namespace tandrel::doctor
