#pragma once

#include <chrono>
#include <filesystem>
#include <string>

namespace tandrel::test {

/// The wall clock of an app whose variable TANDREL_TEST_CLOCK names `file()`: ahead of the
/// machine's by as much as the test says, at first by nothing.
class SetClock {
public:
    explicit SetClock(std::filesystem::path file);

    void set(std::chrono::seconds ahead);
    [[nodiscard]] const std::filesystem::path& file() const { return file_; }
    /// The day that it shows, as lines of the log begin with it.
    [[nodiscard]] std::string day() const;

private:
    std::filesystem::path file_;
    std::chrono::seconds ahead_{0};
};

} // namespace tandrel::test
