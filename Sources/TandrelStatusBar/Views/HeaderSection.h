#pragma once

#include <QWidget>

#include <optional>
#include <string>

namespace tandrel {

class StatusBadge;
class TextLabel;

/// The top of the panel: the title, who is signed in, and the state. Main thread.
class HeaderSection : public QWidget {
    Q_OBJECT
public:
    explicit HeaderSection(QWidget* parent = nullptr);

    /// Absent: nobody is known, and there is nobody to sign out.
    void setEmail(const std::optional<std::string>& email);
    [[nodiscard]] StatusBadge& statusBadge() { return *statusBadge_; }

Q_SIGNALS:
    void signOutRequested();

private:
    [[nodiscard]] QWidget* makeUserRow();

    QWidget* userRow_ = nullptr;
    TextLabel* email_ = nullptr;
    StatusBadge* statusBadge_;
};

} // namespace tandrel
