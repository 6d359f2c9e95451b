#include "DebugLog.h"

namespace tandrel {
void DebugLog::write(std::string_view) {}
const std::string& DebugLog::path() {
    static const std::string p;
    return p;
}
void DebugLog::createDirectory() {}
} // namespace tandrel
