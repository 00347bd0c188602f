#pragma once

#include <QString>

#include <functional>
#include <memory>

#include "app/progressstep.h"

class BackgroundWork;
class ProgressDialog;
class QWidget;

/// Whether runWithProgress() is at work somewhere: nothing else may be begun or closed then.
bool isWorking();

/// Whether it is a loop over rows that would have to wait for a box.
bool isLooping();

/// The parent for a box that belongs to no window: the active one, but no progress, which ends by
/// itself. nullptr when there is none.
QWidget *lastingWindow();

/// Shows a window-modal dialog with a bar while work that was started goes on by itself; the user
/// may stop it, which cancels it. isWorking() until it is over. Returns at once.
void showProgress(QWidget *parent, const QString &label, BackgroundWork *work);

/// Whether the user may stop the work: only where what is done by then may stay as it is.
enum class Stopping { Never, Harmless };

/// The progress of a piece of work, shown from its first step on.
class Progress
{
public:
    Progress(QWidget *parent, QString label, Stopping stopping);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    /// Shows how far the work is and lets pending events be processed. False once the user has
    /// stopped it.
    bool step(int done, int total);

    /// step() for work that knows no windows. Must not outlive the progress.
    ProgressStep steps();

    /// The parent for boxes in the middle of the work.
    QWidget *window() const;

private:
    QWidget *m_parent;
    QString m_label;
    Stopping m_stopping;
    std::unique_ptr<ProgressDialog> m_dialog;
};

/// Runs a loop over rows under a window-modal dialog with a bar. The dialog appears with the first
/// step and is gone when this returns. label: what is being done.
void runWithProgress(QWidget *parent, const QString &label, Stopping stopping,
                     const std::function<void(Progress &progress)> &work);
