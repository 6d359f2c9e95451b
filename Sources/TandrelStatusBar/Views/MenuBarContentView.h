#pragma once

#include "Foundation/Published.h"
#include "Views/FontChangeRelay.h"
#include "Views/ViewEnvironment.h"

#include <QWidget>

class QVBoxLayout;

namespace tandrel {

class LoginView;
class MenuBarContentController;
class PopoverView;
class StreamingController;

/// The root content, 320 points wide and as high as what it holds: the sign-in form while nobody is
/// signed in, else the panel. Main thread.
class MenuBarContentView : public QWidget {
    Q_OBJECT
public:
    /// The controller must outlive the view.
    MenuBarContentView(MenuBarContentController& controller, const ViewEnvironment& environment,
                       QWidget* parent = nullptr);
    ~MenuBarContentView() override;

    /// As high as the content needs to be at the fixed width.
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void showContent(StreamingController* panel);
    void showLogin();
    void showPanel(StreamingController& panel);
    void present(QWidget& content);
    void removeContent();
    void focusContent();
    [[nodiscard]] QWidget* content() const;

    MenuBarContentController& controller_;
    const ViewEnvironment environment_;
    QVBoxLayout* layout_;
    // At most one of the two.
    LoginView* loginView_ = nullptr;
    PopoverView* popoverView_ = nullptr;
    FontChangeRelay fontChanges_;
    Subscription panel_;
};

} // namespace tandrel
