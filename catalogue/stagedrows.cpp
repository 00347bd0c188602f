#include "catalogue/stagedrows.h"

#include "app/messages.h"
#include "catalogue/pricerules.h"
#include "catalogue/wareimages.h"
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
    return runStatements(parent, statements, StagedRows::tr("Не записано."), mainConnection,
                         {Command::EditProducts});
}

/// The local product that has the code, 0 for none. Nothing when that could not be read.
std::optional<qulonglong> holderOf(QWidget *parent, const QString &code)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT wareid FROM codes WHERE code=" + sql::text(code) + " AND wareid!=0;",
                   rows))
        return {};
    return rows.isEmpty() ? 0 : rows.first().first().toULongLong();
}

void tellTaken(QWidget *parent, const QString &code, qulonglong wareid)
{
    showWarning(
        parent,
        StagedRows::tr("Штрих-код %1 уже присвоен наименованию %2.").arg(code, sql::id(wareid)));
}

} // namespace

bool clearStagedRows(QWidget *parent)
{
    return removeLeftImages(parent) &&
           write(parent,
                 {deleteCodes(), "DELETE FROM articles WHERE wareid='0';",
                  "DELETE FROM wareproperties WHERE wareid='0';",
                  "DELETE FROM waretranslates WHERE wareid='0';",
                  "DELETE FROM collectionproducts WHERE wareid='0' AND userid=" + user() + u';'});
}

bool stageCode(QWidget *parent, const QString &code)
{
    const std::optional<qulonglong> holder = holderOf(parent, code);
    if (!holder)
        return false;
    if (*holder != 0) {
        tellTaken(parent, code, *holder);
        return false;
    }
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
        const std::optional<qulonglong> holder = holderOf(parent, code);
        if (!holder)
            return false;
        if (*holder != 0)
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

bool checkStagedCodes(QWidget *parent)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent,
                   "SELECT taken.code, taken.wareid FROM codes JOIN codes AS taken ON "
                   "taken.code=codes.code WHERE codes.wareid='0' AND codes.userid=" +
                       user() + " AND taken.wareid!=0;",
                   rows))
        return false;
    if (!rows.isEmpty())
        tellTaken(parent, rows.first().at(0).toString(), rows.first().at(1).toULongLong());
    return rows.isEmpty();
}
