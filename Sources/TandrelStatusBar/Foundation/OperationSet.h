#pragma once

#include "Foundation/Handle.h"
#include "Platform/Clock.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace tandrel {

/// Operations that nobody waits for: each is kept until it ends by itself, and those still under
/// way end with this object. Main thread.
class OperationSet {
public:
    using Ended = std::function<void()>;

    OperationSet() = default;
    OperationSet(const OperationSet&) = delete;
    OperationSet& operator=(const OperationSet&) = delete;
    ~OperationSet() = default;

    /// Starts an operation: `start` is given what to call when the operation has ended, and returns
    /// its handle, or null when there was nothing to do.
    void start(const std::function<Handle(Ended)>& start);
    /// Runs `action` once, `delay` from now.
    void after(Clock& clock, Clock::Duration delay, std::function<void()> action);
    /// Ends all that is under way.
    void clear();

    [[nodiscard]] std::size_t size() const { return handles_->size(); }

private:
    using Handles = std::map<std::uint64_t, Handle>;
    // Shared, so that an operation whose end destroys this object can still take itself out.
    std::shared_ptr<Handles> handles_ = std::make_shared<Handles>();
    std::uint64_t lastId_ = 0;
};

} // namespace tandrel
