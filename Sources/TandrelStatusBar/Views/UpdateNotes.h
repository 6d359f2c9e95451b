#pragma once

#include <QPlainTextEdit>

namespace tandrel {

/// Release notes to read: plain text of any length in a frame of a fixed height. Tags stand as they
/// are.
class UpdateNotes : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit UpdateNotes(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void changeEvent(QEvent* event) override;
    bool event(QEvent* event) override;

private:
    void updateLook();
};

} // namespace tandrel
