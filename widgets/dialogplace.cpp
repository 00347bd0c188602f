#include "widgets/dialogplace.h"

#include <QDialog>
#include <QEvent>
#include <QLayout>
#include <QScreen>
#include <QSettings>

#include <algorithm>
#include <utility>

namespace {

QString keyOf(const QDialog *dialog)
{
    return "dialogs/" + dialog->objectName() + "/size";
}

class SizeKeeper final : public QObject
{
public:
    explicit SizeKeeper(QDialog *dialog)
        : QObject(dialog)
    {
        dialog->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        // At the end of its destruction it is no dialog any more.
        const auto *dialog = qobject_cast<QDialog *>(watched);
        // What a program hides, a screen lock for one, is not a size that somebody has chosen.
        if (dialog && event->type() == QEvent::Hide && !event->spontaneous() &&
            !dialog->isMaximized())
            QSettings().setValue(keyOf(dialog), dialog->size());
        return QObject::eventFilter(watched, event);
    }
};

/// Brings what the layouts know of their contents up to date, the inner ones first; otherwise that
/// is done when the dialog is shown, which grows then to the side of where it was placed.
void measure(QWidget *dialog)
{
    QWidgetList widgets = dialog->findChildren<QWidget *>();
    std::reverse(widgets.begin(), widgets.end());
    widgets += dialog;
    for (QWidget *widget : std::as_const(widgets)) {
        widget->ensurePolished();
        if (QLayout *layout = widget->layout())
            layout->activate();
        widget->updateGeometry();
    }
}

} // namespace

void keepDialogSize(QDialog *dialog)
{
    const QSize frame(12, 44); // of the window, which is not known before it is shown
    const QSize room = dialog->screen()->availableGeometry().size() - frame;
    const QSize kept = QSettings().value(keyOf(dialog)).toSize();
    dialog->ensurePolished();
    const QSize wanted = kept.isValid() ? kept : dialog->size();
    QSize size = wanted.expandedTo(dialog->minimumSizeHint());
    // Labels that wrap need the height of their lines at this width.
    if (const QLayout *layout = dialog->layout(); layout && layout->hasHeightForWidth())
        size.setHeight(std::max(size.height(), layout->totalMinimumHeightForWidth(size.width())));
    measure(dialog);
    dialog->resize(size.expandedTo(dialog->minimumSizeHint()).boundedTo(room));
    new SizeKeeper(dialog);
    // Where a box and its dialog close at once some window managers leave the keyboard to nobody.
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog] {
        if (dialog->parentWidget())
            dialog->parentWidget()->window()->activateWindow();
    });
}
