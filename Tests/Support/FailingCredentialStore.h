#pragma once

#include "Platform/CredentialStore.h"
#include "Support/Gate.h"
#include "Support/NthCall.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tandrel::test {

/// A credential store of which the Nth call of a kind goes wrong; the others are passed on. A call
/// that fails changes nothing. Any thread that `inner` is for.
class FailingCredentialStore : public CredentialStore {
public:
    struct Failure {
        enum class Call { add, read, remove };
        Call call = Call::add;
        /// Missing: the call waits until `gate` is open, and then goes well.
        std::optional<CredentialStatus> status;
        std::shared_ptr<Gate> gate;
    };

    /// Without a failure all is passed on. `inner` and `nth` must outlive this.
    FailingCredentialStore(CredentialStore& inner, NthCall& nth, std::optional<Failure> failure)
        : inner_(inner)
        , nth_(nth)
        , failure_(std::move(failure)) {}

    CredentialStatus add(std::string_view service, std::string_view account,
                         std::string_view value) override;
    CredentialStatus copyMatching(std::string_view service, std::string_view account,
                                  std::string& value) override;
    CredentialStatus remove(std::string_view service, std::string_view account) override;

private:
    /// What the call comes to; missing: what `inner_` says.
    [[nodiscard]] std::optional<CredentialStatus> begin(Failure::Call call);

    CredentialStore& inner_;
    NthCall& nth_;
    const std::optional<Failure> failure_;
};

} // namespace tandrel::test
