#include "Support/FakeHttpTransport.h"

#include <algorithm>
#include <cctype>
#include <optional>

namespace tandrel::test {

using Outcome = Result<HttpResponse, TransportError>;

struct FakeHttpTransport::Shared {
    struct Entry {
        /// Empty once it was called, or silenced by the end of the exchange.
        Completion completion;
        /// What the completion is due to be called with.
        std::optional<Outcome> outcome;

        [[nodiscard]] bool waits() const { return completion && !outcome; }
        void complete(Outcome with) {
            const Completion call = std::exchange(completion, nullptr);
            call(std::move(with));
        }
    };

    std::vector<HttpRequest> requests;
    std::vector<std::shared_ptr<Entry>> entries;
    std::size_t abortedCount = 0;

    [[nodiscard]] std::shared_ptr<Entry> oldestWaiting() const {
        const auto found = std::find_if(entries.begin(), entries.end(),
                                        [](const auto& entry) { return entry->waits(); });
        return found == entries.end() ? nullptr : *found;
    }
};

class FakeHttpTransport::Exchange : public HttpExchange {
public:
    Exchange(std::shared_ptr<Shared> shared, std::shared_ptr<Shared::Entry> entry)
        : shared_(std::move(shared))
        , entry_(std::move(entry)) {}

    ~Exchange() override {
        if (entry_->waits()) {
            ++shared_->abortedCount;
        }
        entry_->completion = nullptr;
    }

    void cancel() override {
        if (entry_->waits()) {
            ++shared_->abortedCount;
            entry_->outcome = cancelledError();
        }
    }

private:
    std::shared_ptr<Shared> shared_;
    std::shared_ptr<Shared::Entry> entry_;
};

FakeHttpTransport::FakeHttpTransport()
    : shared_(std::make_shared<Shared>()) {}

FakeHttpTransport::~FakeHttpTransport() = default;

std::unique_ptr<HttpExchange> FakeHttpTransport::send(const HttpRequest& request,
                                                      Completion completion) {
    shared_->requests.push_back(request);
    auto entry =
        std::make_shared<Shared::Entry>(Shared::Entry{std::move(completion), std::nullopt});
    shared_->entries.push_back(entry);
    return std::make_unique<Exchange>(shared_, std::move(entry));
}

const std::vector<HttpRequest>& FakeHttpTransport::requests() const {
    return shared_->requests;
}

std::vector<std::string> FakeHttpTransport::headerValues(const HttpRequest& request,
                                                         std::string_view name) {
    const auto equalIgnoringCase = [](char left, char right) {
        return std::tolower(static_cast<unsigned char>(left)) ==
               std::tolower(static_cast<unsigned char>(right));
    };
    std::vector<std::string> values;
    for (const auto& [key, value] : request.headers) {
        if (std::equal(key.begin(), key.end(), name.begin(), name.end(), equalIgnoringCase)) {
            values.push_back(value);
        }
    }
    return values;
}

std::size_t FakeHttpTransport::pendingCount() const {
    return static_cast<std::size_t>(std::count_if(shared_->entries.begin(), shared_->entries.end(),
                                                  [](const auto& e) { return e->waits(); }));
}

std::size_t FakeHttpTransport::abortedCount() const {
    return shared_->abortedCount;
}

bool FakeHttpTransport::answer(int statusCode, std::string body) {
    return complete(HttpResponse{statusCode, std::move(body)});
}

bool FakeHttpTransport::fail(TransportError error) {
    return complete(std::move(error));
}

bool FakeHttpTransport::complete(Outcome outcome) {
    const auto entry = shared_->oldestWaiting();
    if (!entry) {
        return false;
    }
    entry->complete(std::move(outcome));
    return true;
}

bool FakeHttpTransport::bringIn(int statusCode, std::string body) {
    const auto entry = shared_->oldestWaiting();
    if (!entry) {
        return false;
    }
    entry->outcome = HttpResponse{statusCode, std::move(body)};
    return true;
}

std::size_t FakeHttpTransport::deliver() {
    std::size_t delivered = 0;
    // A copy, since a completion may send again.
    for (const auto& entry : std::vector(shared_->entries)) {
        if (entry->completion && entry->outcome) {
            entry->complete(*entry->outcome);
            ++delivered;
        }
    }
    return delivered;
}

TransportError FakeHttpTransport::cancelledError() {
    return {TransportError::Kind::cancelled, "The request was cancelled."};
}

} // namespace tandrel::test
