#pragma once

#include "Platform/UrlOpener.h"

namespace tandrel {

/// Hands pages to the desktop's own opener, a program of its own, so that neither the browser nor a
/// portal that does not answer can hold this one up.
class DesktopUrlOpener : public UrlOpener {
public:
    void open(const std::string& url) override;
};

} // namespace tandrel
