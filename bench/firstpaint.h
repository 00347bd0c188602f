#pragma once

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QEvent>

#include <functional>

/// Waits for the first painting of a dialog of a class, then closes it.
class FirstPaint : public QObject
{
public:
    explicit FirstPaint(const char *className)
        : m_className(className)
    {
        qApp->installEventFilter(this);
    }

    /// Milliseconds from the beginning of the work until then.
    double elapsed(const std::function<void()> &work)
    {
        m_clock.start();
        work();
        return m_shown;
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *dialog = qobject_cast<QDialog *>(watched);
        if (event->type() == QEvent::Paint && dialog && dialog->inherits(m_className) &&
            dialog != m_seen) {
            m_seen = dialog;
            m_shown = double(m_clock.nsecsElapsed()) / 1e6;
            QMetaObject::invokeMethod(dialog, &QDialog::reject, Qt::QueuedConnection);
        }
        return false;
    }

private:
    const char *m_className;
    QElapsedTimer m_clock;
    QObject *m_seen = nullptr;
    double m_shown = 0;
};
