#pragma once

#include "Services/UpdateState.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tandrel {

/// What a button of the update window does.
enum class UpdateAction { install, checkAgain, cancel, skip, agree, decline, close };

/// The update window's content, in words. All texts are plain.
struct UpdatePage {
    struct Button {
        std::string text;
        UpdateAction action;

        friend bool operator==(const Button&, const Button&) = default;
    };

    std::string headline;
    std::string detail;
    /// Something was refused or went wrong.
    bool isWarning = false;
    /// Something is under way that tells no progress.
    bool isBusy = false;
    /// How much is done, 0...1.
    std::optional<double> progress;
    /// May be empty.
    std::string releaseNotesLink;
    std::string notes;
    /// The one to press, if there is one.
    std::optional<Button> primary;
    /// In the order of their distance from the primary one.
    std::vector<Button> others;

    friend bool operator==(const UpdatePage&, const UpdatePage&) = default;
};

/// What the page is about besides its state.
struct UpdateContext {
    std::string installedVersion;
    std::string systemVersion;
    std::string feedURL;
};

[[nodiscard]] UpdatePage updatePage(const UpdateState& state, const UpdateContext& context);
/// The page that asks whether to check daily.
[[nodiscard]] UpdatePage updateQuestion(const UpdateContext& context);

/// Such as "3.4 MB".
[[nodiscard]] std::string sizeText(std::uint64_t bytes);

} // namespace tandrel
