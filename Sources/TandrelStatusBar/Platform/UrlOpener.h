#pragma once

#include <string>

namespace tandrel {

/// Opens pages in the user's default browser. Main thread.
class UrlOpener {
public:
    UrlOpener() = default;
    UrlOpener(const UrlOpener&) = delete;
    UrlOpener& operator=(const UrlOpener&) = delete;
    virtual ~UrlOpener() = default;

    /// `url` is a complete http or https address, percent-encoded, of an origin that is compiled in
    /// or of the update feed's release notes; anything else is ignored. Returns at once; a browser
    /// that does not start is not reported.
    virtual void open(const std::string& url) = 0;
};

} // namespace tandrel
