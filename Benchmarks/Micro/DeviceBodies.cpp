#include "Micro/Body.h"
#include "Micro/DeviceList.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <utility>

namespace tandrel::bench {

namespace {

struct ObservedList : DeviceList {
    using DeviceList::DeviceList;

    Subscription observer = service.availableDevices.observe(
        [](const std::vector<AudioDevice>& devices) { benchmark::DoNotOptimize(devices.data()); });
};

/// From the sound system's answer to whoever observes the list.
Body refresh(std::size_t count) {
    Body body{"devices/" + std::to_string(count), "device", count, [count] {
                  return [list = std::make_shared<ObservedList>(count)] { list->refresh(); };
              }};
    body.countedRuns = 20;
    return body;
}

} // namespace

std::vector<Body> deviceBodies() {
    std::vector<Body> bodies;
    for (const std::size_t count : microphoneCounts) {
        bodies.push_back(refresh(count));
    }
    return bodies;
}

} // namespace tandrel::bench
