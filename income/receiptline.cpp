#include "income/receiptline.h"

#include "app/logging.h"
#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "catalogue/productprices.h"
#include "catalogue/productstore.h"
#include "db/engine.h"
#include "db/money.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int mostDecimals = 6;
constexpr double largestUnquestioned = 99999;

double number(const QVariant &value)
{
    return finiteOrZero(value.toDouble());
}

QString quoted(double value)
{
    return u'\'' + sql::exact(value) + u'\'';
}

/// Sums and differences without the dust of binary fractions (0.1 + 0.2).
double tidy(double quantity)
{
    return QString::number(quantity, 'f', mostDecimals).toDouble();
}

/// Whether two amounts are the same for the database, one of which may be as it was entered.
bool same(double a, double b)
{
    return Engine::of(mainConnection).sameAmount(a, b);
}

ReceiptLine pricesOf(const ReceiptInput &input)
{
    return {.incost = input.incost, .inoutratio = input.inoutratio, .outcost = input.outcost};
}

PriceSet priceSet(const ReceiptLine &line)
{
    return {.incost = line.incost, .inoutratio = line.inoutratio, .outcost = line.outcost};
}

bool samePrices(const ReceiptLine &a, const ReceiptLine &b)
{
    return same(a.incost, b.incost) && same(a.inoutratio, b.inoutratio) &&
           same(a.outcost, b.outcost);
}

} // namespace

bool isQuestionableQuantity(double quantity)
{
    return std::abs(quantity) > largestUnquestioned;
}

QString priceKey(qulonglong wareid, const ReceiptInput &input)
{
    // To the digits that every database keeps.
    return sql::id(wareid) + ' ' + sql::number(input.incost) + ' ' + sql::number(input.outcost);
}

void ReceiptEntry::setQuiet(bool quiet)
{
    m_quiet = quiet;
}

LoadState ReceiptEntry::load(QWidget *parent, const ReceiptRequest &request)
{
    const LoadState state = loadProduct(parent, request.wareid, ProductColumns::Receipt, m_product);
    if (state == LoadState::NotFound && request.editLine) {
        m_product = {.id = request.wareid,
                     .name = tr("Наименование %1, удалено из каталога").arg(request.wareid),
                     .deleted = true};
    } else if (state != LoadState::Loaded) {
        return state;
    }
    QList<SqlRow> rows;
    if (!QueryRows(parent, Additions::linesQuery(m_product.id) + u';', rows))
        return LoadState::Failed;
    const QList<ReceiptLine> lines = Additions::linesOf(rows);

    auto wanted = std::find_if(lines.cbegin(), lines.cend(), [&request](const ReceiptLine &line) {
        return line.id == request.lineId;
    });
    if (wanted == lines.cend()) {
        if (request.editLine)
            return LoadState::NotFound;
        wanted = lines.cbegin();
    }
    for (auto line = lines.cbegin(); line != lines.cend(); ++line) {
        if (line != wanted)
            m_otherLines += line->quantity;
    }
    m_added = request.editLine ? 0 : finiteOrZero(request.addedQuantity);
    // A line's prices may have been entered a minute ago; the catalogue's would undo that.
    if (wanted != lines.cend())
        m_line = *wanted;
    else if (!readProductIncost(parent))
        return LoadState::Failed;
    m_expiretime = m_product.expiretime;
    m_proposed = {.incost = proposedIncost(),
                  .inoutratio = proposedInoutratio(),
                  .outcost = proposedOutcost()};
    return LoadState::Loaded;
}

bool ReceiptEntry::readProductIncost(QWidget *parent)
{
    Session &session = Session::instance();
    if (!session.refreshRates(parent, mainConnection))
        return false;
    QSqlQuery query;
    if (!QueryExec(parent,
                   "SELECT incost FROM warehouse WHERE id=" + sql::quotedId(m_product.id) + ";",
                   query))
        return false;
    const double incost = query.next() ? number(query.value(0)) : 0;
    m_productIncost = finiteOrZero(session.convertCurrencyToMain(incost, m_product.currency));
    return true;
}

const Product &ReceiptEntry::product() const
{
    return m_product;
}

const std::optional<ReceiptLine> &ReceiptEntry::line() const
{
    return m_line;
}

double ReceiptEntry::otherLinesQuantity() const
{
    return m_otherLines;
}

double ReceiptEntry::addedQuantity() const
{
    return m_added;
}

double ReceiptEntry::proposedQuantity() const
{
    return m_line ? tidy(m_line->quantity + m_added) : m_added;
}

double ReceiptEntry::proposedIncost() const
{
    return m_line ? m_line->incost : m_productIncost;
}

double ReceiptEntry::proposedInoutratio() const
{
    return std::max(0.0, m_line ? m_line->inoutratio : m_product.inoutratio);
}

double ReceiptEntry::proposedOutcost() const
{
    return m_line ? m_line->outcost : m_product.outcost;
}

bool ReceiptEntry::pricesEntered() const
{
    return m_pricesEntered;
}

bool ReceiptEntry::isLineWritten() const
{
    return m_lineWritten;
}

bool ReceiptEntry::isInDoubt() const
{
    return m_inDoubt;
}

const std::optional<Addition> &ReceiptEntry::addition() const
{
    return m_addition;
}

SaveState ReceiptEntry::save(QWidget *parent, const ReceiptInput &input)
{
    const ReceiptLine entered = pricesOf(input);
    m_pricesEntered = m_pricesEntered || !samePrices(entered, m_proposed);
    // One time stamp for the whole entry: a line is found again by it.
    const QString stamp = currentTimestamp();
    const SaveState state = writeLine(parent, input, stamp);
    if (state != SaveState::Saved)
        return state;
    m_lineWritten = true;
    if (input.expiretime != m_expiretime && !m_product.deleted) {
        if (!QueryExec(parent, "UPDATE warehouse SET expiretime=" + sql::text(input.expiretime) +
                                   " WHERE id=" + sql::quotedId(m_product.id) + ";")) {
            noteAddition(input, stamp);
            return SaveState::Failed;
        }
        m_expiretime = input.expiretime;
    }
    // The receipt stands by now; a reference database that does not answer has been reported and
    // must not hold it up.
    if (input.passToReference)
        passPriceToReference(parent, m_product.wuid, input.outcost);
    const bool done = !input.audited || m_product.deleted || writeAudit(parent, stamp);
    noteAddition(input, stamp);
    return done ? SaveState::Saved : SaveState::Failed;
}

/// Looks at the lines as they stand after the save. When they are not as it has left them, another
/// station was there already, and nothing can be taken back.
void ReceiptEntry::noteAddition(const ReceiptInput &input, const QString &stamp)
{
    m_addition.reset();
    QList<SqlRow> rows;
    if (!QueryRows(nullptr, Additions::linesQuery(m_product.id) + u';', rows))
        return;
    const QList<ReceiptLine> after = Additions::linesOf(rows);
    const qulonglong user = Session::instance().user().id;
    Addition addition{.wareid = m_product.id, .name = m_product.name, .before = m_before};
    for (const ReceiptLine &line : after) {
        const bool known =
            std::any_of(m_before.cbegin(), m_before.cend(),
                        [&line](const ReceiptLine &before) { return before.id == line.id; });
        if (line.userid != user || line.timestamp != stamp ||
            (!known && (addition.insertedId != 0 || !m_before.isEmpty())))
            return;
        if (!known)
            addition.insertedId = line.id;
    }
    if (after.size() != m_before.size() + (addition.insertedId != 0 ? 1 : 0))
        return;
    addition.after = after;
    if (input.expiretime != m_product.expiretime && !m_product.deleted)
        addition.expiry = {m_product.expiretime, input.expiretime};
    if (input.audited && !m_product.deleted && Session::instance().hasRight(Right::AuditStock))
        addition.audit = {m_product.latime, stamp};
    m_addition = addition;
}

/// What other workstations did to the entry is looked for in the log afterwards.
void ReceiptEntry::tell(QWidget *parent, const QString &text) const
{
    logMessage(text);
    if (!m_quiet)
        showInformation(parent, text);
}

/// A row that changes whenever units of the product are posted.
bool ReceiptEntry::readPosted(SqlRow &posted) const
{
    QList<SqlRow> rows;
    if (!QueryRows(nullptr,
                   "SELECT COUNT(id), MAX(id) FROM income WHERE wareid=" +
                       sql::quotedId(m_product.id) + ";",
                   rows))
        return false;
    posted = rows.value(0);
    return true;
}

/// The quantity is written as a whole, so the line must still be what the user saw.
SaveState ReceiptEntry::writeLine(QWidget *parent, const ReceiptInput &input, const QString &stamp)
{
    const double quantity = tidy(input.quantity - m_goneQuantity);
    const bool isNew = !m_line;
    QList<ReceiptLine> lines;
    const TransactionResult result = runInTransaction(
        parent, mainConnection, [&] { return tryLine(input, stamp, quantity, lines); },
        {.inDoubt = &m_inDoubt, .needs = {Command::EnterLines}});
    if (result.state == TransactionState::Refused) {
        if (m_inDoubt)
            return lineInDoubt(parent, lines);
        const double added = tidy(quantity - m_line->quantity);
        if (lines.isEmpty())
            return lineGone(parent, input, stamp, added);
        const auto current = findLine(lines);
        return lineChanged(parent, current == lines.cend() ? lines.first() : *current, added);
    }
    if (!result.isDone())
        return result.givenUp ? SaveState::Failed : notWritten(parent, result);
    if (!samePrices(m_proposed, m_written))
        notePrices(
            tr("Цены в приходе, наименование %1").arg(notedProduct(m_product.id, m_product.name)),
            priceSet(m_proposed), priceSet(m_written));
    // Should the rest of the entry fail, the next save goes on from here.
    m_line = m_written;
    m_proposed = m_written;
    if (isNew && m_goneQuantity != 0) {
        tell(parent, lineGoneText() + u' ' +
                         tr("Новой строкой записано добавленное количество: %1.")
                             .arg(formatQuantity(quantity)));
    }
    return SaveState::Saved;
}

/// Looks at the lines and writes one in a short transaction: between the two nobody may change,
/// post or delete it. No box is shown while the lock is held.
TransactionStep ReceiptEntry::tryLine(const ReceiptInput &input, const QString &stamp,
                                      double quantity, QList<ReceiptLine> &lines)
{
    lines.clear();
    if (m_line || m_inDoubt) {
        const TransactionStep look = lookAtLines(lines);
        if (look != TransactionStep::Commit)
            return look;
    }
    if (!m_inDoubt && !m_lineWritten)
        m_before = lines;
    m_inDoubt = false; // what became of a former try is known now
    m_pending = {.stamp = stamp, .quantity = quantity};
    if (!m_line && !readPosted(m_pending.posted))
        return TransactionStep::Fail;
    return writeRow(input, stamp, quantity) ? TransactionStep::Commit : TransactionStep::Fail;
}

/// Finds the line again, also a new one whose COMMIT got no answer. Refuses when it is not as the
/// user saw it, or when nobody can know what became of it.
TransactionStep ReceiptEntry::lookAtLines(QList<ReceiptLine> &lines)
{
    const QString table = QStringLiteral("incomeinvoice");
    const QString select = Additions::linesQuery(m_product.id);
    QList<SqlRow> rows;
    if (!(m_line ? readLockedRows(table, select, rows) : readLockedTable(table, select, rows)))
        return TransactionStep::Fail;
    lines = Additions::linesOf(rows);
    if (m_line) {
        const auto current = findLine(lines);
        if (current == lines.cend() || !isAsSeen(*current))
            return TransactionStep::Refuse;
        m_line->quantity = current->quantity;
        return TransactionStep::Commit;
    }
    const qulonglong user = Session::instance().user().id;
    const auto own = std::find_if(lines.cbegin(), lines.cend(), [&](const ReceiptLine &line) {
        return line.userid == user && line.timestamp == m_pending.stamp &&
               same(line.quantity, m_pending.quantity);
    });
    if (own != lines.cend()) {
        m_line = *own;
        m_pricesEntered = true; // those of the line are this entry's own
        m_lineWritten = true;
        return TransactionStep::Commit;
    }
    SqlRow posted;
    if (!readPosted(posted))
        return TransactionStep::Fail;
    // Other stations write their user, time and quantity into a line, or post it: where none was
    // known before, this may be the one.
    return lines.isEmpty() && posted == m_pending.posted ? TransactionStep::Commit
                                                         : TransactionStep::Refuse;
}

QList<ReceiptLine>::const_iterator ReceiptEntry::findLine(const QList<ReceiptLine> &lines) const
{
    return std::find_if(lines.cbegin(), lines.cend(),
                        [this](const ReceiptLine &line) { return line.id == m_line->id; });
}

/// Its prices may have changed only when the user has entered his own: what he sees, what the line
/// keeps and what the reference database gets are the same prices.
bool ReceiptEntry::isAsSeen(const ReceiptLine &current) const
{
    return (same(current.quantity, m_line->quantity) ||
            (m_inDoubt && same(current.quantity, m_pending.quantity))) &&
           (m_pricesEntered || samePrices(current, m_proposed));
}

/// Writes the line and, since all lines of a product carry one price, the prices of the others.
bool ReceiptEntry::writeRow(const ReceiptInput &input, const QString &stamp, double quantity)
{
    const QString wareid = sql::quotedId(m_product.id);
    const QString user = sql::quotedId(Session::instance().user().id);
    const QString incost = quoted(input.incost);
    const QString ratio = quoted(input.inoutratio);
    const QString outcost = quoted(input.outcost);
    QSqlQuery query;
    if (!QueryExec(nullptr,
                   m_line ? "UPDATE incomeinvoice SET quantity=" + quoted(quantity) +
                                " WHERE id=" + sql::quotedId(m_line->id) + ";"
                          : "INSERT INTO incomeinvoice(wareid,incost,inoutratio,outcost,quantity,"
                            "userid,timestamp) VALUES(" +
                                wareid + "," + incost + "," + ratio + "," + outcost + "," +
                                quoted(quantity) + "," + user + "," + sql::text(stamp) + ");",
                   query))
        return false;
    m_written = pricesOf(input);
    m_written.id = m_line ? m_line->id : query.lastInsertId().toULongLong();
    m_written.quantity = quantity;
    return QueryExec(nullptr, "UPDATE incomeinvoice SET incost=" + incost +
                                  ", inoutratio=" + ratio + ", outcost=" + outcost +
                                  ", userid=" + user + ", timestamp=" + sql::text(stamp) +
                                  " WHERE wareid=" + wareid + ";");
}

/// Proposes the user's units on top of what the other workstation has made of the line.
SaveState ReceiptEntry::lineChanged(QWidget *parent, const ReceiptLine &current, double added)
{
    const ReceiptLine before = *m_line;
    m_line = current;
    m_added = added;
    m_goneQuantity = 0;
    QStringList changes;
    if (!same(before.quantity, current.quantity)) {
        changes += tr("Количество этого товара в приходе изменили на другом рабочем месте: было "
                      "%1, стало %2.")
                       .arg(formatQuantity(before.quantity), formatQuantity(current.quantity));
    }
    if (!m_pricesEntered && !samePrices(m_proposed, current)) {
        changes += tr("Цены этого товара в приходе изменили на другом рабочем месте: приходная "
                      "была %1, стала %2, расходная была %3, стала %4.")
                       .arg(formatMoney(m_proposed.incost), formatMoney(current.incost),
                            formatMoney(m_proposed.outcost), formatMoney(current.outcost));
        m_proposed = current;
    }
    if (changes.isEmpty())
        changes += tr("Строку этого товара записали заново на другом рабочем месте.");
    tell(parent, changes.join(u'\n') + u'\n' + tr("Проверьте и примите ещё раз."));
    return SaveState::Changed;
}

/// The units of the lost line are in stock or were struck out on purpose: only what the user has
/// put on top of them goes into a new line.
SaveState ReceiptEntry::lineGone(QWidget *parent, const ReceiptInput &input, const QString &stamp,
                                 double added)
{
    const double gone = m_line->quantity;
    m_line.reset();
    m_otherLines = 0;
    m_added = 0;
    if (added > 0 && !m_product.deleted) {
        m_goneQuantity += gone;
        return writeLine(parent, input, stamp);
    }
    m_goneQuantity = 0;
    tell(parent,
         lineGoneText() + u' ' + tr("Введите количество для новой строки или отмените ввод."));
    return SaveState::Changed;
}

/// Another station was at the product's lines after a write that got no answer: nobody can say
/// whether the user's units were in them by then, so none are proposed.
SaveState ReceiptEntry::lineInDoubt(QWidget *parent, const QList<ReceiptLine> &lines)
{
    m_inDoubt = false;
    m_line = lines.isEmpty() ? std::nullopt : std::optional(lines.first());
    if (m_line && !m_pricesEntered)
        m_proposed = *m_line;
    m_otherLines = 0;
    for (const ReceiptLine &line : lines.mid(1))
        m_otherLines += line.quantity;
    m_added = 0;
    m_goneQuantity = 0;
    m_quiet = false;
    tell(parent, tr("Связь с базой данных прервалась во время записи, а строки этого товара тем "
                    "временем добавили, изменили, провели или удалили на другом рабочем месте. "
                    "Неизвестно, вошло ли в них введённое количество: проверьте приход, затем "
                    "введите количество заново или отмените ввод."));
    return SaveState::InDoubt;
}

SaveState ReceiptEntry::notWritten(QWidget *parent, const TransactionResult &result)
{
    const DatabaseFailure &failure = result.failure;
    if (result.state == TransactionState::Unknown)
        showFailure(parent,
                    tr("Неизвестно, записана ли строка: её запись прервалась. Проверьте приход или "
                       "повторите позже."),
                    failure.words());
    else
        showDatabaseFailure(parent, failure, tr("Строка прихода не записана."));
    return SaveState::Failed;
}

QString ReceiptEntry::lineGoneText()
{
    return tr("Строку этого товара провели или удалили на другом рабочем месте.");
}

bool ReceiptEntry::writeAudit(QWidget *parent, const QString &stamp)
{
    const RightCheck check = checkRight(Command::AuditStock);
    if (check.state == RightCheck::State::Missing) {
        showWarning(parent, check.refusal);
        return true;
    }
    return QueryExec(parent, "UPDATE warehouse SET latime=" + sql::text(stamp) +
                                 " WHERE id=" + sql::quotedId(m_product.id) + ";");
}
