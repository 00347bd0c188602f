#pragma once

#include <QDialog>
#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>

#include <deque>
#include <functional>

/// Serves modal dialogs one after another: each step runs once a dialog of its class is open.
class DialogSteps
{
public:
    DialogSteps();

    /// Queues a step for the next dialog of a class.
    void add(const char *className, std::function<void(QDialog *)> step);

    /// The same for a kind of dialog; one that the step leaves open is rejected.
    template<typename Dialog>
    void whenOpen(std::function<void(Dialog &)> step)
    {
        add(Dialog::staticMetaObject.className(), [step](QDialog *dialog) {
            const QPointer<QDialog> left = dialog; // a step may delete it
            step(*qobject_cast<Dialog *>(dialog));
            if (left && left->isVisible())
                left->reject();
        });
    }

    /// Whether every step found its dialog and none had to be dismissed because it was stuck.
    bool allServed() const;

private:
    void serve();

    struct Step
    {
        const char *className;
        std::function<void(QDialog *)> step;
    };
    QTimer m_timer;
    std::deque<Step> m_steps;
    QPointer<QDialog> m_served;
    QPointer<QDialog> m_waiting;
    QElapsedTimer m_since;
    bool m_stuck = false;
};
