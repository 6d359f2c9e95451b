#include "Foundation/Lifetime.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace tandrel {
namespace {

TEST(Lifetime, AGuardedCallbackRunsWhileTheObjectLives) {
    const Lifetime lifetime;
    std::string seen;
    const std::function<void(std::string, int)> callback = lifetime.guard(
        [&](const std::string& text, int number) { seen = text + std::to_string(number); });
    callback("a", 1);
    EXPECT_EQ(seen, "a1");
}

TEST(Lifetime, AGuardedCallbackIsSilentAfterTheObjectHasGone) {
    std::optional<Lifetime> lifetime(std::in_place);
    int calls = 0;
    const std::function<void()> callback = lifetime->guard([&] { ++calls; });
    callback();
    lifetime.reset();
    callback();
    EXPECT_EQ(calls, 1);
}

TEST(Lifetime, AGuardedCallbackMayDestroyTheObject) {
    auto lifetime = std::make_unique<Lifetime>();
    int calls = 0;
    const std::function<void()> callback = lifetime->guard([&] {
        ++calls;
        lifetime.reset();
    });
    callback();
    callback();
    EXPECT_EQ(calls, 1);
}

} // namespace
} // namespace tandrel
