#pragma once

#include "Platform/Clock.h"
#include "Platform/PackageInstaller.h"
#include "Support/BadAnswer.h"
#include "Support/NthCall.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace tandrel::test {

/// An installer whose Nth call goes wrong; the others are passed on. Main thread.
class FailingPackageInstaller : public PackageInstaller {
public:
    using Failure = BadAnswer<bool>;

    /// Without a failure all is passed on. `inner`, `clock` and `nth` must outlive this.
    FailingPackageInstaller(PackageInstaller& inner, Clock& clock, NthCall& nth,
                            std::optional<Failure> failure)
        : inner_(inner)
        , clock_(clock)
        , nth_(nth)
        , failure_(failure) {}

    [[nodiscard]] Handle install(const std::string& path,
                                 std::function<void(bool isTaken)> done) override {
        if (failure_ && nth_.fails()) {
            return std::make_unique<BadlyAnsweredCall<bool>>(
                clock_, *failure_, std::move(done),
                [this, &path](auto right) { return inner_.install(path, std::move(right)); });
        }
        return inner_.install(path, std::move(done));
    }

private:
    PackageInstaller& inner_;
    Clock& clock_;
    NthCall& nth_;
    const std::optional<Failure> failure_;
};

} // namespace tandrel::test
