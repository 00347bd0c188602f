#include "widgets/progressdialog.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QProgressBar>
#include <QPushButton>

namespace {

constexpr int shortestStep = 50; // ms

} // namespace

ProgressDialog::ProgressDialog(const QString &labelText, int maximum, QWidget *parent)
    : QProgressDialog(labelText, QString(), 0, maximum, parent),
      m_bar(new QProgressBar(this))
{
    m_bar->setRange(0, maximum);
    setBar(m_bar);
    setWindowTitle(QStringLiteral("Lavkor"));
    setWindowModality(Qt::WindowModal);
    setMinimumDuration(0);
    setAutoClose(false);
    setAutoReset(false);
    setMinimumWidth(320);
    // Escape is a shortcut inside QProgressDialog, which ends in this signal.
    disconnect(this, &QProgressDialog::canceled, this, &QProgressDialog::cancel);
    setValue(0);
    // Now, not with the next event: a scan that comes first would open a dialog under the work.
    show();
}

void ProgressDialog::advance(int value)
{
    // Painting a bar costs as much as the work on several lines; the eye does not need each step.
    if (m_sinceShown.isValid() && !m_sinceShown.hasExpired(shortestStep) && value < maximum()) {
        QCoreApplication::processEvents();
        return;
    }
    setValue(value);
    QCoreApplication::processEvents();
    m_sinceShown.start();
}

void ProgressDialog::follow(qint64 done, qint64 total)
{
    // Not by setValue() of the dialog, which runs an event loop in the midst of the work.
    m_bar->setMaximum(static_cast<int>(qMax<qint64>(0, total)));
    m_bar->setValue(static_cast<int>(done));
}

void ProgressDialog::allowStopping()
{
    auto *button = new QPushButton(tr("Остановить"), this);
    // The Return behind a scan must not press it.
    button->setFocusPolicy(Qt::NoFocus);
    button->setAutoDefault(false);
    setCancelButton(button);
    connect(this, &QProgressDialog::canceled, this, [this, button] {
        m_stopped = true;
        button->setEnabled(false);
        setLabelText(tr("Останавливается…"));
    });
}

bool ProgressDialog::isStopped() const
{
    return m_stopped;
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
