#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

#include "app/messages.h"

/// Stands behind the door for message boxes while it lives: answers from a queue and takes notes.
/// A box that nobody queued an answer for, or one without the queued button, takes its escape
/// button and makes verify() fail.
class QueuedBoxes
{
public:
    QueuedBoxes();
    ~QueuedBoxes();
    QueuedBoxes(const QueuedBoxes &) = delete;
    QueuedBoxes &operator=(const QueuedBoxes &) = delete;

    /// Queues the text of the button to take ("OK" for a box without buttons). The action runs
    /// while the box stands open, before the answer.
    void answer(const QString &button, std::function<void()> action = {});

    /// All boxes shown so far, and their texts.
    const QList<BoxRequest> &requests() const;
    QStringList texts() const;

    /// The text of the last box; empty when there was none.
    QString lastText() const;

    /// True when every queued answer was taken and no other box came up. Otherwise the surprises
    /// are printed. Starts anew in both cases.
    bool verify();

private:
    struct Answer
    {
        QString button;
        std::function<void()> action;
    };

    int take(const BoxRequest &request);

    BoxHandler m_former;
    QList<Answer> m_answers;
    QList<BoxRequest> m_requests;
    QStringList m_surprises;
};
