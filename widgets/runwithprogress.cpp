#include "widgets/runwithprogress.h"

#include "app/backgroundwork.h"
#include "widgets/progressdialog.h"

#include <QApplication>
#include <QPointer>
#include <QScopeGuard>

#include <utility>

namespace {

int works = 0;
int backgroundWorks = 0;

/// Counts one piece of work in the background for as long as it lives.
struct Counted
{
    Counted()
    {
        ++backgroundWorks;
    }
    ~Counted()
    {
        --backgroundWorks;
    }
    Counted(const Counted &) = delete;
    Counted &operator=(const Counted &) = delete;
};

} // namespace

bool isWorking()
{
    return works > 0 || backgroundWorks > 0;
}

bool isLooping()
{
    return works > 0;
}

QWidget *lastingWindow()
{
    QWidget *window = QApplication::activeWindow();
    while (qobject_cast<QProgressDialog *>(window))
        window = window->parentWidget();
    return window;
}

void showProgress(QWidget *parent, const QString &label, BackgroundWork *work)
{
    if (work->isOver())
        return;
    auto *dialog = new ProgressDialog(label, 0, parent);
    dialog->allowStopping();
    auto counted = std::make_shared<Counted>();
    QObject::connect(work, &BackgroundWork::progressed, dialog, &ProgressDialog::follow);
    QObject::connect(dialog, &QProgressDialog::canceled, work, &BackgroundWork::cancel);
    // The window is free again before whoever started the work tells what came of it.
    QObject::connect(work, &BackgroundWork::finished, work,
                     [dialog = QPointer<ProgressDialog>(dialog), counted]() mutable {
                         counted.reset();
                         if (dialog)
                             dialog->hide();
                         if (dialog)
                             dialog->deleteLater();
                     });
}

Progress::Progress(QWidget *parent, QString label, Stopping stopping)
    : m_parent(parent),
      m_label(std::move(label)),
      m_stopping(stopping)
{
}

Progress::~Progress() = default;

bool Progress::step(int done, int total)
{
    if (!m_dialog) {
        m_dialog = std::make_unique<ProgressDialog>(m_label, total, m_parent);
        if (m_stopping == Stopping::Harmless)
            m_dialog->allowStopping();
    }
    m_dialog->advance(done);
    return !m_dialog->isStopped();
}

ProgressStep Progress::steps()
{
    return [this](int done, int total) {
        return step(done, total);
    };
}

QWidget *Progress::window() const
{
    return m_dialog ? m_dialog.get() : m_parent;
}

void runWithProgress(QWidget *parent, const QString &label, Stopping stopping,
                     const std::function<void(Progress &progress)> &work)
{
    ++works;
    const auto done = qScopeGuard([] { --works; });
    Progress progress(parent, label, stopping);
    work(progress);
}
