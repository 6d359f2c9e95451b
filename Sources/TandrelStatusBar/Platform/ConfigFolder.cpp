#include "Platform/ConfigFolder.h"

#include "Platform/LogFolder.h"

#include <cstdlib>

namespace tandrel {

std::string configFolder() {
    const char* const variable = std::getenv("XDG_CONFIG_HOME");
    return variable != nullptr && variable[0] == '/' ? std::string(variable)
                                                     : homeDirectory() + "/.config";
}

} // namespace tandrel
