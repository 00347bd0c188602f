#include "tests/support/dialogsteps.h"

#include <QApplication>

#include <utility>

namespace {

constexpr int patienceMs = 15000;

} // namespace

DialogSteps::DialogSteps()
{
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { serve(); });
    m_timer.start(5);
}

void DialogSteps::add(const char *className, std::function<void(QDialog *)> step)
{
    m_steps.push_back({className, std::move(step)});
}

bool DialogSteps::allServed() const
{
    return m_steps.empty() && !m_stuck;
}

void DialogSteps::serve()
{
    auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
    if (dialog != m_waiting) {
        m_waiting = dialog;
        m_since.start();
    } else if (dialog && m_since.elapsed() > patienceMs) {
        m_stuck = true; // a case must end red, not hang
        dialog->reject();
        return;
    }
    if (m_steps.empty() || !dialog || dialog == m_served || !dialog->isVisible() ||
        !dialog->inherits(m_steps.front().className))
        return;
    const auto run = [this, dialog, step = m_steps.front().step, outer = m_served] {
        step(dialog);
        m_served = outer;
    };
    m_served = dialog;
    m_steps.pop_front();
    // Not from here: while it runs, a timer does not serve what a step opens.
    QMetaObject::invokeMethod(dialog, run, Qt::QueuedConnection);
}
