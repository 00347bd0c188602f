#include "income/linedeletion.h"

#include "app/logging.h"
#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "db/auditlog.h"
#include "db/money.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QCoreApplication>
#include <QHash>
#include <QStringList>

#include <algorithm>
#include <utility>

namespace {

constexpr qsizetype mostNoted = 5; ///< lines that a question has room for

class LineDeletion
{
    Q_DECLARE_TR_FUNCTIONS(LineDeletion)

public:
    explicit LineDeletion(QList<ShownLine> lines)
        : m_lines(std::move(lines))
    {
        // Stations that take their locks in one order do not wait for each other for ever.
        std::sort(m_lines.begin(), m_lines.end(),
                  [](const ShownLine &a, const ShownLine &b) { return a.id < b.id; });
    }

    QList<qulonglong> run(QWidget *parent);
    static QString nameOf(const ShownLine &line);

private:
    struct Current
    {
        qulonglong wareid;
        double quantity;
        double incost;
        double outcost;
    };

    TransactionStep tryAll();
    bool look();
    void note() const;
    void tell(QWidget *parent) const;
    QString text(qsizetype most) const;

    QList<ShownLine> m_lines;
    QHash<qulonglong, Current> m_current; ///< what the list holds of them now
    QList<qulonglong> m_deleted;
    QStringList m_refused;  ///< what is told of the lines that were left alone
    QStringList m_doubtful; ///< names of lines that are gone, perhaps by our own hand
    bool m_inDoubt = false; ///< whether the last try has deleted m_deleted
};

QList<qulonglong> LineDeletion::run(QWidget *parent)
{
    const TransactionResult result =
        runInTransaction(parent, mainConnection, [this] { return tryAll(); },
                         {.inDoubt = &m_inDoubt, .needs = {Command::DeleteLines}});
    if (result.isDone()) {
        note();
        tell(parent);
        return m_deleted;
    }
    const DatabaseFailure &failure = result.failure;
    if (result.state == TransactionState::Unknown)
        showWarning(parent, tr("Связь с базой данных прервалась во время удаления. Неизвестно, "
                               "удалены ли позиции: проверьте приход."));
    else if (result.givenUp) // who does not want to reconnect knows what is wrong
        showWarning(parent, failure.words(), false);
    else
        showDatabaseFailure(parent, failure, tr("Строки прихода не удалены."));
    return {};
}

/// Between the look and the deletion nobody may change or post a line. No box is shown while the
/// locks are held.
TransactionStep LineDeletion::tryAll()
{
    const QList<qulonglong> deleted = std::exchange(m_deleted, {});
    m_refused.clear();
    m_doubtful.clear();
    if (!look()) {
        m_deleted = deleted;
        return TransactionStep::Fail;
    }
    // All or none: a line that is still there proves that the unanswered COMMIT did not take place.
    m_inDoubt = m_inDoubt && std::none_of(deleted.cbegin(), deleted.cend(),
                                          [this](qulonglong id) { return m_current.contains(id); });
    for (const ShownLine &line : std::as_const(m_lines)) {
        const auto current = m_current.constFind(line.id);
        if (current == m_current.cend() || current->wareid != line.wareid) {
            if (m_inDoubt && deleted.contains(line.id))
                m_doubtful += nameOf(line);
            else
                m_refused += tr("%1: строку провели или удалили").arg(nameOf(line));
            continue;
        }
        // Both come from the same column, so they are the same to the last bit or have changed.
        if (current->quantity != line.quantity) {
            m_refused += tr("%1: количество было %2, стало %3")
                             .arg(nameOf(line), formatQuantity(line.quantity),
                                  formatQuantity(current->quantity));
            continue;
        }
        if (!QueryExec(nullptr, "DELETE FROM incomeinvoice WHERE id='" + sql::id(line.id) + "';"))
            return TransactionStep::Fail;
        m_deleted += line.id;
    }
    return m_deleted.isEmpty() ? TransactionStep::Done : TransactionStep::Commit;
}

/// Reads and locks the lines.
bool LineDeletion::look()
{
    m_current.clear();
    QList<qulonglong> lineIds;
    for (const ShownLine &line : std::as_const(m_lines))
        lineIds += line.id;
    for (const QString &ids : sql::idLists(lineIds)) {
        QList<SqlRow> rows;
        if (!readLockedRows(
                QStringLiteral("incomeinvoice"),
                "SELECT id, wareid, quantity, incost, outcost FROM incomeinvoice WHERE id "
                "IN (" +
                    ids + ") ORDER BY id",
                rows))
            return false;
        for (const SqlRow &row : std::as_const(rows))
            m_current.insert(row.at(0).toULongLong(),
                             {row.at(1).toULongLong(), finiteOrZero(row.at(2).toDouble()),
                              row.at(3).toDouble(), row.at(4).toDouble()});
    }
    return true;
}

/// Each line that is gone by our hand, with what it held.
void LineDeletion::note() const
{
    for (const ShownLine &line : m_lines) {
        if (!m_deleted.contains(line.id))
            continue;
        const Current current = m_current.value(line.id);
        noteAction(tr("удалена строка прихода, наименование %1: количество %2, приходная цена %3, "
                      "расходная цена %4")
                       .arg(notedProduct(line.wareid, line.name), sql::exact(current.quantity),
                            sql::exact(current.incost), sql::exact(current.outcost)));
    }
}

/// What other workstations did to the lines is looked for in the log afterwards.
void LineDeletion::tell(QWidget *parent) const
{
    if (m_refused.isEmpty() && m_doubtful.isEmpty())
        return;
    logMessage(text(m_lines.size()));
    showInformation(parent, text(mostListed));
}

QString LineDeletion::text(qsizetype most) const
{
    QStringList parts;
    if (!m_refused.isEmpty()) {
        parts += m_deleted.isEmpty() ? tr("Выделенное не удалено: приход тем временем изменили на "
                                          "другом рабочем месте.")
                                     : tr("Удалены не все выделенные позиции: приход тем временем "
                                          "изменили на другом рабочем месте.");
        parts += shortened(m_refused, most);
        parts += tr("Проверьте приход и, если нужно, повторите удаление.");
    }
    if (!m_doubtful.isEmpty()) {
        parts += tr("Связь с базой данных прервалась во время удаления. Этих позиций больше нет в "
                    "приходе, но неизвестно, удалены они или проведены на другом рабочем месте:");
        parts += shortened(m_doubtful, most);
    }
    return parts.join(u'\n');
}

QString LineDeletion::nameOf(const ShownLine &line)
{
    // A product that was deleted has none.
    return line.name.isEmpty() ? tr("Наименование %1").arg(line.wareid) : line.name;
}

} // namespace

QString deletionNote(const QList<ShownLine> &lines)
{
    QStringList items;
    for (const ShownLine &line : lines)
        items += (LineDeletion::nameOf(line).simplified() + QStringLiteral(" — ") +
                  formatQuantity(line.quantity) + u' ' + line.unit)
                     .trimmed();
    return shortened(items, mostNoted).join(u'\n');
}

bool askToDelete(QWidget *parent, const QList<ShownLine> &lines)
{
    BoxRequest request;
    request.text =
        LineDeletion::tr("Вы действительно хотите удалить из прихода выделенные позиции?");
    request.note = deletionNote(lines);
    request.buttons = {LineDeletion::tr("Да"), LineDeletion::tr("Нет")};
    request.defaultButton = 1;
    request.escapeButton = 1;
    return askQuestion(parent, request) == 0;
}

QList<qulonglong> deleteLines(QWidget *parent, QList<ShownLine> lines)
{
    return LineDeletion(std::move(lines)).run(parent);
}
