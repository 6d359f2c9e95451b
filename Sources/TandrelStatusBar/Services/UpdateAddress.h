#pragma once

#include <string>
#include <string_view>

namespace tandrel {

/// Whether what the feed at `feedURL` names may be fetched from `url`, or opened there: over https,
/// or, when the feed itself comes by plain http from this machine, by that too. The address is
/// valid (see `isValidUrl`), bounded, and holds no user name. Any thread.
[[nodiscard]] bool mayFollow(std::string_view url, std::string_view feedURL);

/// Whether `url` is plain http on the loopback interface.
[[nodiscard]] bool isPlainLoopback(std::string_view url);

} // namespace tandrel
