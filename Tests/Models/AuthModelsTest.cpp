#include "Models/AuthModels.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tandrel {
namespace {

using namespace std::string_view_literals;
using testing::HasSubstr;
using testing::Not;

constexpr std::string_view profileJson =
    R"({"id":"u1","email":"ann@example.com","full_name":"Ann Bee","account_id":"a1"})";
constexpr std::string_view sessionJson =
    R"({"session_id":"s1","token":"t.o-k","interview_id":"i1"})";

std::string loginJson() {
    return R"({"access_token":"AT","refresh_token":"RT","user":)" + std::string(profileJson) + "}";
}

/// Why `json` is refused; empty when it decodes.
template <typename Record>
std::string refusal(std::string_view json) {
    const auto result = decodeAnswer<Record>(json);
    return result.ok() ? std::string() : result.error().description;
}

std::string profileRefusal(std::string_view json) {
    return refusal<UserProfile>(json);
}

TEST(AuthModels, DecodesAProfileWithSnakeCaseKeys) {
    const auto result = decodeAnswer<UserProfile>(profileJson);
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.value(), (UserProfile{"u1", "ann@example.com", "Ann Bee", "a1"}));
}

TEST(AuthModels, DecodesAProfileWithCamelCaseKeys) {
    const auto result = decodeAnswer<UserProfile>(
        R"({"accountId":"a1","fullName":"Ann Bee","email":"ann@example.com","id":"u1"})");
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.value(), (UserProfile{"u1", "ann@example.com", "Ann Bee", "a1"}));
}

TEST(AuthModels, DecodesAProfileWithoutAFullNameOrWithNullInItsPlace) {
    for (const std::string_view json : {
             R"({"id":"u","email":"e","account_id":"a"})"sv,
             R"({"id":"u","email":"e","account_id":"a","full_name":null})"sv,
         }) {
        const auto result = decodeAnswer<UserProfile>(json);
        ASSERT_TRUE(result.ok()) << json;
        EXPECT_EQ(result.value().fullName, std::nullopt);
    }
}

TEST(AuthModels, DecodesASignInAnswerInBothSpellings) {
    for (const std::string& json :
         {loginJson(),
          R"({"accessToken":"AT","refreshToken":"RT","user":)" + std::string(profileJson) + "}"}) {
        const auto result = decodeAnswer<LoginResponse>(json);
        ASSERT_TRUE(result.ok()) << json;
        EXPECT_EQ(result.value().accessToken, "AT");
        EXPECT_EQ(result.value().refreshToken, "RT");
        EXPECT_EQ(result.value().user, (UserProfile{"u1", "ann@example.com", "Ann Bee", "a1"}));
    }
}

TEST(AuthModels, DecodesAPendingSessionInBothSpellings) {
    for (const std::string_view json :
         {sessionJson, R"({"sessionId":"s1","token":"t.o-k","interviewId":"i1"})"sv}) {
        const auto result = decodeAnswer<TandrelSessionResponse>(json);
        ASSERT_TRUE(result.ok()) << json;
        EXPECT_EQ(result.value().sessionId, "s1");
        EXPECT_EQ(result.value().token, "t.o-k");
        EXPECT_EQ(result.value().interviewId, "i1");
    }
}

TEST(AuthModels, ConvertsKeysWordByWordAndKeepsOuterUnderscores) {
    EXPECT_EQ(profileRefusal(R"({"id":"u","email":"e","ACCOUNT_ID":"a"})"), "");
    EXPECT_EQ(profileRefusal(R"({"id":"u","email":"e","account__id":"a"})"), "");
    for (const std::string_view key :
         {"_account_id"sv, "account_id_"sv, "accountid"sv, "AccountId"sv, "account-id"sv, "_"sv}) {
        EXPECT_EQ(profileRefusal(R"({"id":"u","email":"e",")" + std::string(key) + R"(":"a"})"),
                  R"(The key "accountId" is missing.)")
            << key;
    }
}

TEST(AuthModels, IgnoresUnknownKeysOfAnyKind) {
    const std::string extra = R"(,"x":1,"y":{"id":7,"z":[null,true,{"id":[]}]},"n":-1.5e3,"":""})";
    std::string profile(profileJson);
    profile.replace(profile.size() - 1, 1, extra);
    EXPECT_EQ(profileRefusal(profile), "");
    std::string session(sessionJson);
    session.replace(session.size() - 1, 1, extra);
    EXPECT_EQ(refusal<TandrelSessionResponse>(session), "");
    std::string login = loginJson();
    login.replace(login.size() - 1, 1, extra);
    EXPECT_EQ(refusal<LoginResponse>(login), "");
}

TEST(AuthModels, DecodesEscapesToUtf8) {
    const auto result = decodeAnswer<UserProfile>(
        "{\"id\":\"\\u0041\\n\",\"email\":\"\\ud83d\\ude00\",\"account_id\":\"\xc3\xa9\\/\"}");
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.value(), (UserProfile{"A\n", "\xf0\x9f\x98\x80", std::nullopt, "\xc3\xa9/"}));
}

TEST(AuthModels, NamesTheFirstKeyThatIsMissing) {
    EXPECT_EQ(profileRefusal("{}"), R"(The key "id" is missing.)");
    EXPECT_EQ(profileRefusal(R"({"id":"u","account_id":"a"})"), R"(The key "email" is missing.)");
    EXPECT_EQ(refusal<TandrelSessionResponse>(R"({"session_id":"s","token":"t"})"),
              R"(The key "interviewId" is missing.)");
    EXPECT_EQ(refusal<LoginResponse>(R"({"access_token":"a","refresh_token":"r"})"),
              R"(The key "user" is missing.)");
    EXPECT_EQ(refusal<LoginResponse>(
                  R"({"access_token":"a","refresh_token":"r","user":{"id":"u","email":"e"}})"),
              R"(The key "user.accountId" is missing.)");
}

TEST(AuthModels, RefusesEveryOtherTypeWhereAStringBelongs) {
    const struct {
        std::string_view value;
        std::string_view type;
    } cases[] = {{"7", "a number"},     {"-7", "a number"}, {"1.5", "a number"},
                 {"true", "a boolean"}, {"null", "null"},   {"[\"u\"]", "an array"},
                 {R"({})", "an object"}};
    for (const auto& [value, type] : cases) {
        EXPECT_EQ(
            profileRefusal(R"({"email":"e","account_id":"a","id":)" + std::string(value) + "}"),
            R"(The key "id" is )" + std::string(type) + " instead of a string.");
    }
    EXPECT_EQ(profileRefusal(R"({"id":"u","email":"e","account_id":"a","full_name":1})"),
              R"(The key "fullName" is a number instead of a string.)");
}

TEST(AuthModels, RefusesEveryOtherTypeWhereARecordBelongs) {
    EXPECT_EQ(profileRefusal("[]"), "The answer is an array instead of an object.");
    EXPECT_EQ(profileRefusal("null"), "The answer is null instead of an object.");
    EXPECT_EQ(profileRefusal(R"("text")"), "The answer is a string instead of an object.");
    EXPECT_EQ(refusal<LoginResponse>(R"({"access_token":"a","refresh_token":"r","user":null})"),
              R"(The key "user" is null instead of an object.)");
    EXPECT_EQ(refusal<LoginResponse>(R"({"access_token":"a","refresh_token":"r","user":"u"})"),
              R"(The key "user" is a string instead of an object.)");
}

TEST(AuthModels, RefusesAKeyThatIsThereTwice) {
    EXPECT_EQ(profileRefusal(R"({"id":"u","id":"u","email":"e","account_id":"a"})"),
              "An object of the answer holds the same key twice.");
    EXPECT_EQ(profileRefusal(R"({"id":"u","email":"e","account_id":"a","x":{"y":1,"y":2}})"),
              "An object of the answer holds the same key twice.");
    EXPECT_EQ(profileRefusal(R"({"id":"u","email":"e","account_id":"a","accountId":"b"})"),
              R"(The key "accountId" appears in two spellings.)");
    EXPECT_EQ(profileRefusal(R"({"id":"u","email":"e","account_id":"a","x":[{"y":1},{"y":2}]})"),
              "");
}

TEST(AuthModels, RefusesAnEmptyAnswer) {
    EXPECT_EQ(profileRefusal(""), "The answer is empty.");
    EXPECT_THAT(profileRefusal(" \r\n\t"), HasSubstr("not valid JSON"));
}

TEST(AuthModels, RefusesWhatIsNotJson) {
    for (const std::string_view text : {
             "garbage"sv,
             "{"sv,
             "}"sv,
             "<html></html>"sv,
             "{\"id\":}"sv,
             "{'id':'u'}"sv,
             "{\"id\":\"u\",}"sv,
             "{\"id\":\"u\"} x"sv,
             "{}{}"sv,
             "{\"id\":01}"sv,
             "{\"id\":NaN}"sv,
             "{\"id\":+1}"sv,
             "{\"id\":.5}"sv,
             "{\"id\":1e999}"sv,
             "// note\n{}"sv,
             "\0"sv,
             "{\"id\":\"u\"}\0"sv,
             "\0{\"id\":\"u\"}"sv,
             "{\"id\":\"a\nb\"}"sv,
             "{\"id\":\"a\0b\"}"sv,
             "{\"id\":\"\\x41\"}"sv,
             "{\"id\":\"\\u12\"}"sv,
             "{\"id\":\"\\ud800\"}"sv,
             "{\"id\":\"\\udc00\"}"sv,
             "{\"id\":\"\\ud800\\u0041\"}"sv,
             "{\"id\":\"\xff\"}"sv,
             "{\"id\":\"\xc3\"}"sv,
             "{\"id\":\"\xc0\xaf\"}"sv,
             "{\"id\":\"\xed\xa0\x80\"}"sv,
             "{\"\xff\":\"u\"}"sv,
         }) {
        EXPECT_THAT(profileRefusal(text), HasSubstr("The answer is not valid JSON (at byte "))
            << testing::PrintToString(text);
    }
}

TEST(AuthModels, RefusesEveryTruncation) {
    const std::string whole = loginJson();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_NE(refusal<LoginResponse>(std::string_view(whole).substr(0, length)), "") << length;
    }
    EXPECT_EQ(refusal<LoginResponse>(whole), "");
}

TEST(AuthModels, RefusesDeepNestingHoweverDeep) {
    const auto nested = [](std::size_t depth) {
        return R"({"id":"u","email":"e","account_id":"a","x":)" + std::string(depth, '[') +
               std::string(depth, ']') + "}";
    };
    EXPECT_EQ(profileRefusal(nested(31)), "");
    EXPECT_EQ(profileRefusal(nested(32)), "The answer is nested too deeply.");
    EXPECT_EQ(profileRefusal(nested(500'000)), "The answer is nested too deeply.");
    EXPECT_EQ(profileRefusal(std::string(1'000'000, '[')), "The answer is nested too deeply.");
    std::string objects;
    for (int level = 0; level < 100'000; ++level) {
        objects += "{\"a\":";
    }
    EXPECT_EQ(profileRefusal(objects), "The answer is nested too deeply.");
}

TEST(AuthModels, TellsNoValueAndNoUnknownKeyInItsTexts) {
    for (const std::string_view text : {
             R"({"id":"SECRET","email":"SECRET","account_id":7})"sv,
             R"({"id":"SECRET","SECRET":1,"SECRET":2})"sv,
             R"({"id":"SECRET)"sv,
             R"({"id":"u","email":"e","account_id":"a","x":SECRET})"sv,
             R"({"id":{"SECRET":"SECRET"}})"sv,
             R"(["SECRET"])"sv,
             R"("SECRET")"sv,
             R"({"id":"SECRET\ud800"})"sv,
         }) {
        const std::string description = profileRefusal(text);
        EXPECT_NE(description, "") << text;
        EXPECT_THAT(description, Not(HasSubstr("SECRET")));
    }
}

TEST(AuthModels, EncodesASignInWithItsFieldNames) {
    const auto result = encode(LoginRequest{"ann@example.com", " p\"a\\s\ns\xc3\xa9 "});
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.value(),
              "{\"email\":\"ann@example.com\",\"password\":\" p\\\"a\\\\s\\ns\xc3\xa9 \"}");
}

TEST(AuthModels, EncodesAProfileInTheOrderOfItsFields) {
    const auto result = encode(UserProfile{"u1", "e", "Ann", "a1"});
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.value(), R"({"id":"u1","email":"e","fullName":"Ann","accountId":"a1"})");
}

TEST(AuthModels, LeavesAnAbsentFullNameOutOfTheEncoding) {
    const auto answer = decodeAnswer<UserProfile>(R"({"id":"u","email":"e","account_id":"a"})");
    ASSERT_TRUE(answer.ok());
    const auto result = encode(answer.value());
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.value(), R"({"id":"u","email":"e","accountId":"a"})");
}

TEST(AuthModels, RefusesToEncodeTextThatIsNotUtf8) {
    const auto login = encode(LoginRequest{"e", "SECRET\xff"});
    ASSERT_FALSE(login.ok());
    EXPECT_EQ(login.error().description, "The text is not valid UTF-8.");
    EXPECT_FALSE(encode(UserProfile{"u", "e", "\xc3", "a"}).ok());
}

TEST(AuthModels, ReadsBackTheProfileItStored) {
    for (const UserProfile& profile :
         {UserProfile{"u1", "ann@example.com", "Ann \"Bee\" \xe2\x82\xac", "a1"},
          UserProfile{"", "", std::nullopt, ""}, UserProfile{"\n", "\\", "", "/"}}) {
        const auto stored = encode(profile);
        ASSERT_TRUE(stored.ok());
        const auto restored = decodeStoredProfile(stored.value());
        ASSERT_TRUE(restored.ok());
        EXPECT_EQ(restored.value(), profile);
    }
}

TEST(AuthModels, ReadsStoredProfilesWithoutKeyConversion) {
    EXPECT_FALSE(decodeStoredProfile(profileJson).ok());
    const auto result = decodeStoredProfile(
        R"({"id":"u","email":"e","accountId":"a","account_id":"other","full_name":"other"})");
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(result.value(), (UserProfile{"u", "e", std::nullopt, "a"}));
}

/// Changes one to four places of `text`: another byte, a byte more, a byte less, a piece twice, or
/// a piece of JSON put in.
std::string mutated(std::string text, std::mt19937& random) {
    static const std::vector<std::string> pieces = {"\"",      "{",        "}",    "[",      "]",
                                                    ":",       ",",        "null", "1e5",    "\\u",
                                                    "\\ud800", "\xf0\x9f", "_",    "\"id\":"};
    const auto below = [&random](std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
    };
    for (std::size_t changes = 1 + below(4); changes > 0 && !text.empty(); --changes) {
        const std::size_t place = below(text.size());
        switch (below(5)) {
        case 0:
            text[place] = static_cast<char>(below(256));
            break;
        case 1:
            text.insert(place, 1, static_cast<char>(below(256)));
            break;
        case 2:
            text.erase(place, 1 + below(3));
            break;
        case 3:
            text.insert(place, text.substr(below(text.size()), 1 + below(20)));
            break;
        default:
            text.insert(place, pieces[below(pieces.size())]);
        }
    }
    return text;
}

TEST(AuthModels, DecidesEveryMutationOfAValidAnswerTheSameTwice) {
    std::mt19937 random(20261120);
    const std::string original = loginJson();
    int accepted = 0;
    int refused = 0;
    for (int round = 0; round < 8'000; ++round) {
        const std::string text = mutated(original, random);
        const auto first = decodeAnswer<LoginResponse>(text);
        const auto second = decodeAnswer<LoginResponse>(std::string(text));
        ASSERT_EQ(first.ok(), second.ok()) << testing::PrintToString(text);
        if (first.ok()) {
            ++accepted;
            ASSERT_EQ(first.value().user, second.value().user);
            ASSERT_EQ(first.value().accessToken, second.value().accessToken);
            // What decodes is UTF-8, so it can be stored.
            ASSERT_TRUE(encode(first.value().user).ok()) << testing::PrintToString(text);
        } else {
            ++refused;
            ASSERT_EQ(first.error(), second.error());
            ASSERT_NE(first.error().description, "");
        }
    }
    // Both ways were taken often, or the loop proves nothing.
    EXPECT_GT(accepted, 200);
    EXPECT_GT(refused, 200);
}

} // namespace
} // namespace tandrel
