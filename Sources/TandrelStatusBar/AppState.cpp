#include "AppState.h"

namespace tandrel {

AppState& AppState::shared() {
    static AppState state;
    return state;
}

} // namespace tandrel
