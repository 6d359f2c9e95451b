#include "Platform/GLib/PrivacySwitch.h"

#include "Platform/GLib/ContextScope.h"
#include "Platform/GLib/GLibPointers.h"
#include "Platform/GLib/SessionBus.h"

#include <memory>

namespace tandrel {

namespace {

constexpr const char* schemaName = "org.gnome.desktop.privacy";
constexpr const char* switchName = "disable-microphone";

struct SchemaUnref {
    void operator()(GSettingsSchema* schema) const { g_settings_schema_unref(schema); }
};
using SchemaPointer = std::unique_ptr<GSettingsSchema, SchemaUnref>;

/// Null where it is not installed, or is an older one without the switch: asking GLib for what a
/// schema does not have ends the program.
SchemaPointer schemaWithSwitch() {
    GSettingsSchemaSource* const source = g_settings_schema_source_get_default();
    if (source == nullptr) {
        return nullptr;
    }
    SchemaPointer schema(g_settings_schema_source_lookup(source, schemaName, TRUE));
    if (schema && g_settings_schema_has_key(schema.get(), switchName) == FALSE) {
        return nullptr;
    }
    return schema;
}

bool isBoolean(GSettingsSchema* schema) {
    GSettingsSchemaKey* const key = g_settings_schema_get_key(schema, switchName);
    const bool is = g_variant_type_equal(g_settings_schema_key_get_value_type(key),
                                         G_VARIANT_TYPE_BOOLEAN) != FALSE;
    g_settings_schema_key_unref(key);
    return is;
}

} // namespace

bool isMicrophoneSwitchedOff() {
    const SchemaPointer schema = schemaWithSwitch();
    if (!schema || !isBoolean(schema.get())) {
        return false;
    }
    struct ContextUnref {
        void operator()(GMainContext* context) const { g_main_context_unref(context); }
    };
    const std::unique_ptr<GMainContext, ContextUnref> context(g_main_context_new());
    const glib::ContextScope scope(context.get());
    glib::Error withoutBus; // then the settings are read all the same
    const auto bus = glib::sessionBus(withoutBus);
    const glib::ObjectPointer<GSettings> settings(
        g_settings_new_full(schema.get(), nullptr, nullptr));
    return g_settings_get_boolean(settings.get(), switchName) != FALSE;
}

} // namespace tandrel
