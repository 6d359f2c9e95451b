#include "Micro/Body.h"

#include <iterator>
#include <utility>

namespace tandrel::bench {

std::vector<Body> allBodies() {
    std::vector<Body> all;
    for (auto* const subject : {soundBodies, streamBodies, textBodies, pollBodies, meterBodies,
                                deviceBodies, commandBodies}) {
        std::vector<Body> bodies = subject();
        std::move(bodies.begin(), bodies.end(), std::back_inserter(all));
    }
    return all;
}

} // namespace tandrel::bench
