#pragma once

#include <QAbstractButton>
#include <QString>
#include <QWidget>

#include <string>
#include <vector>

namespace tandrel::test {

/// What can be seen of `view`, in the order of its layouts: the texts of labels, buttons, fields
/// (their placeholder) and pickers; in angle brackets the symbols and whatever else has no text.
[[nodiscard]] std::vector<std::string> shownElements(const QWidget& view);
/// The visible parts of `view` that do not lie wholly within their parents, or are smaller than the
/// least size they ask for.
[[nodiscard]] std::vector<std::string> clippedParts(const QWidget& view);

/// The name for assistive technology: the one that the widget was given, or what Qt makes of it.
[[nodiscard]] std::string accessibleName(QWidget& widget);
/// The visible widget of that accessible name in `view`; the test fails and gets null when there is
/// none.
[[nodiscard]] QWidget* named(QWidget& view, const std::string& name);
/// Whether there is one.
[[nodiscard]] bool hasNamed(QWidget& view, const std::string& name);
[[nodiscard]] QAbstractButton* button(QWidget& view, const std::string& name);

/// The accessible names of what the Tab key reaches in the window of `view`, beginning from `view`
/// itself, until it comes round.
[[nodiscard]] std::vector<std::string> tabOrder(QWidget& view);
/// The accessible name of what has the focus in the window of `view`; empty for none.
[[nodiscard]] std::string focusedName(QWidget& view);

/// Runs what is due in the event loop, deferred deletions included.
void settle();

} // namespace tandrel::test
