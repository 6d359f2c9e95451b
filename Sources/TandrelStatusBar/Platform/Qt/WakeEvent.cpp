#include "Platform/Qt/WakeEvent.h"

#include <array>
#include <atomic>
#include <new>

namespace tandrel {

namespace {

struct Place {
    std::atomic<bool> isTaken{false};
    alignas(WakeEvent) std::array<std::byte, sizeof(WakeEvent)> memory;
};

// Each receiver has one event that waits and one that is being delivered, at the most. There are
// two receivers; with more events under way the rest is allocated.
std::array<Place, 8> places;

} // namespace

void* WakeEvent::operator new(std::size_t size) {
    for (Place& place : places) {
        if (size <= place.memory.size() && !place.isTaken.exchange(true)) {
            return place.memory.data();
        }
    }
    return ::operator new(size);
}

void WakeEvent::operator delete(void* memory) noexcept {
    for (Place& place : places) {
        if (place.memory.data() == memory) {
            place.isTaken = false;
            return;
        }
    }
    ::operator delete(memory);
}

} // namespace tandrel
