#include "Harness/References.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace tandrel::fuzz {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The control characters and ends of lines beyond ASCII, in UTF-8.
const std::vector<std::string>& controls() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> list{"\u2028", "\u2029"};
        for (int last = 0x80; last <= 0x9f; ++last) {
            list.push_back({'\xc2', static_cast<char>(last)});
        }
        return list;
    }();
    return all;
}

/// Recursive descent over RFC 8259's grammar.
class JsonRecognizer {
public:
    explicit JsonRecognizer(std::string_view text)
        : text_(text) {}

    bool run() {
        (void)take("\xef\xbb\xbf");
        return element() && text_.empty();
    }

private:
    bool take(std::string_view token) {
        if (!text_.starts_with(token)) {
            return false;
        }
        text_.remove_prefix(token.size());
        return true;
    }

    void skipSpace() {
        while (take(" ") || take("\t") || take("\n") || take("\r")) {
        }
    }

    bool element() {
        skipSpace();
        const bool isValue = value();
        skipSpace();
        return isValue;
    }

    bool value() {
        if (text_.starts_with('{')) {
            return nested([this] { return object(); });
        }
        if (text_.starts_with('[')) {
            return nested([this] { return array(); });
        }
        if (text_.starts_with('"')) {
            return string();
        }
        return take("true") || take("false") || take("null") || number();
    }

    template <typename Container>
    bool nested(Container container) {
        static constexpr int deepest = 500;
        const bool isValid = ++depth_ <= deepest && container();
        --depth_;
        return isValid;
    }

    bool object() {
        (void)take("{");
        skipSpace();
        if (take("}")) {
            return true;
        }
        do {
            skipSpace();
            if (!string()) {
                return false;
            }
            skipSpace();
            if (!take(":") || !element()) {
                return false;
            }
        } while (take(","));
        return take("}");
    }

    bool array() {
        (void)take("[");
        skipSpace();
        if (take("]")) {
            return true;
        }
        do {
            if (!element()) {
                return false;
            }
        } while (take(","));
        return take("]");
    }

    bool string() {
        if (!take("\"")) {
            return false;
        }
        while (!text_.empty() && text_.front() != '"') {
            if (static_cast<unsigned char>(text_.front()) < 0x20) {
                return false;
            }
            if (text_.front() != '\\') {
                text_.remove_prefix(1);
            } else if (!escape()) {
                return false;
            }
        }
        return take("\"");
    }

    bool escape() {
        text_.remove_prefix(1);
        if (!text_.starts_with('u')) {
            const bool isKnown =
                !text_.empty() &&
                std::string_view("\"\\/bfnrt").find(text_.front()) != std::string_view::npos;
            text_.remove_prefix(isKnown ? 1 : 0);
            return isKnown;
        }
        const long first = codeUnit();
        if (first < 0xd800 || first > 0xdfff) {
            return first >= 0;
        }
        if (first > 0xdbff || !take("\\")) {
            return false;
        }
        const long second = codeUnit();
        return second >= 0xdc00 && second <= 0xdfff;
    }

    /// Of "uXXXX"; -1 for anything else.
    long codeUnit() {
        if (!take("u") || text_.size() < 4) {
            return -1;
        }
        const std::string digits(text_.substr(0, 4));
        if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            return -1;
        }
        text_.remove_prefix(4);
        return std::strtol(digits.c_str(), nullptr, 16);
    }

    bool number() {
        const std::string_view start = text_;
        (void)take("-");
        if (!take("0") && !digits()) {
            return false;
        }
        if (take(".") && !digits()) {
            return false;
        }
        if (take("e") || take("E")) {
            (void)(take("+") || take("-"));
            if (!digits()) {
                return false;
            }
        }
        const std::string token(start.substr(0, start.size() - text_.size()));
        return std::isfinite(std::strtod(token.c_str(), nullptr));
    }

    bool digits() {
        const std::size_t count = std::min(text_.find_first_not_of("0123456789"), text_.size());
        const bool startsWithDigit = !text_.empty() && isDigit(text_.front());
        text_.remove_prefix(startsWithDigit ? count : 0);
        return startsWithDigit;
    }

    std::string_view text_;
    int depth_ = 0;
};

} // namespace

bool decodeUtf8(std::string_view bytes, std::vector<char32_t>& codePoints) {
    static constexpr char32_t least[] = {0, 0x80, 0x800, 0x10000};
    for (std::size_t at = 0; at < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[at++]);
        std::size_t more = 0;
        char32_t point = lead;
        if (lead >= 0xf8 || (lead >= 0x80 && lead < 0xc0)) {
            return false;
        }
        if (lead >= 0xc0) {
            more = lead >= 0xf0 ? 3 : lead >= 0xe0 ? 2 : 1;
            point = lead & (0x3fU >> more);
        }
        for (std::size_t count = 0; count < more; ++count, ++at) {
            if (at == bytes.size() || (static_cast<unsigned char>(bytes[at]) >> 6U) != 2) {
                return false;
            }
            point = (point << 6U) | (static_cast<unsigned char>(bytes[at]) & 0x3fU);
        }
        const bool isSurrogate = point >= 0xd800 && point <= 0xdfff;
        if (point < least[more] || isSurrogate || point > 0x10ffff) {
            return false;
        }
        codePoints.push_back(point);
    }
    return true;
}

bool isJson(std::string_view text) {
    return isUtf8(text) && JsonRecognizer(text).run();
}

bool isHarmlessLine(std::string_view text) {
    std::vector<char32_t> points;
    if (decodeUtf8(text, points)) {
        return std::none_of(points.begin(), points.end(), [](char32_t point) {
            const bool isControl = point < 0x20 || (point >= 0x7f && point <= 0x9f);
            return isControl || point == 0x2028 || point == 0x2029;
        });
    }
    // What is not UTF-8 may hold characters that are.
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; }) &&
           std::none_of(controls().begin(), controls().end(), [text](const std::string& control) {
               return text.find(control) != std::string_view::npos;
           });
}

} // namespace tandrel::fuzz
