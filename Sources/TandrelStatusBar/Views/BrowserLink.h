#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tandrel {

/// The web app's page of an interview: `webAppBaseURL`, "/interviews/" and `interviewId`, every
/// byte of which is data, percent-encoded as one path segment. Absent for an identifier that no
/// segment can express: "." and ".." mean the folders even when they are encoded, and one of more
/// than 1024 bytes is no identifier. An empty one gives the folder of the interviews. Any thread.
[[nodiscard]] std::optional<std::string> browserLink(std::string_view webAppBaseURL,
                                                     std::string_view interviewId);

} // namespace tandrel
