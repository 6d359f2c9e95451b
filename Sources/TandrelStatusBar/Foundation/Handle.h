#pragma once

#include <memory>

namespace tandrel {

/// A started operation. Destroying it ends the operation and silences its completion: once the
/// destructor has returned, nothing is called any more. So ownership is cancellation, and whoever
/// goes takes the pending work along.
///
/// An operation that has completed may be destroyed at any time, also from inside its own
/// completion. Handles are created, used and destroyed on the main thread.
class Operation {
public:
    Operation() = default;
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    virtual ~Operation() = default;
};

using Handle = std::unique_ptr<Operation>;

} // namespace tandrel
