#include "Support/FailingHttpTransport.h"

#include "Support/FakeHttpTransport.h"

#include <string>
#include <utility>

namespace tandrel::test {

class FailingHttpTransport::Exchange : public HttpExchange {
public:
    Exchange(FailingHttpTransport& transport, const HttpRequest& request, Completion completion)
        : clock_(transport.clock_)
        , failure_(*transport.failure_)
        , completion_(std::move(completion)) {
        switch (failure_.kind) {
        case Failure::Kind::answer:
            begin(transport.inner_, request);
            break;
        case Failure::Kind::answerAfterFirstPart:
            if (request.sink) {
                beginWithFirstPart(transport.inner_, request);
            } else {
                begin(transport.inner_, request);
            }
            break;
        case Failure::Kind::cutShort:
            exchange_ = transport.inner_.send(request, [this](Outcome outcome) {
                if (outcome.ok()) {
                    HttpResponse response = std::move(outcome).value();
                    response.body.resize(response.body.size() / 2);
                    outcome = std::move(response);
                }
                complete(std::move(outcome));
            });
            break;
        }
    }

    void cancel() override {
        if (!completion_) {
            return;
        }
        exchange_.reset();
        completeAfter(Clock::Duration::zero(), FakeHttpTransport::cancelledError());
    }

private:
    void begin(HttpTransport& transport, const HttpRequest& request) {
        const BadAnswer<Outcome>& answer = failure_.answer;
        if (answer.value && answer.after) {
            completeAfter(*answer.after, *answer.value);
        } else if (answer.after) {
            exchange_ =
                transport.send(request, [this, delay = *answer.after](const Outcome& right) {
                    completeAfter(delay, right);
                });
        }
    }

    void beginWithFirstPart(HttpTransport& transport, HttpRequest request) {
        request.sink = [this, sink = request.sink](std::string part,
                                                   const std::function<void()>& /*taken*/) {
            sink(std::move(part), [this] {
                exchange_.reset();
                completeAfter(Clock::Duration::zero(), *failure_.answer.value);
            });
        };
        exchange_ =
            transport.send(request, [this](Outcome outcome) { complete(std::move(outcome)); });
    }

    void completeAfter(Clock::Duration delay, Outcome outcome) {
        timer_ = clock_.after(delay, [this, outcome = std::move(outcome)] { complete(outcome); });
    }

    void complete(Outcome outcome) {
        // Taken out first: it may destroy this exchange.
        const Completion completion = std::exchange(completion_, nullptr);
        completion(std::move(outcome));
    }

    Clock& clock_;
    const Failure failure_;
    Completion completion_;
    std::unique_ptr<HttpExchange> exchange_;
    Handle timer_;
};

std::unique_ptr<HttpExchange> FailingHttpTransport::send(const HttpRequest& request,
                                                         Completion completion) {
    if (failure_ && nth_.fails()) {
        return std::make_unique<Exchange>(*this, request, std::move(completion));
    }
    return inner_.send(request, std::move(completion));
}

} // namespace tandrel::test
