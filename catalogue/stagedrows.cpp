#include "catalogue/stagedrows.h"

#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "db/transaction.h"

#include <QCoreApplication>
#include <QStringList>

#include <optional>

namespace {

struct StagedRows
{
    Q_DECLARE_TR_FUNCTIONS(StagedRows)
};

QString user()
{
    return sql::quotedId(Session::instance().user().id);
}

QString deleteCodes()
{
    return "DELETE FROM codes WHERE wareid='0' AND userid=" + user() + u';';
}

QString insertCode(const QString &code, double packQuantity, const QString &madein,
                   const QString &timestamp)
{
    return "INSERT INTO codes(wareid,code,packquantity,madein,userid,timestamp) VALUES('0'," +
           sql::text(code) + ",'" + sql::exact(packQuantity) + "'," + sql::text(madein) + u',' +
           user() + u',' + timestamp + ");";
}

bool write(QWidget *parent, const QStringList &statements)
{
    return runStatements(parent, statements, StagedRows::tr("Не записано."));
}

/// Whether a local product has the code. Nothing when that could not be read.
std::optional<bool> isTaken(QWidget *parent, const QString &code)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT wareid FROM codes WHERE code=" + sql::text(code) + " AND wareid!=0;",
                   rows))
        return {};
    return !rows.isEmpty();
}

} // namespace

bool clearStagedRows(QWidget *parent)
{
    return write(parent,
                 {deleteCodes(), "DELETE FROM articles WHERE wareid='0';",
                  "DELETE FROM wareproperties WHERE wareid='0';",
                  "DELETE FROM waretranslates WHERE wareid='0';",
                  "DELETE FROM collectionproducts WHERE wareid='0' AND userid=" + user() + u';'});
}

bool stageCode(QWidget *parent, const QString &code)
{
    return write(parent, {deleteCodes(), insertCode(code, 1, {}, sql::now())});
}

bool stageReferenceCodes(QWidget *parent, qulonglong referenceId)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT code, packquantity, madein, timestamp FROM codes WHERE wareid=" +
                       sql::id(referenceId) + u';',
                   rows, friendConnection))
        return false;
    QStringList statements = {deleteCodes()};
    QStringList taken;
    for (const SqlRow &row : std::as_const(rows)) {
        const QString code = row.at(0).toString();
        const std::optional<bool> isKnown = isTaken(parent, code);
        if (!isKnown)
            return false;
        if (*isKnown)
            taken += code;
        else
            statements += insertCode(code, finiteOrZero(row.at(1).toDouble()), row.at(2).toString(),
                                     sql::text(row.at(3).toString()));
    }
    if (!write(parent, statements))
        return false;
    if (!taken.isEmpty())
        showInformation(parent,
                        StagedRows::tr("Эти штрих-коды уже присвоены другим наименованиям и не "
                                       "скопированы:\n%1")
                            .arg(shortened(taken).join(u'\n')));
    return true;
}

bool stageCopies(QWidget *parent, qulonglong wareid)
{
    const QString of = " WHERE wareid=" + sql::quotedId(wareid) + u';';
    return write(
        parent,
        {"DELETE FROM wareproperties WHERE wareid='0';",
         "DELETE FROM collectionproducts WHERE wareid='0' AND userid=" + user() + u';',
         "INSERT INTO wareproperties(wareid,propertyid,enumid,value) SELECT 0,propertyid,enumid,"
         "value FROM wareproperties" +
             of,
         "INSERT INTO collectionproducts(collectionid,wareid,userid,ctime) SELECT collectionid,0," +
             sql::id(Session::instance().user().id) + u',' + sql::now() +
             " FROM collectionproducts" + of});
}
