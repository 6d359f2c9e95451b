#pragma once

#include "Models/AuthModels.h"

#include <string>
#include <utility>
#include <variant>

namespace tandrel {

/// Where the search for a live session stands. Two found sessions are equal when their
/// `sessionId`s are: a new token for the same session is no change of state.
class SessionState {
public:
    enum class Kind { idle, polling, sessionFound, streaming, completed };

    static SessionState idle() { return SessionState(Kind::idle); }
    static SessionState polling() { return SessionState(Kind::polling); }
    static SessionState sessionFound(TandrelSessionResponse session) {
        SessionState state(Kind::sessionFound);
        state.session_ = std::move(session);
        return state;
    }
    static SessionState streaming() { return SessionState(Kind::streaming); }
    static SessionState completed() { return SessionState(Kind::completed); }

    SessionState() = default;

    [[nodiscard]] Kind kind() const { return kind_; }
    /// The found session; null in every other state.
    [[nodiscard]] const TandrelSessionResponse* session() const {
        return kind_ == Kind::sessionFound ? &session_ : nullptr;
    }
    /// For the log. Never holds the token.
    [[nodiscard]] std::string rendering() const;

    friend bool operator==(const SessionState& left, const SessionState& right) {
        return left.kind_ == right.kind_ && (left.kind_ != Kind::sessionFound ||
                                             left.session_.sessionId == right.session_.sessionId);
    }

private:
    explicit SessionState(Kind kind)
        : kind_(kind) {}

    Kind kind_ = Kind::idle;
    TandrelSessionResponse session_;
};

} // namespace tandrel
