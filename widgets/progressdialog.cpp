#include "widgets/progressdialog.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QKeyEvent>

ProgressDialog::ProgressDialog(const QString &labelText, int maximum, QWidget *parent)
    : QProgressDialog(labelText, QString(), 0, maximum, parent)
{
    setWindowTitle(QStringLiteral("Lavkor"));
    setWindowModality(Qt::WindowModal);
    setMinimumDuration(0);
    setAutoClose(false);
    setAutoReset(false);
    setMinimumWidth(320);
    // Escape is a shortcut inside QProgressDialog, which ends in this signal.
    disconnect(this, &QProgressDialog::canceled, this, &QProgressDialog::cancel);
    setValue(0);
}

void ProgressDialog::advance(int value)
{
    if (value == this->value())
        QCoreApplication::processEvents();
    else
        setValue(value); // processes events itself, being modal
}

void ProgressDialog::reject()
{
}

void ProgressDialog::closeEvent(QCloseEvent *event)
{
    // The owner hides the dialog; only the frame's button and the session come through here.
    if (event->spontaneous())
        event->ignore();
    else
        event->accept();
}

void ProgressDialog::keyPressEvent(QKeyEvent *event)
{
    event->accept();
}
