#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace tandrel::test {

/// Stands in, on a private bus, for the program that asks the user on behalf of the keyring: its
/// user dismisses each prompt, or never answers.
class FakeSystemPrompter {
public:
    enum class User { dismisses, neverAnswers };

    FakeSystemPrompter(const std::string& busAddress, User user);
    /// Lets the prompts that still wait end as dismissed.
    ~FakeSystemPrompter();
    FakeSystemPrompter(const FakeSystemPrompter&) = delete;
    FakeSystemPrompter& operator=(const FakeSystemPrompter&) = delete;

    /// How many prompts were asked for.
    [[nodiscard]] std::size_t promptCount() const;
    /// Waits until `count` prompts were asked for; whether they were within 10 s.
    [[nodiscard]] bool awaitPrompts(std::size_t count) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tandrel::test
