#include "Support/SimulatedServer.h"

#include "Support/FakeHttpTransport.h"

#include <string>
#include <utility>

namespace tandrel::test {

class SimulatedServer::Exchange : public HttpExchange {
public:
    Exchange(const SimulatedServer& server, HttpRequest request, Completion completion)
        : clock_(server.clock_)
        , pending_(server.pending_)
        , request_(std::move(request))
        , completion_(std::move(completion)) {
        ++*pending_;
        step_ =
            clock_.after(roundTrip, [this, answer = server.answer_] { arrive(answer(request_)); });
    }

    ~Exchange() override {
        if (completion_) {
            --*pending_;
        }
    }

    void cancel() override {
        if (completion_) {
            completeLater(FakeHttpTransport::cancelledError());
        }
    }

private:
    void arrive(HttpResponse response) {
        response_ = std::move(response);
        if (response_.body.size() > request_.maxBodySize) {
            complete(TransportError{TransportError::Kind::tooLarge, "The answer is too large."});
        } else if (request_.sink && response_.statusCode == 200) {
            sendPart();
        } else {
            complete(response_);
        }
    }

    void sendPart() {
        if (response_.body.empty()) {
            completeLater(response_);
            return;
        }
        std::string part = response_.body.substr(0, partSize);
        response_.body.erase(0, part.size());
        request_.sink(std::move(part),
                      [this] { step_ = clock_.after(roundTrip, [this] { sendPart(); }); });
    }

    void completeLater(Result<HttpResponse, TransportError> outcome) {
        step_ = clock_.after({}, [this, outcome = std::move(outcome)] { complete(outcome); });
    }

    void complete(Result<HttpResponse, TransportError> outcome) {
        --*pending_;
        // Taken out first: it may destroy this exchange.
        const Completion completion = std::exchange(completion_, nullptr);
        completion(std::move(outcome));
    }

    Clock& clock_;
    std::shared_ptr<std::size_t> pending_;
    HttpRequest request_;
    HttpResponse response_;
    Completion completion_;
    Handle step_;
};

std::unique_ptr<HttpExchange> SimulatedServer::send(const HttpRequest& request,
                                                    Completion completion) {
    return std::make_unique<Exchange>(*this, request, std::move(completion));
}

} // namespace tandrel::test
