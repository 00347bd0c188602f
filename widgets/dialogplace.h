#pragma once

class QDialog;

/// Gives a dialog the size, in px, that it had when it was last closed, as far as the screen has
/// room and its contents fit in, and keeps the size at every closing. The dialog is known by its
/// object name; when it is closed the window below is the active one. Called when all its contents
/// are there.
void keepDialogSize(QDialog *dialog);
