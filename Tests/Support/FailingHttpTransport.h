#pragma once

#include "Platform/Clock.h"
#include "Platform/HttpTransport.h"
#include "Support/BadAnswer.h"
#include "Support/NthCall.h"

#include <memory>
#include <optional>

namespace tandrel::test {

/// An HTTP stack whose Nth request goes wrong; the others are passed on. Main thread.
class FailingHttpTransport : public HttpTransport {
public:
    using Outcome = Result<HttpResponse, TransportError>;

    struct Failure {
        enum class Kind {
            /// `answer` comes in the place of the right one.
            answer,
            /// As `answer`, but of a body that is taken in parts the first one comes before.
            answerAfterFirstPart,
            /// Half of the body comes, as if it were the whole.
            cutShort,
        };
        Kind kind = Kind::answer;
        BadAnswer<Outcome> answer;

        static Failure with(Outcome outcome) {
            return {Kind::answer, {std::move(outcome), Clock::Duration::zero()}};
        }
        static Failure late(Clock::Duration by) {
            return {Kind::answer, BadAnswer<Outcome>::late(by)};
        }
        static Failure never() { return {Kind::answer, BadAnswer<Outcome>::never()}; }
    };

    /// Without a failure all is passed on. `inner`, `clock` and `nth` must outlive this.
    FailingHttpTransport(HttpTransport& inner, Clock& clock, NthCall& nth,
                         std::optional<Failure> failure)
        : inner_(inner)
        , clock_(clock)
        , nth_(nth)
        , failure_(std::move(failure)) {}

    [[nodiscard]] std::unique_ptr<HttpExchange> send(const HttpRequest& request,
                                                     Completion completion) override;

private:
    class Exchange;

    HttpTransport& inner_;
    Clock& clock_;
    NthCall& nth_;
    const std::optional<Failure> failure_;
};

} // namespace tandrel::test
