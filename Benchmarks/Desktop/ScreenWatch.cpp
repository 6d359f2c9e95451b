#include "ScreenWatch.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <xcb/xcb.h>

namespace tandrel::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int leastWidth = 200;
/// The event's own type, without the bit that says who sent it.
constexpr unsigned typeMask = 0x7f;

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Reply = std::unique_ptr<T, Free>;

} // namespace

void ScreenWatch::Disconnect::operator()(xcb_connection_t* connection) const {
    xcb_disconnect(connection);
}

ScreenWatch::ScreenWatch(const std::string& display)
    : connection_(xcb_connect(display.c_str(), nullptr)) {
    if (xcb_connection_has_error(connection_.get()) != 0) {
        throw std::runtime_error("cannot reach the screen " + display);
    }
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_.get())).data->root;
    const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_.get(), root_, XCB_CW_EVENT_MASK, &events);
    xcb_flush(connection_.get());
}

void ScreenWatch::forget() {
    // A round trip: what happened before it is in the queue afterwards.
    const Reply<xcb_get_input_focus_reply_t> answer(xcb_get_input_focus_reply(
        connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
    }
    if (middleX_ > 0) {
        bareColour_ = colourAt(middleX_, middleY_);
    }
}

bool ScreenWatch::awaitPaintedWindow(std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    if (!nextMapped(end)) {
        return false;
    }
    while (Clock::now() < end) {
        const auto colour = colourAt(middleX_, middleY_);
        // The first time the bare screen is not known yet; black is what an empty one shows.
        if (colour && (*colour & 0xffffffU) != (bareColour_.value_or(0) & 0xffffffU)) {
            return true;
        }
    }
    return false;
}

bool ScreenWatch::nextMapped(Clock::time_point end) {
    while (true) {
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
            if ((event->response_type & typeMask) != XCB_MAP_NOTIFY) {
                continue;
            }
            xcb_map_notify_event_t mapped{};
            std::memcpy(&mapped, event.get(), sizeof mapped);
            remember(mapped.window);
            if (window_ != 0) {
                return true;
            }
        }
        if (!awaitEvent(end)) {
            return false;
        }
    }
}

void ScreenWatch::remember(std::uint32_t window) {
    window_ = 0;
    const Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(
        connection_.get(), xcb_get_geometry(connection_.get(), window), nullptr));
    if (geometry && geometry->width >= leastWidth) {
        window_ = window;
        middleX_ = geometry->x + geometry->width / 2;
        middleY_ = geometry->y + geometry->height / 2;
    }
}

bool ScreenWatch::awaitGone(std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    while (true) {
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
            if ((event->response_type & typeMask) != XCB_UNMAP_NOTIFY) {
                continue;
            }
            xcb_unmap_notify_event_t unmapped{};
            std::memcpy(&unmapped, event.get(), sizeof unmapped);
            if (unmapped.window == window_) {
                return true;
            }
        }
        if (!awaitEvent(end)) {
            return false;
        }
    }
}

bool ScreenWatch::awaitEvent(Clock::time_point end) const {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0) {
        return false;
    }
    pollfd descriptor{xcb_get_file_descriptor(connection_.get()), POLLIN, 0};
    return poll(&descriptor, 1, static_cast<int>(left.count())) > 0;
}

std::optional<std::uint32_t> ScreenWatch::colourAt(int x, int y) const {
    const auto asked =
        xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, root_,
                      static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 1, 1, ~0U);
    const Reply<xcb_get_image_reply_t> image(
        xcb_get_image_reply(connection_.get(), asked, nullptr));
    if (!image) {
        return std::nullopt;
    }
    std::uint32_t colour = 0;
    const auto length = static_cast<std::size_t>(xcb_get_image_data_length(image.get()));
    std::memcpy(&colour, xcb_get_image_data(image.get()), std::min(length, sizeof colour));
    return colour;
}

} // namespace tandrel::bench
