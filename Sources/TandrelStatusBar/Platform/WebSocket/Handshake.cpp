#include "Platform/WebSocket/Handshake.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace tandrel {

namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view headersEnd = "\r\n\r\n";
constexpr std::string_view notAnUpgrade = "The server's answer is not a WebSocket upgrade.";
constexpr std::string_view tooLong = "The server's answer is too long.";

char lowered(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool equalIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return lowered(a) == lowered(b); });
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// Cuts off and returns what stands before the next `separator`, or all that is left.
std::string_view takeUntil(std::string_view& text, std::string_view separator) {
    const std::size_t end = text.find(separator);
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + separator.size());
    return part;
}

/// Whether `list`, separated by commas, has `token`: "keep-alive, Upgrade" has "upgrade".
bool listHas(std::string_view list, std::string_view token) {
    while (!list.empty()) {
        if (equalIgnoringCase(trimmed(takeUntil(list, ",")), token)) {
            return true;
        }
    }
    return false;
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// "HTTP/1.1 101", with 101 standing for any status.
bool isStatusLine(std::string_view line) {
    return line.size() >= 12 && line.starts_with("HTTP/1.1 ") &&
           std::all_of(line.begin() + 9, line.begin() + 12, isDigit) &&
           (line.size() == 12 || line[12] == ' ');
}

} // namespace

std::string makeHandshakeKey() {
    std::array<std::uint32_t, 4> random{};
    QRandomGenerator::system()->fillRange(random.data(), static_cast<qsizetype>(random.size()));
    QByteArray bytes;
    for (const std::uint32_t word : random) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            bytes.append(static_cast<char>((word >> shift) & 0xffU));
        }
    }
    return bytes.toBase64().toStdString();
}

std::string acceptFor(const std::string& key) {
    const std::string text = key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    return QCryptographicHash::hash(QByteArray::fromStdString(text), QCryptographicHash::Sha1)
        .toBase64()
        .toStdString();
}

std::string makeUpgradeRequest(const WebSocketUrl& url, const std::string& key) {
    return "GET " + url.target + " HTTP/1.1\r\n" + //
           "Host: " + url.hostHeader + "\r\n" +    //
           "Upgrade: websocket\r\n" +              //
           "Connection: Upgrade\r\n" +             //
           "Sec-WebSocket-Key: " + key + "\r\n" +  //
           "Sec-WebSocket-Version: 13\r\n" + "\r\n";
}

UpgradeReply::UpgradeReply(std::string expectedAccept, std::size_t limit)
    : expectedAccept_(std::move(expectedAccept))
    , limit_(limit) {}

UpgradeReply::Verdict UpgradeReply::feed(std::string_view bytes) {
    if (verdict_ == Verdict::incomplete) {
        received_ += bytes;
        verdict_ = judge();
    }
    return verdict_;
}

UpgradeReply::Verdict UpgradeReply::judge() {
    const Verdict statusLine = judgeStatusLine();
    if (statusLine != Verdict::accepted) {
        return statusLine;
    }
    const std::size_t end = received_.find(headersEnd);
    if (endsBeyondLimit(end, headersEnd)) {
        return refuse(std::string(tooLong));
    }
    if (end == std::string::npos) {
        return Verdict::incomplete;
    }
    rest_ = received_.substr(end + headersEnd.size());
    const std::size_t firstHeader = received_.find(lineEnd) + lineEnd.size();
    if (firstHeader > end) {
        return refuse(std::string(notAnUpgrade));
    }
    return judgeHeaders(std::string_view(received_).substr(firstHeader, end - firstHeader));
}

UpgradeReply::Verdict UpgradeReply::judgeStatusLine() {
    // Garbage is refused at once, not after 16 KiB of it or at the end of the time.
    static constexpr std::string_view start = "HTTP/1.1 ";
    const std::size_t known = std::min(start.size(), received_.size());
    if (received_.compare(0, known, start, 0, known) != 0) {
        return refuse(std::string(notAnUpgrade));
    }
    const std::size_t end = received_.find(lineEnd);
    if (endsBeyondLimit(end, lineEnd)) {
        return refuse(std::string(tooLong));
    }
    if (end == std::string::npos) {
        return Verdict::incomplete;
    }
    const std::string_view line = std::string_view(received_).substr(0, end);
    if (!isStatusLine(line)) {
        return refuse(std::string(notAnUpgrade));
    }
    const std::string_view status = line.substr(9, 3);
    if (status != "101") {
        return refuse("The server refused the stream (HTTP status " + std::string(status) + ").");
    }
    return Verdict::accepted;
}

UpgradeReply::Verdict UpgradeReply::judgeHeaders(std::string_view headers) {
    bool upgrades = false;
    bool connectionUpgrades = false;
    int accepts = 0;
    bool acceptMatches = true;
    bool unasked = false;
    while (!headers.empty()) {
        std::string_view value = takeUntil(headers, lineEnd);
        const std::string_view name = takeUntil(value, ":");
        value = trimmed(value);
        if (equalIgnoringCase(name, "Upgrade")) {
            upgrades = upgrades || listHas(value, "websocket");
        } else if (equalIgnoringCase(name, "Connection")) {
            connectionUpgrades = connectionUpgrades || listHas(value, "upgrade");
        } else if (equalIgnoringCase(name, "Sec-WebSocket-Accept")) {
            ++accepts;
            acceptMatches = acceptMatches && value == expectedAccept_;
        } else if (equalIgnoringCase(name, "Sec-WebSocket-Extensions") ||
                   equalIgnoringCase(name, "Sec-WebSocket-Protocol")) {
            unasked = unasked || !value.empty();
        }
    }
    if (!upgrades || !connectionUpgrades || accepts != 1 || !acceptMatches) {
        return refuse(std::string(notAnUpgrade));
    }
    if (unasked) {
        return refuse("The server wants a WebSocket extension or protocol that was not offered.");
    }
    return Verdict::accepted;
}

bool UpgradeReply::endsBeyondLimit(std::size_t end, std::string_view terminator) const {
    // Not found yet: it may be half there, so the verdict waits until it can only be too late.
    return end == std::string::npos ? received_.size() >= limit_ + terminator.size() : end > limit_;
}

UpgradeReply::Verdict UpgradeReply::refuse(std::string reason) {
    reason_ = std::move(reason);
    rest_.clear();
    return Verdict::refused;
}

} // namespace tandrel
