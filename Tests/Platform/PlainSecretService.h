#pragma once

#include <memory>
#include <string>

namespace tandrel::test {

/// A Secret Service on a private bus that takes secrets in clear only, and finds every item
/// missing.
class PlainSecretService {
public:
    explicit PlainSecretService(const std::string& busAddress);
    ~PlainSecretService();
    PlainSecretService(const PlainSecretService&) = delete;
    PlainSecretService& operator=(const PlainSecretService&) = delete;

    [[nodiscard]] bool hasOpenedSession() const;
    /// Whether any message to it held `text`.
    [[nodiscard]] bool hasSeen(const std::string& text) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tandrel::test
