#pragma once

#include <functional>

class QDialog;
class QHBoxLayout;

/// The buttons of a dialog without a form: "Принять", its default, and "Отмена", which closes it
/// without a question.
QHBoxLayout *acceptAndCancel(QDialog *dialog, const std::function<void()> &take);

/// Asks whether the dialog may be closed although something was entered.
bool mayLoseInput(QDialog *dialog);
