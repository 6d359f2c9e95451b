#include "Services/UpdatePage.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace tandrel {

namespace {

using Kind = UpdateState::Kind;
using Failure = UpdateFailure::Kind;

constexpr std::uint64_t kilobyte = 1000;
constexpr std::uint64_t megabyte = 1000 * kilobyte;

UpdatePage::Button closeButton(const char* text) {
    return {text, UpdateAction::close};
}

std::string versionOf(const UpdateState& state) {
    return state.item ? state.item->version : std::string();
}

/// Host and port.
std::string hostOf(std::string_view url) {
    const std::size_t start = url.find("://");
    url.remove_prefix(start == std::string_view::npos ? url.size() : start + 3);
    return std::string(url.substr(0, url.find_first_of("/?#")));
}

UpdatePage statement(std::string headline, std::string detail) {
    UpdatePage page;
    page.headline = std::move(headline);
    page.detail = std::move(detail);
    page.primary = closeButton("OK");
    return page;
}

UpdatePage activity(std::string headline, std::string detail) {
    UpdatePage page;
    page.headline = std::move(headline);
    page.detail = std::move(detail);
    page.isBusy = true;
    page.others.push_back({"Cancel", UpdateAction::cancel});
    return page;
}

UpdatePage availablePage(const AppcastItem& item, const UpdateContext& context) {
    UpdatePage page;
    page.headline = "Version " + item.version + " is available";
    page.detail = "Version " + context.installedVersion + " is installed. The download is " +
                  sizeText(item.packageLength) + ".";
    page.releaseNotesLink = item.releaseNotesLink;
    page.notes = item.notes;
    page.primary = UpdatePage::Button{"Install", UpdateAction::install};
    page.others = {closeButton("Later"), {"Skip this version", UpdateAction::skip}};
    return page;
}

UpdatePage downloadPage(const UpdateState& state) {
    const std::uint64_t length = std::max<std::uint64_t>(state.item->packageLength, 1);
    UpdatePage page = activity("Downloading version " + versionOf(state) + "…",
                               sizeText(state.received) + " of " + sizeText(length));
    page.isBusy = false;
    page.progress = std::min(1.0, double(state.received) / double(length));
    return page;
}

UpdatePage systemPage(const UpdateState& state, const UpdateContext& context) {
    return statement("Version " + versionOf(state) + " needs a newer system",
                     "It needs version " + state.item->minimumSystemVersion +
                         " of the system's C library; here it is " + context.systemVersion +
                         ". Version " + context.installedVersion + " stays installed.");
}

/// What is said of a failure, and whether another attempt may help.
struct Explanation {
    std::string text;
    bool mayPass = false;
};

Explanation explain(const UpdateFailure& failure) {
    switch (failure.kind) {
    case Failure::unreachable:
        return {"The update server cannot be reached. " + failure.detail, true};
    case Failure::refusedByServer:
        return {"The update server does not have what was asked for (status " + failure.detail +
                    ").",
                true};
    case Failure::insecureRedirect:
        return {"The update server sends on to an address that is not secure."};
    case Failure::malformedFeed:
        return {"The update server's list of versions cannot be read: " + failure.detail + "."};
    case Failure::insecureAddress:
        return {"Its address is not secure."};
    case Failure::notSigned:
        return {"It is not signed, so nobody vouches for it. Nothing was installed."};
    case Failure::wronglySigned:
        return {"Its signature is wrong: it does not come from the makers of Quorvane Tandrel, or "
                "was changed on its way. Nothing was installed."};
    case Failure::unverifiable:
        return {"Its signature cannot be checked: the system's OpenSSL library is missing. Nothing "
                "was installed."};
    case Failure::wrongLength:
        return {"The download does not have the length that was announced. Nothing was installed.",
                true};
    case Failure::diskFull:
        return {"There is no room for the download. Nothing was installed.", true};
    case Failure::notStored:
        return {"The download could not be stored in your cache folder. Nothing was installed.",
                true};
    case Failure::noInstaller:
        return {"No program here installs packages. The checked package is " + failure.detail +
                    "; a package manager can install it.",
                true};
    }
    return {};
}

bool isRefusal(Failure kind) {
    return kind == Failure::insecureAddress || kind == Failure::notSigned ||
           kind == Failure::wronglySigned || kind == Failure::unverifiable;
}

UpdatePage failurePage(const UpdateState& state) {
    const UpdateFailure failure = state.failure.value_or(UpdateFailure{});
    const Explanation explanation = explain(failure);
    UpdatePage page;
    page.isWarning = true;
    page.detail = explanation.text;
    if (!state.item) {
        page.headline = "The check for updates failed";
    } else if (isRefusal(failure.kind)) {
        page.headline = "Version " + versionOf(state) + " is refused";
    } else {
        page.headline = "Version " + versionOf(state) + " could not be installed";
    }
    if (explanation.mayPass) {
        page.primary = UpdatePage::Button{"Try Again", state.item ? UpdateAction::install
                                                                  : UpdateAction::checkAgain};
        page.others.push_back(closeButton("Close"));
    } else {
        page.primary = closeButton("OK");
    }
    return page;
}

} // namespace

std::string sizeText(std::uint64_t bytes) {
    const auto inUnits = [bytes](std::uint64_t unit, const char* name) {
        const std::uint64_t tenths = (bytes * 10 + unit / 2) / unit;
        return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + ' ' + name;
    };
    if (bytes >= megabyte) {
        return inUnits(megabyte, "MB");
    }
    return bytes >= kilobyte ? inUnits(kilobyte, "kB") : std::to_string(bytes) + " bytes";
}

UpdatePage updatePage(const UpdateState& state, const UpdateContext& context) {
    const std::string installed = "Version " + context.installedVersion + " is installed.";
    switch (state.kind) {
    case Kind::idle:
    case Kind::checking:
        break;
    case Kind::packageManaged:
        return statement("Updates come with your system",
                         installed + " Your system's package manager keeps it current.");
    case Kind::upToDate:
        return statement("Quorvane Tandrel is up to date",
                         "Version " + context.installedVersion + " is the newest.");
    case Kind::onlyOlder:
        return statement("A newer version is installed already",
                         installed + " The newest on offer is " + versionOf(state) +
                             ", and a downgrade is refused.");
    case Kind::systemTooOld:
        return systemPage(state, context);
    case Kind::available:
        return availablePage(*state.item, context);
    case Kind::downloading:
        return downloadPage(state);
    case Kind::verifying:
        return activity("Checking version " + versionOf(state) + "…",
                        "Its signature is compared with the makers' key.");
    case Kind::handingOver: {
        UpdatePage page = activity("Opening the installer…", "");
        page.others.clear();
        return page;
    }
    case Kind::handedOver:
        return statement("Version " + versionOf(state) + " is ready",
                         "Your system's installer has it. Once it is installed there, quit and "
                         "start Quorvane Tandrel again.");
    case Kind::failed:
        return failurePage(state);
    }
    return activity("Checking for updates…", installed);
}

UpdatePage updateQuestion(const UpdateContext& context) {
    UpdatePage page;
    page.headline = "Check for updates every day?";
    page.detail = "Quorvane Tandrel can ask " + hostOf(context.feedURL) +
                  " once a day whether there is a newer version, and tells you when there is. It "
                  "sends nothing about you.";
    page.primary = UpdatePage::Button{"Check Every Day", UpdateAction::agree};
    page.others.push_back({"Don't Check", UpdateAction::decline});
    return page;
}

} // namespace tandrel
