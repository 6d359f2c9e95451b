#pragma once

#include <compare>
#include <string_view>

namespace tandrel {

/// Which of two versions is the newer one. They are compared piece by piece: digits as numbers of
/// any length, letters as words whatever their case, everything else only separates. A word makes a
/// pre-release, so "1.2-beta" and "1.2b3" come before "1.2"; missing numbers are zeros, so "1.2"
/// and "1.2.0" are the same version. Any thread.
[[nodiscard]] std::weak_ordering compareVersions(std::string_view left, std::string_view right);

} // namespace tandrel
