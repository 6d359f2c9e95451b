#include "Platform/Qt/AppcastReader.h"

#include <QByteArray>
#include <QString>
#include <QXmlStreamReader>

#include <algorithm>
#include <charconv>
#include <optional>

namespace tandrel {

namespace {

constexpr QLatin1String ownNamespace("https://www.quorvane.example/ns/update");

bool isVersionCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           std::string_view(".-+~_").find(c) != std::string_view::npos;
}

bool isVersion(std::string_view text) {
    return !text.empty() && text.size() <= appcast::maxVersionLength &&
           std::all_of(text.begin(), text.end(), isVersionCharacter);
}

std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isWhole = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
    return isWhole ? std::optional(value) : std::nullopt;
}

class Reader {
public:
    explicit Reader(std::string_view bytes)
        : xml_(QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()))) {}

    Result<Appcast, std::string> read() {
        readDocument();
        if (xml_.hasError()) {
            return why();
        }
        return std::move(appcast_);
    }

private:
    [[nodiscard]] std::string why() const {
        const bool isOurs = xml_.error() == QXmlStreamReader::CustomError;
        return (isOurs ? xml_.errorString() : QStringLiteral("it is not well-formed"))
                   .toStdString() +
               " (line " + std::to_string(xml_.lineNumber()) + ")";
    }

    void refuse(const char* reason) {
        // The first reason is the one to tell.
        if (!xml_.hasError()) {
            xml_.raiseError(QString::fromUtf8(reason));
        }
    }

    void readDocument() {
        while (!xml_.atEnd()) {
            switch (xml_.readNext()) {
            case QXmlStreamReader::DTD:
                refuse("it declares a document type");
                break;
            case QXmlStreamReader::StartElement:
                readRoot();
                break;
            default:
                break;
            }
        }
    }

    void readRoot() {
        if (xml_.name() != QLatin1String("rss")) {
            refuse("it is not an RSS feed");
            return;
        }
        bool hasChannel = false;
        while (xml_.readNextStartElement()) {
            if (isPlain("channel")) {
                hasChannel = true;
                readChannel();
            } else {
                xml_.skipCurrentElement();
            }
        }
        if (!hasChannel) {
            refuse("it has no channel");
        }
    }

    void readChannel() {
        while (xml_.readNextStartElement()) {
            if (!isPlain("item")) {
                xml_.skipCurrentElement();
            } else if (appcast_.size() == appcast::maxItems) {
                refuse("it has too many items");
            } else {
                readItem();
            }
        }
    }

    void readItem() {
        AppcastItem item;
        while (xml_.readNextStartElement()) {
            readPart(item);
        }
        if (item.version.empty()) {
            refuse("an item has no version");
        } else if (item.packageURL.empty()) {
            refuse("an item has no package");
        }
        appcast_.push_back(std::move(item));
    }

    void readPart(AppcastItem& item) {
        if (isPlain("enclosure")) {
            readPackage(item);
        } else if (isPlain("description")) {
            item.notes = cut(text());
        } else if (isOwn("version")) {
            readVersion(item.version);
        } else if (isOwn("minimumSystemVersion")) {
            readVersion(item.minimumSystemVersion);
        } else if (isOwn("releaseNotesLink")) {
            item.releaseNotesLink = text();
        } else if (isOwn("signature")) {
            readSignature(item);
        } else {
            xml_.skipCurrentElement();
        }
    }

    void readVersion(std::string& version) {
        if (!version.empty()) {
            refuse("an item has two versions");
            return;
        }
        version = text();
        if (!isVersion(version)) {
            refuse("a version is not valid");
        }
    }

    void readPackage(AppcastItem& item) {
        if (!item.packageURL.empty()) {
            refuse("an item has two packages");
            return;
        }
        const QXmlStreamAttributes attributes = xml_.attributes();
        item.packageURL = attributes.value(QLatin1String("url")).toUtf8().toStdString();
        const auto length =
            number(attributes.value(QLatin1String("length")).toUtf8().toStdString());
        if (item.packageURL.empty()) {
            refuse("a package has no address");
        } else if (!length || *length == 0 || *length > appcast::maxPackageLength) {
            refuse("the length of a package is not valid");
        }
        item.packageLength = length.value_or(0);
        xml_.skipCurrentElement();
    }

    void readSignature(AppcastItem& item) {
        if (item.signatures.size() == appcast::maxSignatures) {
            refuse("an item has too many signatures");
            return;
        }
        item.signatures.push_back(text());
    }

    [[nodiscard]] bool isPlain(const char* name) const {
        return xml_.namespaceUri().isEmpty() && xml_.name() == QLatin1String(name);
    }
    [[nodiscard]] bool isOwn(const char* name) const {
        return xml_.namespaceUri() == ownNamespace && xml_.name() == QLatin1String(name);
    }
    [[nodiscard]] std::string text() { return xml_.readElementText().trimmed().toStdString(); }

    /// At most so many bytes, of whole characters.
    static std::string cut(std::string notes) {
        std::size_t end = std::min(notes.size(), appcast::maxNotesLength);
        while (end > 0 && end < notes.size() &&
               (static_cast<unsigned char>(notes[end]) & 0xc0U) == 0x80U) {
            --end;
        }
        notes.resize(end);
        return notes;
    }

    QXmlStreamReader xml_;
    Appcast appcast_;
};

} // namespace

Result<Appcast, std::string> readAppcast(std::string_view bytes) {
    return Reader(bytes).read();
}

} // namespace tandrel
