#include "income/reportspinbox.h"

#include "db/query.h"
#include "db/sqltext.h"

#include <cstdlib>
#include <limits>

ReportSpinBox::ReportSpinBox(QWidget *parent)
    : QSpinBox(parent)
{
    setRange(0, std::numeric_limits<int>::max());
    setKeyboardTracking(false);
}

void ReportSpinBox::stepBy(int steps)
{
    interpretText();
    const bool up = steps > 0;
    QList<SqlRow> rows;
    const CommandScope command;
    // A receipt that is reached is shown, one that was passed over with the Page key is not.
    if (!QueryRows(this,
                   "SELECT id FROM incomereports WHERE id" + QString(up ? u'>' : u'<') +
                       sql::quotedId(qulonglong(value())) + " ORDER BY id" +
                       (up ? QString() : QStringLiteral(" DESC")) + " LIMIT " +
                       sql::integer(std::abs(steps)) + ";",
                   rows) ||
        rows.isEmpty())
        return;
    setValue(rows.last().first().toInt());
    selectAll();
    emit stepped();
}
