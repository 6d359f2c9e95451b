#include "Platform/Desktop/ManagerSelections.h"

#include <QSocketNotifier>

#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

namespace tandrel {

namespace {

struct Freed {
    void operator()(void* memory) const { std::free(memory); }
};

template <typename T>
using Reply = std::unique_ptr<T, Freed>;

struct Disconnected {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

} // namespace

class ManagerSelections::Connection {
public:
    /// Null when there is no X server.
    static std::unique_ptr<Connection> open(const std::vector<std::string>& names) {
        auto connection = std::make_unique<Connection>();
        return connection->start(names) ? std::move(connection) : nullptr;
    }

    [[nodiscard]] int descriptor() const { return xcb_get_file_descriptor(xcb_.get()); }

    [[nodiscard]] bool isBroken() const { return xcb_connection_has_error(xcb_.get()) != 0; }

    [[nodiscard]] bool isOwned(const std::string& name) const {
        const auto found = selections_.find(name);
        return found != selections_.end() && found->second.owner != XCB_NONE;
    }

    /// Reads what has come; whether some selection is now owned that was not, or the other way
    /// round. Waiting for an answer takes in events too, hence until there is none left.
    bool followEvents() {
        bool hasChanged = false;
        while (hasNews()) {
            hasChanged = findOwners() || hasChanged;
        }
        return hasChanged;
    }

    bool findOwners() {
        bool hasChanged = false;
        for (auto& [name, selection] : selections_) {
            const xcb_window_t owner = watchOwner(selection.atom);
            hasChanged = hasChanged || (owner != XCB_NONE) != (selection.owner != XCB_NONE);
            selection.owner = owner;
        }
        return hasChanged;
    }

private:
    struct Selection {
        xcb_atom_t atom = XCB_NONE;
        xcb_window_t owner = XCB_NONE;
    };

    /// Whether an event tells of a manager that came or went.
    [[nodiscard]] bool hasNews() const {
        bool isAffected = false;
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(xcb_.get())}) {
            isAffected = isOfInterest(*event) || isAffected;
        }
        return isAffected;
    }

    bool start(const std::vector<std::string>& names) {
        int screenNumber = 0;
        xcb_.reset(xcb_connect(nullptr, &screenNumber));
        if (isBroken()) {
            return false;
        }
        auto screens = xcb_setup_roots_iterator(xcb_get_setup(xcb_.get()));
        for (int number = 0; number < screenNumber && screens.rem > 1; ++number) {
            xcb_screen_next(&screens);
        }
        // A new manager says so to the root window.
        selectStructureEvents(screens.data->root);
        manager_ = atom("MANAGER");
        for (const std::string& name : names) {
            selections_[name].atom = atom(name + std::to_string(screenNumber));
        }
        return true;
    }

    [[nodiscard]] xcb_atom_t atom(const std::string& name) const {
        const auto cookie =
            xcb_intern_atom(xcb_.get(), 0, static_cast<std::uint16_t>(name.size()), name.c_str());
        const Reply<xcb_intern_atom_reply_t> reply{
            xcb_intern_atom_reply(xcb_.get(), cookie, nullptr)};
        return reply ? reply->atom : XCB_NONE;
    }

    void selectStructureEvents(xcb_window_t window) const {
        const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(xcb_.get(), window, XCB_CW_EVENT_MASK, &mask);
    }

    /// The selection's owner, whose end will be told. Grabbed, so that it cannot go in between.
    [[nodiscard]] xcb_window_t watchOwner(xcb_atom_t selection) const {
        xcb_grab_server(xcb_.get());
        const Reply<xcb_get_selection_owner_reply_t> reply{xcb_get_selection_owner_reply(
            xcb_.get(), xcb_get_selection_owner(xcb_.get(), selection), nullptr)};
        const xcb_window_t owner = reply ? reply->owner : XCB_NONE;
        if (owner != XCB_NONE) {
            selectStructureEvents(owner);
        }
        xcb_ungrab_server(xcb_.get());
        xcb_flush(xcb_.get());
        return owner;
    }

    [[nodiscard]] bool isOfInterest(const xcb_generic_event_t& event) const {
        switch (event.response_type & 0x7fU) {
        case XCB_CLIENT_MESSAGE: {
            xcb_client_message_event_t message{};
            std::memcpy(&message, &event, sizeof message);
            return message.type == manager_;
        }
        case XCB_DESTROY_NOTIFY:
            return true;
        default:
            return false;
        }
    }

    std::unique_ptr<xcb_connection_t, Disconnected> xcb_;
    xcb_atom_t manager_ = XCB_NONE;
    std::map<std::string, Selection> selections_;
};

ManagerSelections::ManagerSelections(const std::vector<std::string>& names, QObject* parent)
    : QObject(parent)
    , connection_(Connection::open(names)) {
    if (!connection_) {
        return;
    }
    connection_->findOwners();
    connection_->followEvents();
    notifier_ = std::make_unique<QSocketNotifier>(connection_->descriptor(), QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &ManagerSelections::readEvents);
}

ManagerSelections::~ManagerSelections() = default;

bool ManagerSelections::isOwned(const std::string& name) const {
    return connection_ && connection_->isOwned(name);
}

bool ManagerSelections::isOwnedNow(const std::string& name) {
    if (connection_ && connection_->findOwners()) {
        // Not from here: the caller asks, and does not expect to be told.
        QMetaObject::invokeMethod(this, &ManagerSelections::changed, Qt::QueuedConnection);
    }
    return isOwned(name);
}

void ManagerSelections::readEvents() {
    const bool hasChanged = connection_->followEvents();
    if (connection_->isBroken()) {
        // The X server has gone, and the toolkit's connection with it.
        notifier_->setEnabled(false);
    } else if (hasChanged) {
        Q_EMIT changed();
    }
}

} // namespace tandrel
