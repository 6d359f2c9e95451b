#pragma once

#include <gio/gio.h>

#include <memory>

namespace tandrel::glib {

struct ObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};

/// Owns one reference to a GObject.
template <typename T>
using ObjectPointer = std::unique_ptr<T, ObjectUnref>;

/// Receives the error of a GLib call: `call(…, error.out())`.
class Error {
public:
    Error() = default;
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    ~Error() { g_clear_error(&error_); }

    /// Where a call puts its error; a previous one is freed.
    [[nodiscard]] GError** out() {
        g_clear_error(&error_);
        return &error_;
    }
    [[nodiscard]] bool isSet() const { return error_ != nullptr; }
    [[nodiscard]] bool matches(GQuark domain, int code) const {
        return g_error_matches(error_, domain, code) != FALSE;
    }

private:
    GError* error_ = nullptr;
};

} // namespace tandrel::glib
