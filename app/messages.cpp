#include "app/messages.h"

#include "app/logging.h"

#include <QCoreApplication>

#include <utility>

namespace {

BoxHandler &currentHandler()
{
    static BoxHandler handler;
    return handler;
}

int show(QWidget *parent, const BoxRequest &request)
{
    if (!currentHandler())
        return request.escapeButton;
    return currentHandler()(parent, request);
}

} // namespace

BoxHandler setBoxHandler(BoxHandler handler)
{
    return std::exchange(currentHandler(), std::move(handler));
}

void showWarning(QWidget *parent, const QString &text, bool showBox)
{
    if (showBox)
        show(parent, {.kind = BoxKind::Warning, .text = text, .buttons = {}});
    logMessage(text);
}

void showFailure(QWidget *parent, const QString &text, const QString &details)
{
    show(parent, {.kind = BoxKind::Warning, .text = text, .details = details, .buttons = {}});
    logMessage(text);
    if (!details.isEmpty())
        logMessage(details);
}

void showInformation(QWidget *parent, const QString &text)
{
    show(parent, {.kind = BoxKind::Information, .text = text, .buttons = {}});
}

QStringList shortened(const QStringList &items, qsizetype most)
{
    if (items.size() <= most)
        return items;
    return items.mid(0, most)
           << QCoreApplication::translate("Messages", "и ещё %1").arg(items.size() - most);
}

int askQuestion(QWidget *parent, BoxRequest request)
{
    request.kind = BoxKind::Question;
    return show(parent, request);
}

int askQuestion(QWidget *parent, const QString &text, const QStringList &buttons, int defaultButton,
                int escapeButton)
{
    return show(parent, {.kind = BoxKind::Question,
                         .text = text,
                         .buttons = buttons,
                         .defaultButton = defaultButton,
                         .escapeButton = escapeButton});
}
