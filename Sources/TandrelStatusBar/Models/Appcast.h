#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tandrel {

/// What the update feed says of one version of the program.
struct AppcastItem {
    /// Letters, digits, '.', '-', '+', '~' and '_'; at most 64 of them.
    std::string version;
    /// The least version of the system that it runs on; empty: any.
    std::string minimumSystemVersion;
    /// The address of a page for people; may be empty.
    std::string releaseNotesLink;
    /// Plain text for people; may be empty.
    std::string notes;
    std::string packageURL;
    /// Bytes.
    std::uint64_t packageLength = 0;
    /// Base 64, as they stand in the feed; empty when it is not signed. More than one while a new
    /// key takes the place of an old one.
    std::vector<std::string> signatures;

    friend bool operator==(const AppcastItem&, const AppcastItem&) = default;
};

/// The update feed, in its own order.
using Appcast = std::vector<AppcastItem>;

namespace appcast {

/// What a feed may hold at most; more is malformed.
inline constexpr std::size_t maxItems = 200;
inline constexpr std::size_t maxSignatures = 4;
inline constexpr std::size_t maxVersionLength = 64;
inline constexpr std::size_t maxAddressLength = 2048;
/// Longer notes are cut.
inline constexpr std::size_t maxNotesLength = std::size_t{16} * 1024;
/// Bytes of a package: some fifty times what this program takes.
inline constexpr std::uint64_t maxPackageLength = std::uint64_t{64} * 1024 * 1024;

} // namespace appcast

} // namespace tandrel
