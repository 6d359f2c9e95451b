#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>

namespace tandrel {

/// Why capture did not start; `what()` is for users. Equality and hash go by case.
class AudioCaptureError : public std::runtime_error {
public:
    enum class Case { deviceSelectionFailed, formatCreationFailed, converterCreationFailed };

    explicit AudioCaptureError(Case which);

    [[nodiscard]] Case which() const { return which_; }
    /// The case's own name, for the log.
    [[nodiscard]] const char* caseName() const;

    friend bool operator==(const AudioCaptureError& left, const AudioCaptureError& right) {
        return left.which_ == right.which_;
    }

private:
    Case which_;
};

} // namespace tandrel

template <>
struct std::hash<tandrel::AudioCaptureError> {
    std::size_t operator()(const tandrel::AudioCaptureError& error) const noexcept {
        return std::hash<tandrel::AudioCaptureError::Case>{}(error.which());
    }
};
