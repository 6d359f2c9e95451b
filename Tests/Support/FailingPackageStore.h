#pragma once

#include "Platform/Clock.h"
#include "Platform/PackageSignature.h"
#include "Platform/PackageStore.h"
#include "Support/BadAnswer.h"
#include "Support/NthCall.h"

#include <memory>
#include <optional>
#include <string>

namespace tandrel::test {

/// Packages of which the Nth call of a kind goes wrong; the others are passed on. Main thread.
class FailingPackageStore : public PackageStore {
public:
    /// The calls that are counted are those with a bad answer.
    struct Failure {
        std::optional<BadAnswer<WriteOutcome>> append;
        std::optional<BadAnswer<PackageVerdict>> seal;
    };

    /// Without a failure all is passed on. `inner`, `clock` and `nth` must outlive this and its
    /// files.
    FailingPackageStore(PackageStore& inner, Clock& clock, NthCall& nth,
                        std::optional<Failure> failure)
        : inner_(inner)
        , clock_(clock)
        , nth_(nth)
        , failure_(failure.value_or(Failure{})) {}

    [[nodiscard]] std::unique_ptr<PackageFile> create(const std::string& version) override;

private:
    class File;

    PackageStore& inner_;
    Clock& clock_;
    NthCall& nth_;
    const Failure failure_;
};

/// `check`, whose Nth call says `verdict`. Any thread; `nth` must outlive it.
[[nodiscard]] SignatureCheck failingSignatureCheck(SignatureCheck check, NthCall& nth,
                                                   SignatureVerdict verdict);

} // namespace tandrel::test
