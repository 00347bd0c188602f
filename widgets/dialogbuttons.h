#pragma once

#include <functional>

class QDialog;
class QHBoxLayout;
class QKeyEvent;
class QPushButton;

/// The buttons of a dialog without a form: "Принять", its default, and "Отмена", which closes it
/// without a question.
QHBoxLayout *acceptAndCancel(QDialog *dialog, const std::function<void()> &take);

/// Asks whether the dialog may be closed although something was entered.
bool mayLoseInput(QDialog *dialog);

/// Return in a field leads to the next one, as a scanner may have sent it; on a button it presses
/// it. Whether the key was Return, and so is done with.
bool passReturnOn(QDialog *dialog, const QKeyEvent *event);

/// Ctrl+Return presses a button wherever the focus is, also in a table or a text.
void pressByCtrlReturn(QDialog *dialog, QPushButton *button);
