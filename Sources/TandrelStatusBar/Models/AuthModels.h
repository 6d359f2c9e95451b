#pragma once

#include "Foundation/Result.h"

#include <optional>
#include <string>
#include <string_view>

namespace tandrel {

/// Who is signed in.
struct UserProfile {
    std::string id;
    std::string email;
    std::optional<std::string> fullName;
    std::string accountId;

    friend bool operator==(const UserProfile&, const UserProfile&) = default;
};

/// Body of the sign-in request.
struct LoginRequest {
    std::string email;
    std::string password;
};

/// Answer to the sign-in request.
struct LoginResponse {
    std::string accessToken;
    std::string refreshToken;
    UserProfile user;
};

/// A live session that waits for its stream.
struct TandrelSessionResponse {
    std::string sessionId;
    /// Goes into the stream's URL.
    std::string token;
    std::string interviewId;
};

/// Why a JSON text is not the record that was asked for. `description` is for people; it names
/// keys and types, never values.
struct DecodingError {
    std::string description;

    friend bool operator==(const DecodingError&, const DecodingError&) = default;
};

/// Why a record could not be written as JSON (a string that is not UTF-8).
struct EncodingError {
    std::string description;
};

/// Decodes an answer of the backend: strict JSON (RFC 8259), keys in snake_case or camelCase,
/// unknown keys ignored. Defined for `UserProfile`, `LoginResponse` and `TandrelSessionResponse`.
template <typename Record>
[[nodiscard]] Result<Record, DecodingError> decodeAnswer(std::string_view json);

/// Encodes a record with its field names as they stand; an absent optional is left out. Defined
/// for `LoginRequest` and `UserProfile`.
template <typename Record>
[[nodiscard]] Result<std::string, EncodingError> encode(const Record& record);

/// Decodes what `encode(const UserProfile&)` wrote: field names as they stand, no other form.
[[nodiscard]] Result<UserProfile, DecodingError> decodeStoredProfile(std::string_view json);

template <>
Result<UserProfile, DecodingError> decodeAnswer<UserProfile>(std::string_view json);
template <>
Result<LoginResponse, DecodingError> decodeAnswer<LoginResponse>(std::string_view json);
template <>
Result<TandrelSessionResponse, DecodingError>
decodeAnswer<TandrelSessionResponse>(std::string_view json);
template <>
Result<std::string, EncodingError> encode<LoginRequest>(const LoginRequest& record);
template <>
Result<std::string, EncodingError> encode<UserProfile>(const UserProfile& record);

} // namespace tandrel
