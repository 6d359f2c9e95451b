#include "Services/APIError.h"

#include <gtest/gtest.h>

namespace tandrel {
namespace {

TEST(APIError, DescribesEachCaseForUsers) {
    EXPECT_EQ(APIError::httpError(503).errorDescription(), "HTTP error 503");
    EXPECT_EQ(APIError::httpError(503, "Down for repairs").errorDescription(), "Down for repairs");
    EXPECT_EQ(APIError::httpError(503, "").errorDescription(), "");
    EXPECT_EQ(APIError::decodingError({"The answer is empty."}).errorDescription(),
              "Failed to parse response: The answer is empty.");
    EXPECT_EQ(APIError::networkError({TransportError::Kind::timedOut, "The request timed out."})
                  .errorDescription(),
              "The request timed out.");
    EXPECT_EQ(APIError::invalidURL().errorDescription(), "Invalid URL");
    EXPECT_EQ(APIError::unauthorized().errorDescription(), "Session expired. Please log in again.");
}

TEST(APIError, RendersCaseAndPayloadForTheLog) {
    EXPECT_EQ(APIError::httpError(404).rendering(), "httpError(statusCode: 404, message: nil)");
    EXPECT_EQ(APIError::httpError(404, "Not \"here\"").rendering(),
              R"(httpError(statusCode: 404, message: "Not \"here\""))");
    EXPECT_EQ(APIError::decodingError({"The answer is empty."}).rendering(),
              "decodingError(The answer is empty.)");
    EXPECT_EQ(APIError::networkError({TransportError::Kind::other, "No route."}).rendering(),
              "networkError(No route.)");
    EXPECT_EQ(APIError::invalidURL().rendering(), "invalidURL");
    EXPECT_EQ(APIError::unauthorized().rendering(), "unauthorized");
}

TEST(APIError, LaysItsCasesOutInAFixedOrder) {
    EXPECT_EQ(APIError::httpError(500).value().index(), 0U);
    EXPECT_EQ(APIError::decodingError({""}).value().index(), 1U);
    EXPECT_EQ(APIError::networkError({}).value().index(), 2U);
    EXPECT_EQ(APIError::invalidURL().value().index(), 3U);
    EXPECT_EQ(APIError::unauthorized().value().index(), 4U);
}

TEST(APIError, IsEqualByCaseAndPayload) {
    EXPECT_EQ(APIError::httpError(404), APIError::httpError(404));
    EXPECT_NE(APIError::httpError(404), APIError::httpError(405));
    EXPECT_NE(APIError::httpError(404), APIError::httpError(404, "x"));
    EXPECT_NE(APIError::invalidURL(), APIError::unauthorized());
    EXPECT_EQ(APIError::unauthorized(), APIError::unauthorized());
    EXPECT_TRUE(APIError::unauthorized().isUnauthorized());
    EXPECT_FALSE(APIError::httpError(401).isUnauthorized());
}

} // namespace
} // namespace tandrel
