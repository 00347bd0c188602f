#include "app/demo/demoshop.h"

#include "db/query.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QFile>
#include <QHash>

namespace {

enum Column {
    Article,
    Name,
    Group,
    Brand,
    Unit,
    Incost,
    Ratio,
    Outcost,
    Stock,
    Codes,
    ColumnCount
};

/// The goods are put in by the administrator, the one user of a new shop.
const QString adminId = QStringLiteral("1");

class Filler
{
public:
    explicit Filler(const QString &connectionName)
        : m_connectionName(connectionName)
    {
    }

    bool addProduct(const QStringList &row)
    {
        const qulonglong group = groupId(row.at(Group));
        const qulonglong brand = row.at(Brand).isEmpty() ? 0 : brandId(row.at(Brand));
        const QString unit =
            QueryValue(nullptr, "SELECT id FROM units WHERE name=" + sql::text(row.at(Unit)) + ";",
                       m_connectionName)
                .toString();
        const qulonglong product = insert(
            "warehouse(wuid,enabled,type,section,groupid,brandid,article,name,incost,currency,"
            "inoutratio,outcost,quantity,unitid,ctime,mtime)",
            sql::text("demo-" + row.at(Article)) + ",1,0,1," + sql::id(group) + "," +
                sql::id(brand) + "," + sql::text(row.at(Article)) + "," + sql::text(row.at(Name)) +
                "," + amount(row, Incost) + ",'RUB'," + amount(row, Ratio) + "," +
                amount(row, Outcost) + "," + amount(row, Stock) + "," + sql::text(unit) + "," +
                sql::now() + "," + sql::now());
        if (group == 0 || unit.isEmpty() || product == 0)
            return false;
        const QStringList codes = row.at(Codes).split(u' ', Qt::SkipEmptyParts);
        for (const QString &code : codes) {
            const QString pack = code.section(u'*', 1);
            if (insert("codes(wareid,code,packquantity,madein,userid,timestamp)",
                       sql::id(product) + "," + sql::text(code.section(u'*', 0, 0)) + "," +
                           sql::exact(pack.isEmpty() ? 1 : pack.toDouble()) + ",'Россия'," +
                           adminId + "," + sql::now()) == 0)
                return false;
        }
        return true;
    }

private:
    static QString amount(const QStringList &row, Column column)
    {
        return sql::exact(row.at(column).toDouble());
    }

    /// Writes a row and returns its id, 0 on failure.
    qulonglong insert(const QString &tableAndColumns, const QString &values)
    {
        QSqlQuery query;
        if (!QueryExec(nullptr, "INSERT INTO " + tableAndColumns + " VALUES(" + values + ");",
                       query, m_connectionName))
            return 0;
        return query.lastInsertId().toULongLong();
    }

    qulonglong groupId(const QString &path)
    {
        if (path.isEmpty())
            return 0;
        if (const qulonglong known = m_groups.value(path))
            return known;
        const qulonglong parent = groupId(path.section(u'/', 0, -2));
        const qulonglong id =
            insert("`groups`(parent,name,timestamp)",
                   sql::id(parent) + "," + sql::text(path.section(u'/', -1)) + "," + sql::now());
        m_groups.insert(path, id);
        return id;
    }

    qulonglong brandId(const QString &name)
    {
        qulonglong &id = m_brands[name];
        if (id == 0)
            id = insert("brands(name,timestamp)", sql::text(name) + "," + sql::now());
        return id;
    }

    QString m_connectionName;
    QHash<QString, qulonglong> m_groups; ///< by path
    QHash<QString, qulonglong> m_brands; ///< by name
};

} // namespace

bool fillDemoShop(const QString &goodsFile, const QString &connectionName, QString *error)
{
    const auto fail = [error](const QString &text) {
        if (error)
            *error = text;
        return false;
    };
    QFile file(goodsFile);
    if (!file.open(QIODevice::ReadOnly))
        return fail(goodsFile + ": " + file.errorString());
    const QVariant present =
        QueryValue(nullptr, "SELECT COUNT(id) FROM warehouse;", connectionName);
    if (!present.isValid())
        return fail(lastFailure(connectionName).words());
    if (present.toInt() > 0)
        return true;

    TransactionGuard transaction(connectionName);
    Filler filler(connectionName);
    file.readLine(); // the names of the columns
    for (int line = 2; !file.atEnd(); ++line) {
        QString text = QString::fromUtf8(file.readLine());
        text.chop(text.endsWith(u'\n') ? 1 : 0);
        const QStringList row = text.split(u'\t');
        if (row.size() != ColumnCount)
            return fail(QStringLiteral("%1:%2: %3 columns instead of %4")
                            .arg(goodsFile, QString::number(line), QString::number(row.size()),
                                 QString::number(ColumnCount)));
        if (!filler.addProduct(row))
            return fail(
                QStringLiteral("%1:%2: %3")
                    .arg(goodsFile, QString::number(line), lastFailure(connectionName).words()));
    }
    return transaction.commit() || fail(lastFailure(connectionName).words());
}
