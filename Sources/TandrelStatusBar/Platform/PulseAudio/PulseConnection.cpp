#include "Platform/PulseAudio/PulseConnection.h"

#include <utility>

namespace tandrel::pulse {

namespace {

Proplist describeProgram() {
    Proplist properties(pa_proplist_new());
    pa_proplist_sets(properties.get(), PA_PROP_APPLICATION_NAME, "Quorvane Tandrel");
    pa_proplist_sets(properties.get(), PA_PROP_APPLICATION_ID, "com.quorvane.Tandrel");
    pa_proplist_sets(properties.get(), PA_PROP_APPLICATION_ICON_NAME, "com.quorvane.Tandrel");
    return properties;
}

std::optional<std::string> optionalText(const char* text) {
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

Source toSource(const pa_source_info& info) {
    return {info.index,
            optionalText(info.name),
            optionalText(info.description),
            info.monitor_of_sink != PA_INVALID_INDEX,
            info.mute != 0,
            info.sample_spec,
            info.channel_map};
}

} // namespace

Result<std::shared_ptr<Connection>, Error> Connection::open(Deadline deadline) {
    const std::shared_ptr<Connection> connection(new Connection);
    if (const auto error = connection->connect(deadline)) {
        return *error;
    }
    return connection;
}

Connection::~Connection() {
    const auto lock = loop_.lock();
    context_.reset();
}

std::optional<Error> Connection::connect(Deadline deadline) {
    auto lock = loop_.lock();
    context_.reset(pa_context_new_with_proplist(loop_.api(), nullptr, describeProgram().get()));
    if (!context_) {
        return Error{PA_ERR_INTERNAL};
    }
    pa_context_set_state_callback(
        context(), [](pa_context*, void* loop) { static_cast<Loop*>(loop)->signal(); }, &loop_);
    // Without NOFAIL: an absent server is an answer, not something to wait for.
    if (pa_context_connect(context(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        return lastError();
    }
    const auto isSettled = [this] {
        const pa_context_state_t state = pa_context_get_state(context());
        return state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state);
    };
    if (!loop_.waitUntil(lock, deadline, isSettled)) {
        return Error{PA_ERR_TIMEOUT};
    }
    if (pa_context_get_state(context()) != PA_CONTEXT_READY) {
        return lastError();
    }
    return std::nullopt;
}

bool Connection::isGood() {
    const auto lock = loop_.lock();
    return pa_context_get_state(context()) == PA_CONTEXT_READY;
}

Result<std::vector<Source>, Error> Connection::sources(Deadline deadline) {
    return query(deadline, [this](pa_source_info_cb_t callback, void* data) {
        return pa_context_get_source_info_list(context(), callback, data);
    });
}

Result<Source, Error> Connection::source(const std::string& name, Deadline deadline) {
    if (name.empty()) {
        return Error{PA_ERR_NOENTITY};
    }
    auto found = query(deadline, [this, &name](pa_source_info_cb_t callback, void* data) {
        return pa_context_get_source_info_by_name(context(), name.c_str(), callback, data);
    });
    if (!found) {
        return found.error();
    }
    // The server also resolves names of its own, such as that of the default source.
    if (found.value().size() != 1 || found.value().front().name != name) {
        return Error{PA_ERR_NOENTITY};
    }
    return std::move(found).value().front();
}

template <typename Ask>
Result<std::vector<Source>, Error> Connection::query(Deadline deadline, Ask ask) {
    struct Answer {
        Loop& loop;
        std::vector<Source> sources;
        std::optional<bool> complete;
    };
    Answer answer{loop_, {}, {}};
    const auto collect = [](pa_context*, const pa_source_info* info, int end, void* data) {
        auto& collected = *static_cast<Answer*>(data);
        if (end == 0) {
            collected.sources.push_back(toSource(*info));
            return;
        }
        collected.complete = end > 0;
        collected.loop.signal();
    };

    auto lock = loop_.lock();
    const PendingOperation operation(ask(collect, &answer));
    if (!operation) {
        return lastError();
    }
    const auto isOver = [this, &answer, &operation] {
        return answer.complete.has_value() ||
               pa_operation_get_state(operation.get()) == PA_OPERATION_CANCELLED ||
               pa_context_get_state(context()) != PA_CONTEXT_READY;
    };
    if (!loop_.waitUntil(lock, deadline, isOver)) {
        return Error{PA_ERR_TIMEOUT};
    }
    if (answer.complete != true) {
        return lastError();
    }
    return std::move(answer.sources);
}

} // namespace tandrel::pulse
