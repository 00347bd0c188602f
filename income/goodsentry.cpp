#include "income/goodsentry.h"

#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "db/connections.h"
#include "db/money.h"
#include "db/session.h"
#include "income/missedcodesdialog.h"
#include "income/quantityrestdialog.h"
#include "widgets/scantaker.h"
#include "widgets/sound.h"

#include <QApplication>
#include <QScopedValueRollback>

#include <utility>

namespace {

constexpr int lookAgainMs = 50; ///< while something stands in the way of a waiting code
constexpr int mostTries = 3;    ///< to add at once what other stations change at the same moment

/// What cannot be taken back is kept as such, lest the one before it is taken for the last.
Addition additionOf(const ReceiptEntry &entry)
{
    return entry.addition().value_or(
        Addition{.wareid = entry.product().id, .name = entry.product().name});
}

/// Hands a code to the dialog in front, if that has a use for it. Behind the event that the code
/// came with: the dialog may open another one.
bool handToDialog(const QString &code)
{
    QWidget *modal = QApplication::activeModalWidget();
    auto *taker = dynamic_cast<ScanTaker *>(modal);
    if (!taker)
        return false;
    QMetaObject::invokeMethod(
        modal, [taker, code] { taker->takeScan(code); }, Qt::QueuedConnection);
    return true;
}

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
    if (handToDialog(code) || hold(code))
        return;
    m_waiting.append(code);
    // Perhaps what stopped the line has been put right. Not while it is being asked about.
    if (QApplication::activeModalWidget() == m_dialog)
        m_dialogStopped = false;
    m_stopHeard = false;
    m_timer.start(0);
}

/// Keeps a code for the dialog behind the one in front, which has no use for it.
bool GoodsEntry::hold(const QString &code)
{
    const QWidget *modal = QApplication::activeModalWidget();
    QWidget *dialog = modal ? modal->parentWidget() : nullptr;
    while (dialog && !dynamic_cast<ScanTaker *>(dialog))
        dialog = dialog->parentWidget();
    if (!dialog)
        return false;
    m_held.append({dialog, code});
    m_stopHeard = false;
    soundStop();
    m_timer.start(lookAgainMs);
    return true;
}

/// Once its dialog is in front again a code goes there, and without the dialog into the receipt.
void GoodsEntry::serveHeld()
{
    while (!m_held.isEmpty() && !m_held.first().dialog)
        m_waiting.append(m_held.takeFirst().code);
    if (m_held.isEmpty())
        return;
    m_timer.start(lookAgainMs);
    if (QApplication::activeModalWidget() == m_held.first().dialog)
        handToDialog(m_held.takeFirst().code);
}

/// Called until no code waits any more: enters the next one, or lets the line in its way be
/// accepted.
void GoodsEntry::serveWaiting()
{
    serveHeld();
    if (m_waiting.isEmpty())
        return;
    // First, since dialogs and boxes run event loops, which come back here.
    m_timer.start(lookAgainMs);
    QWidget *modal = QApplication::activeModalWidget();
    if (m_dialog && modal == m_dialog) {
        if (!std::exchange(m_dialogStopped, true))
            acceptAndGoOn();
    } else if (modal || QApplication::activePopupWidget()) {
        // Who goes back to the line from a question wants to change it first.
        m_dialogStopped = true;
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

/// The dialog stays where it is for the next product: keys that come while one window closes and
/// another opens would be lost.
void GoodsEntry::acceptAndGoOn()
{
    const CommandScope command;
    if (!m_dialog->save()) {
        soundStop();
        return;
    }
    finishLine();
    m_request = {};
    do {
        const QString code = m_waiting.takeFirst();
        emit codeTaken(code);
        lookUp(code);
    } while (m_request.wareid == 0 && !m_waiting.isEmpty());
    if (m_request.wareid == 0)
        m_dialog->reject(); // there is nothing more to show in it
    else
        m_dialogStopped = false;
}

void GoodsEntry::enterCode(const QString &text)
{
    if (m_entering || m_options().busy) {
        scan(text);
        return;
    }
    {
        const QScopedValueRollback entering(m_entering, true);
        lookUp(text);
    }
    if (!m_waiting.isEmpty())
        m_timer.start(0);
}

void GoodsEntry::scanTorn(const QString &rest)
{
    playSound(Sound::NotFound);
    tell({.status = tr("Скан считан не полностью, повторите его: …%1").arg(rest)});
    m_missed.add(u'…' + rest, tr("считан не полностью"), false);
    emit missedChanged();
}

bool GoodsEntry::lastWasAdded() const
{
    return m_lastAdded;
}

void GoodsEntry::lookUp(const QString &text)
{
    const CommandScope command;
    m_lastAdded = false;
    CodeResult found = lookUpCode(parentNow(), text);
    if (found.kind == CodeKind::NotFound) {
        // Heard and seen before any question about the reference database.
        playSound(Sound::NotFound);
        tell({.status = tr("Не найдено: %1").arg(cleanCode(text))});
        found = lookUpReferenceCode(parentNow(), text);
    }
    enterFound(text, found);
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
        enter(request, code);
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
    openDialog({.wareid = wareid,
                .addedQuantity = double(options.multiplier),
                .startInPrice = options.startInPrice},
               {});
}

void GoodsEntry::editLine(qulonglong wareid, qulonglong lineId)
{
    openDialog({.wareid = wareid,
                .lineId = lineId,
                .editLine = true,
                .startInPrice = m_options().startInPrice},
               {});
}

void GoodsEntry::enter(const ReceiptRequest &request, const QString &code)
{
    // With more codes behind it the dialog would be accepted as soon as it stood there.
    if ((m_options().addAtOnce || !m_waiting.isEmpty()) && addAtOnce(request, code))
        return;
    if (!m_dialog) {
        openDialog(request, code);
        return;
    }
    if (m_dialog->load(request) == LoadState::Loaded)
        m_request = request;
    showLoaded(*m_dialog, request, code);
}

/// False when the dialog has to decide.
bool GoodsEntry::addAtOnce(const ReceiptRequest &request, const QString &code)
{
    for (int tries = 0; tries < mostTries; ++tries) {
        ReceiptEntry entry;
        entry.setQuiet(true);
        if (entry.load(parentNow(), request) != LoadState::Loaded)
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
        switch (entry.save(parentNow(), input)) {
        case SaveState::Saved:
            m_additions.add(additionOf(entry));
            m_lastAdded = true;
            playSound(Sound::Found);
            tell(newsOf(entry.product(), input.quantity, input.outcost));
            emit multiplied();
            emit listTouched();
            return true;
        case SaveState::Changed:
            continue;
        case SaveState::Failed:
        case SaveState::InDoubt:
            playSound(Sound::NotFound);
            tell({.status = tr("Не записано: %1").arg(entry.product().name)});
            if (entry.isInDoubt())
                miss(code, tr("неизвестно, записан ли: %1").arg(entry.product().name), false);
            else
                miss(code, tr("не записан: %1").arg(entry.product().name));
            emit listTouched();
            return true;
        }
    }
    return false;
}

/// Returns whether the line of this request, and perhaps more of them behind it, were accepted.
bool GoodsEntry::openDialog(const ReceiptRequest &request, const QString &code)
{
    const CommandScope command;
    const QScopedValueRollback entering(m_entering, true);
    QuantityRestDialog dialog(request, m_window, &m_agreedPrices);
    showLoaded(dialog, request, code);
    m_linesFinished = false;
    if (dialog.loadState() == LoadState::Loaded) {
        dialog.keepClearOf(m_options().shown);
        m_takeWaitingKeys();
        m_dialog = &dialog;
        m_request = request;
        m_dialogStopped = false;
        if (!m_waiting.isEmpty())
            m_timer.start(0);
        const bool accepted = dialog.exec() == QDialog::Accepted;
        const bool finished =
            m_request.wareid == 0; // by a scan, which found no other line to enter
        if (!finished && (accepted || dialog.entry().isLineWritten()))
            finishLine();
        else if (dialog.entry().isInDoubt())
            tell({.status = tr("Неизвестно, записана ли строка, проверьте приход: %1")
                                .arg(dialog.product().name)});
        m_dialog = nullptr;
    }
    emit listTouched();
    if (!m_waiting.isEmpty())
        m_timer.start(0);
    return m_linesFinished;
}

/// Tells what came of opening a product.
void GoodsEntry::showLoaded(const QuantityRestDialog &dialog, const ReceiptRequest &request,
                            const QString &code)
{
    switch (dialog.loadState()) {
    case LoadState::Loaded:
        playSound(Sound::Found);
        tell(newsOf(dialog.product(), dialog.quantityInReceipt(), dialog.sellingPrice(),
                    dialog.acceptedQuantity()));
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
}

/// The line in the dialog is written.
void GoodsEntry::finishLine()
{
    m_additions.add(additionOf(m_dialog->entry()));
    m_lastAdded = true;
    EntryNews said =
        newsOf(m_dialog->product(), m_dialog->acceptedQuantity(), m_dialog->sellingPrice());
    if (m_request.editLine)
        said.wareid = 0; // its row is the current one, perhaps not the product's first
    tell(said);
    if (!m_request.editLine)
        emit multiplied();
    emit listTouched();
    m_linesFinished = true;
}

QWidget *GoodsEntry::parentNow() const
{
    return m_dialog ? static_cast<QWidget *>(m_dialog) : m_window;
}

void GoodsEntry::takeBack()
{
    if (m_entering || m_options().busy)
        return;
    const CommandScope command;
    const Additions::Result result = m_additions.takeBack(m_window);
    m_lastAdded = false;
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

/// Product numbers are typed by somebody who sees what becomes of them.
void GoodsEntry::miss(const QString &code, const QString &reason, bool whole)
{
    if (code.size() < shortestCode)
        return;
    m_missed.add(plainCode(code), reason, whole);
    emit missedChanged();
}

void GoodsEntry::tell(const EntryNews &said)
{
    emit news(said);
}

EntryNews GoodsEntry::newsOf(const Product &product, double quantity, double outcost,
                             std::optional<double> proposed)
{
    QString amount = tr("%1 %2").arg(formatQuantity(quantity), product.unit).trimmed();
    if (proposed && *proposed != quantity)
        amount = formatQuantity(quantity) + QStringLiteral(" → ") +
                 tr("%1 %2").arg(formatQuantity(*proposed), product.unit).trimmed();
    EntryNews said{.good = true,
                   .status = QStringLiteral("%1 %2").arg(product.article, product.name).trimmed(),
                   .name = product.name,
                   .quantity = amount,
                   .price = tr("%1 %2")
                                .arg(formatMoney(outcost), Session::instance().mainCurrencySymbol())
                                .trimmed(),
                   .wareid = product.id};
    if (quantity != 0 && !proposed)
        said.status += tr(", в приходе: %1").arg(amount);
    if (product.deleted)
        said.warning = tr("НЕТ В КАТАЛОГЕ");
    else if (!product.isEnabled())
        said.warning = tr("НЕАКТИВНО");
    return said;
}
