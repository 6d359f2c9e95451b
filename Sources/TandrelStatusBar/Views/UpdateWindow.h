#pragma once

#include "Services/UpdatePage.h"
#include "Views/FontChangeRelay.h"

#include <QWidget>

#include <optional>
#include <vector>

class QCheckBox;
class QHBoxLayout;

namespace tandrel {

class Button;
class PlainButton;
class ProgressBar;
class Spinner;
class SymbolView;
class TextLabel;
class UpdateNotes;

/// The window that tells how things stand with the updates, and asks what to do. It shows one page
/// at a time and knows nothing of where that comes from. Main thread.
class UpdateWindow : public QWidget {
    Q_OBJECT
public:
    explicit UpdateWindow(QWidget* parent = nullptr);

    void showPage(const UpdatePage& page);
    /// Whether checks are made daily, which the user can change; nothing: that is not offered.
    void setChecksDaily(std::optional<bool> checks);

Q_SIGNALS:
    void actionRequested(UpdateAction action);
    void releaseNotesRequested();
    void checksDailyChanged(bool checks);
    /// The user closed it.
    void closed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    [[nodiscard]] QWidget* makeContent();
    [[nodiscard]] QWidget* makeHeader();
    [[nodiscard]] QWidget* makeDailyRow();
    void showButtons();
    void addButton(Button* button, UpdateAction action);
    void announce();
    void updateColours();

    UpdatePage page_;

    TextLabel* headline_ = nullptr;
    TextLabel* detail_ = nullptr;
    SymbolView* warning_ = nullptr;
    Spinner* spinner_ = nullptr;
    UpdateNotes* notes_ = nullptr;
    PlainButton* link_ = nullptr;
    ProgressBar* progress_ = nullptr;
    QWidget* buttonRow_ = nullptr;
    QHBoxLayout* buttonLayout_ = nullptr;
    std::vector<Button*> buttons_;
    QWidget* dailyRow_ = nullptr;
    QCheckBox* daily_ = nullptr;
    FontChangeRelay fontChanges_;
};

} // namespace tandrel
