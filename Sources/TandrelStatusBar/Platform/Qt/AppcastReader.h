#pragma once

#include "Foundation/Result.h"
#include "Models/Appcast.h"

#include <string>
#include <string_view>

namespace tandrel {

/// Reads an update feed: RSS 2.0, whose items carry elements of a namespace of our own (see
/// RELEASE.md). Elements that it does not know are passed over. The error is why the whole feed is
/// refused, for people: not well-formed, a document type (and so entities of its own), an item
/// without version, address or length, or more than `appcast` allows. Addresses are taken as they
/// stand. Any thread.
[[nodiscard]] Result<Appcast, std::string> readAppcast(std::string_view bytes);

} // namespace tandrel
