#pragma once

#include "Views/LiveRegion.h"

#include <string>

namespace tandrel {

class TextLabel;

/// An error or a notice in at most two lines, with the whole text as the tool tip. Main thread.
class ErrorFooter : public LiveRegion {
    Q_OBJECT
public:
    explicit ErrorFooter(QWidget* parent = nullptr);

    void setMessage(const std::string& message);
    [[nodiscard]] QString text() const override;

private:
    TextLabel* message_;
};

} // namespace tandrel
