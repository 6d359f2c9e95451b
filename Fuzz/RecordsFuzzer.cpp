// An answer of the backend, and the profile that is kept: any bytes as a body.
#include "Foundation/Utf8.h"
#include "Harness/Chance.h"
#include "Harness/Check.h"
#include "Harness/References.h"
#include "Models/AuthModels.h"
#include "Services/APIClient.h"
#include "Services/KeychainService.h"
#include "Support/FakeCredentialStore.h"
#include "Support/FakeHttpTransport.h"
#include "Support/ManualClock.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tandrel::fuzz {
namespace {

/// The keys that a description may name; a value in it could be a token.
constexpr std::array<std::string_view, 15> knownKeys{
    "id",           "email",      "fullName",      "accountId",      "user",
    "user.id",      "user.email", "user.fullName", "user.accountId", "accessToken",
    "refreshToken", "sessionId",  "token",         "interviewId",    ""};

bool namesKnownKeysOnly(std::string_view description) {
    for (;;) {
        const std::size_t open = description.find('"');
        if (open == std::string_view::npos) {
            return true;
        }
        const std::size_t close = description.find('"', open + 1);
        const std::string_view name = description.substr(open + 1, close - open - 1);
        if (close == std::string_view::npos ||
            std::find(knownKeys.begin(), knownKeys.end(), name) == knownKeys.end()) {
            return false;
        }
        description.remove_prefix(close + 1);
    }
}

void checkFailure(std::string_view body, const std::string& description) {
    FUZZ_EXPECT(!description.empty() && description.size() <= 120);
    FUZZ_EXPECT(isHarmlessLine(description));
    FUZZ_EXPECT(namesKnownKeysOnly(description));
    if (description.starts_with("The answer is not valid JSON") ||
        description == "The answer is empty.") {
        FUZZ_EXPECT(!isJson(body));
    } else if (description != "The answer is nested too deeply." &&
               description != "An object of the answer holds the same key twice.") {
        // Those two are told as soon as they are seen; all else of the whole text.
        FUZZ_EXPECT(isJson(body));
    }
}

void checkTexts(const UserProfile& profile) {
    FUZZ_EXPECT(isUtf8(profile.id) && isUtf8(profile.email) && isUtf8(profile.accountId));
    FUZZ_EXPECT(!profile.fullName || isUtf8(*profile.fullName));
}
void checkTexts(const LoginResponse& response) {
    FUZZ_EXPECT(isUtf8(response.accessToken) && isUtf8(response.refreshToken));
    checkTexts(response.user);
}
void checkTexts(const TandrelSessionResponse& response) {
    FUZZ_EXPECT(isUtf8(response.sessionId) && isUtf8(response.token) &&
                isUtf8(response.interviewId));
}

template <typename Record>
void checkResult(std::string_view body, const Result<Record, DecodingError>& result) {
    if (result.ok()) {
        FUZZ_EXPECT(isJson(body));
        checkTexts(result.value());
    } else {
        checkFailure(body, result.error().description);
    }
}

/// What is written is read as it was, both as the kept profile and as an answer.
void checkKept(const UserProfile& profile) {
    const auto json = encode(profile);
    FUZZ_EXPECT(json.ok() && isJson(json.value()));
    const auto kept = decodeStoredProfile(json.value());
    FUZZ_EXPECT(kept.ok() && kept.value() == profile);
    const auto answered = decodeAnswer<UserProfile>(json.value());
    FUZZ_EXPECT(answered.ok() && answered.value() == profile);
}

void checkRecords(std::string_view body) {
    const auto kept = decodeStoredProfile(body);
    checkResult(body, kept);
    const auto answered = decodeAnswer<UserProfile>(body);
    checkResult(body, answered);
    checkResult(body, decodeAnswer<LoginResponse>(body));
    checkResult(body, decodeAnswer<TandrelSessionResponse>(body));
    if (kept.ok()) {
        checkKept(kept.value());
    }
    if (kept.ok() && answered.ok()) {
        // The kept form is the stricter one: what it reads the other reads alike.
        FUZZ_EXPECT(kept.value().id == answered.value().id);
        FUZZ_EXPECT(kept.value().email == answered.value().email);
        FUZZ_EXPECT(kept.value().accountId == answered.value().accountId);
        FUZZ_EXPECT(!kept.value().fullName || kept.value().fullName == answered.value().fullName);
    }
}

/// Any bytes as what the user typed, and as texts of a profile.
void checkEncoding(std::string_view bytes) {
    const std::string first(bytes.substr(0, bytes.size() / 2));
    const std::string second(bytes.substr(bytes.size() / 2));
    const bool isText = isUtf8(first) && isUtf8(second);
    const auto request = encode(LoginRequest{first, second});
    FUZZ_EXPECT(request.ok() == isText);
    if (!isText) {
        FUZZ_EXPECT(request.error().description == "The text is not valid UTF-8.");
        return;
    }
    FUZZ_EXPECT(isJson(request.value()));
    checkKept({first, second, std::nullopt, first});
    checkKept({second, first, first, second});
}

APIError errorOf(const Result<UserProfile, APIError>& outcome) {
    FUZZ_EXPECT(!outcome.ok());
    return outcome.error();
}

/// The body of an answer with `status`, all the way through the client.
void checkAnswer(int status, const std::string& body) {
    test::ManualClock clock;
    test::FakeCredentialStore credentials;
    KeychainService keychain(credentials);
    test::FakeHttpTransport transport;
    APIClient client("https://api.test", transport, keychain, clock);
    int signOuts = 0;
    client.onUnauthorized = [&signOuts] { ++signOuts; };
    std::optional<Result<UserProfile, APIError>> outcome;
    int completions = 0;
    const auto request = client.authenticatedGet<UserProfile>(
        "/api/auth/me", [&](Result<UserProfile, APIError> result) {
            outcome = std::move(result);
            ++completions;
        });
    transport.answer(status, body);
    FUZZ_EXPECT(completions == 1);
    FUZZ_EXPECT(signOuts == (status == 401 ? 1 : 0));
    if (status == 401) {
        FUZZ_EXPECT(errorOf(*outcome).isUnauthorized());
    } else if (status < 200 || status > 299) {
        // Whatever the body says.
        FUZZ_EXPECT(errorOf(*outcome) == APIError::httpError(status));
        FUZZ_EXPECT(errorOf(*outcome).errorDescription() == "HTTP error " + std::to_string(status));
    } else if (const auto record = decodeAnswer<UserProfile>(body); record.ok()) {
        FUZZ_EXPECT(outcome->ok() && outcome->value() == record.value());
    } else {
        FUZZ_EXPECT(errorOf(*outcome).errorDescription() ==
                    "Failed to parse response: " + record.error().description);
    }
}

} // namespace
} // namespace tandrel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tandrel::fuzz;
    const std::string_view body(reinterpret_cast<const char*>(data), size);
    FUZZ_EXPECT(tandrel::isValidUtf8(body) == isUtf8(body));
    checkRecords(body);
    checkEncoding(body);
    static constexpr std::array statuses{200, 204, 299, 300, 304, 400, 401, 404, 500, 503, 599};
    checkAnswer(statuses.at(Chance(body).below(statuses.size())), std::string(body));
    return 0;
}
