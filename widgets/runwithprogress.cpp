#include "widgets/runwithprogress.h"

#include "widgets/progressdialog.h"

#include <QScopeGuard>

#include <utility>

namespace {

int works = 0;

} // namespace

bool isWorking()
{
    return works > 0;
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
