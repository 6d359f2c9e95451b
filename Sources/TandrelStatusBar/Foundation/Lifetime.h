#pragma once

#include <memory>
#include <utility>

namespace tandrel {

/// Lets callbacks that outlive an object find out that it has gone. A member of the object,
/// declared last, so that callbacks fall silent before anything else is destroyed. Main thread.
class Lifetime {
public:
    Lifetime() = default;
    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;
    ~Lifetime() = default;

    /// `callback`, which does nothing once this object has gone.
    template <typename Callback>
    [[nodiscard]] auto guard(Callback callback) const {
        return [token = std::weak_ptr<const bool>(token_),
                callback = std::move(callback)](auto&&... arguments) mutable {
            if (!token.expired()) {
                callback(std::forward<decltype(arguments)>(arguments)...);
            }
        };
    }

private:
    std::shared_ptr<const bool> token_ = std::make_shared<const bool>(true);
};

} // namespace tandrel
