#include "income/goodsentry.h"

#include "app/messages.h"
#include "db/connections.h"
#include "db/money.h"
#include "db/session.h"
#include "income/missedcodesdialog.h"
#include "income/pricerules.h"
#include "income/quantityrestdialog.h"
#include "widgets/sound.h"

#include <QApplication>
#include <QScopedValueRollback>

#include <cmath>
#include <utility>

namespace {

constexpr int lookAgainMs = 50; ///< while something stands in the way of a waiting code
constexpr int mostTries = 3;    ///< to add at once what other stations change at the same moment

} // namespace

GoodsEntry::GoodsEntry(QWidget *window, std::function<EntryOptions()> options,
                       std::function<void()> takeWaitingKeys)
    : QObject(window),
      m_window(window),
      m_options(std::move(options)),
      m_takeWaitingKeys(std::move(takeWaitingKeys))
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &GoodsEntry::serveWaiting);
}

void GoodsEntry::scan(const QString &code)
{
    m_waiting.append(code);
    m_dialogStopped = false; // perhaps what stopped the line has been put right
    m_stopHeard = false;
    m_timer.start(0);
}

/// Called until no code waits any more: enters the next one, or lets the line in its way be
/// accepted.
void GoodsEntry::serveWaiting()
{
    if (m_waiting.isEmpty())
        return;
    // First, since dialogs and boxes run event loops, which come back here.
    m_timer.start(lookAgainMs);
    QWidget *modal = QApplication::activeModalWidget();
    if (m_dialog && modal == m_dialog) {
        if (!std::exchange(m_dialogStopped, true) && !m_dialog->acceptForScan())
            soundStop();
    } else if (modal || QApplication::activePopupWidget()) {
        if (!m_options().busy)
            soundStop();
    } else if (!m_options().busy && !m_entering) {
        const QString code = m_waiting.takeFirst();
        emit codeTaken(code);
        enterCode(code);
    }
}

/// Who scans does not look at the screen.
void GoodsEntry::soundStop()
{
    if (!std::exchange(m_stopHeard, true))
        playSound(Sound::NotFound);
}

void GoodsEntry::enterCode(const QString &text)
{
    if (m_entering || m_options().busy) {
        scan(text);
        return;
    }
    {
        const QScopedValueRollback entering(m_entering, true);
        CodeResult found = lookUpCode(m_window, text);
        if (found.kind == CodeKind::NotFound) {
            // Heard and seen before any question about the reference database.
            playSound(Sound::NotFound);
            tell({.status = tr("Не найдено: %1").arg(cleanCode(text))});
            found = lookUpReferenceCode(m_window, text);
        }
        enterFound(text, found);
    }
    if (!m_waiting.isEmpty())
        m_timer.start(0);
}

void GoodsEntry::enterFound(const QString &text, const CodeResult &found)
{
    const QString code = cleanCode(text);
    switch (found.kind) {
    case CodeKind::Nothing:
        if (!code.isEmpty()) {
            playSound(Sound::NotFound);
            tell({.status = tr("Не номер наименования и не штрих-код: %1").arg(code)});
        }
        break;
    case CodeKind::Product: {
        const EntryOptions options = m_options();
        const ReceiptRequest request{.wareid = found.wareid,
                                     .addedQuantity = found.packQuantity * options.multiplier,
                                     .startInPrice = options.startInPrice};
        if (enter(request, code))
            emit multiplied();
        break;
    }
    case CodeKind::NotFound:
        miss(code, tr("не найден"));
        break;
    case CodeKind::Failed:
        playSound(Sound::NotFound);
        tell({.status = tr("Ошибка базы данных при поиске кода %1").arg(code)});
        miss(code, tr("ошибка базы данных"));
        // One question is enough: what waits behind it would ask it again.
        if (!openConnection(mainConnection)) {
            for (const QString &next : std::exchange(m_waiting, {}))
                miss(cleanCode(next), tr("ошибка базы данных"));
        }
        break;
    }
}

void GoodsEntry::addProduct(qulonglong wareid)
{
    const EntryOptions options = m_options();
    if (openDialog({.wareid = wareid,
                    .addedQuantity = double(options.multiplier),
                    .startInPrice = options.startInPrice},
                   {}))
        emit multiplied();
}

void GoodsEntry::editLine(qulonglong wareid, qulonglong lineId)
{
    openDialog({.wareid = wareid,
                .lineId = lineId,
                .editLine = true,
                .startInPrice = m_options().startInPrice},
               {});
}

/// Returns whether the list holds it now.
bool GoodsEntry::enter(const ReceiptRequest &request, const QString &code)
{
    if (m_options().addAtOnce && addAtOnce(request, code))
        return true;
    return openDialog(request, code);
}

/// False when the dialog has to decide.
bool GoodsEntry::addAtOnce(const ReceiptRequest &request, const QString &code)
{
    for (int tries = 0; tries < mostTries; ++tries) {
        ReceiptEntry entry;
        entry.setQuiet(true);
        if (entry.load(m_window, request) != LoadState::Loaded)
            return false;
        const ReceiptInput input{.quantity = entry.proposedQuantity(),
                                 .incost = entry.proposedIncost(),
                                 .inoutratio = entry.proposedInoutratio(),
                                 .outcost = entry.proposedOutcost(),
                                 .expiretime = entry.product().expiretime};
        if (isQuestionableQuantity(input.quantity) || input.quantity == 0 ||
            (isDoubtfulPrice(input.incost, input.outcost) &&
             !m_agreedPrices.contains(priceKey(request.wareid, input))))
            return false;
        switch (entry.save(m_window, input)) {
        case SaveState::Saved:
            note(entry);
            playSound(Sound::Found);
            tell(newsOf(entry.product(), input.quantity, input.outcost));
            emit listTouched();
            return true;
        case SaveState::Changed:
            continue;
        case SaveState::Failed:
        case SaveState::InDoubt:
            playSound(Sound::NotFound);
            tell({.status = tr("Не записано: %1").arg(entry.product().name)});
            miss(code, tr("не записан: %1").arg(entry.product().name));
            emit listTouched();
            return true;
        }
    }
    return false;
}

bool GoodsEntry::openDialog(const ReceiptRequest &request, const QString &code)
{
    const QScopedValueRollback entering(m_entering, true);
    QuantityRestDialog dialog(request, m_window, &m_agreedPrices);
    switch (dialog.loadState()) {
    case LoadState::Loaded:
        playSound(Sound::Found);
        tell(newsOf(dialog.product(), dialog.quantityInReceipt(), dialog.sellingPrice()));
        break;
    case LoadState::NotFound:
        playSound(Sound::NotFound);
        tell({.status = request.editLine
                            ? tr("Строку провели или удалили на другом рабочем месте")
                            : tr("Наименование %1 удалено из каталога").arg(request.wareid)});
        miss(code, tr("наименование %1 удалено из каталога").arg(request.wareid));
        break;
    case LoadState::Failed:
        playSound(Sound::NotFound);
        tell(
            {.status = tr("Ошибка базы данных, наименование %1 не прочитано").arg(request.wareid)});
        miss(code, tr("ошибка базы данных"));
        break;
    }
    bool accepted = false;
    if (dialog.loadState() == LoadState::Loaded) {
        m_takeWaitingKeys();
        m_dialog = &dialog;
        m_dialogStopped = false;
        if (!m_waiting.isEmpty())
            m_timer.start(0);
        accepted = dialog.exec() == QDialog::Accepted;
        m_dialog = nullptr;
    }
    if (accepted) {
        note(dialog.entry());
        tell(newsOf(dialog.product(), dialog.acceptedQuantity(), dialog.sellingPrice()));
    }
    emit listTouched();
    if (!m_waiting.isEmpty())
        m_timer.start(0);
    return accepted;
}

void GoodsEntry::takeBack()
{
    if (m_entering || m_options().busy)
        return;
    const Additions::Result result = m_additions.takeBack(m_window);
    playSound(result.done ? Sound::Found : Sound::NotFound);
    tell({.good = result.done, .status = result.text, .wareid = result.wareid});
    emit listTouched();
}

void GoodsEntry::forget()
{
    m_additions.clear();
    m_agreedPrices.clear();
}

void GoodsEntry::showMissed(const QString &productFilter)
{
    while (!m_missed.isEmpty()) {
        MissedCodesDialog dialog(&m_missed, productFilter, m_window);
        const bool chosen = dialog.exec() == QDialog::Accepted;
        emit missedChanged();
        if (!chosen)
            break;
        // What was scanned of it is still on the table.
        if (openDialog({.wareid = dialog.wareid(), .addedQuantity = dialog.units()}, {}))
            m_missed.remove(dialog.code());
        emit missedChanged();
    }
}

const MissedCodes &GoodsEntry::missed() const
{
    return m_missed;
}

const QStringList &GoodsEntry::waiting() const
{
    return m_waiting;
}

void GoodsEntry::note(const ReceiptEntry &entry)
{
    m_additions.add(entry.addition().value_or(
        Addition{.wareid = entry.product().id, .name = entry.product().name}));
}

/// Product numbers are typed by somebody who sees what becomes of them.
void GoodsEntry::miss(const QString &code, const QString &reason)
{
    if (code.size() < shortestCode)
        return;
    m_missed.add(code, reason);
    emit missedChanged();
}

void GoodsEntry::tell(const EntryNews &said)
{
    emit news(said);
}

EntryNews GoodsEntry::newsOf(const ReceiptProduct &product, double quantity, double outcost)
{
    const QString amount = tr("%1 %2").arg(formatQuantity(quantity), product.unit).trimmed();
    EntryNews said{.good = true,
                   .status = QStringLiteral("%1 %2").arg(product.article, product.name).trimmed(),
                   .name = product.name,
                   .quantity = amount,
                   .price = tr("%1 %2")
                                .arg(formatMoney(outcost), Session::instance().mainCurrencySymbol())
                                .trimmed(),
                   .wareid = product.id};
    if (quantity != 0)
        said.status += tr(", в приходе: %1").arg(amount);
    if (!product.enabled)
        said.warning = tr("НЕАКТИВНО");
    return said;
}
