// An update feed, and what is chosen from it.
#include "Harness/Check.h"
#include "Harness/References.h"
#include "Models/Appcast.h"
#include "Platform/Qt/AppcastReader.h"
#include "Services/UpdateChoice.h"
#include "Services/VersionComparison.h"

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel::fuzz {
namespace {

bool isVersion(std::string_view text) {
    static constexpr std::string_view allowed =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ.-+~_";
    return !text.empty() && text.size() <= appcast::maxVersionLength &&
           text.find_first_not_of(allowed) == std::string_view::npos;
}

void checkBounds(const Appcast& appcast) {
    FUZZ_EXPECT(appcast.size() <= appcast::maxItems);
    for (const AppcastItem& item : appcast) {
        FUZZ_EXPECT(isVersion(item.version));
        FUZZ_EXPECT(item.minimumSystemVersion.empty() || isVersion(item.minimumSystemVersion));
        FUZZ_EXPECT(item.notes.size() <= appcast::maxNotesLength && isUtf8(item.notes));
        FUZZ_EXPECT(!item.packageURL.empty() && isUtf8(item.packageURL));
        FUZZ_EXPECT(item.packageLength > 0 && item.packageLength <= appcast::maxPackageLength);
        FUZZ_EXPECT(item.signatures.size() <= appcast::maxSignatures);
    }
}

/// `text` for an element or an attribute, with every character as a reference.
std::string written(std::string_view text) {
    std::vector<char32_t> points;
    FUZZ_EXPECT(decodeUtf8(text, points));
    std::string xml;
    for (const char32_t point : points) {
        xml += "&#" + std::to_string(static_cast<unsigned long>(point)) + ';';
    }
    return xml;
}

std::string written(const AppcastItem& item) {
    std::string xml = "<item><u:version>" + item.version + "</u:version>";
    if (!item.minimumSystemVersion.empty()) {
        xml += "<u:minimumSystemVersion>" + item.minimumSystemVersion + "</u:minimumSystemVersion>";
    }
    xml += "<u:releaseNotesLink>" + written(item.releaseNotesLink) + "</u:releaseNotesLink>";
    xml += "<description>" + written(item.notes) + "</description>";
    xml += "<enclosure url=\"" + written(item.packageURL) + "\" length=\"" +
           std::to_string(item.packageLength) + "\"/>";
    for (const std::string& signature : item.signatures) {
        xml += "<u:signature>" + written(signature) + "</u:signature>";
    }
    return xml + "</item>";
}

/// What was read, written in another way, is read as the same.
void checkWritten(const Appcast& appcast) {
    const bool hasCutNotes =
        std::any_of(appcast.begin(), appcast.end(), [](const AppcastItem& item) {
            return item.notes.size() + 4 > appcast::maxNotesLength;
        });
    if (hasCutNotes) {
        return; // they may end in the blanks that a reader takes off
    }
    std::string xml = "<rss xmlns:u=\"https://www.quorvane.example/ns/update\"><channel>";
    for (const AppcastItem& item : appcast) {
        xml += written(item);
    }
    const auto again = readAppcast(xml + "</channel></rss>");
    FUZZ_EXPECT(again.ok() && again.value() == appcast);
}

bool isNewer(const std::string& left, const std::string& right) {
    return std::is_gt(compareVersions(left, right));
}

void checkChoice(const Appcast& appcast, const std::string& installed, const std::string& system) {
    const UpdateChoice choice = chooseUpdate(appcast, installed, system);
    const auto runsHere = [&system](const AppcastItem& item) {
        return item.minimumSystemVersion.empty() || system.empty() ||
               !isNewer(item.minimumSystemVersion, system);
    };
    const auto isBetter = [&](const AppcastItem& item) {
        return runsHere(item) && isNewer(item.version, installed);
    };
    const bool hasBetter = std::any_of(appcast.begin(), appcast.end(), isBetter);
    const bool isAvailable = choice.kind == UpdateChoice::Kind::available;
    FUZZ_EXPECT(isAvailable == hasBetter);
    if (isAvailable) {
        // Nothing else that runs here is newer.
        FUZZ_EXPECT(choice.item && isBetter(*choice.item));
        FUZZ_EXPECT(std::none_of(appcast.begin(), appcast.end(), [&](const AppcastItem& item) {
            return runsHere(item) && isNewer(item.version, choice.item->version);
        }));
    }
    FUZZ_EXPECT((choice.kind == UpdateChoice::Kind::upToDate) == !choice.item);
    FUZZ_EXPECT(!choice.item ||
                std::find(appcast.begin(), appcast.end(), *choice.item) != appcast.end());
    if (choice.kind == UpdateChoice::Kind::onlyOlder) {
        FUZZ_EXPECT(std::all_of(appcast.begin(), appcast.end(), [&](const AppcastItem& item) {
            return isNewer(installed, item.version);
        }));
    }
    if (choice.kind == UpdateChoice::Kind::systemTooOld) {
        FUZZ_EXPECT(isNewer(choice.item->version, installed) && !runsHere(*choice.item));
    }
}

void checkRefusal(const std::string& reason) {
    FUZZ_EXPECT(isHarmlessLine(reason) && reason.size() <= 100);
    FUZZ_EXPECT(reason.find(" (line ") != std::string::npos && reason.ends_with(')'));
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel;
    using namespace tandrel::fuzz;
    const auto result = readAppcast({reinterpret_cast<const char*>(data), size});
    if (!result.ok()) {
        checkRefusal(result.error());
        return 0;
    }
    const Appcast& appcast = result.value();
    checkBounds(appcast);
    checkWritten(appcast);
    checkChoice(appcast, "1.2", "2.36");
    checkChoice(appcast, "1.2", "");
    for (const AppcastItem& item : appcast) {
        checkChoice(appcast, item.version, item.minimumSystemVersion);
    }
    return 0;
}
