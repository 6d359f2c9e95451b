#include "Support/Desktop/AccessibleApp.h"

#include "Support/WaitUntil.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QStringList>

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace tandrel::test {

namespace {

const QString accessible = QStringLiteral("org.a11y.atspi.Accessible");
const QString component = QStringLiteral("org.a11y.atspi.Component");
const QString action = QStringLiteral("org.a11y.atspi.Action");
const QString rootPath = QStringLiteral("/org/a11y/atspi/accessible/root");

/// The role's number in AT-SPI.
constexpr unsigned passwordText = 40;

/// An element's address: the program's name on the bus, and a path.
struct Address {
    QString service;
    QString path;
};

std::vector<Address> addresses(const QVariantList& answer) {
    std::vector<Address> all;
    if (answer.isEmpty()) {
        return all;
    }
    const auto argument = answer.front().value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        QString service;
        QDBusObjectPath path;
        argument.beginStructure();
        argument >> service >> path;
        argument.endStructure();
        all.push_back({service, path.path()});
    }
    argument.endArray();
    return all;
}

std::uint64_t states(const QVariantList& answer) {
    if (answer.isEmpty()) {
        return 0;
    }
    QList<uint> words;
    answer.front().value<QDBusArgument>() >> words;
    std::uint64_t all = 0;
    for (qsizetype index = std::min<qsizetype>(words.size(), 2); index-- > 0;) {
        all = (all << 32U) | words[index];
    }
    return all;
}

QString pathOf(const AccessibleElement& element) {
    return QString::fromStdString(element.path);
}

std::string wanted(const std::string& role, const std::string& name) {
    return role + " \"" + name + '"';
}

} // namespace

AccessibleApp::AccessibleApp(const std::string& address, pid_t process)
    : bus_(address)
    , process_(process) {}

bool AccessibleApp::locate() {
    if (!service_.isEmpty()) {
        return true;
    }
    const auto programs = addresses(bus_.call(QStringLiteral("org.a11y.atspi.Registry"), rootPath,
                                              accessible, QStringLiteral("GetChildren")));
    for (const Address& program : programs) {
        const QDBusReply<uint> pid = bus_.connection().interface()->servicePid(program.service);
        if (pid.isValid() && static_cast<pid_t>(pid.value()) == process_) {
            service_ = program.service;
            return true;
        }
    }
    return false;
}

QVariantList AccessibleApp::callAccessible(const QString& path, const QString& method) const {
    return bus_.call(service_, path, accessible, method);
}

std::string AccessibleApp::roleOf(const QString& path) const {
    const auto number = callAccessible(path, QStringLiteral("GetRole"));
    if (!number.isEmpty() && number.front().toUInt() == passwordText) {
        // By name, Qt 6.4 calls it a text like any other.
        return "password text";
    }
    const auto name = callAccessible(path, QStringLiteral("GetRoleName"));
    return name.isEmpty() ? std::string() : name.front().toString().toStdString();
}

void AccessibleApp::visit(const QString& path, int depth,
                          std::vector<AccessibleElement>& found) const {
    AccessibleElement element;
    element.path = path.toStdString();
    element.depth = depth;
    element.states = states(callAccessible(path, QStringLiteral("GetState")));
    if (depth > 0) {
        // Below something hidden nothing shows. The program itself has no such state.
        if (!element.has(AccessibleElement::State::showing)) {
            return;
        }
        element.role = roleOf(path);
        const auto property = [&](const QString& name) {
            return bus_.property(service_, path, accessible, name).toString().toStdString();
        };
        element.name = property(QStringLiteral("Name"));
        element.description = property(QStringLiteral("Description"));
        found.push_back(std::move(element));
    }
    for (const Address& child : addresses(callAccessible(path, QStringLiteral("GetChildren")))) {
        visit(child.path, depth + 1, found);
    }
}

std::vector<AccessibleElement> AccessibleApp::elements() {
    std::vector<AccessibleElement> found;
    if (locate()) {
        visit(rootPath, 0, found);
    }
    return found;
}

std::optional<AccessibleElement> AccessibleApp::find(const std::string& role,
                                                     const std::string& name) {
    for (AccessibleElement& element : elements()) {
        if (element.role == role && element.name == name) {
            return std::move(element);
        }
    }
    return std::nullopt;
}

bool AccessibleApp::showsName(const std::string& name) {
    const auto all = elements();
    return std::any_of(all.begin(), all.end(),
                       [&name](const auto& element) { return element.name == name; });
}

std::string AccessibleApp::nameStartingWith(const std::string& start) {
    for (const AccessibleElement& element : elements()) {
        if (element.name.starts_with(start)) {
            return element.name;
        }
    }
    return {};
}

AccessibleElement
AccessibleApp::awaitElement(const std::function<bool(const AccessibleElement&)>& isWanted,
                            const std::string& wanted, std::chrono::milliseconds limit) {
    std::optional<AccessibleElement> found;
    const auto looks = [&] {
        const auto all = elements();
        const auto element = std::find_if(all.begin(), all.end(), isWanted);
        if (element != all.end()) {
            found = *element;
        }
        return found.has_value();
    };
    if (!waitUntil(looks, limit)) {
        throw std::runtime_error("not there: " + wanted + "; what shows:\n" + describe());
    }
    return *found;
}

AccessibleElement AccessibleApp::await(const std::string& role, const std::string& name,
                                       std::chrono::milliseconds limit) {
    return awaitElement(
        [&](const auto& element) { return element.role == role && element.name == name; },
        wanted(role, name), limit);
}

AccessibleElement AccessibleApp::awaitEnabled(const std::string& role, const std::string& name,
                                              std::chrono::milliseconds limit) {
    return awaitElement(
        [&](const auto& element) {
            return element.role == role && element.name == name &&
                   element.has(AccessibleElement::State::enabled);
        },
        wanted(role, name) + ", enabled", limit);
}

AccessibleElement AccessibleApp::awaitName(const std::string& name,
                                           std::chrono::milliseconds limit) {
    return awaitElement([&](const auto& element) { return element.name == name; }, '"' + name + '"',
                        limit);
}

bool AccessibleApp::awaitGone(const std::string& role, const std::string& name,
                              std::chrono::milliseconds limit) {
    return waitUntil([&] { return !shows(role, name); }, limit);
}

void AccessibleApp::press(const std::string& role, const std::string& name) {
    const AccessibleElement element = awaitEnabled(role, name);
    const auto count = bus_.property(service_, pathOf(element), action, QStringLiteral("NActions"));
    for (int index = 0; index < count.toInt(); ++index) {
        const auto answer =
            bus_.call(service_, pathOf(element), action, QStringLiteral("GetName"), {index});
        if (!answer.isEmpty() && answer.front().toString() == QStringLiteral("Press")) {
            (void)bus_.call(service_, pathOf(element), action, QStringLiteral("DoAction"), {index});
            return;
        }
    }
    throw std::runtime_error("cannot be pressed: " + wanted(role, name));
}

void AccessibleApp::setText(const std::string& role, const std::string& name,
                            const std::string& text) {
    const auto answer = bus_.call(
        service_, pathOf(awaitEnabled(role, name)), QStringLiteral("org.a11y.atspi.EditableText"),
        QStringLiteral("SetTextContents"), {QString::fromStdString(text)});
    if (answer.isEmpty() || !answer.front().toBool()) {
        throw std::runtime_error("takes no text: " + wanted(role, name));
    }
}

void AccessibleApp::grabFocus(const AccessibleElement& element) {
    (void)bus_.call(service_, pathOf(element), component, QStringLiteral("GrabFocus"));
}

AccessibleElement::Rectangle AccessibleApp::extents(const AccessibleElement& element) const {
    AccessibleElement::Rectangle area;
    const auto answer =
        bus_.call(service_, pathOf(element), component, QStringLiteral("GetExtents"), {0U});
    if (!answer.isEmpty()) {
        const auto argument = answer.front().value<QDBusArgument>();
        argument.beginStructure();
        argument >> area.x >> area.y >> area.width >> area.height;
        argument.endStructure();
    }
    return area;
}

std::string AccessibleApp::text(const AccessibleElement& element) const {
    const auto answer = bus_.call(service_, pathOf(element), QStringLiteral("org.a11y.atspi.Text"),
                                  QStringLiteral("GetText"), {0, -1});
    return answer.isEmpty() ? std::string() : answer.front().toString().toStdString();
}

std::optional<double> AccessibleApp::value(const AccessibleElement& element) const {
    const QVariant answer =
        bus_.property(service_, pathOf(element), QStringLiteral("org.a11y.atspi.Value"),
                      QStringLiteral("CurrentValue"));
    return answer.isValid() ? std::optional(answer.toDouble()) : std::nullopt;
}

std::vector<std::string> AccessibleApp::interfaces(const AccessibleElement& element) const {
    std::vector<std::string> names;
    const auto answer = callAccessible(pathOf(element), QStringLiteral("GetInterfaces"));
    if (!answer.isEmpty()) {
        for (const QString& name : answer.front().toStringList()) {
            names.push_back(name.toStdString());
        }
    }
    return names;
}

std::optional<AccessibleElement> AccessibleApp::focused() {
    std::optional<AccessibleElement> innermost;
    for (AccessibleElement& element : elements()) {
        if (element.has(AccessibleElement::State::focused)) {
            innermost = std::move(element);
        }
    }
    return innermost;
}

std::chrono::microseconds AccessibleApp::roundTrip(std::chrono::milliseconds limit) {
    locate();
    const auto start = std::chrono::steady_clock::now();
    const QVariant answer =
        bus_.property(service_, rootPath, accessible, QStringLiteral("Name"), limit);
    // The bus itself answers at once for a program that has gone.
    return answer.isValid() ? std::chrono::duration_cast<std::chrono::microseconds>(
                                  std::chrono::steady_clock::now() - start)
                            : limit;
}

std::string AccessibleApp::describe() {
    std::ostringstream text;
    for (const AccessibleElement& element : elements()) {
        text << std::string(static_cast<std::size_t>(element.depth) * 2, ' ')
             << wanted(element.role, element.name);
        if (!element.description.empty()) {
            text << " (" << element.description << ')';
        }
        if (!element.has(AccessibleElement::State::enabled)) {
            text << " disabled";
        }
        if (element.has(AccessibleElement::State::focused)) {
            text << " focused";
        }
        text << '\n';
    }
    return text.str();
}

} // namespace tandrel::test
