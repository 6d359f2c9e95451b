#include "Platform/Qt/QtMainQueue.h"

#include <utility>

namespace tandrel {

void QtMainQueue::post(Action action) {
    receiver_.post(std::move(action));
}

void QtMainQueue::postWithoutWaking(Action action) {
    receiver_.postWithoutWaking(std::move(action), wakingCount);
}

} // namespace tandrel
