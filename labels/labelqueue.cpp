#include "labels/labelqueue.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

#include "app/messages.h"
#include "catalogue/barcode.h"
#include "catalogue/codesearch.h"
#include "db/currencies.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "labels/ean13.h"

namespace {

constexpr qsizetype rowsOfStatement = 100;

struct LabelQueue
{
    Q_DECLARE_TR_FUNCTIONS(LabelQueue)
};

/// The first barcode of a product, in a SELECT.
QString firstCode(const QString &wareid)
{
    return "(SELECT code FROM codes WHERE codes.id=(SELECT MIN(mine.id) FROM codes AS mine WHERE "
           "mine.wareid=" +
           wareid + ")) AS code";
}

/// The rows of a SELECT of code, name and quantity; those without a code are left out.
bool read(QWidget *parent, const QString &select, QList<NewLabel> &labels)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, select, rows))
        return false;
    for (const SqlRow &row : std::as_const(rows)) {
        if (const QString code = row.value(0).toString(); !code.isEmpty())
            labels += {code, row.value(1).toString(), row.value(2).toDouble()};
    }
    return true;
}

/// The same for a long list of ids in a condition "… IN (ids)".
NewLabels readByIds(QWidget *parent, const QString &head, const QList<qulonglong> &ids,
                    const QString &order)
{
    QList<NewLabel> labels;
    for (const QString &list : sql::idLists(ids)) {
        if (!read(parent, head + " IN (" + list + ") ORDER BY " + order + ';', labels))
            return std::nullopt;
    }
    return labels;
}

/// What fills the queue with a statement for a hundred rows.
QStringList insertStatements(const QList<NewLabel> &labels)
{
    QStringList values;
    QStringList statements;
    const auto finish = [&] {
        if (!values.isEmpty())
            statements += "INSERT INTO labels(code,name,quantity) VALUES" + values.join(u',') + ';';
        values.clear();
    };
    for (const NewLabel &label : labels) {
        if (const int count = labelCount(label.quantity); count > 0)
            values += '(' + sql::text(label.code) + ',' + sql::text(label.name) + ",'" +
                      sql::integer(count) + "')";
        if (values.size() == rowsOfStatement)
            finish();
    }
    finish();
    return statements;
}

} // namespace

NewLabels labelsOfReceipt(QWidget *parent, qulonglong reportId)
{
    QList<NewLabel> labels;
    if (!read(parent,
              "SELECT " + firstCode(QStringLiteral("income.wareid")) +
                  ", warehouse.name, income.quantity FROM income LEFT JOIN warehouse ON "
                  "warehouse.id = income.wareid WHERE income.reportid=" +
                  sql::quotedId(reportId) + " ORDER BY income.id;",
              labels))
        return std::nullopt;
    return labels;
}

NewLabels labelsOfWorkingList(QWidget *parent)
{
    QList<NewLabel> labels;
    if (!read(parent,
              "SELECT " + firstCode(QStringLiteral("incomeinvoice.wareid")) +
                  ", warehouse.name, incomeinvoice.quantity FROM incomeinvoice LEFT JOIN warehouse "
                  "ON warehouse.id = incomeinvoice.wareid ORDER BY incomeinvoice.id;",
              labels))
        return std::nullopt;
    return labels;
}

NewLabels labelsOfProducts(QWidget *parent, const QList<qulonglong> &wareids, int copies)
{
    return readByIds(parent,
                     "SELECT " + firstCode(QStringLiteral("warehouse.id")) + ", warehouse.name, " +
                         sql::integer(copies) + " FROM warehouse WHERE warehouse.id",
                     wareids, QStringLiteral("warehouse.name, warehouse.id"));
}

NewLabels labelsOfCodes(QWidget *parent, const QList<qulonglong> &codeIds, int copies)
{
    return readByIds(parent,
                     "SELECT codes.code, warehouse.name, " + sql::integer(copies) +
                         " FROM codes LEFT JOIN warehouse ON warehouse.id = codes.wareid WHERE "
                         "codes.id",
                     codeIds, QStringLiteral("warehouse.name, codes.id"));
}

NewLabels labelsOfScan(QWidget *parent, const QString &scan, int copies)
{
    for (const QString &reading : codeReadings(cleanCode(scan))) {
        QList<NewLabel> labels;
        if (!read(
                parent,
                "SELECT codes.code, warehouse.name, " + sql::integer(copies) +
                    " FROM codes JOIN warehouse ON warehouse.id = codes.wareid WHERE codes.code=" +
                    sql::text(reading) + " ORDER BY codes.id LIMIT 1;",
                labels))
            return std::nullopt;
        if (!labels.isEmpty())
            return labels;
    }
    return QList<NewLabel>();
}

bool mayAddCopies(QWidget *parent, int copies, const QString &name)
{
    if (copies <= manyCopies)
        return true;
    const QString question =
        name.isEmpty()
            ? LabelQueue::tr("Напечатать столько этикеток: %1?").arg(copies)
            : LabelQueue::tr("Напечатать столько этикеток: %1?\n%2").arg(copies).arg(name);
    return askQuestion(parent, question, {LabelQueue::tr("Да"), LabelQueue::tr("Отмена")}, 1, 1) ==
           0;
}

bool addLabels(QWidget *parent, const QList<NewLabel> &labels)
{
    const QStringList statements = insertStatements(labels);
    if (statements.isEmpty())
        return false;
    const auto most =
        std::max_element(labels.begin(), labels.end(), [](const NewLabel &a, const NewLabel &b) {
            return a.quantity < b.quantity;
        });
    if (!mayAddCopies(parent, labelCount(most->quantity), most->name))
        return false;
    const TransactionResult result = runInTransaction(parent, mainConnection, [&] {
        for (const QString &statement : statements) {
            if (!QueryExec(nullptr, statement))
                return TransactionStep::Fail;
        }
        return TransactionStep::Commit;
    });
    if (result.state == TransactionState::Unknown)
        showDatabaseFailure(parent, result.failure, {},
                            LabelQueue::tr("Неизвестно, добавлены ли этикетки. Проверьте список."));
    else if (!result.isDone() && !result.givenUp)
        showDatabaseFailure(parent, result.failure, LabelQueue::tr("Этикетки не добавлены."));
    return result.isDone() || result.state == TransactionState::Unknown;
}

bool addToLabels(QWidget *parent, const QList<qulonglong> &wareids)
{
    const NewLabels labels = readByIds(
        parent,
        QStringLiteral("SELECT codes.code, warehouse.name, 1 FROM codes JOIN warehouse ON "
                       "warehouse.id = codes.wareid WHERE codes.wareid"),
        wareids, QStringLiteral("warehouse.name, codes.id"));
    if (!labels)
        return false;
    if (labels->isEmpty()) {
        showWarning(parent, LabelQueue::tr("Ошибка добавления наименование в этикетки. Возможно "
                                           "наименование не имеет ни одного штрих-кода."));
        return false;
    }
    return addLabels(parent, *labels);
}

QList<TableColumn> labelColumns()
{
    return {
        {"id", "id", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"code", "code", LabelQueue::tr("Штрих-код"), ColumnKind::Name},
        {"name", "name", LabelQueue::tr("Наименование"), ColumnKind::Name, ColumnWidth::Rest},
        {"quantity", "quantity", LabelQueue::tr("Экз."), ColumnKind::Quantity, ColumnWidth::Whole},
    };
}

QString labelsSelect()
{
    return selectList(labelColumns()) + " FROM labels ORDER BY id;";
}

qlonglong totalLabels(QWidget *parent)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, QStringLiteral("SELECT SUM(labels.quantity) FROM labels;"), rows))
        return 0;
    if (rows.isEmpty())
        showWarning(parent, LabelQueue::tr("Error 23853: empty sum result"));
    return rows.value(0).value(0).toLongLong();
}

LabelEdit editLabel(QWidget *parent, qulonglong id, const QString &column, QVariant *shown,
                    const QVariant &value)
{
    LabelEdit outcome = LabelEdit::Failed;
    const QVariant before = *shown;
    bool inDoubt = false;
    const QString where = " FROM labels WHERE id=" + sql::quotedId(id);
    const TransactionResult result = runInTransaction(
        parent, mainConnection,
        [&] {
            QList<SqlRow> rows;
            if (!readLockedRows(QStringLiteral("labels"), "SELECT " + column + where, rows))
                return TransactionStep::Fail;
            inDoubt = false;
            outcome = LabelEdit::Done;
            if (rows.isEmpty()) {
                outcome = LabelEdit::Gone;
                return TransactionStep::Refuse;
            }
            const QVariant stored = rows.first().first();
            if (stored.toString() == value.toString())
                return TransactionStep::Done;
            if (stored.toString() != before.toString()) {
                outcome = LabelEdit::Changed;
                *shown = stored;
                return TransactionStep::Refuse;
            }
            return QueryExec(nullptr, "UPDATE labels SET " + column + '=' +
                                          sql::text(value.toString()) +
                                          " WHERE id=" + sql::quotedId(id) + ';')
                       ? TransactionStep::Commit
                       : TransactionStep::Fail;
        },
        {.inDoubt = &inDoubt});
    if (result.isDone() || result.state == TransactionState::Refused)
        return outcome;
    if (!result.givenUp)
        showDatabaseFailure(parent, result.failure, LabelQueue::tr("Этикетка не изменена."));
    return LabelEdit::Failed;
}

bool setLabelQuantity(QWidget *parent, const QList<qulonglong> &ids, int copies)
{
    QStringList statements;
    for (const qulonglong id : ids)
        statements += "UPDATE labels SET quantity=" + sql::integer(copies) +
                      " WHERE id=" + sql::quotedId(id) + ';';
    return runStatements(parent, statements, LabelQueue::tr("Число этикеток не записано."));
}

bool deleteLabels(QWidget *parent, const QList<qulonglong> &ids)
{
    QStringList statements;
    for (const qulonglong id : ids)
        statements += "DELETE FROM labels WHERE id=" + sql::quotedId(id) + ';';
    return runStatements(parent, statements, LabelQueue::tr("Этикетки не удалены."));
}

bool deleteAllLabels(QWidget *parent)
{
    return runStatements(parent, {QStringLiteral("DELETE FROM labels;")},
                         LabelQueue::tr("Этикетки не удалены."));
}

QList<TableColumn> priceMarkColumns()
{
    return {
        {"id", "MAX(changeoutcostinfo.id) AS id", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"wareid", "changeoutcostinfo.wareid", {}, ColumnKind::Id, ColumnWidth::Hidden},
        {"name", "warehouse.name", LabelQueue::tr("Наименование"), ColumnKind::Name,
         ColumnWidth::Rest},
        {"outcost", "warehouse.outcost", LabelQueue::tr("Цена"), ColumnKind::Money,
         ColumnWidth::Whole},
        {"ctime", "MAX(changeoutcostinfo.ctime) AS ctime", LabelQueue::tr("Изменена"),
         ColumnKind::Time, ColumnWidth::Lesser},
    };
}

QString priceMarksSelect()
{
    return selectList(priceMarkColumns()) +
           " FROM changeoutcostinfo LEFT JOIN warehouse ON warehouse.id = changeoutcostinfo.wareid "
           "GROUP BY changeoutcostinfo.wareid, warehouse.name, warehouse.outcost "
           "ORDER BY warehouse.name, changeoutcostinfo.wareid;";
}

bool strikeOff(QWidget *parent, const QList<PriceMark> &marks)
{
    QStringList statements;
    for (const PriceMark &mark : marks)
        statements += "DELETE FROM changeoutcostinfo WHERE wareid=" + sql::quotedId(mark.wareid) +
                      " AND id<=" + sql::quotedId(mark.id) + ';';
    return runStatements(parent, statements,
                         LabelQueue::tr("Наименования не вычеркнуты из списка."));
}

QString priceLine(double outcost, double packQuantity, const QString &unit, int decimals,
                  const QString &currency)
{
    const double price = tidied(outcost * packQuantity);
    double whole = std::trunc(price);
    QString hundredths = QString::number((price - whole) * 100, 'g', 6);
    if (std::abs(hundredths.toDouble()) >= 100) {
        whole += price < 0 ? -1 : 1;
        hundredths = QStringLiteral("0");
    }
    QString line = LabelQueue::tr("Цена") + ": " + QString::number(whole, 'f', 0) + u' ' + currency;
    if (hundredths.toDouble() != 0)
        line += u' ' + hundredths + u' ' + LabelQueue::tr("к.");
    if (packQuantity != 1 || decimals >= 1)
        line += u'/' + QString::number(packQuantity) + u' ' + unit;
    return line.trimmed();
}

bool LabelReader::read(QWidget *parent, const QList<qulonglong> &ids)
{
    QList<qulonglong> wanted;
    for (const qulonglong id : ids) {
        if (!m_read.contains(id) && !wanted.contains(id))
            wanted += id;
    }
    const QString currency = Session::instance().mainCurrencySymbol();
    for (const QString &list : sql::idLists(wanted)) {
        QList<SqlRow> rows;
        if (!QueryRows(
                parent,
                "SELECT labels.id, labels.code, labels.name, codes.wareid, "
                "codes.packquantity, codes.madein, warehouse.id, warehouse.outcost, "
                "brands.name, units.name, units.decimals FROM labels LEFT JOIN codes ON "
                "labels.code = codes.code LEFT JOIN warehouse ON warehouse.id = codes.wareid "
                "LEFT JOIN brands ON warehouse.brandid=brands.id LEFT JOIN units ON "
                "units.id=warehouse.unitid WHERE labels.id IN (" +
                    list + ") ORDER BY labels.id, codes.id;",
                rows))
            return false;
        for (const SqlRow &row : std::as_const(rows)) {
            const qulonglong id = row.at(0).toULongLong();
            if (m_data.contains(id)) // the code stands there twice
                continue;
            Data data{{row.at(1).toString(), row.at(2).toString(), {}, {}},
                      row.at(3).toString(),
                      !row.at(6).isNull()};
            if (data.isKnown) {
                data.text.price = priceLine(row.at(7).toDouble(), row.at(4).toDouble(),
                                            row.at(9).toString(), row.at(10).toInt(), currency);
                QStringList brand = {row.at(8).toString(), row.at(5).toString()};
                brand.removeAll(QString());
                data.text.brand = brand.join(QStringLiteral(", "));
            }
            m_data.insert(id, data);
        }
    }
    m_read.unite({wanted.begin(), wanted.end()});
    return true;
}

bool LabelReader::hasRead(const QList<qulonglong> &ids) const
{
    return std::all_of(ids.begin(), ids.end(),
                       [this](qulonglong id) { return m_read.contains(id); });
}

const LabelReader::Data *LabelReader::find(qulonglong id) const
{
    const auto found = m_data.constFind(id);
    return found == m_data.cend() ? nullptr : &*found;
}

void LabelReader::clear()
{
    m_data.clear();
    m_read.clear();
}

void LabelFaults::add(const LabelReader::Data &label, bool hasBarcode)
{
    const QString &code = label.text.code;
    if (m_known.contains(code))
        return;
    const bool isLong = code.size() > 13;
    if (!label.isKnown)
        m_missing +=
            LabelQueue::tr("Ошибка 322926: товара с id=%1 не существует!").arg(label.wareid) +
            " (" + code + ')';
    const QString text = ean13Text(code);
    const bool isPainted = hasBarcode && !isLong && !text.isEmpty();
    if (isPainted && !hasOnlyDigits(text))
        m_badSigns += code;
    else if (isPainted && ean13CheckDigit(text) != text.back().digitValue())
        m_badCheckDigits += code;
    else if (label.isKnown)
        return;
    m_known += code;
}

void LabelFaults::tell(QWidget *parent)
{
    const auto show = [parent](QStringList &items, const QString &front) {
        if (items.isEmpty())
            return;
        QStringList lines = shortened(items);
        if (!front.isEmpty())
            lines.prepend(front);
        items.clear(); // before the box, in which things go on
        showWarning(parent, lines.join(u'\n'));
    };
    show(m_missing, {});
    show(m_badSigns, LabelQueue::tr("Штрих-код содержит запрещенные символы!"));
    show(m_badCheckDigits,
         LabelQueue::tr("Сканеры не прочтут эти штрих-коды: их последняя цифра не сходится."));
}
