#pragma once

#include <functional>
#include <string>

namespace tandrel {

class UrlOpener;

/// What the views ask of the program around them. Main thread.
struct ViewEnvironment {
    /// Origins, without a trailing slash, of the pages that the views link to.
    std::string webAppBaseURL;
    std::string siteBaseURL;
    /// Without the leading "v"; empty when it is not known.
    std::string appVersion;
    UrlOpener& urlOpener;
    std::function<void()> checkForUpdates;
    std::function<void()> quit;
};

} // namespace tandrel
