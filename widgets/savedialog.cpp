#include "widgets/savedialog.h"

#include <QFileDialog>
#include <QFileInfo>

QString askSavePath(QWidget *parent, const QString &title, const QString &proposedName,
                    const QString &filter)
{
    // The ready-made question would put no suffix to a name, or ask about replacing before it does.
    QFileDialog dialog(parent, title, {}, filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(QFileInfo(proposedName).suffix());
    dialog.selectFile(proposedName);
    return dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}
