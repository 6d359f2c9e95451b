#pragma once

#include "Platform/UrlOpener.h"

#include <string>
#include <vector>

namespace tandrel::test {

/// A browser that only takes notes.
class FakeUrlOpener : public UrlOpener {
public:
    void open(const std::string& url) override { opened.push_back(url); }

    /// Every address, in order.
    std::vector<std::string> opened;
};

} // namespace tandrel::test
