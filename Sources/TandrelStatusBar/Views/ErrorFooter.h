#pragma once

#include <QWidget>

#include <string>

namespace tandrel {

class TextLabel;

/// An error in at most two lines, with the whole text as the tool tip. Main thread.
class ErrorFooter : public QWidget {
    Q_OBJECT
public:
    explicit ErrorFooter(QWidget* parent = nullptr);

    void setMessage(const std::string& message);

private:
    TextLabel* message_;
};

} // namespace tandrel
