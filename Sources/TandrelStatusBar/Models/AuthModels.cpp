#include "Models/AuthModels.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <set>
#include <utility>
#include <vector>

namespace tandrel {

namespace {

using Json = nlohmann::json;

/// Deep enough for any record with room for keys to come; shallow enough that no answer can use
/// the nesting against us.
constexpr std::size_t maxDepth = 32;

/// Reads a whole JSON text without storing it, to find what the parser itself lets pass.
class StructureCheck : public nlohmann::json_sax<Json> {
public:
    /// What is wrong with the text; absent when nothing is.
    [[nodiscard]] static std::optional<std::string> run(std::string_view json) {
        if (json.empty()) {
            return "The answer is empty.";
        }
        StructureCheck check;
        // The parser takes a NUL between two tokens for the end of the text.
        if (const std::size_t nul = json.find('\0'); nul != std::string_view::npos) {
            check.failAt(nul + 1);
            return check.failure_;
        }
        Json::sax_parse(json.begin(), json.end(), &check);
        return check.failure_;
    }

    bool null() override { return true; }
    bool boolean(bool /*value*/) override { return true; }
    bool number_integer(number_integer_t /*value*/) override { return true; }
    bool number_unsigned(number_unsigned_t /*value*/) override { return true; }
    bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return true; }
    bool string(string_t& /*value*/) override { return true; }
    bool binary(binary_t& /*value*/) override { return true; }
    bool start_object(std::size_t /*size*/) override { return enter(); }
    bool end_object() override { return leave(); }
    bool start_array(std::size_t /*size*/) override { return enter(); }
    bool end_array() override { return leave(); }

    bool key(string_t& name) override {
        if (!keys_.back().insert(std::move(name)).second) {
            return fail("An object of the answer holds the same key twice.");
        }
        return true;
    }

    // The library's own message quotes the text around the error, which may hold a token.
    bool parse_error(std::size_t position, const std::string& /*lastToken*/,
                     const nlohmann::detail::exception& /*error*/) override {
        return failAt(position);
    }

private:
    bool enter() {
        keys_.emplace_back();
        return keys_.size() <= maxDepth || fail("The answer is nested too deeply.");
    }

    bool leave() {
        keys_.pop_back();
        return true;
    }

    bool failAt(std::size_t position) {
        return fail("The answer is not valid JSON (at byte " + std::to_string(position) + ").");
    }

    bool fail(std::string reason) {
        failure_ = std::move(reason);
        return false;
    }

    /// The keys seen so far of each object and array that is open.
    std::vector<std::set<std::string>> keys_;
    std::optional<std::string> failure_;
};

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char raised(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

/// "full_name" becomes "fullName". A key without underscores is taken as it is; leading and
/// trailing ones stay, so that "_id" is not "id".
std::string camelCase(const std::string& key) {
    const std::size_t first = key.find_first_not_of('_');
    const std::size_t last = key.find_last_not_of('_');
    if (first == std::string::npos || key.find('_', first) >= last) {
        return key;
    }
    std::string result = key.substr(0, first);
    bool startsWord = false;
    for (std::size_t index = first; index <= last; ++index) {
        if (key[index] == '_') {
            startsWord = true;
        } else {
            result += startsWord ? raised(key[index]) : lowered(key[index]);
            startsWord = false;
        }
    }
    return result + key.substr(last + 1);
}

enum class Keys { asTheyStand, snakeOrCamelCase };

/// Reads the fields of one record. The first failure stays; what is read after it is empty.
class RecordReader {
public:
    RecordReader(const Json& value, Keys keys, std::string path, std::string& failure)
        : value_(value)
        , keys_(keys)
        , path_(std::move(path))
        , failure_(failure) {
        if (!value_.is_object()) {
            fail((path_.empty() ? std::string("The answer") : "The key " + quoted("")) + " is " +
                 typeName(value_) + " instead of an object.");
        }
    }

    [[nodiscard]] std::string string(const std::string& name) const {
        const Json* const value = required(name);
        return value != nullptr ? text(*value, name) : std::string();
    }

    [[nodiscard]] std::optional<std::string> optionalString(const std::string& name) const {
        const Json* const value = find(name);
        if (value == nullptr || value->is_null()) {
            return std::nullopt;
        }
        return text(*value, name);
    }

    [[nodiscard]] RecordReader record(const std::string& name) const {
        static const Json nothing = Json::object();
        const Json* const value = required(name);
        return {value != nullptr ? *value : nothing, keys_, path_ + name + ".", failure_};
    }

private:
    [[nodiscard]] const Json* required(const std::string& name) const {
        const Json* const value = find(name);
        if (value == nullptr) {
            fail("The key " + quoted(name) + " is missing.");
        }
        return value;
    }

    [[nodiscard]] const Json* find(const std::string& name) const {
        if (!value_.is_object()) {
            return nullptr;
        }
        const Json* found = nullptr;
        for (const auto& [key, value] : value_.items()) {
            if (key != name && (keys_ == Keys::asTheyStand || camelCase(key) != name)) {
                continue;
            }
            if (found != nullptr) {
                fail("The key " + quoted(name) + " appears in two spellings.");
            }
            found = &value;
        }
        return found;
    }

    [[nodiscard]] std::string text(const Json& value, const std::string& name) const {
        const auto* const string = value.get_ptr<const std::string*>();
        if (string == nullptr) {
            fail("The key " + quoted(name) + " is " + typeName(value) + " instead of a string.");
            return {};
        }
        return *string;
    }

    [[nodiscard]] std::string quoted(const std::string& name) const {
        std::string whole = path_ + name;
        if (whole.ends_with('.')) {
            whole.pop_back();
        }
        return '"' + whole + '"';
    }

    [[nodiscard]] static std::string typeName(const Json& value) {
        if (value.is_null()) {
            return "null";
        }
        return (value.is_array() || value.is_object() ? "an " : "a ") +
               std::string(value.type_name());
    }

    void fail(std::string reason) const {
        if (failure_.empty()) {
            failure_ = std::move(reason);
        }
    }

    const Json& value_;
    Keys keys_;
    /// Where this record stands, as "user."; empty for the outermost.
    std::string path_;
    std::string& failure_;
};

// Braced initialisation reads the fields in the order they are written in.
void read(const RecordReader& reader, UserProfile& profile) {
    profile = {reader.string("id"), reader.string("email"), reader.optionalString("fullName"),
               reader.string("accountId")};
}

void read(const RecordReader& reader, LoginResponse& response) {
    response.accessToken = reader.string("accessToken");
    response.refreshToken = reader.string("refreshToken");
    read(reader.record("user"), response.user);
}

void read(const RecordReader& reader, TandrelSessionResponse& response) {
    response = {reader.string("sessionId"), reader.string("token"), reader.string("interviewId")};
}

template <typename Record>
Result<Record, DecodingError> decode(std::string_view json, Keys keys) {
    if (auto failure = StructureCheck::run(json)) {
        return DecodingError{std::move(*failure)};
    }
    const Json value = Json::parse(json.begin(), json.end(), nullptr, /*allow_exceptions=*/false);
    std::string failure;
    Record record;
    read(RecordReader(value, keys, "", failure), record);
    if (!failure.empty()) {
        return DecodingError{std::move(failure)};
    }
    return record;
}

Result<std::string, EncodingError> dump(const nlohmann::ordered_json& value) {
    try {
        return value.dump();
    } catch (const nlohmann::json::exception&) {
        // Its own text quotes the string.
        return EncodingError{"The text is not valid UTF-8."};
    }
}

} // namespace

template <>
Result<UserProfile, DecodingError> decodeAnswer<UserProfile>(std::string_view json) {
    return decode<UserProfile>(json, Keys::snakeOrCamelCase);
}

template <>
Result<LoginResponse, DecodingError> decodeAnswer<LoginResponse>(std::string_view json) {
    return decode<LoginResponse>(json, Keys::snakeOrCamelCase);
}

template <>
Result<TandrelSessionResponse, DecodingError>
decodeAnswer<TandrelSessionResponse>(std::string_view json) {
    return decode<TandrelSessionResponse>(json, Keys::snakeOrCamelCase);
}

Result<UserProfile, DecodingError> decodeStoredProfile(std::string_view json) {
    return decode<UserProfile>(json, Keys::asTheyStand);
}

template <>
Result<std::string, EncodingError> encode<LoginRequest>(const LoginRequest& record) {
    return dump({{"email", record.email}, {"password", record.password}});
}

template <>
Result<std::string, EncodingError> encode<UserProfile>(const UserProfile& record) {
    nlohmann::ordered_json value{{"id", record.id}, {"email", record.email}};
    if (record.fullName) {
        value["fullName"] = *record.fullName;
    }
    value["accountId"] = record.accountId;
    return dump(value);
}

} // namespace tandrel
