#include "tests/support/shop.h"

#include "db/query.h"
#include "db/schema.h"
#include "db/sqltext.h"

#include <QTest>

namespace {

void write(const QString &statement, const QString &connectionName)
{
    if (!QueryExec(nullptr, statement, connectionName))
        QFAIL(qPrintable(statement));
}

} // namespace

namespace shop {

void addProduct(const Product &product, const QString &connectionName)
{
    write("INSERT INTO warehouse(id,enabled,article,name,quantity,incost,outcost,currency,unitid,"
          "inoutratio,orderquantity) VALUES('" +
              sql::id(product.id) + "','" + sql::integer(product.enabled) + "'," +
              sql::text(product.article) + "," + sql::text(product.name) + ",'" +
              sql::exact(product.stock) + "','" + sql::exact(product.incost) + "','" +
              sql::exact(product.outcost) + "'," + sql::text(product.currency) + ",'1','0','7');",
          connectionName);
}

void addCode(qulonglong wareId, const QString &code, double packQuantity,
             const QString &connectionName)
{
    write("INSERT INTO codes(wareid,code,packquantity) VALUES('" + sql::id(wareId) + "'," +
              sql::text(code) + ",'" + sql::exact(packQuantity) + "');",
          connectionName);
}

void addLine(const Line &line, const QString &connectionName)
{
    write("INSERT INTO incomeinvoice(wareid,incost,inoutratio,outcost,quantity,userid,timestamp) "
          "VALUES('" +
              sql::id(line.wareId) + "','" + sql::exact(line.incost) + "','" +
              sql::exact(line.inoutratio) + "','" + sql::exact(line.outcost) + "','" +
              sql::exact(line.quantity) + "','" + sql::id(line.userId) + "'," +
              sql::text(line.timestamp) + ");",
          connectionName);
}

void addAlert(qulonglong wareId, const QString &phone, const QString &connectionName)
{
    write("INSERT INTO alerts(wareid,phone) VALUES('" + sql::id(wareId) + "'," + sql::text(phone) +
              ");",
          connectionName);
}

void logIn(const SessionUser &user)
{
    write("REPLACE INTO users(id,enabled,login,name,rights) VALUES('" + sql::id(user.id) +
              "','1'," + sql::text(user.login) + ',' + sql::text(user.name) + ",'" +
              sql::integer(user.rights) + "');",
          mainConnection);
    Session::instance().setUser(user);
}

bool create(const QString &connectionName)
{
    return createSchema(nullptr, connectionName);
}

} // namespace shop
