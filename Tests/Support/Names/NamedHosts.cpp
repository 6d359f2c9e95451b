#include "Support/Names/NamedHosts.h"

#include <dlfcn.h>
#include <mutex>
#include <netdb.h>
#include <optional>
#include <utility>

namespace tandrel::test {

namespace {

std::mutex mutex;
std::string knownName;
std::vector<std::string> knownAddresses;
int lookUps = 0;

using Resolver = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

Resolver systemResolver() {
    static const auto resolver = reinterpret_cast<Resolver>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return resolver;
}

/// Nothing for a name of the outside.
std::optional<std::vector<std::string>> addressesOf(const char* name) {
    const std::lock_guard lock(mutex);
    if (name == nullptr || name != knownName) {
        return std::nullopt;
    }
    ++lookUps;
    return knownAddresses;
}

std::string newName() {
    static int count = 0;
    return 'h' + std::to_string(++count) + ".elsewhere.example";
}

} // namespace

NamedHost::NamedHost(std::string name, const std::vector<std::string>& addresses)
    : name_(std::move(name)) {
    const std::lock_guard lock(mutex);
    knownName = name_;
    knownAddresses = addresses;
    lookUps = 0;
}

NamedHost::NamedHost(const std::vector<std::string>& addresses)
    : NamedHost(newName(), addresses) {}

NamedHost::~NamedHost() {
    const std::lock_guard lock(mutex);
    knownName.clear();
    knownAddresses.clear();
}

void NamedHost::moveTo(const std::vector<std::string>& addresses) const {
    const std::lock_guard lock(mutex);
    knownAddresses = addresses;
}

int NamedHost::lookUpCount() const {
    const std::lock_guard lock(mutex);
    return lookUps;
}

} // namespace tandrel::test

/// In the place of the system's, for the whole program. `freeaddrinfo` frees a list entry by entry,
/// so lists may be joined.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                           addrinfo** result) {
    using namespace tandrel::test;
    const auto addresses = addressesOf(name);
    if (!addresses) {
        return systemResolver()(name, service, hints, result);
    }
    if (addresses->empty()) {
        return EAI_NONAME;
    }
    addrinfo numeric = hints != nullptr ? *hints : addrinfo{};
    numeric.ai_flags = AI_NUMERICHOST;
    addrinfo** end = result;
    for (const std::string& address : *addresses) {
        if (const int error = systemResolver()(address.c_str(), service, &numeric, end)) {
            return error;
        }
        while (*end != nullptr) {
            end = &(*end)->ai_next;
        }
    }
    return 0;
}
