#include "Doctor/Examination.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>

namespace tandrel::doctor {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

Finding finding(const std::string& id, Mark mark = Mark::ok) {
    return {id, id, mark, "text"};
}

Check answering(Findings findings) {
    return {{}, [findings = std::move(findings)] { return findings; }};
}

TEST(DoctorExamination, ReturnsWhatAllChecksFoundInTheirOrder) {
    EXPECT_THAT(
        examine({answering({finding("a"), finding("b")}), answering({}), answering({finding("c")})},
                20s),
        ElementsAre(finding("a"), finding("b"), finding("c")));
}

TEST(DoctorExamination, ChecksLookAtTheSameTime) {
    // Each waits for the other: one after the other they would never end.
    auto first = std::make_shared<std::promise<void>>();
    auto second = std::make_shared<std::promise<void>>();
    const auto meeting = [](auto mine, auto others, const std::string& id) {
        return Check{{finding(id, Mark::failed)}, [mine, others, id] {
                         mine->set_value();
                         others->get_future().wait();
                         return Findings{finding(id)};
                     }};
    };
    EXPECT_THAT(examine({meeting(first, second, "a"), meeting(second, first, "b")}, 20s),
                ElementsAre(finding("a"), finding("b")));
}

TEST(DoctorExamination, ACheckThatHangsIsLeftBehindWithWhatThatMeans) {
    auto release = std::make_shared<std::promise<void>>();
    auto left = std::make_shared<std::promise<void>>();
    const Check hanging{{finding("hangs", Mark::failed)}, [release, left] {
                            release->get_future().wait();
                            left->set_value();
                            return Findings{finding("hangs")};
                        }};
    EXPECT_THAT(examine({hanging, answering({finding("a")})}, 50ms),
                ElementsAre(finding("hangs", Mark::failed), finding("a")));
    // It may end at any later time.
    release->set_value();
    left->get_future().wait();
}

TEST(DoctorExamination, ACheckThatThrowsHasNotAnswered) {
    const Check throwing{{finding("broken", Mark::noted)},
                         []() -> Findings { throw std::runtime_error("the secret"); }};
    EXPECT_THAT(examine({throwing}, 20s), ElementsAre(finding("broken", Mark::noted)));
}

} // namespace
} // namespace tandrel::doctor
