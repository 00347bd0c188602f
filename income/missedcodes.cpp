#include "income/missedcodes.h"

#include "app/logging.h"
#include "app/messages.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <QCoreApplication>

#include <algorithm>

void MissedCodes::add(const QString &code, const QString &reason, bool whole)
{
    const auto known = std::find_if(m_codes.begin(), m_codes.end(),
                                    [&code](const MissedCode &m) { return m.code == code; });
    if (known == m_codes.end()) {
        m_codes.append({.code = code,
                        .reason = reason,
                        .since = QDateTime::currentDateTime(),
                        .times = 1,
                        .whole = whole});
    } else {
        known->reason = reason;
        known->whole = known->whole && whole;
        ++known->times;
    }
    logMessage(QStringLiteral("Not placed: code %1 (%2).").arg(code, reason));
}

void MissedCodes::remove(const QString &code)
{
    m_codes.removeIf([&code](const MissedCode &m) { return m.code == code; });
}

const QList<MissedCode> &MissedCodes::all() const
{
    return m_codes;
}

bool MissedCodes::isEmpty() const
{
    return m_codes.isEmpty();
}

BindResult bindCode(QWidget *parent, const QString &code, qulonglong wareid, double packQuantity)
{
    QList<SqlRow> rows;
    if (!mayDo(parent, Command::EditProducts) ||
        !QueryRows(parent,
                   "SELECT wareid FROM codes WHERE code=" + sql::text(code) + " AND wareid!=0;",
                   rows))
        return BindResult::Failed;
    if (!rows.isEmpty()) {
        showWarning(parent, QCoreApplication::translate(
                                "MissedCodes", "Штрих-код %1 уже присвоен наименованию %2.")
                                .arg(code, rows.first().at(0).toString()));
        return BindResult::Taken;
    }
    return QueryExec(
               parent,
               "INSERT INTO codes(wareid,code,packquantity,madein,userid,timestamp) VALUES('" +
                   sql::id(wareid) + "'," + sql::text(code) + ",'" + sql::number(packQuantity) +
                   "','','" + sql::id(Session::instance().user().id) + "'," + sql::now() + ");")
               ? BindResult::Bound
               : BindResult::Failed;
}
