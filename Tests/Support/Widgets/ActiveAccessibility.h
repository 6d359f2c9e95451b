#pragma once

#include <QAccessible>

namespace tandrel::test {

/// While it lives, widgets behave as if assistive technology were running, and `listener` hears
/// what that would be told.
class ActiveAccessibility {
public:
    explicit ActiveAccessibility(QAccessible::UpdateHandler listener);
    ~ActiveAccessibility();
    ActiveAccessibility(const ActiveAccessibility&) = delete;
    ActiveAccessibility& operator=(const ActiveAccessibility&) = delete;

private:
    QAccessible::UpdateHandler outer_;
};

} // namespace tandrel::test
