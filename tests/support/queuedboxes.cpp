#include "tests/support/queuedboxes.h"

#include <QDebug>

#include <utility>

QueuedBoxes::QueuedBoxes()
{
    m_former =
        setBoxHandler([this](QWidget *, const BoxRequest &request) { return take(request); });
}

QueuedBoxes::~QueuedBoxes()
{
    setBoxHandler(std::move(m_former));
}

void QueuedBoxes::answer(const QString &button, std::function<void()> action)
{
    m_answers.append({button, std::move(action)});
}

const QList<BoxRequest> &QueuedBoxes::requests() const
{
    return m_requests;
}

QStringList QueuedBoxes::texts() const
{
    QStringList all;
    for (const BoxRequest &request : m_requests)
        all += request.text;
    return all;
}

QString QueuedBoxes::lastText() const
{
    return m_requests.isEmpty() ? QString() : m_requests.last().text;
}

bool QueuedBoxes::verify()
{
    for (const Answer &answer : std::as_const(m_answers))
        m_surprises += "No box came for the answer: " + answer.button;
    const QStringList surprises = std::exchange(m_surprises, {});
    m_answers.clear();
    m_requests.clear();
    for (const QString &surprise : surprises)
        qWarning().noquote() << surprise;
    return surprises.isEmpty();
}

int QueuedBoxes::take(const BoxRequest &request)
{
    m_requests.append(request);
    if (m_answers.isEmpty()) {
        m_surprises += "Unexpected box: " + request.text;
        return request.escapeButton;
    }
    const Answer answer = m_answers.takeFirst();
    if (answer.action)
        answer.action();
    const QStringList buttons = request.buttons.isEmpty() ? QStringList{"OK"} : request.buttons;
    const qsizetype index = buttons.indexOf(answer.button);
    if (index < 0) {
        m_surprises +=
            "No button \"" + answer.button + "\" in (" + buttons.join(", ") + "): " + request.text;
        return request.escapeButton;
    }
    return static_cast<int>(index);
}
