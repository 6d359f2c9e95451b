#include "Services/ConnectionState.h"

namespace tandrel {

std::string ConnectionState::rendering() const {
    switch (kind_) {
    case Kind::disconnected:
        return "disconnected";
    case Kind::connecting:
        return "connecting";
    case Kind::connected:
        return "connected";
    case Kind::error:
        break;
    }
    return "error(\"" + message_ + "\")";
}

} // namespace tandrel
