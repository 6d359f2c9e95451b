#include "Doctor/Examination.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace tandrel::doctor {

namespace {

/// Kept alive by the threads too, which may outlive the examination.
struct Answers {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::optional<Findings>> answers;
};

} // namespace

Findings examine(const std::vector<Check>& checks, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const auto shared = std::make_shared<Answers>();
    shared->answers.resize(checks.size());
    for (std::size_t index = 0; index < checks.size(); ++index) {
        std::thread([shared, index, check = checks[index]] {
            Findings found = check.unanswered;
            try {
                found = check.look();
            } catch (const std::exception&) {
                // As good as no answer: what the text might hold is nobody's business.
            }
            const std::lock_guard lock(shared->mutex);
            shared->answers[index] = std::move(found);
            shared->changed.notify_all();
        }).detach();
    }
    std::unique_lock lock(shared->mutex);
    shared->changed.wait_until(lock, deadline, [&] {
        return std::all_of(shared->answers.begin(), shared->answers.end(),
                           [](const auto& answer) { return answer.has_value(); });
    });
    Findings all;
    for (std::size_t index = 0; index < checks.size(); ++index) {
        const auto& answer = shared->answers[index];
        const Findings& found = answer ? *answer : checks[index].unanswered;
        all.insert(all.end(), found.begin(), found.end());
    }
    return all;
}

} // namespace tandrel::doctor
