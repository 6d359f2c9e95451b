#pragma once

#include <QWidget>

class QSpacerItem;
class QVBoxLayout;

namespace tandrel {

/// Room for one of several widgets, or for none. While it can be seen it keeps the height that its
/// last widget had, so that nothing below it moves when that one goes. Hidden it forgets, and an
/// empty slot takes no room at all.
class SteadySlot : public QWidget {
    Q_OBJECT
public:
    explicit SteadySlot(QWidget* parent = nullptr);

    /// Makes `content` one of the widgets, hidden for now.
    void add(QWidget& content);
    /// Shows `content`, which was added, instead of any other; null: none.
    void setContent(QWidget* content);
    [[nodiscard]] QWidget* content() const { return content_; }

protected:
    void hideEvent(QHideEvent* event) override;

private:
    void keep(int height);

    QVBoxLayout* layout_;
    QSpacerItem* keptRoom_;
    QWidget* content_ = nullptr;
};

} // namespace tandrel
